#include "shapes/coverage.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace veltrane::shapes {
namespace {

using Fixed = std::int64_t;  ///< 65536ths of a pixel
__extension__ using Wide = __int128;

constexpr int kFractionBits = 16;
constexpr Fixed kOne = Fixed{1} << kFractionBits;
constexpr int kHeightBits = 24;  ///< of the heights that areas are made of, so that many add up

Fixed FixedOf(double pixels) {
    return static_cast<Fixed>(std::floor(pixels * kOne + 0.5));
}

/// The nearest whole number; both are of any sign but the divisor, which lies above 0.
Fixed Quotient(Wide value, Fixed divisor) {
    const Wide sum = 2 * value + divisor;
    const Wide twice = Wide{2} * divisor;
    return static_cast<Fixed>(sum / twice - (sum % twice < 0 ? 1 : 0));
}

/// A line from top to bottom.
struct Edge {
    Fixed x0, y0, x1, y1;
    int winding;  ///< 1 where the contour runs down, -1 where it runs up

    Fixed XAt(Fixed y) const {
        if (y == y1) return x1;
        return x0 + Quotient(Wide{x1 - x0} * (y - y0), y1 - y0);
    }
};

/// Those that bound something, the highest ones first.
std::vector<Edge> EdgesOf(const std::vector<Contour>& contours, int height) {
    std::vector<Edge> edges;
    for (const Contour& ring : contours) {
        for (std::size_t i = 0; i < ring.size(); ++i) {
            const Point a = ring[i], b = ring[i + 1 < ring.size() ? i + 1 : 0];
            Edge edge{FixedOf(a.x), FixedOf(a.y), FixedOf(b.x), FixedOf(b.y), 1};
            if (edge.y0 == edge.y1) continue;
            if (edge.y0 > edge.y1) edge = {edge.x1, edge.y1, edge.x0, edge.y0, -1};
            if (edge.y1 > 0 && edge.y0 < height * kOne) edges.push_back(edge);
        }
    }
    std::stable_sort(edges.begin(), edges.end(),
                     [](const Edge& a, const Edge& b) { return a.y0 < b.y0; });
    return edges;
}

/// The areas that edges leave to their right, pixel by pixel of one row. height is by how much an
/// edge goes down within a pixel, signed by its winding; left is twice the area within the pixel
/// to the left of the edge.
class RowAreas {
public:
    explicit RowAreas(int width) : width_(width), cells_(static_cast<std::size_t>(width)) {}

    /// Adds a line that falls so far from one x to another, both in any order.
    void Add(Fixed from, Fixed to, Fixed fall, int winding) {
        if (from > to) std::swap(from, to);
        const Fixed height = fall << (kHeightBits - kFractionBits);
        const Fixed end = width_ * kOne;
        if (from >= end) return;
        const Line line{from, to, height};
        Fixed x = std::max<Fixed>(from, 0), down = line.DownAt(x);
        if (down > 0) Put(0, 0, 0, down, winding);
        if (to <= 0) return Put(0, 0, 0, height - down, winding);
        while (true) {
            const Fixed cell = x >> kFractionBits;
            const Fixed next = std::min({to, end, (cell + 1) * kOne});
            const Fixed reached = next == to ? height : line.DownAt(next);
            Put(cell, x - cell * kOne, next - cell * kOne, reached - down, winding);
            if (next == to || next == end) return;
            x = next;
            down = reached;
        }
    }

    /// Writes the row's levels and forgets what was added.
    void Take(std::uint16_t* levels) {
        constexpr int kAreaBits = kHeightBits + kFractionBits + 1;
        constexpr Fixed kPixel = Fixed{1} << kAreaBits;
        Fixed height = 0;
        for (Cell& cell : cells_) {
            height += cell.height;
            const Fixed area = std::abs(height * 2 * kOne - cell.left);
            *levels++ = static_cast<std::uint16_t>((std::min(area, kPixel) * 65535 + kPixel / 2) >>
                                                   kAreaBits);
            cell = {};
        }
    }

private:
    struct Cell {
        Fixed height = 0;
        Fixed left = 0;
    };
    struct Line {
        Fixed from, to, height;

