#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/box/box_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/box/box_rows.h"
#include "imaging/cpu/row_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

/// The lane of the given number in every lane from each group's middle on, 0 in the others; numbers
/// are counted within groups of size lanes.
template <int size>
Words SpreadMiddle(Words v) {
    const WordTag words;
    const auto lane = hn::Iota(words, 0);
    const auto group = hn::And(lane, hn::Set(words, ~(size - 1u)));
    const auto source = hn::Or(group, hn::Set(words, size / 2 - 1u));
    const auto upper = hn::Ne(hn::And(lane, hn::Set(words, size / 2)), hn::Zero(words));
    return hn::IfThenElseZero(upper, hn::TableLookupLanes(v, hn::IndicesFromVec(words, source)));
}

/// Sums from the first lane up to each: in every 128 bits, then across them.
Words SumsAlong(Words v) {
    const WordTag words;
    v = hn::Add(v, hn::ShiftLeftLanes<1>(words, v));
    v = hn::Add(v, hn::ShiftLeftLanes<2>(words, v));
    if constexpr (kWordLanes > 4) v = hn::Add(v, SpreadMiddle<8>(v));
    if constexpr (kWordLanes > 8) v = hn::Add(v, SpreadMiddle<16>(v));
    return v;
}

Words SpreadLast(Words v) {
    const WordTag words;
    return hn::TableLookupLanes(v, hn::IndicesFromVec(words, hn::Set(words, kWordLanes - 1u)));
}

template <class Sample>
void Slide(const Sample* entering, const Sample* leaving, std::uint32_t* totals, int count) {
    const WordTag words;
    auto before = hn::Zero(words);
    const auto slide = [&](const Sample* in, const Sample* out, std::uint32_t* at) {
        const auto change = SumsAlong(hn::Sub(LoadWords(in), LoadWords(out)));
        hn::StoreU(hn::Add(hn::LoadU(words, at), hn::Add(before, change)), words, at);
        before = hn::Add(before, SpreadLast(change));
    };
    ForEachVector<kWordLanes>(count, slide, Row<const Sample>{entering}, Row<const Sample>{leaving},
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

VELTRANE_DEFINE_ROWS_OF_BOTH_DEPTHS(BoxRows, SimdBoxRows, GetBoxRows)

}  // namespace veltrane
#endif
