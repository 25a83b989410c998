#include <algorithm>

#include "imaging/resample/resample_rows.h"

namespace veltrane {
namespace {

constexpr std::uint8_t kNoByte = 0x80;  ///< looks up 0

std::int16_t LowPart(std::int32_t weight) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(weight));
}

std::int16_t HighPart(std::int32_t weight) {
    return static_cast<std::int16_t>((weight - LowPart(weight)) / 65536);
}

}  // namespace

PairedAxis::PairedAxis(const ResampleAxis& axis) {
    targets.reserve(axis.taps.size());
    const Taps* before = nullptr;
    for (const Taps& taps : axis.taps) {
        Target target{taps.first / 2, (taps.first % 2 + taps.count + 1) / 2, 0};
        const bool same = before != nullptr && before->weights == taps.weights &&
                          before->count == taps.count && before->first % 2 == taps.first % 2;
        target.weights = same ? targets.back().weights : AppendPairs(axis, taps);
        targets.push_back(target);
        longest = std::max(longest, static_cast<int>(target.pairs));
        before = &taps;
    }
    if (std::all_of(high.begin(), high.end(), [](int part) { return part == 0; })) high.clear();
}

std::uint32_t PairedAxis::AppendPairs(const ResampleAxis& axis, const Taps& taps) {
    const std::size_t start = low.size();
    const std::size_t lead = taps.first % 2;
    const std::size_t size = start + (lead + taps.count + 1) / 2 * 2;
    low.resize(size, 0);
    high.resize(size, 0);
    for (int k = 0; k < taps.count; ++k) {
        const std::int32_t weight = axis.Weights(taps)[k];
        low[start + lead + k] = LowPart(weight);
        high[start + lead + k] = HighPart(weight);
    }
    return static_cast<std::uint32_t>(start);
}

bool StretchAxis::Fits(const ResampleAxis& axis) {
    const auto& taps = axis.taps;
    for (std::size_t x = 0; x < taps.size(); ++x) {
        if (taps[x].count < 1 || taps[x].count > 2) return false;
        const std::int32_t* weights = axis.Weights(taps[x]);
        const std::int32_t second = taps[x].count == 2 ? weights[1] : 0;
        if (weights[0] < 0 || second < 0) return false;
        const std::int64_t sum = std::int64_t{weights[0]} + second;
        if (sum > 65536 || sum < 65536 - 64) return false;
        const Taps& head = taps[x - x % kGroup];
        if (taps[x].first + taps[x].count > head.first + kWindow) return false;
    }
    return true;
}

StretchAxis::StretchAxis(const ResampleAxis& axis)
    : size((axis.taps.size() + kRowBlock - 1) / kRowBlock * kRowBlock),
      windows(size / kGroup, 0),
      lookup(4 * size),
      low(2 * size),
      high(2 * size) {
    std::fill_n(lookup.data(), lookup.size(), kNoByte);
    for (std::size_t x = 0; x < axis.taps.size(); ++x) {
        const Taps& taps = axis.taps[x];
        if (x % kGroup == 0) windows[x / kGroup] = taps.first;
        for (int k = 0; k < taps.count; ++k) {
            const std::size_t at = x * 2 + k;
            lookup.data()[at * 2] = static_cast<std::uint8_t>(taps.first + k - windows[x / kGroup]);
            low.data()[at] = LowPart(axis.Weights(taps)[k]);
            high.data()[at] = HighPart(axis.Weights(taps)[k]);
        }
    }
}

}  // namespace veltrane
