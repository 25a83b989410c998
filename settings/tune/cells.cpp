#include "settings/tune/cells.h"

#include <algorithm>
#include <cmath>

namespace veltrane {

namespace {

/// Calls visit(x, y) for the cells of the square around a cell that lie in the grid; those beyond
/// its border stand at the border.
template <class T, class Visit>
void ForEachAround(const Cells<T>& grid, int x, int y, const Visit& visit) {
    for (int v = y - 1; v <= y + 1; ++v)
        for (int u = x - 1; u <= x + 1; ++u)
            visit(std::clamp(u, 0, grid.width - 1), std::clamp(v, 0, grid.height - 1));
}

struct Level {
    Cells<LinearColor> colors;
    Cells<float> weights;
};

/// Means over squares of four cells, and how much weight they have, at most 1.
Level Halved(const Cells<LinearColor>& colors, const Cells<float>& weights) {
    Level half{{(colors.width + 1) / 2, (colors.height + 1) / 2}, {}};
    half.weights = Cells<float>(half.colors.width, half.colors.height);
    for (int y = 0; y < colors.height; ++y)
        for (int x = 0; x < colors.width; ++x) {
            const float weight = weights.At(x, y);
            half.weights.At(x / 2, y / 2) += weight;
            for (int c = 0; c < 3; ++c)
                half.colors.At(x / 2, y / 2)[c] += weight * colors.At(x, y)[c];
        }
    for (std::size_t i = 0; i < half.weights.values.size(); ++i) {
        float& weight = half.weights.values[i];
        if (!(weight > 0)) continue;
        for (float& component : half.colors.values[i]) component /= weight;
        weight = std::min(weight, 1.0f);
    }
    return half;
}

/// The colour of a cell of twice as fine a grid, between the four nearest ones.
LinearColor Between(const Cells<LinearColor>& coarse, int x, int y) {
    const float across = (static_cast<float>(x) - 0.5f) / 2;
    const float down = (static_cast<float>(y) - 0.5f) / 2;
    const int left = static_cast<int>(std::floor(across));
    const int top = static_cast<int>(std::floor(down));
    const float toRight = across - static_cast<float>(left);
    const float toBottom = down - static_cast<float>(top);
    LinearColor sum{};
    for (int v = 0; v < 2; ++v)
        for (int u = 0; u < 2; ++u) {
            const float part =
                (u == 1 ? toRight : 1 - toRight) * (v == 1 ? toBottom : 1 - toBottom);
            const LinearColor& color = coarse.At(std::clamp(left + u, 0, coarse.width - 1),
                                                 std::clamp(top + v, 0, coarse.height - 1));
            for (int c = 0; c < 3; ++c) sum[c] += part * color[c];
        }
    return sum;
}

}  // namespace

Cells<int> DistanceTo(const CellMask& set) {
    const int far = set.width + set.height;
    Cells<int> distance(set.width, set.height, far);
    const auto nearer = [&](int x, int y, int u, int v) {
        if (u < 0 || v < 0 || u >= set.width || v >= set.height) return;
        distance.At(x, y) = std::min(distance.At(x, y), distance.At(u, v) + 1);
    };
    for (int y = 0; y < set.height; ++y)
        for (int x = 0; x < set.width; ++x) {
            if (set.At(x, y) != 0) distance.At(x, y) = 0;
            nearer(x, y, x - 1, y);
            for (int u = x - 1; u <= x + 1; ++u) nearer(x, y, u, y - 1);
        }
    for (int y = set.height - 1; y >= 0; --y)
        for (int x = set.width - 1; x >= 0; --x) {
            nearer(x, y, x + 1, y);
            for (int u = x - 1; u <= x + 1; ++u) nearer(x, y, u, y + 1);
        }
    return distance;
}

CellMask WithoutSpecks(const CellMask& set, int least) {
    CellMask kept = set;
    for (int y = 0; y < set.height; ++y)
        for (int x = 0; x < set.width; ++x) {
            if (set.At(x, y) == 0) continue;
            int count = 0;
            ForEachAround(set, x, y, [&](int u, int v) { count += set.At(u, v); });
            kept.At(x, y) = count >= least ? 1 : 0;
        }
    return kept;
}

Cells<float> LocalSpread(const Cells<float>& values) {
    Cells<float> spread(values.width, values.height);
    for (int y = 0; y < values.height; ++y)
        for (int x = 0; x < values.width; ++x) {
            float least = values.At(x, y);
            float greatest = least;
            ForEachAround(values, x, y, [&](int u, int v) {
                least = std::min(least, values.At(u, v));
                greatest = std::max(greatest, values.At(u, v));
            });
            spread.At(x, y) = greatest - least;
        }
    return spread;
}

Cells<float> LocalMinimum(const Cells<float>& values, int reach) {
    Cells<float> rows = values;
    for (int y = 0; y < values.height; ++y)
        for (int x = 0; x < values.width; ++x)
            for (int u = std::max(x - reach, 0); u <= std::min(x + reach, values.width - 1); ++u)
                rows.At(x, y) = std::min(rows.At(x, y), values.At(u, y));
    Cells<float> least = rows;
    for (int y = 0; y < values.height; ++y)
        for (int v = std::max(y - reach, 0); v <= std::min(y + reach, values.height - 1); ++v)
            for (int x = 0; x < values.width; ++x)
                least.At(x, y) = std::min(least.At(x, y), rows.At(x, v));
    return least;
}

void FillByWeight(Cells<LinearColor>& colors, Cells<float> weights) {
    if (colors.width == 1 && colors.height == 1) return;
    Level half = Halved(colors, weights);
    FillByWeight(half.colors, half.weights);
    for (int y = 0; y < colors.height; ++y)
        for (int x = 0; x < colors.width; ++x) {
            const float own = weights.At(x, y);
            if (own >= 1) continue;
            const LinearColor other = Between(half.colors, x, y);
            for (int c = 0; c < 3; ++c)
                colors.At(x, y)[c] = own * colors.At(x, y)[c] + (1 - own) * other[c];
        }
}

}  // namespace veltrane
