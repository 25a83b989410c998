#ifndef VELTRANE_IMAGING_PLATE_ROWS_H
#define VELTRANE_IMAGING_PLATE_ROWS_H

#include <cstddef>
#include <cstdint>

namespace veltrane {

/// What the edge map and the blur of small 8-bit frames do row by row.
struct PlateRows {
    /// Sums three rows of size samples.
    void (*sumRows)(const std::uint8_t* const* rows, std::int16_t* sums, std::size_t size);
    /// The strength of every pixel's edges, or 0 where it is below the limit. The sums have a pixel
    /// more at either end.
    void (*findEdges)(const std::uint8_t* row, const std::int16_t* sums, int limit,
                      std::uint8_t* edges, int width);
    /// Adds to the totals of each of width pixels the entering samples less the leaving ones from
    /// the row's start up to there.
    void (*slide)(const std::uint8_t* entering, const std::uint8_t* leaving, std::uint32_t* totals,
                  int width);
    /// The differences of totals divided by the product of two counts, given as reciprocals, and
    /// rounded.
    void (*average)(const std::uint32_t* ends, const std::uint32_t* begins, const float* across,
                    float down, std::uint8_t* row, std::size_t size);
};

/// The form in use; ask once a frame.
const PlateRows& PlateRowsInUse();

/// The vector form in use, or null when the plain one is.
const PlateRows* SimdPlateRows();

}  // namespace veltrane

#endif
