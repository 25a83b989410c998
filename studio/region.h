#ifndef VELTRANE_STUDIO_REGION_H
#define VELTRANE_STUDIO_REGION_H

#include <array>
#include <cstdint>

#include "studio/json.h"

namespace veltrane::studio {

/// Some pixels of a frame.
struct Region {
    int x = 0;
    int y = 0;
    int width = 1;
    int height = 1;
};

/// What red, green, blue and alpha are in a region, in 16-bit values.
struct RegionValues {
    std::array<double, 4> mean{};
    std::array<double, 4> spread{};  ///< standard deviation
    std::array<int, 4> least{};
    std::array<int, 4> greatest{};
};

/// The part of the region that lies within a frame of this size. Throws Refusal where none does.
Region Clipped(const Region& region, int width, int height);

/// Looks at pixels of blue, green, red, alpha in rows of width pixels, within which the region
/// lies.
RegionValues Measure(const std::uint16_t* pixels, int width, const Region& region);

/// x, y, width and height of a request; 1 x 1 where it leaves the size out.
Region ReadRegion(const Json& request);

}  // namespace veltrane::studio

#endif
