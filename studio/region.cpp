#include "studio/region.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

#include "studio/http.h"

namespace veltrane::studio {

namespace {

constexpr int kLongestSide = 65535;

/// The sums of one element; those of squares stay exact for a hundred million pixels and more.
struct Sums {
    std::uint64_t sum = 0;
    double squares = 0;
    std::uint16_t least = 65535;
    std::uint16_t greatest = 0;

    void Add(std::uint16_t value) {
        sum += value;
        squares += static_cast<double>(value) * value;
        least = std::min(least, value);
        greatest = std::max(greatest, value);
    }
};

}  // namespace

Region Clipped(const Region& region, int width, int height) {
    constexpr int kBadRequest = 400;
    const int left = std::max(region.x, 0), right = std::min(region.x + region.width, width);
    const int top = std::max(region.y, 0), bottom = std::min(region.y + region.height, height);
    if (left < right && top < bottom) return {left, top, right - left, bottom - top};
    throw Refusal(kBadRequest, std::to_string(region.x) + ',' + std::to_string(region.y) +
                                   " lies outside the frame of " + std::to_string(width) + " x " +
                                   std::to_string(height));
}

RegionValues Measure(const std::uint16_t* pixels, int width, const Region& region) {
    constexpr int kFromBgra[] = {2, 1, 0, 3};
    Sums sums[4];
    for (int y = region.y; y < region.y + region.height; ++y) {
        const std::uint16_t* row = pixels + (static_cast<std::size_t>(y) * width + region.x) * 4;
        for (int x = 0; x < region.width; ++x, row += 4)
            for (int c = 0; c < 4; ++c) sums[c].Add(row[kFromBgra[c]]);
    }
    RegionValues values;
    const double count = static_cast<double>(region.width) * region.height;
    for (int c = 0; c < 4; ++c) {
        values.mean[c] = static_cast<double>(sums[c].sum) / count;
        const double variance = sums[c].squares / count - values.mean[c] * values.mean[c];
        values.spread[c] = std::sqrt(std::max(variance, 0.0));
        values.least[c] = sums[c].least;
        values.greatest[c] = sums[c].greatest;
    }
    return values;
}

Region ReadRegion(const Json& request) {
    const auto read = [&](const char* name, int least, int otherwise) {
        return static_cast<int>(Integer(request, name, least, kLongestSide, otherwise));
    };
    return {static_cast<int>(Integer(request, "x", -kLongestSide, kLongestSide)),
            static_cast<int>(Integer(request, "y", -kLongestSide, kLongestSide)),
            read("width", 1, 1), read("height", 1, 1)};
}

}  // namespace veltrane::studio
