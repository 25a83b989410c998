#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/resample/resample_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

#include "imaging/cpu/row_vectors-inl.h"
#include "imaging/resample/resample_rows.h"
#include "imaging/sample.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

using ByteTag = hn::ScalableTag<std::uint8_t>;
using ShortTag = hn::ScalableTag<std::int16_t>;
using SampleTag = hn::RebindToUnsigned<ShortTag>;
using IntTag = hn::RebindToSigned<WordTag>;
using Bytes = hn::Vec<ByteTag>;
using Shorts = hn::Vec<ShortTag>;
using Ints = hn::Vec<IntTag>;

constexpr int kBlockBytes = 16;
constexpr int kBlocks = hn::MaxLanes(ByteTag()) / kBlockBytes;
/// Vectors of rows that are filtered together, so that they share the weights that are loaded.
constexpr int kVectors = kBlocks == 4 ? 2 : 4;
constexpr int kRows = kVectors * kBlocks;
static_assert(kRows <= kMostRowsAtOnce);
constexpr std::uint8_t kNone = 0x80;  ///< looks up 0
static_assert(kPairElements * sizeof(std::int16_t) == kBlockBytes);

/// A vector of blocks that lie in rows a pitch of elements apart.
template <class D, class T = hn::TFromD<D>>
hn::Vec<D> LoadBlocks(D d, const T* from, std::ptrdiff_t pitch) {
    if constexpr (hn::MaxLanes(d) * sizeof(T) == kBlockBytes) {
        return hn::LoadU(d, from);
    } else {
        const hn::Half<D> half;
        constexpr std::ptrdiff_t kHalf = hn::MaxLanes(half) * sizeof(T) / kBlockBytes;
        return hn::Combine(d, LoadBlocks(half, from + kHalf * pitch, pitch),
                           LoadBlocks(half, from, pitch));
    }
}

