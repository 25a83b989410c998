#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/chroma_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/chroma_rows.h"
#include "imaging/row_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

using WordTag = hn::ScalableTag<std::uint32_t>;
using IntTag = hn::RebindToSigned<WordTag>;
using FloatTag = hn::RebindToFloat<WordTag>;
using Words = hn::Vec<WordTag>;
using Floats = hn::Vec<FloatTag>;
template <class Sample>
using SampleTag = hn::Rebind<Sample, FloatTag>;
constexpr int kLanes = hn::MaxLanes(WordTag());

/// The four elements of as many pixels as there are lanes.
struct Pixels {
    Words blue;
    Words green;
    Words red;
    Words alpha;
};

Pixels LoadPixels(const unsigned short* pixels) {
    const WordTag words;
    const hn::Repartition<unsigned short, WordTag> samples;
    const auto low = hn::Set(words, 0xFFFF);
    const auto first = hn::BitCast(words, hn::LoadU(samples, pixels));
    const auto second = hn::BitCast(words, hn::LoadU(samples, pixels + 2 * kLanes));
    const auto blueGreen = hn::ConcatEven(words, second, first);
    const auto redAlpha = hn::ConcatOdd(words, second, first);
    return {hn::And(blueGreen, low), hn::ShiftRight<16>(blueGreen), hn::And(redAlpha, low),
            hn::ShiftRight<16>(redAlpha)};
}

Pixels LoadPixels(const unsigned char* pixels) {
    const WordTag words;
    const hn::Repartition<unsigned char, WordTag> samples;
    const auto low = hn::Set(words, 0xFF);
    const auto all = hn::BitCast(words, hn::LoadU(samples, pixels));
    return {hn::And(all, low), hn::And(hn::ShiftRight<8>(all), low),
            hn::And(hn::ShiftRight<16>(all), low), hn::ShiftRight<24>(all)};
}

/// even[first], odd[first], even[first + 1], odd[first + 1] and so on.
Words Interleave(Words even, Words odd, unsigned first) {
    const WordTag words;
    const auto source = hn::Add(hn::ShiftRight<1>(hn::Iota(words, 0)), hn::Set(words, first));
    const auto indices = hn::IndicesFromVec(words, source);
    return hn::OddEven(hn::TableLookupLanes(odd, indices), hn::TableLookupLanes(even, indices));
}

void StorePixels(const Pixels& p, unsigned short* pixels) {
    const hn::Repartition<unsigned short, WordTag> samples;
    const auto blueGreen = hn::Or(p.blue, hn::ShiftLeft<16>(p.green));
    const auto redAlpha = hn::Or(p.red, hn::ShiftLeft<16>(p.alpha));
    const auto first = Interleave(blueGreen, redAlpha, 0);
    const auto second = Interleave(blueGreen, redAlpha, kLanes / 2);
    hn::StoreU(hn::BitCast(samples, first), samples, pixels);
    hn::StoreU(hn::BitCast(samples, second), samples, pixels + 2 * kLanes);
}

void StorePixels(const Pixels& p, unsigned char* pixels) {
    const hn::Repartition<unsigned char, WordTag> samples;
    const auto blueGreen = hn::Or(p.blue, hn::ShiftLeft<8>(p.green));
    const auto redAlpha = hn::Or(p.red, hn::ShiftLeft<8>(p.alpha));
    hn::StoreU(hn::BitCast(samples, hn::Or(blueGreen, hn::ShiftLeft<16>(redAlpha))), samples,
               pixels);
}

Floats ToFloats(Words words) {
    return hn::ConvertTo(FloatTag(), hn::BitCast(IntTag(), words));
}

template <class Sample>
Floats LoadFloats(const Sample* samples) {
    return hn::ConvertTo(FloatTag(),
                         hn::PromoteTo(IntTag(), hn::LoadU(SampleTag<Sample>(), samples)));
}

Floats Scaled(Floats value, float factor) {
    return hn::Mul(value, hn::Set(FloatTag(), factor));
}

Floats Plus(Floats value, float term) {
    return hn::Add(value, hn::Set(FloatTag(), term));
}

/// Fractions dropped, within the scale.
template <class Sample>
Words ToSamples(Floats value) {
    const FloatTag floats;
    const auto full = hn::Set(floats, static_cast<float>(kFullScale<Sample>));
    const auto clamped = hn::Min(hn::Max(value, hn::Zero(floats)), full);
    return hn::BitCast(WordTag(), hn::ConvertTo(IntTag(), clamped));
}

template <class Sample>
void StoreSamples(Words words, Sample* samples) {
    const SampleTag<Sample> tag;
    hn::StoreU(hn::DemoteTo(tag, hn::BitCast(IntTag(), words)), tag, samples);
}

