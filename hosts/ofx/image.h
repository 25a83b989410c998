#ifndef VELTRANE_HOSTS_OFX_IMAGE_H
#define VELTRANE_HOSTS_OFX_IMAGE_H

#include <cstddef>

#include "hosts/ofx/host.h"
#include "imaging/convert/convert.h"
#include "imaging/row_memory.h"

namespace veltrane::ofx {

enum class PixelDepth { kByte, kShort, kFloat };

/// What the host's word says; premultiplied for any other text, as that is the interface's default.
AlphaState AlphaOf(std::string_view word);

inline int Width(const RectI& r) {
    return r.x2 - r.x1;
}
inline int Height(const RectI& r) {
    return r.y2 - r.y1;
}
/// Without pixels where the two share none; no side is negative then either.
RectI Intersection(const RectI& a, const RectI& b);
bool IsEmpty(const RectI& r);

/// One image of a clip, released at the end of its scope. Empty where the clip has none at that
/// time. Throws Refusal for an image that the plug-in cannot take: not RGBA, an unknown depth,
/// sides over 65535 pixels, rows that overlap or stand askew in memory.
class Image {
public:
    Image(Clip clip, double time);
    ~Image();
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;

    explicit operator bool() const { return set_ != nullptr; }
    PixelDepth depth() const { return depth_; }
    AlphaState alpha() const { return alpha_; }
    double scale() const { return scale_; }

    /// The pixels held, and of these the ones that exist.
    const RectI& bounds() const { return bounds_; }
    const RectI& picture() const { return picture_; }

    /// Pixel (x, y) as four components of the image's depth; it must lie within the bounds.
    template <class Component>
    Component* Pixel(int x, int y) const {
        const std::ptrdiff_t offset =
            (static_cast<std::ptrdiff_t>(y) - bounds_.y1) * rowBytes_ +
            (static_cast<std::ptrdiff_t>(x) - bounds_.x1) * std::ptrdiff_t{4 * sizeof(Component)};
        return reinterpret_cast<Component*>(data_ + offset);
    }

    /// Where the rows of a part within the bounds lie, from the top.
    template <class Component>
    RowMemory Rows(const RectI& part) const {
        return {Pixel<const Component>(part.x1, part.y2 - 1), -rowBytes_,
                4 * sizeof(Component) * Width(part)};
    }

private:
    void Read();

    PropertySet set_ = nullptr;
    unsigned char* data_ = nullptr;
    std::ptrdiff_t rowBytes_ = 0;
    RectI bounds_{};
    RectI picture_{};
    PixelDepth depth_ = PixelDepth::kByte;
    AlphaState alpha_ = AlphaState::kPremultiplied;
    double scale_ = 1;
};

}  // namespace veltrane::ofx

#endif
