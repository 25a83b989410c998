#include "settings/screen_color.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "settings/color_grid.h"

namespace veltrane {

namespace {

using Grid = ColorGrid;

/// Hue in degrees as the keyer measures it: the angle of the colour differences B - Y and R - Y,
/// 225 for pure green, 173 for yellow, 293 for cyan.
double Hue(const Color& c) {
    const double luma = 0.299 * c.red + 0.587 * c.green + 0.114 * c.blue;
    const double degrees =
        std::atan2(c.red - luma, c.blue - luma) * 180.0 / std::numbers::pi_v<double>;
    return degrees < 0 ? degrees + 360.0 : degrees;
}

/// How one screen's colours are told from all others.
struct Look {
    Screen screen;
    double Color::*main;   ///< the channel that stands out,
    double Color::*first;  ///< and the others
    double Color::*second;
    double leastMain;
    double vividSaturation;  ///< enough without a clear dominance, where the kind has such
    double leastSaturation;  ///< for all the others
    double leastDominance;   ///< of the main channel over both others
    double lowestHue;
    double highestHue;  ///< may go beyond 360

    double Most(const Color& c) const { return std::max(c.*first, c.*second); }
    double Least(const Color& c) const { return std::min(c.*first, c.*second); }
    double Saturation(const Color& c) const { return (c.*main - Least(c)) / c.*main; }

    /// Whether a screen might have this colour.
    bool Takes(const Color& c) const {
        if (c.*main < leastMain) return false;
        const double saturation = Saturation(c);
        const double dominance = (c.*main - Most(c)) / c.*main;
        const bool vivid = saturation >= vividSaturation;
        const bool clear = saturation >= leastSaturation && dominance >= leastDominance;
        const double hue = Hue(c);
        return (vivid || clear) && (Within(hue) || Within(hue + 360.0));
    }

private:
    bool Within(double hue) const { return hue >= lowestHue && hue <= highestHue; }
};

constexpr double kNeverVivid = 2.0;

/// Hues next to yellow and cyan, where much else in the world lies, must be vivid; dull colours
/// count only where green stands out clearly.
constexpr Look kGreenLook{Screen::Green, &Color::green, &Color::red, &Color::blue, 0.05,
                          0.6,           0.3,           0.15,        170.0,        285.0};
/// Clear sky and denim are blues in which green is not far behind, and nights are darker.
constexpr Look kBlueLook{Screen::Blue, &Color::blue, &Color::red, &Color::green, 0.15,
                         kNeverVivid,  0.55,         0.37,        310.0,         380.0};

/// A histogram of the other channels' ratios to the main one, which hold still where the light on
/// a screen changes.
class ChromaHistogram {
public:
    static constexpr int kSide = 52;

    explicit ChromaHistogram(const Look& look) : look_(look) {}

    int Bin(const Color& c) const {
        const double main = c.*look_.main;
        return Step(c.*look_.second / main) * kSide + Step(c.*look_.first / main);
    }

    void Add(const Color& c, double weight) { counts_[Bin(c)] += weight; }

    void Smooth() {
        constexpr int kRadius = 2;
        const std::vector<double> before = counts_;
        for (int y = 0; y < kSide; ++y)
            for (int x = 0; x < kSide; ++x) {
                double sum = 0;
                for (int v = std::max(y - kRadius, 0); v <= std::min(y + kRadius, kSide - 1); ++v)
                    for (int u = std::max(x - kRadius, 0); u <= std::min(x + kRadius, kSide - 1);
                         ++u)
                        sum += before[v * kSide + u];
                counts_[y * kSide + x] = sum;
            }
    }

    /// Marks the bins that belong to the highest peak: those that hang together with it, are not
    /// far from it and not much emptier.
    std::vector<bool> Peak() const {
        std::vector<bool> marked(counts_.size());
        const auto highest = std::max_element(counts_.begin(), counts_.end());
        if (*highest <= 0) return marked;
        const int top = static_cast<int>(highest - counts_.begin());
        std::vector<int> open{top};
        while (!open.empty()) {
            const int bin = open.back();
            open.pop_back();
            if (marked[bin]) continue;
            marked[bin] = true;
            for (const int next : {bin - 1, bin + 1, bin - kSide, bin + kSide})
                if (BelongsTo(top, next)) open.push_back(next);
        }
        return marked;
    }

private:
    /// The reach also keeps a step from wrapping round the end of a row.
    bool BelongsTo(int top, int bin) const {
        constexpr double kLowest = 0.04;
        constexpr int kReach = 14;
        return bin >= 0 && bin < kSide * kSide && std::abs(bin % kSide - top % kSide) <= kReach &&
               std::abs(bin / kSide - top / kSide) <= kReach &&
               counts_[bin] >= kLowest * counts_[top];
    }

    /// Screen greens have ratios up to just above 1.
    static int Step(double ratio) {
        return std::clamp(static_cast<int>(ratio * (kSide - 2)), 0, kSide - 1);
    }

