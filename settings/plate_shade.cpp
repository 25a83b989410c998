#include "settings/plate_shade.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>

#include "imaging/sample.h"
#include "settings/color_grid.h"

namespace veltrane {

namespace {

/// Red, green, blue of the shot, then of the plate.
using Sums = std::array<double, 6>;

/// The marked cells with few others around them: those next to many hold some of the subject's rim,
/// and a few are grain.
std::vector<bool> Inner(const std::vector<bool>& marked, int across, int down) {
    constexpr int kMargin = 2;
    std::vector<bool> inner(marked.size());
    for (int y = 0; y < down; ++y)
        for (int x = 0; x < across; ++x) {
            int all = 0, alike = 0;
            for (int v = std::max(y - kMargin, 0); v <= std::min(y + kMargin, down - 1); ++v)
                for (int u = std::max(x - kMargin, 0); u <= std::min(x + kMargin, across - 1);
                     ++u, ++all)
                    alike += marked[static_cast<std::size_t>(v) * across + u];
            const std::size_t at = static_cast<std::size_t>(y) * across + x;
            inner[at] = marked[at] && 5 * alike > 4 * all;
        }
    return inner;
}

/// Replaces each of count sums, step apart, by that of those within radius; there are none beyond
/// the ends.
void SumAlong(Sums* first, std::ptrdiff_t step, int count, int radius) {
    std::vector<Sums> before(count + 1, Sums{});  // running totals
    for (int i = 0; i < count; ++i)
        std::ranges::transform(before[i], first[i * step], before[i + 1].begin(), std::plus());
    for (int i = 0; i < count; ++i)
        std::ranges::transform(before[std::min(i + radius + 1, count)],
                               before[std::max(i - radius, 0)], first[i * step].begin(),
                               std::minus());
}

/// Three boxes are nearly a bell.
void Smooth(std::vector<Sums>& cells, int across, int down, int radius) {
    for (int round = 0; round < 3; ++round) {
        for (int y = 0; y < down; ++y)
            SumAlong(&cells[static_cast<std::size_t>(y) * across], 1, across, radius);
        for (int x = 0; x < across; ++x) SumAlong(&cells[x], across, down, radius);
    }
}

/// What the cells hold that show the screen in both; nothing where these are too few.
std::vector<Sums> ScreenIn(const ColorGrid& seen, const ColorGrid& empty, const Color& keyColor) {
    constexpr double kLeastShare = 0.01;
    std::vector<bool> both = ScreenCells(seen, keyColor);
    const std::vector<bool> screen = ScreenCells(empty, keyColor);
    for (std::size_t n = 0; n < both.size(); ++n) both[n] = both[n] && screen[n];
    both = Inner(both, seen.width, seen.height);
    if (ShareOf(both) < kLeastShare) return {};
    std::vector<Sums> cells(both.size(), Sums{});
    for (std::size_t n = 0; n < both.size(); ++n) {
        const Color &s = seen.cells[n], &p = empty.cells[n];
        if (both[n]) cells[n] = {s.red, s.green, s.blue, p.red, p.green, p.blue};
    }
    return cells;
}

/// Adds a little of the whole to each, for cells that are far from any screen.
void FillFarCells(std::vector<Sums>& cells) {
    constexpr double kShare = 0.001;
    Sums mean{};
    for (const Sums& cell : cells) std::ranges::transform(mean, cell, mean.begin(), std::plus());
    for (double& sum : mean) sum *= kShare / static_cast<double>(cells.size());
    for (Sums& cell : cells) std::ranges::transform(cell, mean, cell.begin(), std::plus());
}

/// A plate's channel of zeros, as under a saturated screen, tells nothing.
double Gain(const Sums& sums, std::size_t channel) {
    const double plate = sums[channel + 3];
    return plate > 0 ? sums[channel] / plate : 1;
}

/// The two cells around a pixel's centre, and how far it lies towards the second.
struct Place {
    Place(int at, int side, int count) {
        const double center = std::clamp((at + 0.5) / side - 0.5, 0.0, count - 1.0);
        first = static_cast<int>(center);
        second = std::min(first + 1, count - 1);
        part = center - first;
    }

    int first;
    int second;
    double part;
};

Color Mixed(const Color& a, const Color& b, double part) {
    return {a.red + (b.red - a.red) * part, a.green + (b.green - a.green) * part,
            a.blue + (b.blue - a.blue) * part};
}

std::uint16_t Scaled(std::uint16_t value, double gain) {
    return static_cast<std::uint16_t>(std::min(value * gain, 65535.0) + 0.5);
}

}  // namespace

PlateShade::PlateShade(int width, int side, int across, int down)
    : width_(width), side_(side), across_(across), down_(down) {}

std::optional<PlateShade> PlateShade::Between(int width, int height, const std::uint16_t* shot,
                                              const std::uint16_t* plate, const Color& keyColor) {
    constexpr int kWidth = 24;  // part of the longer side that is the bell's deviation
    const ColorGrid seen = Reduce(width, height, shot);
    std::vector<Sums> cells = ScreenIn(seen, Reduce(width, height, plate), keyColor);
    if (cells.empty()) return std::nullopt;
    const int radius = std::max(std::max(seen.width, seen.height) / kWidth, 1);
    Smooth(cells, seen.width, seen.height, radius);
    FillFarCells(cells);
    PlateShade shade(width, seen.side, seen.width, seen.height);
    for (const Sums& cell : cells)
        shade.gains_.push_back({Gain(cell, 0), Gain(cell, 1), Gain(cell, 2)});
    return shade;
}

void PlateShade::Correct(int y, const std::uint16_t* plate, std::uint16_t* corrected) const {
    const Place down(y, side_, down_);
    std::vector<Color> gains(across_);
    for (int x = 0; x < across_; ++x)
        gains[x] = Mixed(gains_[static_cast<std::size_t>(down.first) * across_ + x],
                         gains_[static_cast<std::size_t>(down.second) * across_ + x], down.part);
    for (int x = 0; x < width_; ++x, plate += kElements, corrected += kElements) {
        const Place across(x, side_, across_);
        const Color gain = Mixed(gains[across.first], gains[across.second], across.part);
        corrected[0] = Scaled(plate[0], gain.blue);
        corrected[1] = Scaled(plate[1], gain.green);
        corrected[2] = Scaled(plate[2], gain.red);
        corrected[kAlpha] = plate[kAlpha];
    }
}

}  // namespace veltrane