        Fixed DownAt(Fixed x) const {
            return x <= from ? 0 : x >= to ? height : height * (x - from) / (to - from);
        }
    };

    void Put(Fixed cell, Fixed x0, Fixed x1, Fixed height, int winding) {
        Cell& at = cells_[static_cast<std::size_t>(cell)];
        at.height += winding * height;
        at.left += winding * height * (x0 + x1);
    }

    int width_;
    std::vector<Cell> cells_;
};

constexpr int kPasses = 3;  ///< of a box, which together come close to a bell

/// In 256ths of a pixel.
std::int64_t BoxRadius(double feather) {
    return static_cast<std::int64_t>(std::floor(feather * 256 / (2 * kPasses) + 0.5));
}

/// A box of a radius in 256ths of a pixel, along so many levels that lie step apart. Levels beyond
/// the ends count as the last ones.
void Smooth(std::uint16_t* levels, std::ptrdiff_t step, int count, std::int64_t radius,
            std::vector<std::uint16_t>& copy) {
    const int whole = static_cast<int>(radius / 256);
    const std::int64_t part = radius % 256, weight = (2 * whole + 1) * 256 + 2 * part;
    const int reach = whole + 1;
    copy.resize(static_cast<std::size_t>(count) + 2 * reach + 1);
    for (int i = -reach; i <= count + reach; ++i)
        copy[i + reach] = levels[step * std::clamp(i, 0, count - 1)];
    // Quotients lie so far from whole numbers, or on them, that a product rounds to the right ones.
    constexpr double kLessThanAnyStep = 1e-7;
    const double inverse = 1.0 / static_cast<double>(weight);
    std::int64_t sum = 0;
    for (int i = 1; i < 2 * reach; ++i) sum += copy[i];
    for (int i = 0; i < count; ++i) {
        const std::int64_t ends = copy[i] + copy[i + 2 * reach];
        const auto total = static_cast<double>(sum * 256 + ends * part + weight / 2);
        levels[step * i] = static_cast<std::uint16_t>(total * inverse + kLessThanAnyStep);
        sum += copy[i + 2 * reach] - copy[i + 1];
    }
}

}  // namespace

Levels Coverage(const std::vector<Contour>& contours, int width, int height) {
    Levels levels(static_cast<std::size_t>(width) * height);
    const std::vector<Edge> edges = EdgesOf(contours, height);
    RowAreas areas(width);
    std::vector<const Edge*> active;
    auto next = edges.begin();
    for (int y = 0; y < height; ++y) {
        const Fixed top = y * kOne, bottom = top + kOne;
        for (; next != edges.end() && next->y0 < bottom; ++next) active.push_back(&*next);
        if (active.empty()) continue;
        for (const Edge* edge : active) {
            const Fixed from = std::max(edge->y0, top), to = std::min(edge->y1, bottom);
            areas.Add(edge->XAt(from), edge->XAt(to), to - from, edge->winding);
        }
        areas.Take(&levels[static_cast<std::size_t>(y) * width]);
        std::erase_if(active, [&](const Edge* edge) { return edge->y1 <= bottom; });
    }
    return levels;
}

void Feather(Levels& levels, int width, int height, double pixels) {
    const std::int64_t radius = BoxRadius(pixels);
    if (radius < 1 || levels.empty()) return;
    std::vector<std::uint16_t> copy;
    for (int pass = 0; pass < kPasses; ++pass) {
        for (int y = 0; y < height; ++y)
            Smooth(&levels[static_cast<std::size_t>(y) * width], 1, width, radius, copy);
        for (int x = 0; x < width; ++x) Smooth(&levels[x], width, height, radius, copy);
    }
}

int FeatherReach(double pixels) {
    const std::int64_t radius = BoxRadius(pixels);
    return static_cast<int>(kPasses * ((radius + 255) / 256));
}

void Unite(const std::uint16_t* levels, std::uint16_t* onto, int count) {
    for (int i = 0; i < count; ++i) {
        const std::uint32_t left = (65535u - levels[i]) * (65535u - onto[i]);
        onto[i] = static_cast<std::uint16_t>(65535u - (left + 32767u) / 65535u);
    }
}

}  // namespace veltrane::shapes
