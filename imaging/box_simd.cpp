#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/box_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/box_rows.h"
#include "imaging/row_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

using SumTag = hn::ScalableTag<std::uint32_t>;
using Sums = hn::Vec<SumTag>;
constexpr int kLanes = hn::MaxLanes(SumTag());

/// The lane of the given number in every lane from each group's middle on, 0 in the others; numbers
/// are counted within groups of size lanes.
template <int size>
Sums SpreadMiddle(Sums v) {
    const SumTag sums;
    const auto lane = hn::Iota(sums, 0);
    const auto group = hn::And(lane, hn::Set(sums, ~(size - 1u)));
    const auto source = hn::Or(group, hn::Set(sums, size / 2 - 1u));
    const auto upper = hn::Ne(hn::And(lane, hn::Set(sums, size / 2)), hn::Zero(sums));
    return hn::IfThenElseZero(upper, hn::TableLookupLanes(v, hn::IndicesFromVec(sums, source)));
}

/// Sums from the first lane up to each: in every 128 bits, then across them.
Sums SumsAlong(Sums v) {
    const SumTag sums;
    v = hn::Add(v, hn::ShiftLeftLanes<1>(sums, v));
    v = hn::Add(v, hn::ShiftLeftLanes<2>(sums, v));
    if constexpr (kLanes > 4) v = hn::Add(v, SpreadMiddle<8>(v));
    if constexpr (kLanes > 8) v = hn::Add(v, SpreadMiddle<16>(v));
    return v;
}

Sums SpreadLast(Sums v) {
    const SumTag sums;
    return hn::TableLookupLanes(v, hn::IndicesFromVec(sums, hn::Set(sums, kLanes - 1u)));
}

template <class Sample>
Sums LoadSamples(const Sample* samples) {
    return hn::PromoteTo(SumTag(), hn::LoadU(hn::Rebind<Sample, SumTag>(), samples));
}

template <class Sample>
void Slide(const Sample* entering, const Sample* leaving, std::uint32_t* totals, int count) {
    const SumTag sums;
    auto before = hn::Zero(sums);
    const auto slide = [&](const Sample* in, const Sample* out, std::uint32_t* at) {
        const auto change = SumsAlong(hn::Sub(LoadSamples(in), LoadSamples(out)));
        hn::StoreU(hn::Add(hn::LoadU(sums, at), hn::Add(before, change)), sums, at);
        before = hn::Add(before, SpreadLast(change));
    };
    ForEachVector<kLanes>(count, slide, Row<const Sample>{entering}, Row<const Sample>{leaving},
                          Row<std::uint32_t>{totals});
}

}  // namespace

template <class Sample>
const BoxRows<Sample>* GetBoxRows() {
    static constexpr BoxRows<Sample> kRows{Slide<Sample>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

template <class Sample>
const BoxRows<Sample>* SimdBoxRows() {
    return RowsInUse<BoxRows<Sample>>(VELTRANE_FOR_EACH_LEVEL(GetBoxRows<Sample>));
}

template const BoxRows<unsigned short>* SimdBoxRows();
template const BoxRows<unsigned char>* SimdBoxRows();

}  // namespace veltrane
#endif
