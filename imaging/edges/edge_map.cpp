#include <algorithm>
#include <vector>

#include "imaging/cpu/in_use.h"
#include "imaging/edges/edge_rows.h"
#include "imaging/imaging.h"
#include "imaging/sample.h"

namespace {

using namespace veltrane;

constexpr int kGreatestMean = 8 * 255;  ///< of an edge's strength over the colours

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

constexpr EdgeRows kPlainRows{SumRows, FindEdges};

/// Brings a neighbour's coordinate back inside: mirrored about the first sample at the low end,
/// the last sample repeated at the high end.
int Reflect(int i, int size) {
    if (i < 0) return std::min(1, size - 1);
    return std::min(i, size - 1);
}

}  // namespace

void CImagingORV::Laplacian32bit8(unsigned char* source, int width, int height, int sourcePitch,
                                  unsigned char* map, int, int, int mapPitch, int threshold) const {
    if (width < 1) return;
    const EdgeRows& steps = InUse<SimdEdgeRows>(kPlainRows);
    // The mean is the strength divided by 3 and rounded down.
    const int limit = 3 * std::clamp(threshold, 0, kGreatestMean + 1);
    const std::size_t size = static_cast<std::size_t>(width) * kElements;
    std::vector<std::int16_t> sums(size + 2 * kElements);
    std::int16_t* inner = sums.data() + kElements;
    for (int y = 0; y < height; ++y) {
        const unsigned char* rows[3];
        for (int j = 0; j < 3; ++j) {
            rows[j] =
                source + static_cast<std::ptrdiff_t>(Reflect(y + j - 1, height)) * sourcePitch;
        }
        steps.sumRows(rows, inner, size);
        std::copy_n(inner + Reflect(-1, width) * kElements, kElements, sums.data());
        std::copy_n(inner + Reflect(width, width) * kElements, kElements, inner + size);
        steps.findEdges(rows[1], sums.data(), limit,
                        map + static_cast<std::ptrdiff_t>(y) * mapPitch, width);
    }
}
