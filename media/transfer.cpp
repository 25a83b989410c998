#include "media/transfer.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "imaging/convert/convert.h"

namespace veltrane::media {
namespace {

constexpr int kFullScale = 65535;
// A bucket holds the floats that agree in sign, exponent and 11 bits of the mantissa; within one
// the working value grows by at most about 8 steps.
constexpr int kBucketShift = 12;
// Below this every float is working value 0: half a step is 7.6e-6, on the linear scale 5.9e-7.
constexpr float kSmallest = 0x1p-22f;

std::uint32_t Bucket(float value) {
    return std::bit_cast<std::uint32_t>(value) >> kBucketShift;
}

template <typename Value>
std::vector<std::uint16_t> TableOf(Value value) {
    std::vector<std::uint16_t> table(kFullScale + 1);
    for (int k = 0; k <= kFullScale; ++k) table[k] = value(k);
    return table;
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

float Converted(float value, Transfer from, Transfer to) {
    if (from == to) return value;
    const double size = std::abs(double{value});
    const double converted = to == Transfer::Linear ? LinearFromSrgb(size) : SrgbFromLinear(size);
    return static_cast<float>(std::copysign(converted, value));
}

TransferCurve::TransferCurve(bool linear) {
    const auto store = [linear](double working) {
        const double value = working / kFullScale;
        return static_cast<float>(linear ? LinearFromSrgb(value) : value);
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
}

const TransferCurve& TransferCurve::For(Transfer transfer) {
    static const TransferCurve linear(true);
    static const TransferCurve none(false);
    return transfer == Transfer::Linear ? linear : none;
}

std::uint16_t TransferCurve::ToWorking(float stored) const {
    if (!(stored >= kSmallest)) return 0;
    if (stored >= 1.0f) return kFullScale;
    std::size_t k = first_[Bucket(stored) - Bucket(kSmallest)];
    while (k < kFullScale && threshold_[k + 1] <= stored) ++k;
    return static_cast<std::uint16_t>(k);
}

const std::vector<std::uint16_t>& LinearToWorkingTable() {
    static const std::vector<std::uint16_t> table = TableOf([](int k) {
        return TransferCurve::For(Transfer::Linear).ToWorking(static_cast<float>(k) / kFullScale);
    });
    return table;
}

const std::vector<std::uint16_t>& WorkingToLinearTable() {
    static const std::vector<std::uint16_t> table = TableOf([](int k) {
        return ToSample(
            TransferCurve::For(Transfer::Linear).ToStored(static_cast<std::uint16_t>(k)));
    });
    return table;
}

}  // namespace veltrane::media
