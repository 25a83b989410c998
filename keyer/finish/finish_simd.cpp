#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "keyer/finish/finish_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstdint>

#include "imaging/cpu/products-inl.h"
#include "keyer/finish/finish_rows.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

using ByteTag = hn::ScalableTag<std::uint8_t>;
using IntTag = hn::RebindToSigned<WordTag>;

template <class Sample>
using SampleTag = hn::Repartition<Sample, ByteTag>;
template <class Sample>
using Samples = hn::Vec<SampleTag<Sample>>;

/// A whole pixel as one lane; its matte is in the highest bits.
template <class Sample>
using PixelTag =
    hn::Repartition<std::conditional_t<sizeof(Sample) == 2, std::uint64_t, std::uint32_t>, ByteTag>;

/// The bits that the matte takes of a word: of every word in 8-bit pixels, of every other one in
/// 16-bit pixels.
template <class Sample>
constexpr int kBits = 8 * sizeof(Sample);

template <class Sample>
Samples<Sample> MatteMask() {
    const PixelTag<Sample> pixels;
    using Pixel = hn::TFromD<PixelTag<Sample>>;
    constexpr Pixel kMask =
        static_cast<Pixel>(static_cast<Pixel>(kFullScale<Sample>) << (3 * kBits<Sample>));
    return hn::BitCast(SampleTag<Sample>(), hn::Set(pixels, kMask));
}

/// The smaller of both mattes; the whole source pixel where its alpha is 0.
template <class Sample>
Samples<Sample> Limit(Samples<Sample> source, Samples<Sample> row) {
    const PixelTag<Sample> pixels;
    const SampleTag<Sample> samples;
    const auto limited = hn::IfVecThenElse(MatteMask<Sample>(), hn::Min(source, row), row);
    const auto alpha = hn::And(source, MatteMask<Sample>());
    const auto clear = hn::Eq(hn::BitCast(pixels, alpha), hn::Zero(pixels));
    return hn::BitCast(
        samples, hn::IfThenElse(clear, hn::BitCast(pixels, source), hn::BitCast(pixels, limited)));
}

/// Stretches the highest sample of every word, of which only the mattes are kept.
template <class Sample>
Samples<Sample> Clip(const RowFinish<Sample>& finish, Samples<Sample> row) {
    constexpr int kShift = 32 - kBits<Sample>;
    const WordTag words;
    const IntTag ints;
    const FloatTag floats;
    const auto full = hn::Set(ints, kFullScale<Sample>);
    const auto black = hn::Set(ints, finish.black);
    const auto value = hn::BitCast(ints, hn::ShiftRight<kShift>(hn::BitCast(words, row)));
    const auto run = hn::ConvertTo(floats, value - black);
    const auto ramp = hn::ConvertTo(ints, run * hn::Set(floats, finish.slope));
    const auto bounded = hn::Max(hn::Min(ramp, full), hn::Zero(ints));
    const auto solid = hn::Set(ints, finish.white - 1);
    const auto stretched = hn::IfThenElse(hn::Gt(value, solid), full, bounded);
    const auto clipped = hn::IfThenElseZero(hn::Gt(value, black), stretched);
    const auto moved = hn::ShiftLeft<kShift>(hn::BitCast(words, clipped));
    return hn::IfVecThenElse(MatteMask<Sample>(), hn::BitCast(SampleTag<Sample>(), moved), row);
}

/// The matte of every pixel in all its components.
template <class Sample>
Samples<Sample> Mattes(Samples<Sample> row) {
    alignas(16) static constexpr std::uint8_t kWide[16] = {6,  7,  6,  7,  6,  7,  6,  7,
                                                           14, 15, 14, 15, 14, 15, 14, 15};
    alignas(16) static constexpr std::uint8_t kNarrow[16] = {3,  3,  3,  3,  7,  7,  7,  7,
                                                             11, 11, 11, 11, 15, 15, 15, 15};
    const auto order = hn::LoadDup128(ByteTag(), sizeof(Sample) == 2 ? kWide : kNarrow);
    return hn::BitCast(SampleTag<Sample>(),
                       hn::TableLookupBytes(hn::BitCast(ByteTag(), row), order));
}

