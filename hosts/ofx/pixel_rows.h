#ifndef VELTRANE_HOSTS_OFX_PIXEL_ROWS_H
#define VELTRANE_HOSTS_OFX_PIXEL_ROWS_H

namespace veltrane::ofx {

/// The steps of pixels.h that have a vector form. Pixels hold four components, alpha last.
template <class Component>
struct PixelRows {
    /// Lets red and blue change places, and sets alpha to full scale where the pixels are opaque.
    /// Null for floats, which are reordered as they are converted.
    void (*swap)(const Component* from, bool opaque, Component* to, int width);
    /// Whether alpha has one value throughout.
    bool (*isAlpha)(Component value, const Component* pixels, int width);
    /// Divides colour by alpha: integers to the nearest value with halves up and at most full
    /// scale; where alpha is 0 colour becomes 0.
    void (*divide)(const Component* from, Component* to, int width);
    /// Multiplies colour by alpha, integers to the nearest value.
    void (*multiply)(const Component* from, Component* to, int width);
};

/// The vector form in use, or null when the plain one is.
template <class Component>
const PixelRows<Component>* SimdPixelRows();

}  // namespace veltrane::ofx

#endif
