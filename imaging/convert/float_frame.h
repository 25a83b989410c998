#ifndef VELTRANE_IMAGING_CONVERT_FLOAT_FRAME_H
#define VELTRANE_IMAGING_CONVERT_FLOAT_FRAME_H

#include <cstdint>

namespace veltrane {

/// Order of the four channels in a host's float pixel; 1.0 is full scale.
enum class FloatLayout { kArgb, kRgba };

/// Which whole number v * 65535 becomes. To the nearest, halves up, every sample comes back from
/// its float; down, some come back a step lower.
enum class FloatRounding { kDown, kNearest };

/// Converts a row of width float pixels to 16-bit ones in the order blue, green, red, alpha: v
/// becomes v * 65535, rounded, within 0..65535. Not a number becomes 0, the infinities become the
/// bounds. Alpha becomes full scale where the pixels are opaque, whatever they hold.
void FloatRowToFrame(const float* pixels, FloatLayout layout, FloatRounding rounding,
                     std::uint16_t* row, int width, bool opaque = false);

/// Converts a row of width 16-bit pixels to float ones with straight alpha, each v / 65535.
void FrameRowToFloat(const std::uint16_t* row, FloatLayout layout, float* pixels, int width);

/// The same with alpha raised to the power 2.2 and colour multiplied by it, for hosts that
/// composite display-referred frames in linear light.
void FrameRowToLinearPremultiplied(const std::uint16_t* row, FloatLayout layout, float* pixels,
                                   int width);

}  // namespace veltrane

#endif
