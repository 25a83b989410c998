#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/resample_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

#include "imaging/resample_rows.h"
#include "imaging/sample.h"
#include "imaging/simd.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using ByteTag = hn::ScalableTag<std::uint8_t>;
using ShortTag = hn::ScalableTag<std::int16_t>;
using WordTag = hn::RebindToUnsigned<ShortTag>;
using IntTag = hn::ScalableTag<std::int32_t>;
using Bytes = hn::Vec<ByteTag>;
using Shorts = hn::Vec<ShortTag>;
using Ints = hn::Vec<IntTag>;

constexpr int kBlockBytes = 16;
constexpr int kBlocks = hn::MaxLanes(ByteTag()) / kBlockBytes;
constexpr std::uint8_t kNone = 0x80;  ///< looks up 0
constexpr int kPairElements = 8;      ///< two pixels of 16-bit samples: a block

/// A vector of blocks that lie apart.
template <class D, class T = hn::TFromD<D>>
hn::Vec<D> LoadBlocks(D d, const T* const* from) {
    if constexpr (hn::MaxLanes(d) * sizeof(T) == kBlockBytes) {
        return hn::LoadU(d, from[0]);
    } else {
        const hn::Half<D> half;
        constexpr std::size_t kHalf = hn::MaxLanes(half) * sizeof(T) / kBlockBytes;
        return hn::Combine(d, LoadBlocks(half, from + kHalf), LoadBlocks(half, from));
    }
}

template <class D, class T = hn::TFromD<D>>
void StoreBlocks(D d, hn::Vec<D> blocks, T* const* to) {
    if constexpr (hn::MaxLanes(d) * sizeof(T) == kBlockBytes) {
        hn::StoreU(blocks, d, to[0]);
    } else {
        const hn::Half<D> half;
        constexpr std::size_t kHalf = hn::MaxLanes(half) * sizeof(T) / kBlockBytes;
        StoreBlocks(half, hn::LowerHalf(half, blocks), to);
        StoreBlocks(half, hn::UpperHalf(half, blocks), to + kHalf);
    }
}

/// Sums of products of neighbouring 16-bit lanes.
class PairSums {
public:
    PairSums() : sum_(hn::Zero(IntTag())), other_(hn::Zero(IntTag())) {}

    void Add(Shorts samples, Shorts weights) {
        sum_ = hn::ReorderWidenMulAccumulate(IntTag(), samples, weights, sum_, other_);
    }
    Ints Get() const { return hn::RearrangeToOddPlusEven(sum_, other_); }

private:
    Ints sum_;
    Ints other_;
};

Shorts RepeatPair(const std::int16_t* weights) {
    std::int32_t pair;
    std::memcpy(&pair, weights, sizeof(pair));
    return hn::BitCast(ShortTag(), hn::Set(IntTag(), pair));
}

/// v / 257 rounded to nearest, in the high byte.
hn::Vec<WordTag> Reduced(hn::Vec<WordTag> samples) {
    const WordTag words;
    return hn::MulHigh(hn::SaturatedAdd(samples, hn::Set(words, 128)), hn::Set(words, 0xFF01));
}

/// Brings the two pixels of every block together: blue, blue, green, green and so on.
Bytes PairUp(Bytes samples, const std::uint8_t (&order)[kBlockBytes]) {
    return hn::TableLookupBytesOr0(samples, hn::LoadDup128(ByteTag(), order));
}

/// Stores as many pairs of pixels of kBlocks rows as a block holds of the source.
void StorePairs(const std::uint16_t* const* rows, std::int16_t* pairs) {
    alignas(16) static constexpr std::uint8_t kOrder[kBlockBytes] = {
        1, kNone, 9, kNone, 3, kNone, 11, kNone, 5, kNone, 13, kNone, 7, kNone, 15, kNone};
    const auto samples = Reduced(LoadBlocks(WordTag(), rows));
    const auto paired = PairUp(hn::BitCast(ByteTag(), samples), kOrder);
    hn::StoreU(hn::BitCast(ShortTag(), paired), ShortTag(), pairs);
}

void StorePairs(const std::uint8_t* const* rows, std::int16_t* pairs) {
    alignas(16) static constexpr std::uint8_t kFirst[kBlockBytes] = {
        0, kNone, 4, kNone, 1, kNone, 5, kNone, 2, kNone, 6, kNone, 3, kNone, 7, kNone};
    alignas(16) static constexpr std::uint8_t kSecond[kBlockBytes] = {
        8, kNone, 12, kNone, 9, kNone, 13, kNone, 10, kNone, 14, kNone, 11, kNone, 15, kNone};
    const auto samples = LoadBlocks(ByteTag(), rows);
    const ShortTag shorts;
    hn::StoreU(hn::BitCast(shorts, PairUp(samples, kFirst)), shorts, pairs);
    hn::StoreU(hn::BitCast(shorts, PairUp(samples, kSecond)), shorts,
               pairs + kBlocks * kPairElements);
}

