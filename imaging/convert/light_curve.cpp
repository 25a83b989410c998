#include "imaging/convert/light_curve.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "imaging/cpu/in_use.h"

namespace veltrane {
namespace {

constexpr std::uint32_t kFullScale = 65535;
constexpr int kBucketShift = LightTables::kBucketShift;
constexpr float kSmallest = LightTables::kSmallest;

std::uint32_t Bucket(float value) {
    return std::bit_cast<std::uint32_t>(value) >> kBucketShift;
}

/// A sample of a float from kSmallest to below 1.
std::uint32_t Sample(const LightTables& tables, float stored) {
    const std::uint32_t bucket = tables.buckets[Bucket(stored) - Bucket(kSmallest)];
    const std::uint32_t within = std::bit_cast<std::uint32_t>(stored) & ((1u << kBucketShift) - 1);
    // A straight line through the bucket misses by a step at most, so that three samples remain,
    // and to count thresholds takes no branch. What follows decides all the same.
    std::uint32_t k = (bucket & 0xFFFF) + ((bucket >> 16) * within >> kBucketShift);
    k -= k > 0;
    k += std::uint32_t{tables.thresholds[k + 1] <= stored} +
         std::uint32_t{tables.thresholds[k + 2] <= stored};
    while (tables.thresholds[k] > stored) --k;
    while (tables.thresholds[k + 1] <= stored) ++k;
    return k;
}

std::uint16_t Working(const LightTables& tables, float stored) {
    if (!(stored >= kSmallest)) return 0;
    if (stored >= 1.0f) return kFullScale;
    return static_cast<std::uint16_t>(Sample(tables, stored));
}

void ToWorkingRow(const LightTables& tables, const float* stored, std::ptrdiff_t count,
                  std::uint16_t* samples) {
    for (std::ptrdiff_t i = 0; i < count; ++i) samples[i] = Working(tables, stored[i]);
}

constexpr LightRows kPlainRows{ToWorkingRow};

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
    for (std::uint32_t k = 0; k <= kFullScale; ++k) {
        stored_.push_back(store(k));
        threshold_.push_back(store(std::max(k - 0.5, 0.0)));
    }
    std::uint32_t k = 0;
    for (std::uint32_t bucket = Bucket(kSmallest); bucket <= Bucket(1.0f); ++bucket) {
        const float least = std::bit_cast<float>(bucket << kBucketShift);
        const std::uint32_t before = k;
        while (k < kFullScale && threshold_[k + 1] <= least) ++k;
        if (!buckets_.empty()) buckets_.back() |= (k - before) << 16;
        buckets_.push_back(k);
    }
    threshold_.insert(threshold_.end(), 2, std::numeric_limits<float>::infinity());
}

const LightCurve& LightCurve::For(Light stored) {
    static const LightCurve linear(Light::kLinear);
    static const LightCurve display(Light::kDisplay);
    return stored == Light::kLinear ? linear : display;
}

std::uint16_t LightCurve::ToWorking(float stored) const {
    return Working(Tables(), stored);
}

void LightCurve::ToWorking(const float* stored, std::ptrdiff_t count,
                           std::uint16_t* samples) const {
    InUse<SimdLightRows>(kPlainRows).toWorking(Tables(), stored, count, samples);
}

}  // namespace veltrane
