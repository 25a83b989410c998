#include "settings/clean_plate.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "settings/color_grid.h"

namespace veltrane {

namespace {

double Median(std::vector<double> values) {
    const auto middle = values.begin() + std::ssize(values) / 2;
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Values of one channel in the same cells of plate and shot.
struct Pairs {
    std::vector<double> plate;
    std::vector<double> shot;

    double Error(std::size_t n, const ChannelFit& fit) const {
        return std::abs(shot[n] - fit.gain * plate[n] - fit.offset);
    }
};

/// Least squares over the pairs that lie within limit of the fit so far. A plate that is all of one
/// value tells nothing of an offset, and one of zeros, as under a saturated screen, nothing at all.
ChannelFit Refit(const Pairs& pairs, const ChannelFit& fit, double limit) {
    constexpr double kLeastSpread = 0.015;
    double count = 0, p = 0, s = 0, pp = 0, ps = 0;
    for (std::size_t n = 0; n < pairs.plate.size(); ++n) {
        if (pairs.Error(n, fit) > limit) continue;
        ++count;
        p += pairs.plate[n];
        s += pairs.shot[n];
        pp += pairs.plate[n] * pairs.plate[n];
        ps += pairs.plate[n] * pairs.shot[n];
    }
    if (pp == 0) return {1, 0};
    const double spread = pp / count - p / count * (p / count);
    if (!(spread >= kLeastSpread * kLeastSpread)) return {ps / pp, 0};
    const double gain = (ps / count - p / count * (s / count)) / spread;
    return {gain, s / count - gain * (p / count)};
}

/// Shadows, reflections and the subject's rim lie outside: what is far off the fit is left out of
/// the next one.
ChannelFit FitChannel(const Pairs& pairs) {
    constexpr int kRounds = 5;
    constexpr double kDeviations = 2.5 * 1.4826;  // of the median error, as sigmas
    constexpr double kLeastLimit = 1e-4;
    std::vector<double> values(pairs.plate.size());
    for (std::size_t n = 0; n < values.size(); ++n)
        values[n] = pairs.shot[n] / std::max(pairs.plate[n], 1e-6);
    ChannelFit fit{Median(values), 0};
    for (int round = 0; round < kRounds; ++round) {
        for (std::size_t n = 0; n < values.size(); ++n) values[n] = pairs.Error(n, fit);
        fit = Refit(pairs, fit, std::max(kDeviations * Median(values), kLeastLimit));
    }
    return fit;
}

std::uint16_t Corrected(const ChannelFit& fit, std::uint16_t value) {
    constexpr double kFull = 65535.0;
    const double corrected = fit.gain * value + fit.offset * kFull;
    return static_cast<std::uint16_t>(std::clamp(corrected, 0.0, kFull) + 0.5);
}

}  // namespace

double ScreenShare(int width, int height, const std::uint16_t* frame, const Color& keyColor) {
    return ShareOf(ScreenCells(Reduce(width, height, frame), keyColor));
}

std::optional<PlateFit> FitPlate(int width, int height, const std::uint16_t* shot,
                                 const std::uint16_t* plate, const Color& keyColor) {
    constexpr double kLeastShare = 0.01;
    const ColorGrid seen = Reduce(width, height, shot);
    const ColorGrid empty = Reduce(width, height, plate);
    std::vector<bool> both = ScreenCells(seen, keyColor);
    const std::vector<bool> screen = ScreenCells(empty, keyColor);
    for (std::size_t n = 0; n < both.size(); ++n) both[n] = both[n] && screen[n];
    if (ShareOf(both) < kLeastShare) return std::nullopt;
    const auto fit = [&](double Color::*channel) {
        Pairs pairs;
        for (std::size_t n = 0; n < both.size(); ++n) {
            if (!both[n]) continue;
            pairs.plate.push_back(empty.cells[n].*channel);
            pairs.shot.push_back(seen.cells[n].*channel);
        }
        return FitChannel(pairs);
    };
    return PlateFit{fit(&Color::red), fit(&Color::green), fit(&Color::blue)};
}

void CorrectPlate(const PlateFit& fit, const std::uint16_t* plate, std::uint16_t* corrected,
                  std::ptrdiff_t width) {
    for (const std::uint16_t* end = plate + width * kElements; plate != end;
         plate += kElements, corrected += kElements) {
        corrected[0] = Corrected(fit.blue, plate[0]);
        corrected[1] = Corrected(fit.green, plate[1]);
        corrected[2] = Corrected(fit.red, plate[2]);
        corrected[kAlpha] = plate[kAlpha];
    }
}

}  // namespace veltrane
