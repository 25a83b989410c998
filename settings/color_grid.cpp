#include "settings/color_grid.h"

#include <algorithm>
#include <cmath>

namespace veltrane {

namespace {

/// Where a colour lies in the plane of the NTSC colour differences, by its luma: light that grows
/// or fades leaves it there.
struct Tint {
    double luma;
    double i;
    double q;

    explicit Tint(const Color& c)
        : luma(0.299 * c.red + 0.587 * c.green + 0.114 * c.blue),
          i((0.596 * c.red - 0.275 * c.green - 0.321 * c.blue) / luma),
          q((0.212 * c.red - 0.523 * c.green + 0.311 * c.blue) / luma) {}
};

}  // namespace

Color MeanColor(int frameWidth, const std::uint16_t* frame, int left, int top, int right,
                int bottom) {
    constexpr double kFullScale = 65535.0;
    std::uint64_t sums[3] = {};
    for (int y = top; y < bottom; ++y) {
        const std::uint16_t* pixel =
            frame + (std::size_t{4} * y * frameWidth + std::size_t{4} * left);
        for (int x = left; x < right; ++x, pixel += 4)
            for (int c = 0; c < 3; ++c) sums[c] += pixel[c];
    }
    const double scale = kFullScale * (right - left) * (bottom - top);
    return {static_cast<double>(sums[2]) / scale, static_cast<double>(sums[1]) / scale,
            static_cast<double>(sums[0]) / scale};
}

ColorGrid Reduce(int width, int height, const std::uint16_t* frame) {
    constexpr int kLongestSide = 256;
    const int side = (std::max(width, height) - 1) / kLongestSide + 1;
    ColorGrid grid{(width - 1) / side + 1, (height - 1) / side + 1, side, {}};
    grid.cells.reserve(static_cast<std::size_t>(grid.width) * grid.height);
    for (int row = 0; row < grid.height; ++row)
        for (int column = 0; column < grid.width; ++column) {
            const int x = column * side;
            const int y = row * side;
            grid.cells.push_back(MeanColor(width, frame, x, y, x + std::min(side, width - x),
                                           y + std::min(side, height - y)));
        }
    return grid;
}

std::vector<bool> ScreenCells(const ColorGrid& grid, const Color& keyColor) {
    constexpr double kDarkest = 0.02;
    constexpr double kPalest = 0.6;
    constexpr double kFarthestAside = 0.4;
    const Tint key(keyColor);
    const double length = key.i * key.i + key.q * key.q;
    std::vector<bool> marked(grid.cells.size());
    for (std::size_t n = 0; n < marked.size(); ++n) {
        const Tint cell(grid.cells[n]);
        const double along = (cell.i * key.i + cell.q * key.q) / length;
        const double aside = (cell.i * key.q - cell.q * key.i) / length;
        marked[n] = cell.luma >= kDarkest && along >= kPalest && std::abs(aside) <= kFarthestAside;
    }
    return marked;
}

double ShareOf(const std::vector<bool>& marked) {
    const auto count = std::count(marked.begin(), marked.end(), true);
    return static_cast<double>(count) / static_cast<double>(marked.size());
}

}  // namespace veltrane
