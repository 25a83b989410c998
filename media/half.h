#ifndef VELTRANE_MEDIA_HALF_H
#define VELTRANE_MEDIA_HALF_H

#ifndef IMATH_HALF_NO_LOOKUP_TABLE
#define IMATH_HALF_NO_LOOKUP_TABLE  // it would need Imath's library
#endif
#include <Imath/half.h>

#include <cstdint>

namespace veltrane::media {

// Halves as the bits of an EXR.
inline float FloatFromHalf(std::uint16_t half) {
    return imath_half_to_float(half);
}
/// The nearest half, of two the even one; infinite beyond the largest.
inline std::uint16_t HalfFromFloat(float value) {
    return imath_float_to_half(value);
}

}  // namespace veltrane::media

#endif
