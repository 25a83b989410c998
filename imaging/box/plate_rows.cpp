#include "imaging/box/plate_rows.h"

#include <algorithm>

#include "imaging/sample.h"

namespace veltrane {
namespace {

void SumRows(const std::uint8_t* const* rows, std::int16_t* sums, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        sums[i] = static_cast<std::int16_t>(rows[0][i] + rows[1][i] + rows[2][i]);
    }
}

/// A sample's rise above its surroundings counts in ninths of their mean; falls do not count.
void FindEdges(const std::uint8_t* row, const std::int16_t* sums, int limit, std::uint8_t* edges,
               int width) {
    for (int x = 0; x < width; ++x, row += kElements, sums += kElements) {
        int strength = 0;
        for (int e = 0; e < kAlpha; ++e) {
            const int around = sums[e] + sums[e + kElements] + sums[e + 2 * kElements];
            strength += std::max(9 * row[e] - around, 0);
        }
        edges[x] = static_cast<std::uint8_t>(strength >= limit ? strength / 24 : 0);
    }
}

constexpr PlateRows kPlainRows{SumRows, FindEdges, SlideTotals<std::uint32_t>,
                               AverageTotals<std::uint32_t>};

}  // namespace

const PlateRows& PlateRowsInUse() {
#ifdef VELTRANE_SIMD
    if (const PlateRows* rows = SimdPlateRows()) return *rows;
#endif
    return kPlainRows;
}

}  // namespace veltrane
