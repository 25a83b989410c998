#include <algorithm>
#include <vector>

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

/// Sums over the three rows that the kernel covers, with a reflected pixel at either end.
void SumColumns(const unsigned char* const rows[3], int width, std::vector<short>& sums) {
    const int size = width * kElements;
    short* inner = sums.data() + kElements;
    for (int i = 0; i < size; ++i) {
        inner[i] = static_cast<short>(rows[0][i] + rows[1][i] + rows[2][i]);
    }
    for (int e = 0; e < kElements; ++e) {
        sums[e] = inner[Reflect(-1, width) * kElements + e];
        inner[size + e] = inner[Reflect(width, width) * kElements + e];
    }
}

/// How far every sample rises above the mean of its surroundings, in ninths.
void FindRises(const unsigned char* row, const std::vector<short>& sums,
               std::vector<short>& rises) {
    const int size = static_cast<int>(rises.size());
    for (int i = 0; i < size; ++i) {
        const short around =
            static_cast<short>(sums[i] + sums[i + kElements] + sums[i + 2 * kElements]);
        const short rise = static_cast<short>(9 * row[i] - around);
        rises[i] = std::max(rise, short{0});
    }
}

}  // namespace

void CImagingORV::Laplacian32bit8(unsigned char* source, int width, int height, int sourcePitch,
                                  unsigned char* map, int, int, int mapPitch, int threshold) const {
    if (width < 1) return;
    std::vector<short> sums((static_cast<std::size_t>(width) + 2) * kElements);
    std::vector<short> rises(static_cast<std::size_t>(width) * kElements);
    for (int y = 0; y < height; ++y) {
        const unsigned char* rows[3];
        for (int j = 0; j < 3; ++j) {
            rows[j] =
                source + static_cast<std::ptrdiff_t>(Reflect(y + j - 1, height)) * sourcePitch;
        }
        SumColumns(rows, width, sums);
        FindRises(rows[1], sums, rises);
        unsigned char* edges = map + static_cast<std::ptrdiff_t>(y) * mapPitch;
        const short* rise = rises.data();
        for (int x = 0; x < width; ++x, rise += kElements) {
            const int strength = rise[0] + rise[1] + rise[2];
            edges[x] = static_cast<unsigned char>(strength / 3 >= threshold ? strength / 24 : 0);
        }
    }
}
