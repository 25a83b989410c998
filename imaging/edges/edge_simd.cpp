#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/edges/edge_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/cpu/row_vectors-inl.h"
#include "imaging/edges/edge_rows.h"
#include "imaging/sample.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

using IntTag = hn::RebindToSigned<WordTag>;
using ShortTag = hn::RepartitionToNarrow<IntTag>;
using Ints = hn::Vec<IntTag>;
using Shorts = hn::Vec<ShortTag>;
constexpr int kShortLanes = hn::MaxLanes(ShortTag());

Shorts LoadShorts(const std::uint8_t* samples) {
    return hn::PromoteTo(ShortTag(), hn::LoadU(hn::Rebind<std::uint8_t, ShortTag>(), samples));
}

void SumRows(const std::uint8_t* const* rows, std::int16_t* sums, std::size_t size) {
    using Source = Row<const std::uint8_t>;
    const auto sum = [](const std::uint8_t* a, const std::uint8_t* b, const std::uint8_t* c,
                        std::int16_t* to) {
        const auto total = LoadShorts(a) + LoadShorts(b) + LoadShorts(c);
        hn::StoreU(total, ShortTag(), to);
    };
    ForEachVector<kShortLanes>(size, sum, Source{rows[0]}, Source{rows[1]}, Source{rows[2]},
                               Row<std::int16_t>{sums});
}

/// How far every sample of a few pixels rises above its surroundings.
Shorts Rises(const std::uint8_t* pixels, const std::int16_t* sums) {
    const ShortTag shorts;
    const auto at = [&](int pixel) { return hn::LoadU(shorts, sums + pixel * kElements); };
    const auto around = at(0) + at(1) + at(2);
    const auto own = LoadShorts(pixels) * hn::Set(shorts, 9);
    return hn::Max(own - around, hn::Zero(shorts));
}

/// Blue and green together and red alone, for every pixel.
Ints ColorSums(Shorts samples) {
    alignas(16) static constexpr std::int16_t kColors[8] = {1, 1, 1, 0, 1, 1, 1, 0};
    const IntTag ints;
    auto other = hn::Zero(ints);
    const auto sums = hn::ReorderWidenMulAccumulate(
        ints, samples, hn::LoadDup128(ShortTag(), kColors), hn::Zero(ints), other);
    return hn::RearrangeToOddPlusEven(sums, other);
}

void FindEdges(const std::uint8_t* row, const std::int16_t* sums, int limit, std::uint8_t* edges,
               int width) {
    const IntTag ints;
    const auto find = [&](const std::uint8_t* pixels, const std::int16_t* around,
                          std::uint8_t* to) {
        const Ints left = ColorSums(Rises(pixels, around));
        const Ints right = ColorSums(Rises(pixels + kShortLanes, around + kShortLanes));
        const Ints strength = hn::ConcatEven(ints, right, left) + hn::ConcatOdd(ints, right, left);
        // Up to 6120, multiplying by 2^20 / 24 rounded up divides exactly.
        const Ints scaled = hn::ShiftRight<20>(strength * hn::Set(ints, 43691));
        const auto strong = hn::Gt(strength, hn::Set(ints, limit - 1));
        const hn::Rebind<std::uint8_t, IntTag> bytes;
        hn::StoreU(hn::DemoteTo(bytes, hn::IfThenElseZero(strong, scaled)), bytes, to);
    };
    ForEachVector<kWordLanes>(width, find, Row<const std::uint8_t, kElements>{row},
                              Row<const std::int16_t, kElements, 2 * kElements>{sums},
                              Row<std::uint8_t>{edges});
}

}  // namespace

const EdgeRows* GetEdgeRows() {
    static constexpr EdgeRows kRows{SumRows, FindEdges};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS(EdgeRows, SimdEdgeRows, GetEdgeRows)

}  // namespace veltrane
#endif