using Short = std::uint16_t;
using Shorts = Samples<Short>;

/// Four numbers of 16 bits, over and over.
template <class T, class Tag = hn::Repartition<T, ByteTag>>
hn::Vec<Tag> Repeated(const T (&four)[kElements], int first, int step) {
    T pattern[8];
    for (int i = 0; i < 8; ++i) pattern[i] = four[(first + i * step) % kElements];
    return hn::LoadDup128(Tag(), pattern);
}

/// Components of status colours for mattes of 16 bits: from the first element on, in steps.
Shorts StatusColors(Shorts mattes, int first, int step) {
    const SampleTag<Short> shorts;
    const hn::RebindToSigned<SampleTag<Short>> ints;
    const auto half = hn::Set(shorts, 0x8000);
    const auto lower = hn::BitCast(ints, hn::Min(mattes, hn::Set(shorts, 0x7FFF)));
    const auto upper = hn::BitCast(ints, hn::SaturatedSub(mattes, half));
    const StatusRamps& ramps = kStatusRamps;
    const auto rise = hn::MulHigh(lower, Repeated(ramps.lowerRise, first, step)) +
                      hn::MulHigh(upper, Repeated(ramps.upperRise, first, step));
    return Repeated(ramps.start, first, step) + hn::BitCast(shorts, hn::ShiftLeft<2>(rise));
}

Shorts StatusColors(Shorts mattes) {
    return StatusColors(mattes, 0, 1);
}

/// The same byte twice is the matte on the scale of 16 bits.
Samples<std::uint8_t> StatusColors(Samples<std::uint8_t> mattes) {
    const auto pairs = hn::BitCast(SampleTag<Short>(), mattes);
    const auto blueAndRed = hn::ShiftRight<8>(StatusColors(pairs, 0, 2));
    const auto greenAndAlpha = hn::ShiftRight<8>(StatusColors(pairs, 1, 2));
    return hn::BitCast(ByteTag(), hn::Or(blueAndRed, hn::ShiftLeft<8>(greenAndAlpha)));
}

template <class Sample>
Samples<Sample> ShowStatus(Samples<Sample> row) {
    const SampleTag<Sample> samples;
    const auto mattes = Mattes<Sample>(row);
    const auto full = hn::Set(samples, static_cast<Sample>(kFullScale<Sample>));
    const auto ends = hn::Or(hn::Eq(mattes, hn::Zero(samples)), hn::Eq(mattes, full));
    return hn::IfThenElse(ends, mattes, StatusColors(mattes));
}

template <class Sample>
Samples<Sample> ShowView(View view, Samples<Sample> source, Samples<Sample> row) {
    if (view == View::Matte) row = Mattes<Sample>(row);
    if (view == View::Status) row = ShowStatus<Sample>(row);
    if (view == View::Spill) row = Multiplied(hn::SaturatedSub(source, row), Mattes<Sample>(row));
    return hn::Or(row, MatteMask<Sample>());
}

template <class Sample>
void FinishVector(const RowFinish<Sample>& finish, const Sample* source, Sample* row) {
    const SampleTag<Sample> samples;
    const auto given = hn::LoadU(samples, source);
    auto pixels = Limit<Sample>(given, hn::LoadU(samples, row));
    if (finish.clips) pixels = Clip<Sample>(finish, pixels);
    if (IsOpaque(finish.view)) pixels = ShowView<Sample>(finish.view, given, pixels);
    hn::StoreU(pixels, samples, row);
}

template <class Sample>
void Finish(const RowFinish<Sample>& finish, const Sample* source, Sample* row, int width) {
    constexpr int kLanes = hn::MaxLanes(PixelTag<Sample>());
    const auto body = [&](const Sample* from, Sample* to) { FinishVector(finish, from, to); };
    ForEachVector<kLanes>(width, body, Row<const Sample, kElements>{source},
                          Row<Sample, kElements>{row});
}

}  // namespace

template <class Sample>
const FinishRows<Sample>* GetFinishRows() {
    static constexpr FinishRows<Sample> kRows{Finish<Sample>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS_OF_BOTH_DEPTHS(FinishRows, SimdFinishRows, GetFinishRows)

}  // namespace veltrane
#endif
