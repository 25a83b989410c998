#include "measures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#include "imaging/convert/light_curve.h"

namespace veltrane::bench {
namespace {

constexpr float kFull = 65535;
constexpr float kEdgeFrom = 0.02f, kEdgeTo = 0.98f;
// Half a step of 8 bits, so that mattes of any depth are judged alike.
constexpr float kVisible = 0.5f / 255;
constexpr double kGrey = 0.18;

std::vector<float> Plane(const media::Frame& frame, int element) {
    std::vector<float> plane;
    plane.reserve(frame.pixels.size() / 4);
    for (std::size_t i = static_cast<std::size_t>(element); i < frame.pixels.size(); i += 4)
        plane.push_back(static_cast<float>(frame.pixels[i]) / kFull);
    return plane;
}

/// A Gaussian and its derivative, with a sum of squares of 1.
struct Kernels {
    static constexpr int kReach = 4;
    std::array<double, 2 * kReach + 1> smooth, slope;

    Kernels() {
        constexpr double kSigma = 1.4;
        double smoothSquares = 0, slopeSquares = 0;
        for (int i = -kReach; i <= kReach; ++i) {
            const double bell = std::exp(-i * i / (2 * kSigma * kSigma));
            smooth[i + kReach] = bell;
            slope[i + kReach] = i * bell;
            smoothSquares += bell * bell;
            slopeSquares += i * bell * i * bell;
        }
        for (double& value : smooth) value /= std::sqrt(smoothSquares);
        for (double& value : slope) value /= std::sqrt(slopeSquares);
    }
};

/// The plane filtered along its rows (step 1) or columns (step width); what lies beyond is as the
/// rim.
std::vector<float> Filtered(const std::vector<float>& plane, int width, bool alongRows,
                            const std::array<double, 9>& kernel) {
    const int height = static_cast<int>(plane.size()) / width;
    std::vector<float> filtered(plane.size());
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            double sum = 0;
            for (int i = -Kernels::kReach; i <= Kernels::kReach; ++i) {
                const int column = alongRows ? std::clamp(x + i, 0, width - 1) : x;
                const int row = alongRows ? y : std::clamp(y + i, 0, height - 1);
                sum += kernel[i + Kernels::kReach] * plane[std::size_t(row) * width + column];
            }
            filtered[std::size_t(y) * width + x] = static_cast<float>(sum);
        }
    return filtered;
}

/// How steep the matte is at every pixel.
std::vector<float> Slopes(const std::vector<float>& matte, int width) {
    static const Kernels kernels;
    const auto across =
        Filtered(Filtered(matte, width, true, kernels.slope), width, false, kernels.smooth);
    const auto down =
        Filtered(Filtered(matte, width, true, kernels.smooth), width, false, kernels.slope);
    std::vector<float> slopes(matte.size());
    for (std::size_t i = 0; i < matte.size(); ++i) slopes[i] = std::hypot(across[i], down[i]);
    return slopes;
}

/// The channel over grey, composited in linear light.
double OverGrey(std::uint16_t color, float matte) {
    const double light = LinearFromSrgb(color / double(kFull));
    return SrgbFromLinear(light * matte + kGrey * (1 - matte));
}

}  // namespace

void Meter::AddPixels(const media::Frame& keyed, const Truth& truth) {
    for (std::size_t i = 0; i < keyed.pixels.size(); i += 4) {
        const float matte = keyed.pixels[i + 3] / kFull;
        const float coverage = truth.coverage.pixels[i] / kFull;
        const double error = std::abs(matte - coverage);
        matte_.Add(error);
        if (coverage == 0) kept_.Add(matte > kVisible);
        if (coverage == 1) holes_.Add(matte < 1 - kVisible);
        if (coverage < kEdgeFrom || coverage > kEdgeTo) continue;
        edges_.Add(error);
        if (!truth.overGrey) continue;
        for (std::size_t e = i; e < i + 3; ++e)
            color_.Add(std::abs(OverGrey(keyed.pixels[e], matte) -
                                truth.overGrey->pixels[e] / double(kFull)));
    }
}

void Meter::AddFlicker(const std::vector<float>& matte, const std::vector<float>& coverage) {
    std::vector<float> error(matte.size());
    for (std::size_t i = 0; i < matte.size(); ++i) error[i] = matte[i] - coverage[i];
    for (std::size_t i = 0; i < lastError_.size(); ++i)
        flicker_.Add(std::abs(error[i] - lastError_[i]));
    lastError_ = std::move(error);
}

void Meter::Add(const media::Frame& keyed, const Truth& truth) {
    const auto differs = [&](const media::Frame& other) {
        return other.width != keyed.width || other.height != keyed.height;
    };
    if (differs(truth.coverage) || (truth.overGrey && differs(*truth.overGrey)))
        throw std::invalid_argument("the truth is not of the picture's size");
    AddPixels(keyed, truth);
    const std::vector<float> matte = Plane(keyed, 3), coverage = Plane(truth.coverage, 0);
    const std::vector<float> slopes = Slopes(matte, keyed.width);
    const std::vector<float> trueSlopes = Slopes(coverage, keyed.width);
    for (std::size_t i = 0; i < slopes.size(); ++i)
        gradient_.Add(1000 * double(slopes[i] - trueSlopes[i]) * (slopes[i] - trueSlopes[i]));
    AddFlicker(matte, coverage);
}

Figures Meter::Result() const {
    Figures figures{matte_.Value(), edges_.Value(), gradient_.Value(), kept_.Value(),
                    holes_.Value()};
    if (color_.count > 0) figures.color = color_.Value();
    if (flicker_.count > 0) figures.flicker = flicker_.Value();
    return figures;
}

}  // namespace veltrane::bench