template <class Sample>
void Split(const Sample* pixels, const ChromaRow<Sample>& row, int width) {
    constexpr float kOffset = ChromaScale<Sample>::kOffset;
    const auto split = [&](const Sample* from, Sample* y, Sample* cb, Sample* cr) {
        const Pixels p = LoadPixels(from);
        const Floats b = ToFloats(p.blue);
        const Floats g = ToFloats(p.green);
        const Floats r = ToFloats(p.red);
        const Floats greenRed = hn::Add(Scaled(r, 0.299f), Scaled(g, 0.587f));
        const Floats luma = Plus(hn::Add(Scaled(b, 0.114f), greenRed), 0.5f);
        const Floats blueLess = hn::Add(Scaled(r, -0.1687f), Scaled(g, -0.3313f));
        const Floats blueness = Plus(hn::Add(blueLess, Scaled(b, 0.5f)), kOffset);
        const Floats redLess = hn::Add(Scaled(g, -0.4187f), Scaled(r, 0.5f));
        const Floats redness = Plus(hn::Add(Scaled(b, -0.0813f), redLess), kOffset);
        StoreSamples(ToSamples<Sample>(luma), y);
        StoreSamples(ToSamples<Sample>(blueness), cb);
        StoreSamples(ToSamples<Sample>(redness), cr);
    };
    ForEachVector<kLanes>(width, split, Row<const Sample, kElements>{pixels}, Row<Sample>{row.y},
                          Row<Sample>{row.cb}, Row<Sample>{row.cr});
}

template <class Sample>
void Join(const ChromaRow<const Sample>& row, Sample* pixels, int width) {
    constexpr float kOffset = ChromaScale<Sample>::kOffsetBack;
    constexpr float kScale = ChromaScale<Sample>::kScaleBack;
    const auto join = [&](const Sample* ys, const Sample* cbs, const Sample* crs, Sample* to) {
        const Floats y = LoadFloats(ys);
        const Floats cb = Plus(LoadFloats(cbs), -kOffset);
        const Floats cr = Plus(LoadFloats(crs), -kOffset);
        const Floats b = hn::Add(Scaled(cb, 1.772f), y);
        const Floats g = hn::Add(Scaled(cr, -0.71414f), hn::Add(Scaled(cb, -0.34414f), y));
        const Floats r = hn::Add(Scaled(cr, 1.402f), y);
        StorePixels({ToSamples<Sample>(Plus(Scaled(b, kScale), 0.5f)),
                     ToSamples<Sample>(Plus(Scaled(g, kScale), 0.5f)),
                     ToSamples<Sample>(Plus(Scaled(r, kScale), 0.5f)), LoadPixels(to).alpha},
                    to);
    };
    ForEachVector<kLanes>(width, join, Row<const Sample>{row.y}, Row<const Sample>{row.cb},
                          Row<const Sample>{row.cr}, Row<Sample, kElements>{pixels});
}

/// sum / count, fractions dropped. The estimate's error is below 8 / 2^24 of a mean of at most
/// 65535, and it is taken low by half of that, so its whole part is the mean's or one less.
Words Mean(Words sum, Words count, Floats weight) {
    const WordTag words;
    const IntTag ints;
    const Floats low = Scaled(hn::Mul(hn::ConvertTo(FloatTag(), sum), weight), 1 - 0x1p-22f);
    const Words whole = hn::BitCast(words, hn::ConvertTo(ints, low));
    const Words rest = hn::Sub(sum, hn::Mul(whole, count));
    const auto isLess = hn::Lt(hn::BitCast(ints, rest), hn::BitCast(ints, count));
    return hn::Add(whole, hn::IfThenZeroElse(hn::RebindMask(words, isLess), hn::Set(words, 1)));
}

template <class Sample>
void Average(const WindowSums<std::uint32_t>& sums, const WindowCounts<std::uint32_t>& counts,
             Sample* means, int width) {
    const WordTag words;
    const auto average = [&](const std::uint32_t* end, const std::uint32_t* begin,
                             const std::uint32_t* count, const float* weight, Sample* to) {
        const Words sum = hn::Sub(hn::LoadU(words, end), hn::LoadU(words, begin));
        StoreSamples(Mean(sum, hn::LoadU(words, count), hn::LoadU(FloatTag(), weight)), to);
    };
    using Sums = Row<const std::uint32_t>;
    ForEachVector<kLanes>(width, average, Sums{sums.end}, Sums{sums.begin}, Sums{counts.samples},
                          Row<const float>{counts.weights}, Row<Sample>{means});
}

}  // namespace

template <class Sample>
const ChromaRows<Sample>* GetChromaRows() {
    static constexpr ChromaRows<Sample> kRows{Split<Sample>, Average<Sample>, Join<Sample>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

template <class Sample>
const ChromaRows<Sample>* SimdChromaRows() {
    return RowsInUse<ChromaRows<Sample>>(VELTRANE_FOR_EACH_LEVEL(GetChromaRows<Sample>));
}

template const ChromaRows<unsigned short>* SimdChromaRows();
template const ChromaRows<unsigned char>* SimdChromaRows();

}  // namespace veltrane
#endif
