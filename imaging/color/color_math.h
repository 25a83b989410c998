#ifndef VELTRANE_IMAGING_COLOR_COLOR_MATH_H
#define VELTRANE_IMAGING_COLOR_COLOR_MATH_H

#include "imaging/imaging.h"
#include "imaging/sample.h"

// The conversions that run per pixel, here so that loops can inline them. The order of operations
// decides the last bit and is part of the result.

namespace veltrane {

/// NTSC luma and colour differences of 8-bit components, rounded down: y 0..255, i and q signed.
struct FixedYiq {
    int y;
    int i;
    int q;
};

inline FixedYiq RgbToFixedYiq(int r, int g, int b) {
    return {(19595 * r + 38470 * g + 7471 * b) >> 16, (39059 * r - 18022 * g - 21037 * b) >> 16,
            (13894 * r - 34275 * g + 20382 * b) >> 16};
}

/// NTSC luma and colour differences, evaluated in the precision of Real.
template <class Real>
YIQ RgbToYiq(Real r, Real g, Real b) {
    return {static_cast<float>(Real(0.114) * b + (Real(0.299) * r + Real(0.587) * g)),
            static_cast<float>(Real(-0.321) * b + (Real(0.596) * r - Real(0.275) * g)),
            static_cast<float>(Real(0.311) * b + (Real(0.212) * r - Real(0.523) * g))};
}

/// The same for the samples of a frame; 16-bit ones are brought to the 8-bit scale first.
inline YIQ SampleToYiq(unsigned char r, unsigned char g, unsigned char b) {
    return RgbToYiq<float>(r, g, b);
}
inline YIQ SampleToYiq(unsigned short r, unsigned short g, unsigned short b) {
    return RgbToYiq(r / 257.0f, g / 257.0f, b / 257.0f);
}

/// Back from YIQ, each sum multiplied by scale and rounded; 257 gives 16-bit components, 1 8-bit
/// ones.
inline RGB YiqToRgb(YIQ c, float scale) {
    return {RoundHalfUp((0.62f * c.Q + (0.956f * c.I + c.Y)) * scale),
            RoundHalfUp((-0.647f * c.Q + (-0.272f * c.I + c.Y)) * scale),
            RoundHalfUp((1.705f * c.Q + (-1.108f * c.I + c.Y)) * scale)};
}

/// The straight ramp between y0 and y1 with flat ends; not a number counts as beyond x1.
inline float Ramp(float x, float x0, float x1, float y0, float y1) {
    if (x <= x0) return y0;
    if (x < x1) return (x - x0) * ((y1 - y0) / (x1 - x0)) + y0;
    return y1;
}

}  // namespace veltrane

#endif
