#include <algorithm>

#include "imaging/imaging.h"
#include "imaging/sample.h"

namespace {

using namespace veltrane;

/// Brings a neighbour's coordinate back inside: mirrored about the first sample at the low end,
/// the last sample repeated at the high end.
int Reflect(int i, int size) {
    if (i < 0) return std::min(1, size - 1);
    return std::min(i, size - 1);
}

/// Edge strength summed over the colours; rows and columns are the three that the kernel covers.
int LaplacianSum(const unsigned char* const rows[3], const int columns[3]) {
    int total = 0;
    for (int e = 0; e < kAlpha; ++e) {
        int sum = 9 * rows[1][columns[1] + e];
        for (int j = 0; j < 3; ++j) {
            for (int i = 0; i < 3; ++i) sum -= rows[j][columns[i] + e];
        }
        total += std::max(sum, 0);
    }
    return total;
}

}  // namespace

void CImagingORV::Laplacian32bit8(unsigned char* source, int width, int height, int sourcePitch,
                                  unsigned char* map, int, int, int mapPitch, int threshold) const {
    for (int y = 0; y < height; ++y) {
        const unsigned char* rows[3];
        for (int j = 0; j < 3; ++j) {
            rows[j] =
                source + static_cast<std::ptrdiff_t>(Reflect(y + j - 1, height)) * sourcePitch;
        }
        unsigned char* edges = map + static_cast<std::ptrdiff_t>(y) * mapPitch;
        for (int x = 0; x < width; ++x) {
            const int columns[3] = {Reflect(x - 1, width) * kElements, x * kElements,
                                    Reflect(x + 1, width) * kElements};
            const int strength = LaplacianSum(rows, columns);
            edges[x] = static_cast<unsigned char>(strength / 3 >= threshold ? strength / 24 : 0);
        }
    }
}
