#ifndef VELTRANE_IMAGING_BOX_PLATE_ROWS_H
#define VELTRANE_IMAGING_BOX_PLATE_ROWS_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "imaging/sample.h"

namespace veltrane {

/// What the edge map and the blur of small 8-bit frames do row by row.
struct PlateRows {
    /// Sums three rows of size samples.
    void (*sumRows)(const std::uint8_t* const* rows, std::int16_t* sums, std::size_t size);
    /// The strength of every pixel's edges, or 0 where it is below the limit. The sums have a pixel
    /// more at either end.
    void (*findEdges)(const std::uint8_t* row, const std::int16_t* sums, int limit,
                      std::uint8_t* edges, int width);
    /// SlideTotals.
    void (*slide)(const std::uint8_t* entering, const std::uint8_t* leaving, std::uint32_t* totals,
                  int width);
    /// AverageTotals; no window's sum exceeds 2^31 - 1.
    void (*average)(const std::uint32_t* ends, const std::uint32_t* begins, const float* across,
                    float down, std::uint8_t* row, std::size_t size);
};

/// The form in use; ask once a frame.
const PlateRows& PlateRowsInUse();

/// The vector form in use, or null when the plain one is.
const PlateRows* SimdPlateRows();

/// Adds to the totals of each of width pixels the entering samples less the leaving ones from the
/// row's start up to there. Totals may wrap around.
template <class Sum>
void SlideTotals(const std::uint8_t* entering, const std::uint8_t* leaving, Sum* totals,
                 int width) {
    Sum change[kElements] = {};
    for (int x = 0; x < width; ++x) {
        for (int e = 0; e < kElements; ++e) {
            change[e] += *entering++;
            change[e] -= *leaving++;
            *totals++ += change[e];
        }
    }
}

/// The differences of totals, which are the windows' sums and must fit a signed Sum, divided by the
/// product of two counts, given as reciprocals, and rounded.
template <class Sum>
void AverageTotals(const Sum* ends, const Sum* begins, const float* across, float down,
                   std::uint8_t* row, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        const auto sum =
            static_cast<float>(static_cast<std::make_signed_t<Sum>>(ends[i] - begins[i]));
        row[i] = static_cast<std::uint8_t>(static_cast<int>(sum * across[i] * down + 0.5f));
    }
}

}  // namespace veltrane

#endif