/// Unpacks the pairs from..to of kBlocks rows: those of one column lie together.
template <class Source>
void UnpackPairs(const Source* const* rows, int width, int from, int to, std::int16_t* pairs) {
    constexpr int kPixels = kBlockBytes / sizeof(Source) / kElements;
    constexpr std::size_t kSamples = kPixels * kElements;
    for (int x = 2 * from; x < 2 * to; x += kPixels) {
        const Source* at[kBlocks];
        Source padded[kBlocks][kSamples];
        for (int j = 0; j < kBlocks; ++j) {
            at[j] = rows[j] + static_cast<std::ptrdiff_t>(x) * kElements;
            if (x + kPixels <= width) continue;
            std::fill_n(padded[j], kSamples, Source{0});
            std::memcpy(padded[j], at[j], (width - x) * kElements * sizeof(Source));
            at[j] = padded[j];
        }
        StorePairs(at, pairs);
        pairs += kPixels / 2 * kBlocks * kPairElements;
    }
}

/// One target pixel of kBlocks rows.
template <bool kHasHigh>
Ints FilterPixel(const PairedAxis::Target& target, const PairedAxis& axis,
                 const std::int16_t* pairs) {
    const std::int16_t* low = axis.low.data() + target.weights;
    const std::int16_t* high = axis.high.data() + (kHasHigh ? target.weights : 0);
    PairSums lowSums;
    PairSums highSums;
    for (int p = 0; p < target.pairs; ++p) {
        const auto samples = hn::LoadU(ShortTag(), pairs + p * kBlocks * kPairElements);
        lowSums.Add(samples, RepeatPair(low + 2 * p));
        if constexpr (kHasHigh) highSums.Add(samples, RepeatPair(high + 2 * p));
    }
    const Ints sums = hn::ShiftRight<16>(lowSums.Get());
    if constexpr (kHasHigh) return hn::Add(sums, highSums.Get());
    return sums;
}

template <bool kHasHigh, class Source>
void FilterTargets(const Source* const* rows, int width, const PairedAxis& axis,
                   std::int16_t* scratch, std::int16_t* const* filtered) {
    const int allPairs = (width + 1) / 2;
    int from = 0;
    int to = 0;
    const auto filter = [&](std::size_t x) {
        const PairedAxis::Target& target = axis.targets[x];
        if (target.firstPair + target.pairs > to) {
            from = target.firstPair;
            to = std::min(from + axis.TilePairs(), allPairs);
            UnpackPairs(rows, width, from, to, scratch);
        }
        const std::ptrdiff_t skipped = target.firstPair - from;
        return FilterPixel<kHasHigh>(target, axis, scratch + skipped * kBlocks * kPairElements);
    };
    for (std::size_t x = 0; x < axis.targets.size(); x += 2) {
        const Ints left = filter(x);
        const Ints right = x + 1 < axis.targets.size() ? filter(x + 1) : hn::Zero(IntTag());
        std::int16_t* at[kBlocks];
        for (int j = 0; j < kBlocks; ++j) at[j] = filtered[j] + x * kElements;
        StoreBlocks(ShortTag(), hn::ReorderDemote2To(ShortTag(), left, right), at);
    }
}

template <class Source>
void Filter(const Source* const* rows, int width, const ResampleAxis&, const PairedAxis& axis,
            std::int16_t* scratch, std::int16_t* const* filtered) {
    if (axis.high.empty()) {
        FilterTargets<false>(rows, width, axis, scratch, filtered);
    } else {
        FilterTargets<true>(rows, width, axis, scratch, filtered);
    }
}

void Blend(const std::int16_t* const* rows, const std::int32_t* weights, int count,
           std::uint8_t* row, std::size_t size) {
    const IntTag ints;
    const hn::Rebind<std::int16_t, IntTag> shorts;
    const hn::Rebind<std::uint8_t, IntTag> bytes;
    constexpr std::size_t kLanes = hn::MaxLanes(ints);
    for (std::size_t i = 0; i < size; i += 4 * kLanes) {
        Ints sum0 = hn::Set(ints, 32768);
        Ints sum1 = sum0;
        Ints sum2 = sum0;
        Ints sum3 = sum0;
        for (int k = 0; k < count; ++k) {
            const std::int16_t* from = rows[k] + i;
            const Ints weight = hn::Set(ints, weights[k]);
            const auto weighted = [&](std::size_t at) {
                return hn::Mul(hn::PromoteTo(ints, hn::LoadU(shorts, from + at)), weight);
            };
            sum0 = hn::Add(sum0, weighted(0));
            sum1 = hn::Add(sum1, weighted(kLanes));
            sum2 = hn::Add(sum2, weighted(2 * kLanes));
            sum3 = hn::Add(sum3, weighted(3 * kLanes));
        }
        const auto store = [&](Ints sum, std::size_t at) {
            hn::StoreU(hn::DemoteTo(bytes, hn::ShiftRight<16>(sum)), bytes, row + i + at);
        };
        store(sum0, 0);
        store(sum1, kLanes);
        store(sum2, 2 * kLanes);
        store(sum3, 3 * kLanes);
    }
}

