#include "media/transfer.h"

#include <cmath>

#include "imaging/convert/convert.h"

namespace veltrane::media {
namespace {

constexpr int kFullScale = 65535;

template <typename Value>
std::vector<std::uint16_t> TableOf(Value value) {
    std::vector<std::uint16_t> table(kFullScale + 1);
    for (int k = 0; k <= kFullScale; ++k) table[k] = value(k);
    return table;
}

}  // namespace

float Converted(float value, Transfer from, Transfer to) {
    if (from == to) return value;
    const double size = std::abs(double{value});
    const double converted = to == Transfer::Linear ? LinearFromSrgb(size) : SrgbFromLinear(size);
    return static_cast<float>(std::copysign(converted, value));
}

const TransferCurve& TransferCurve::For(Transfer transfer) {
    static const TransferCurve linear(Light::kLinear);
    static const TransferCurve none(Light::kDisplay);
    return transfer == Transfer::Linear ? linear : none;
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
