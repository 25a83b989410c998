#include "settings/color_grid.h"

#include <algorithm>

namespace veltrane {

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
    ColorGrid grid{(width - 1) / side + 1, (height - 1) / side + 1, {}};
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

}  // namespace veltrane
