#ifndef VELTRANE_IMAGING_CONVERT_LEVELS_H
#define VELTRANE_IMAGING_CONVERT_LEVELS_H

#include <cstddef>
#include <cstdint>

namespace veltrane {

// A picture used as a matte: one level a pixel, of a row of width pixels of blue, green, red,
// alpha.

/// The luma of Rec. 709, to the nearest level; a grey pixel's is its value.
void LumaLevels(const std::uint16_t* pixels, std::uint16_t* levels, std::ptrdiff_t width);

/// Alpha.
void AlphaLevels(const std::uint16_t* pixels, std::uint16_t* levels, std::ptrdiff_t width);

/// Whether any pixel's alpha is below full scale.
bool ShowsThrough(const std::uint16_t* pixels, std::ptrdiff_t width);

}  // namespace veltrane

#endif
