#ifndef VELTRANE_HOSTS_OFX_PIXEL_ROWS_H
#define VELTRANE_HOSTS_OFX_PIXEL_ROWS_H

#include <cstdint>

namespace veltrane::ofx {

/// The conversions of pixels.h that have a vector form: from the host's straight pixels to the
/// keyer's, with alpha at full scale when solid, back to straight ones, and back to premultiplied
/// ones.
struct PixelRows {
    void (*bytesIn)(const std::uint8_t* rgba, bool solid, std::uint8_t* bgra, int width);
    void (*shortsIn)(const std::uint16_t* rgba, bool solid, std::uint16_t* bgra, int width);
    void (*bytesOut)(const std::uint8_t* bgra, std::uint8_t* rgba, int width);
    void (*shortsOut)(const std::uint16_t* bgra, std::uint16_t* rgba, int width);
    void (*bytesMultiplied)(const std::uint8_t* bgra, std::uint8_t* rgba, int width);
    void (*shortsMultiplied)(const std::uint16_t* bgra, std::uint16_t* rgba, int width);
    void (*floatsMultiplied)(const std::uint16_t* bgra, float* rgba, int width);
};

/// The vector form in use, or null when the plain one is.
const PixelRows* SimdPixelRows();

}  // namespace veltrane::ofx

#endif
