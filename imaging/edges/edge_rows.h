#ifndef VELTRANE_IMAGING_EDGES_EDGE_ROWS_H
#define VELTRANE_IMAGING_EDGES_EDGE_ROWS_H

#include <cstddef>
#include <cstdint>

namespace veltrane {

/// The work of edge_map.cpp that has a vector form.
struct EdgeRows {
    /// Sums three rows of size samples.
    void (*sumRows)(const std::uint8_t* const* rows, std::int16_t* sums, std::size_t size);
    /// The strength of every pixel's edges, or 0 where it is below the limit. The sums have a pixel
    /// more at either end.
    void (*findEdges)(const std::uint8_t* row, const std::int16_t* sums, int limit,
                      std::uint8_t* edges, int width);
};

/// The vector form in use, or null when the plain one is.
const EdgeRows* SimdEdgeRows();

}  // namespace veltrane

#endif