    const Look& look_;
    std::vector<double> counts_ = std::vector<double>(kSide * kSide);
};

/// Which cells show the most frequent screen colour of the grid.
std::vector<bool> DominantColor(const Grid& grid, const Look& look) {
    ChromaHistogram histogram(look);
    std::vector<bool> region(grid.cells.size());
    for (std::size_t i = 0; i < grid.cells.size(); ++i) {
        const Color& c = grid.cells[i];
        region[i] = look.Takes(c);
        if (region[i]) histogram.Add(c, 1.0 - look.Least(c) / c.*look.main);
    }
    histogram.Smooth();
    const std::vector<bool> peak = histogram.Peak();
    for (std::size_t i = 0; i < grid.cells.size(); ++i)
        region[i] = region[i] && peak[histogram.Bin(grid.cells[i])];
    return region;
}

/// How even the region is: the part of its cells' right and lower neighbours that also belong to
/// it and are about as bright. Near 1 for a screen, low for foliage, text and coarse noise.
double Evenness(const Grid& grid, const std::vector<bool>& region, const Look& look) {
    constexpr double kLargestStep = 0.2;
    std::int64_t pairs = 0;
    std::int64_t even = 0;
    const auto compare = [&](int a, int b) {
        ++pairs;
        const double mainA = grid.cells[a].*look.main;
        const double mainB = grid.cells[b].*look.main;
        even += region[b] && std::abs(mainA - mainB) <= kLargestStep * std::max(mainA, mainB);
    };
    for (int y = 0; y < grid.height; ++y)
        for (int x = 0; x < grid.width; ++x) {
            const int cell = y * grid.width + x;
            if (!region[cell]) continue;
            if (x + 1 < grid.width) compare(cell, cell + 1);
            if (y + 1 < grid.height) compare(cell, cell + grid.width);
        }
    return pairs == 0 ? 1.0 : static_cast<double>(even) / static_cast<double>(pairs);
}

/// The part of the frame's upper, left and right border that belongs to the region.
double BorderShare(const Grid& grid, const std::vector<bool>& region) {
    int inside = 0;
    for (int x = 0; x < grid.width; ++x) inside += region[x];
    for (int y = 0; y < grid.height; ++y) {
        inside += region[y * grid.width];
        inside += region[y * grid.width + grid.width - 1];
    }
    return static_cast<double>(inside) / (grid.width + 2 * grid.height);
}

/// Screens are even and stretch beyond the frame; what is even but stands free, clothing say,
/// passes for one only when it is large.
bool LooksLikeScreen(const Grid& grid, const std::vector<bool>& region, const Look& look,
                     double coverage) {
    constexpr double kLeastEvenness = 0.65;
    constexpr double kWideBorder = 0.08;
    constexpr double kLeastCoverage = 0.03;
    constexpr double kLeastFreeCoverage = 0.12;
    const bool stretches = BorderShare(grid, region) >= kWideBorder;
    return coverage >= (stretches ? kLeastCoverage : kLeastFreeCoverage) &&
           Evenness(grid, region, look) >= kLeastEvenness;
}

/// The value below which this part of the values lies.
double Quantile(std::vector<double> values, double part) {
    const auto at =
        values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

/// The region's usual chroma at the brightness of its darker quarter: the keyer takes what is
/// darker than its key for shadow, whereas a brighter screen keys well.
Color TypicalColor(const Grid& grid, const std::vector<bool>& region, const Look& look) {
    std::vector<double> main;
    std::vector<double> first;
    std::vector<double> second;
    for (std::size_t i = 0; i < grid.cells.size(); ++i) {
        if (!region[i]) continue;
        const Color& c = grid.cells[i];
        main.push_back(c.*look.main);
        first.push_back(c.*look.first / c.*look.main);
        second.push_back(c.*look.second / c.*look.main);
    }
    Color typical{};
    const double level = Quantile(std::move(main), 0.25);
    typical.*look.main = level;
    typical.*look.first = std::min(level * Quantile(std::move(first), 0.5), 1.0);
    typical.*look.second = level * Quantile(std::move(second), 0.5);
    return typical;
}

std::optional<ScreenColor> FindOn(const Grid& grid, const Look& look) {
    const std::vector<bool> region = DominantColor(grid, look);
    const auto cells = std::count(region.begin(), region.end(), true);
    const double coverage = static_cast<double>(cells) / static_cast<double>(region.size());
    if (cells == 0 || !LooksLikeScreen(grid, region, look, coverage)) return std::nullopt;
    return ScreenColor{SnapToByteSteps(TypicalColor(grid, region, look)), coverage, look.screen};
}

}  // namespace

std::optional<ScreenColor> FindScreenColor(int width, int height, const std::uint16_t* frame,
                                           std::optional<Screen> kind) {
    if (width < 1 || height < 1) return std::nullopt;
    const Grid grid = Reduce(width, height, frame);
    std::optional<ScreenColor> found;
    for (const Look* look : {&kGreenLook, &kBlueLook}) {
        if (kind.value_or(look->screen) != look->screen) continue;
        const auto candidate = FindOn(grid, *look);
        if (candidate && (!found || candidate->coverage > found->coverage)) found = candidate;
    }
    return found;
}

std::optional<Screen> ScreenOf(const Color& c) {
    constexpr double kLeastChroma = 0.08;
    const auto [least, most] = std::minmax({c.red, c.green, c.blue});
    if (most - least < kLeastChroma) return std::nullopt;
    const double hue = Hue(c);
    if (hue >= 140.0 && hue <= 280.0) return Screen::Green;
    if (hue >= 306.0 || hue <= 40.0) return Screen::Blue;
    return std::nullopt;
}

Color AverageColor(int width, int height, const std::uint16_t* frame, int x, int y, int side) {
    if (x < 0 || y < 0 || x >= width || y >= height || side < 1)
        throw std::invalid_argument("point " + std::to_string(x) + "," + std::to_string(y) +
                                    " lies outside the frame of " + std::to_string(width) + " x " +
                                    std::to_string(height));
    const int before = side / 2;
    const int after = side - before;
    const int left = std::max(x - before, 0);
    const int top = std::max(y - before, 0);
    const int right = x + std::min(after, width - x);
    const int bottom = y + std::min(after, height - y);
    return MeanColor(width, frame, left, top, right, bottom);
}

}  // namespace veltrane
