#ifndef VELTRANE_HOSTS_OFX_PIXELS_H
#define VELTRANE_HOSTS_OFX_PIXELS_H

#include <cstdint>

#include "hosts/ofx/image.h"

namespace veltrane::ofx {

/// Converts a row of width host pixels (red, green, blue, alpha) to the keyer's straight ones
/// (blue, green, red, alpha): bytes to 8 bits, shorts and floats to 16. An opaque pixel's alpha
/// becomes full scale, a float the nearest of the 16-bit samples. Premultiplied colour is divided
/// by alpha, integers to the nearest value with halves up and at most full scale; where alpha is 0
/// colour becomes 0.
void ReadRow(const std::uint8_t* pixels, Alpha alpha, std::uint8_t* row, int width);
void ReadRow(const std::uint16_t* pixels, Alpha alpha, std::uint16_t* row, int width);
void ReadRow(const float* pixels, Alpha alpha, std::uint16_t* row, int width);

/// Converts a row back. Premultiplying rounds integers to the nearest value.
void WriteRow(const std::uint8_t* row, bool premultiply, std::uint8_t* pixels, int width);
void WriteRow(const std::uint16_t* row, bool premultiply, std::uint16_t* pixels, int width);
void WriteRow(const std::uint16_t* row, bool premultiply, float* pixels, int width);

}  // namespace veltrane::ofx

#endif
