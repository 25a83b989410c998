#include "imaging/resample/resample_axis.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "imaging/sample.h"

namespace veltrane {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kNarrowPi = 2.670353755551324;  ///< 0.85 pi

/// The windowed sinc of one axis. The positions of the taps repeat along it but for the last bits
/// of a double, which hardly ever show in the float that is kept: values are remembered by position
/// and computed again only where those bits might decide the float.
class Kernel {
public:
    Kernel(int kernelType, int lobes)
        : sinc_(kernelType == 1 ? kNarrowPi : kPi),
          lobes_(lobes),
          known_(std::size_t{1} << kSlotBits) {}

    float At(double t) {
        Known& known = known_[Slot(t)];
        if (t == known.t) return known.value;
        if (std::fabs(t - known.t) <= kSamePosition) {
            return known.certain ? known.value : static_cast<float>(Compute(t));
        }
        const double value = Compute(t);
        known = {
            t, static_cast<float>(value),
            static_cast<float>(value - kValueMargin) == static_cast<float>(value + kValueMargin)};
        return known.value;
    }

private:
    struct Known {
        double t = HUGE_VAL;
        float value = 0;
        bool certain = false;  ///< whether every position that counts as the same has this value
    };
    static constexpr int kSlotBits = 10;
    static constexpr double kSamePosition = 1e-12;
    /// The kernel's slope is below 3 everywhere.
    static constexpr double kValueMargin = 4 * kSamePosition;

    /// Multiplying spreads positions a regular step apart over the table.
    static std::size_t Slot(double t) {
        const auto position = static_cast<std::uint64_t>(static_cast<std::int64_t>(t * (1 << 30)));
        return position * 0x9E3779B97F4A7C15 >> (64 - kSlotBits);
    }

    double Compute(double t) const {
        if (std::fabs(t) < 2.220446049250313e-16) return 1;
        if (std::fabs(t) >= lobes_) return 0;
        const double x = sinc_ * t;
        const double window = kPi * t / lobes_;
        return std::sin(x) / x * std::sin(window) / window;
    }

    double sinc_;
    int lobes_;
    std::vector<Known> known_;
};

}  // namespace

ResampleAxis::ResampleAxis(int sourceSize, int targetSize, int kernelType, int lobes) {
    const double source = sourceSize;
    const double target = targetSize;
    const bool enlarging = sourceSize < targetSize;
    // Distances are measured in source pixels when enlarging and in target pixels when shrinking.
    const double step = enlarging ? 1.0 : target / source;
    const double perTarget = enlarging ? -source / target : -1.0;
    const double offset = enlarging ? source / (2 * target) - 0.5 : 0.5 - target / (2 * source);
    const float radius = enlarging ? static_cast<float>(lobes)
                                   : static_cast<float>(lobes) * (static_cast<float>(sourceSize) /
                                                                  static_cast<float>(targetSize));
    const double half = source / (2 * target);
    Kernel kernel(kernelType, lobes);
    std::vector<float> values;
    taps.reserve(static_cast<std::size_t>(targetSize));
    for (int x = 1; x <= targetSize; ++x) {
        const double centre = (2.0 * x - 1) * half;
        const int first = std::max(TruncateToInt(centre - radius + 0.5 + 1.0), 1);
        const int last = std::min(TruncateToInt(centre + radius + 0.5), sourceSize);
        const int count = std::max(last - first + 1, 0);
        values.resize(static_cast<std::size_t>(count));
        for (int k = 0; k < count; ++k) {
            values[k] = kernel.At((first + k) * step + x * perTarget + offset);
        }
        taps.push_back({count == 0 ? 0 : first - 1, count, 0});
        longest = std::max(longest, count);
        AppendNormalised(values);
    }
}

/// Only samples that exist have weights, so dividing by their sum keeps the borders at full level.
void ResampleAxis::AppendNormalised(const std::vector<float>& kernel) {
    float sum = 0;
    for (const float value : kernel) sum += value;
    for (const float value : kernel) weights.push_back(TruncateToInt(value / sum * 65536.0f));
    const std::size_t count = kernel.size();
    const std::size_t start = weights.size() - count;
    const auto own = weights.begin() + static_cast<std::ptrdiff_t>(start);
    const bool same = start >= count && std::equal(own, weights.end(), own - count);
    if (same) weights.resize(start);
    taps.back().weights = static_cast<std::uint32_t>(same ? start - count : start);
}

std::int64_t ResampleAxis::Reach() const {
    std::int64_t reach = 0;
    for (const Taps& t : taps) {
        std::int64_t sum = 0;
        for (int k = 0; k < t.count; ++k) sum += std::abs(std::int64_t{Weights(t)[k]});
        reach = std::max(reach, sum);
    }
    return reach * 255 / 65536 + 1;
}

}  // namespace veltrane