void Stretch(const std::uint8_t* const* planes, const ResampleAxis&, const StretchAxis& axis,
             std::uint8_t* stretched, std::size_t pitch) {
    constexpr int kGroup = StretchAxis::kGroup;
    const hn::Rebind<std::uint8_t, IntTag> bytes;
    for (std::size_t g = 0; g < axis.windows.size(); g += kBlocks) {
        const auto lookup = hn::LoadU(ByteTag(), axis.lookup.data() + g * kBlockBytes);
        const auto low = hn::LoadU(ShortTag(), axis.low.data() + g * kPairElements);
        const auto high = hn::LoadU(ShortTag(), axis.high.data() + g * kPairElements);
        for (int e = 0; e < 3; ++e) {
            const std::uint8_t* at[kBlocks];
            for (int j = 0; j < kBlocks; ++j) at[j] = planes[e] + axis.windows[g + j];
            const auto pairs =
                hn::BitCast(ShortTag(), hn::TableLookupBytesOr0(LoadBlocks(ByteTag(), at), lookup));
            PairSums lowSums;
            PairSums highSums;
            lowSums.Add(pairs, low);
            highSums.Add(pairs, high);
            const auto sums = hn::Add(hn::ShiftRight<16>(lowSums.Get()), highSums.Get());
            hn::StoreU(hn::DemoteTo(bytes, sums), bytes, stretched + e * pitch + g * kGroup);
        }
    }
}

/// Sixteen-bit lanes of near + round((far - near) * weight / 65536 - near * short / 65536), where
/// weight is at most 32768 and minusWeight its negative, so that it fits.
Shorts Mixed(Shorts near, Shorts far, Shorts minusWeight, Shorts missing) {
    const WordTag words;
    const auto difference = hn::Sub(near, far);
    const auto whole = hn::MulHigh(difference, minusWeight);
    const auto fraction = hn::BitCast(words, hn::Mul(difference, minusWeight));
    const auto lost = hn::BitCast(words, hn::Mul(near, missing));
    const auto carry = hn::ShiftRight<15>(hn::SaturatedSub(fraction, lost));
    return hn::Add(hn::Add(near, whole), hn::BitCast(ShortTag(), carry));
}

void BlendPlanes(const std::uint8_t* upper, const std::uint8_t* lower, int upperWeight,
                 int lowerWeight, std::uint8_t* row, std::size_t size) {
    const bool upperIsNear = upperWeight >= lowerWeight;
    const std::uint8_t* near = upperIsNear ? upper : lower;
    const std::uint8_t* far = upperIsNear ? lower : upper;
    const ByteTag bytes;
    const WordTag words;
    const ShortTag shorts;
    const auto minusWeight =
        hn::Set(shorts, static_cast<std::int16_t>(-std::min(upperWeight, lowerWeight)));
    const auto missing =
        hn::Set(shorts, static_cast<std::int16_t>(65536 - upperWeight - lowerWeight));
    const auto even = [&](auto samples) {
        return hn::BitCast(shorts, hn::And(samples, hn::Set(words, 255)));
    };
    const auto odd = [&](auto samples) { return hn::BitCast(shorts, hn::ShiftRight<8>(samples)); };
    for (std::size_t i = 0; i < size; i += hn::MaxLanes(bytes)) {
        const auto n = hn::BitCast(words, hn::LoadU(bytes, near + i));
        const auto f = hn::BitCast(words, hn::LoadU(bytes, far + i));
        const auto evens = Mixed(even(n), even(f), minusWeight, missing);
        const auto odds = Mixed(odd(n), odd(f), minusWeight, missing);
        hn::StoreU(hn::BitCast(bytes, hn::Or(evens, hn::ShiftLeft<8>(odds))), bytes, row + i);
    }
}

}  // namespace

const ResampleRows<std::uint16_t, std::int16_t>* GetResampleRows16() {
    static constexpr ResampleRows<std::uint16_t, std::int16_t> kRows{kBlocks, Filter, Blend};
    return &kRows;
}

const ResampleRows<std::uint8_t, std::int16_t>* GetResampleRows8() {
    static constexpr ResampleRows<std::uint8_t, std::int16_t> kRows{kBlocks, Filter, Blend};
    return &kRows;
}

const EnlargeRows* GetEnlargeRows() {
    static constexpr EnlargeRows kRows{Stretch, BlendPlanes};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

const ResampleRows<std::uint16_t, std::int16_t>* SimdResampleRows16() {
    using Rows = ResampleRows<std::uint16_t, std::int16_t>;
    return RowsInUse<Rows>(VELTRANE_FOR_EACH_LEVEL(GetResampleRows16));
}

const ResampleRows<std::uint8_t, std::int16_t>* SimdResampleRows8() {
    using Rows = ResampleRows<std::uint8_t, std::int16_t>;
    return RowsInUse<Rows>(VELTRANE_FOR_EACH_LEVEL(GetResampleRows8));
}

const EnlargeRows* SimdEnlargeRows() {
    return RowsInUse<EnlargeRows>(VELTRANE_FOR_EACH_LEVEL(GetEnlargeRows));
}

}  // namespace veltrane
#endif
