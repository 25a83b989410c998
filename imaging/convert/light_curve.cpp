#include "imaging/convert/light_curve.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace veltrane {
namespace {

constexpr int kFullScale = 65535;
// A bucket holds the floats that agree in sign, exponent and 11 bits of the mantissa; within one
// the sample grows by at most about 8 steps.
constexpr int kBucketShift = 12;
// Below this every float is sample 0: half a step is 7.6e-6, on the linear scale 5.9e-7.
constexpr float kSmallest = 0x1p-22f;

std::uint32_t Bucket(float value) {
    return std::bit_cast<std::uint32_t>(value) >> kBucketShift;
}

}  // namespace

double SrgbFromLinear(double linear) {
    if (linear <= 0.0031308) return linear * 12.92;
    return 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
}

double LinearFromSrgb(double encoded) {
    if (encoded <= 0.04045) return encoded / 12.92;
    return std::pow((encoded + 0.055) / 1.055, 2.4);
}

LightCurve::LightCurve(Light stored) {
    const auto store = [stored](double working) {
        const double value = working / kFullScale;
        return static_cast<float>(stored == Light::kLinear ? LinearFromSrgb(value) : value);
    };
    for (int k = 0; k <= kFullScale; ++k) {
        stored_.push_back(store(k));
        threshold_.push_back(store(std::max(k - 0.5, 0.0)));
    }
    int k = 0;
    for (std::uint32_t bucket = Bucket(kSmallest); bucket <= Bucket(1.0f); ++bucket) {
        const float least = std::bit_cast<float>(bucket << kBucketShift);
        while (k < kFullScale && threshold_[k + 1] <= least) ++k;
        first_.push_back(static_cast<std::uint16_t>(k));
    }
    threshold_.insert(threshold_.end(), 2, std::numeric_limits<float>::infinity());
}

const LightCurve& LightCurve::For(Light stored) {
    static const LightCurve linear(Light::kLinear);
    static const LightCurve display(Light::kDisplay);
    return stored == Light::kLinear ? linear : display;
}

std::uint16_t LightCurve::ToWorking(float stored) const {
    if (!(stored >= kSmallest)) return 0;
    if (stored >= 1.0f) return kFullScale;
    const std::size_t bucket = Bucket(stored) - Bucket(kSmallest);
    const std::uint32_t within = std::bit_cast<std::uint32_t>(stored) & ((1u << kBucketShift) - 1);
    const std::uint32_t first = first_[bucket], steps = first_[bucket + 1] - first;
    // A straight line through the bucket misses by a step at most, so that three samples remain,
    // and to count thresholds takes no branch. What follows decides all the same.
    std::uint32_t k = first + (steps * within >> kBucketShift);
    k -= k > 0;
    k += std::uint32_t{threshold_[k + 1] <= stored} + std::uint32_t{threshold_[k + 2] <= stored};
    while (threshold_[k] > stored) --k;
    while (threshold_[k + 1] <= stored) ++k;
    return static_cast<std::uint16_t>(k);
}

}  // namespace veltrane