template <class D, class T = hn::TFromD<D>>
void StoreBlocks(D d, hn::Vec<D> blocks, T* to, std::ptrdiff_t pitch) {
    if constexpr (hn::MaxLanes(d) * sizeof(T) == kBlockBytes) {
        hn::StoreU(blocks, d, to);
    } else {
        const hn::Half<D> half;
        constexpr std::ptrdiff_t kHalf = hn::MaxLanes(half) * sizeof(T) / kBlockBytes;
        StoreBlocks(half, hn::LowerHalf(half, blocks), to, pitch);
        StoreBlocks(half, hn::UpperHalf(half, blocks), to + kHalf * pitch, pitch);
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
Bytes Reduced(const std::uint16_t* samples) {
    const SampleTag words;
    const auto raised = hn::SaturatedAdd(hn::LoadU(words, samples), hn::Set(words, 128));
    return hn::BitCast(ByteTag(), hn::MulHigh(raised, hn::Set(words, 0xFF01)));
}

void Reduce(const std::uint16_t* samples, std::uint8_t* bytes, std::size_t size) {
    const ByteTag tag;
    constexpr int kLanes = hn::MaxLanes(tag);
    const auto reduce = [&](const std::uint16_t* from, std::uint8_t* to) {
        hn::StoreU(hn::ConcatOdd(tag, Reduced(from + kLanes / 2), Reduced(from)), tag, to);
    };
    ForEachVector<kLanes>(size, reduce, Row<const std::uint16_t>{samples},
                          Row<std::uint8_t>{bytes});
}

/// Brings the first or the last two pixels of every block together, as 16-bit samples: blue, blue,
/// green, green and so on.
void StorePairs(Bytes pixels, const std::uint8_t (&order)[kBlockBytes], std::int16_t* pairs) {
    const auto paired = hn::TableLookupBytesOr0(pixels, hn::LoadDup128(ByteTag(), order));
    hn::StoreU(hn::BitCast(ShortTag(), paired), ShortTag(), pairs);
}

/// Unpacks the pairs from..to of kRows rows: those of one column lie together.
void UnpackPairs(const std::uint8_t* rows, std::ptrdiff_t pitch, int from, int to,
                 std::int16_t* pairs) {
    alignas(16) static constexpr std::uint8_t kFirst[kBlockBytes] = {
        0, kNone, 4, kNone, 1, kNone, 5, kNone, 2, kNone, 6, kNone, 3, kNone, 7, kNone};
    alignas(16) static constexpr std::uint8_t kSecond[kBlockBytes] = {
        8, kNone, 12, kNone, 9, kNone, 13, kNone, 10, kNone, 14, kNone, 11, kNone, 15, kNone};
    for (int pair = from; pair < to; pair += 2, pairs += 2 * kRows * kPairElements) {
        for (int v = 0; v < kVectors; ++v) {
            const std::uint8_t* at =
                rows + v * kBlocks * pitch + std::ptrdiff_t{pair} * kPairElements;
            const Bytes pixels = LoadBlocks(ByteTag(), at, pitch);
            std::int16_t* first = pairs + v * kBlocks * kPairElements;
            StorePairs(pixels, kFirst, first);
            StorePairs(pixels, kSecond, first + kRows * kPairElements);
        }
    }
}

/// One target pixel of kRows rows.
template <bool kHasHigh>
HWY_INLINE void FilterPixel(const PairedAxis::Target& target, const PairedAxis& axis,
                            const std::int16_t* pairs, Ints (&sums)[kVectors]) {
    const std::int16_t* low = axis.low.data() + target.weights;
    const std::int16_t* high = axis.high.data() + (kHasHigh ? target.weights : 0);
    PairSums lowSums[kVectors];
    PairSums highSums[kVectors];
    for (int p = 0; p < target.pairs; ++p, pairs += kRows * kPairElements) {
        const auto lowWeights = RepeatPair(low + 2 * p);
        const auto highWeights = RepeatPair((kHasHigh ? high : low) + 2 * p);
        for (int v = 0; v < kVectors; ++v) {
            const auto samples = hn::LoadU(ShortTag(), pairs + v * kBlocks * kPairElements);
            lowSums[v].Add(samples, lowWeights);
            if constexpr (kHasHigh) highSums[v].Add(samples, highWeights);
        }
    }
    for (int v = 0; v < kVectors; ++v) {
        sums[v] = hn::ShiftRight<16>(lowSums[v].Get());
        if constexpr (kHasHigh) sums[v] = sums[v] + highSums[v].Get();
    }
}

/// Unpacks the pairs that the targets in turn need.
class PairWindow {
public:
    PairWindow(const FilterRows& rows, const PairedAxis& axis, std::int16_t* scratch)
        : rows_(rows),
          allPairs_((rows.width + 1) / 2),
          tile_(axis.TilePairs(kRows)),
          pairs_(scratch) {}

    const std::int16_t* Enter(const PairedAxis::Target& target) {
        if (target.firstPair + target.pairs > to_) {
            from_ = target.firstPair;
            to_ = std::min(from_ + tile_, allPairs_);
            UnpackPairs(rows_.pixels, static_cast<std::ptrdiff_t>(rows_.pitch), from_, to_, pairs_);
        }
        return pairs_ + std::ptrdiff_t{target.firstPair - from_} * kRows * kPairElements;
    }

private:
    const FilterRows& rows_;
    int allPairs_;
    int tile_;
    std::int16_t* pairs_;
    int from_ = 0;
    int to_ = 0;
};

template <bool kHasHigh>
void FilterTargets(const FilterRows& rows, const PairedAxis& axis, std::int16_t* scratch,
                   std::int16_t* filtered, std::ptrdiff_t pitch) {
    const std::size_t count = axis.targets.size();
    PairWindow window(rows, axis, scratch);
    Fetcher fetcher(rows.next, (count + 1) / 2);
    for (std::size_t x = 0; x < count; x += 2, filtered += 2 * kElements) {
        const PairedAxis::Target& left = axis.targets[x];
        const PairedAxis::Target& right = axis.targets[std::min(x + 1, count - 1)];
        fetcher.Fetch();
        Ints leftSums[kVectors];
        Ints rightSums[kVectors];
        FilterPixel<kHasHigh>(left, axis, window.Enter(left), leftSums);
        FilterPixel<kHasHigh>(right, axis, window.Enter(right), rightSums);
        for (int v = 0; v < kVectors; ++v) {
            const auto both = hn::ReorderDemote2To(ShortTag(), leftSums[v], rightSums[v]);
            StoreBlocks(ShortTag(), both, filtered + v * kBlocks * pitch, pitch);
        }
    }
}

void Filter(const FilterRows& rows, const ResampleAxis&, const PairedAxis& axis,
            std::int16_t* scratch, std::int16_t* filtered, std::size_t pitch) {
    const auto filter = axis.high.empty() ? FilterTargets<false> : FilterTargets<true>;
    filter(rows, axis, scratch, filtered, static_cast<std::ptrdiff_t>(pitch));
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
                return hn::PromoteTo(ints, hn::LoadU(shorts, from + at)) * weight;
            };
            sum0 = sum0 + weighted(0);
            sum1 = sum1 + weighted(kLanes);
            sum2 = sum2 + weighted(2 * kLanes);
            sum3 = sum3 + weighted(3 * kLanes);
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

/// The windows of the targets in a vector, each repeated for the blocks that read it.
template <class D>
hn::Vec<D> LoadWindows(D d, const std::uint8_t* plane, const std::int32_t* windows) {
    if constexpr (hn::MaxLanes(d) > 2 * kBlockBytes) {
        const hn::Half<D> half;
        return hn::Combine(d, hn::LoadDup128(half, plane + windows[1]),
                           hn::LoadDup128(half, plane + windows[0]));
    } else {
        return hn::LoadDup128(d, plane + windows[0]);
    }
}

void Stretch(const std::uint8_t* const* planes, const ResampleAxis&, const StretchAxis& axis,
             std::uint8_t* stretched, std::size_t pitch) {
    constexpr std::size_t kTargets = hn::MaxLanes(IntTag());
    const hn::Rebind<std::uint8_t, IntTag> bytes;
    for (std::size_t x = 0; x < axis.size; x += kTargets) {
        const std::int32_t* windows = axis.windows.data() + x / StretchAxis::kGroup;
        const auto lookup = hn::LoadU(ByteTag(), axis.lookup.data() + 4 * x);
        const auto low = hn::LoadU(ShortTag(), axis.low.data() + 2 * x);
        const auto high = hn::LoadU(ShortTag(), axis.high.data() + 2 * x);
        for (int e = 0; e < 3; ++e) {
            const auto pairs = hn::BitCast(
                ShortTag(),
                hn::TableLookupBytesOr0(LoadWindows(ByteTag(), planes[e], windows), lookup));
            PairSums lowSums;
            PairSums highSums;
            lowSums.Add(pairs, low);
            highSums.Add(pairs, high);
            const auto sums = hn::ShiftRight<16>(lowSums.Get()) + highSums.Get();
            hn::StoreU(hn::DemoteTo(bytes, sums), bytes, stretched + e * pitch + x);
        }
    }
}

/// near + ((far - near) * weight - near * missing) / 65536, rounded to nearest. The weight is at
/// most 32768; its negative fits.
Shorts Mixed(Shorts near, Shorts far, Shorts minusWeight, Shorts missing) {
    const SampleTag words;
    const auto difference = near - far;
    const auto whole = hn::MulHigh(difference, minusWeight);
    const auto fraction = hn::BitCast(words, difference * minusWeight);
    const auto lost = hn::BitCast(words, near * missing);
    const auto carry = hn::ShiftRight<15>(hn::SaturatedSub(fraction, lost));
    return near + whole + hn::BitCast(ShortTag(), carry);
}

void BlendPlanes(const std::uint8_t* upper, const std::uint8_t* lower, int upperWeight,
                 int lowerWeight, std::uint8_t* row, std::size_t size) {
    const bool upperIsNear = upperWeight >= lowerWeight;
    const std::uint8_t* near = upperIsNear ? upper : lower;
    const std::uint8_t* far = upperIsNear ? lower : upper;
    const ByteTag bytes;
    const SampleTag words;
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

void Split(const std::uint8_t* pixels, std::uint8_t* const* planes, int width) {
    const ByteTag bytes;
    const auto split = [&](const std::uint8_t* from, std::uint8_t* blue, std::uint8_t* green,
                           std::uint8_t* red) {
        Bytes b, g, r, a;
        hn::LoadInterleaved4(bytes, from, b, g, r, a);
        hn::StoreU(b, bytes, blue);
        hn::StoreU(g, bytes, green);
        hn::StoreU(r, bytes, red);
    };
    ForEachVector<hn::MaxLanes(ByteTag())>(
        width, split, Row<const std::uint8_t, kElements>{pixels}, Row<std::uint8_t>{planes[0]},
        Row<std::uint8_t>{planes[1]}, Row<std::uint8_t>{planes[2]});
}

/// Puts the colours of a pixel into the lane that it fills, one after the other from the low end.
template <class Lane, class Sample>
void Store(const PlanarRow& row, Sample* target, int width) {
    const hn::ScalableTag<Lane> lanes;
    constexpr int kBits = 8 * sizeof(Sample);
    constexpr Lane kColors = (Lane{1} << 3 * kBits) - 1;
    const auto store = [&](const std::uint8_t* b, const std::uint8_t* g, const std::uint8_t* r,
                           Sample* at) {
        const auto load = [&](const std::uint8_t* from) {
            using LaneTag = hn::ScalableTag<Lane>;
            const auto samples = hn::LoadU(hn::Rebind<std::uint8_t, LaneTag>(), from);
            if constexpr (kBits == 8) {
                return hn::PromoteTo(lanes, samples);
            } else {
                const hn::Rebind<std::uint32_t, LaneTag> halves;
                return hn::PromoteTo(lanes, hn::PromoteTo(halves, samples));
            }
        };
        auto colors = hn::Or(hn::Or(load(b), hn::ShiftLeft<kBits>(load(g))),
                             hn::ShiftLeft<2 * kBits>(load(r)));
        if constexpr (kBits == 16) colors = hn::Or(colors, hn::ShiftLeft<8>(colors));  // x 257
        const hn::Repartition<Sample, decltype(lanes)> samples;
        const auto before = hn::BitCast(lanes, hn::LoadU(samples, at));
        const auto alpha = hn::AndNot(hn::Set(lanes, kColors), before);
        hn::StoreU(hn::BitCast(samples, hn::Or(colors, alpha)), samples, at);
    };
    ForEachVector<hn::MaxLanes(lanes)>(
        width, store, Row<const std::uint8_t>{row.blue}, Row<const std::uint8_t>{row.green},
        Row<const std::uint8_t>{row.red}, Row<Sample, kElements>{target});
}

}  // namespace

const ResampleRows<std::int16_t>* GetResampleRows() {
    static constexpr ResampleRows<std::int16_t> kFunctions{kRows, Reduce, Filter, Blend};
    return &kFunctions;
}

const EnlargeRows* GetEnlargeRows() {
    static constexpr EnlargeRows kFunctions{Split, Stretch, BlendPlanes, Store<std::uint32_t>,
                                            Store<std::uint64_t>};
    return &kFunctions;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS(ResampleRows<std::int16_t>, SimdResampleRows, GetResampleRows)

VELTRANE_DEFINE_ROWS(EnlargeRows, SimdEnlargeRows, GetEnlargeRows)

}  // namespace veltrane
#endif
