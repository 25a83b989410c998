#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/box/box_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/box/box_rows.h"
#include "imaging/cpu/row_vectors-inl.h"
#include "imaging/sample.h"

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
    v = v + hn::ShiftLeftLanes<1>(words, v);
    v = v + hn::ShiftLeftLanes<2>(words, v);
    if constexpr (kWordLanes > 4) v = v + SpreadMiddle<8>(v);
    if constexpr (kWordLanes > 8) v = v + SpreadMiddle<16>(v);
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
        const auto change = SumsAlong(LoadWords(in) - LoadWords(out));
        hn::StoreU(hn::LoadU(words, at) + (before + change), words, at);
        before = before + SpreadLast(change);
    };
    ForEachVector<kWordLanes>(count, slide, Row<const Sample>{entering}, Row<const Sample>{leaving},
                              Row<std::uint32_t>{totals});
}

void SlidePixels(const std::uint8_t* entering, const std::uint8_t* leaving, std::uint32_t* totals,
                 int width) {
    const hn::Full128<std::uint32_t> pixel;
    const auto load = [&](const std::uint8_t* at) {
        return hn::PromoteTo(pixel, hn::LoadU(hn::Rebind<std::uint8_t, decltype(pixel)>(), at));
    };
    auto change = hn::Zero(pixel);
    for (std::ptrdiff_t x = 0; x < width; ++x, totals += kElements) {
        change = change + (load(entering + x * kElements) - load(leaving + x * kElements));
        hn::StoreU(hn::LoadU(pixel, totals) + change, pixel, totals);
    }
}

void Average(const std::uint32_t* ends, const std::uint32_t* begins, const float* across,
             float down, std::uint8_t* row, std::size_t size) {
    const WordTag words;
    const FloatTag floats;
    const auto average = [&](const std::uint32_t* end, const std::uint32_t* begin,
                             const float* weights, std::uint8_t* to) {
        const auto sum = ToFloats(hn::LoadU(words, end) - hn::LoadU(words, begin));
        const auto mean = sum * hn::LoadU(floats, weights) * hn::Set(floats, down);
        const auto rounded =
            hn::ConvertTo(hn::RebindToSigned<WordTag>(), mean + hn::Set(floats, 0.5f));
        StoreLowBits(hn::BitCast(words, rounded), to);
    };
    ForEachVector<kWordLanes>(size, average, Row<const std::uint32_t>{ends},
                              Row<const std::uint32_t>{begins}, Row<const float>{across},
                              Row<std::uint8_t>{row});
}

}  // namespace

const PixelBoxRows* GetPixelBoxRows() {
    static constexpr PixelBoxRows kRows{SlidePixels, Average};
    return &kRows;
}

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
VELTRANE_DEFINE_ROWS(PixelBoxRows, SimdPixelBoxRows, GetPixelBoxRows)

}  // namespace veltrane
#endif
