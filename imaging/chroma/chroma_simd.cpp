#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/chroma/chroma_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/chroma/chroma_rows.h"
#include "imaging/cpu/row_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

struct Colors {
    Floats blue;
    Floats green;
    Floats red;
};

/// Two samples in every word: blues under greens, or reds under alphas.
struct SamplePairs {
    Words blueGreen;
    Words redAlpha;
};

SamplePairs LoadPairs(const unsigned short* pixels) {
    const WordTag words;
    const hn::Repartition<unsigned short, WordTag> samples;
    const auto first = hn::BitCast(words, hn::LoadU(samples, pixels));
    const auto second = hn::BitCast(words, hn::LoadU(samples, pixels + 2 * kWordLanes));
    return {hn::ConcatEven(words, second, first), hn::ConcatOdd(words, second, first)};
}

Words LoadWholePixels(const unsigned char* pixels) {
    const hn::Repartition<unsigned char, WordTag> samples;
    return hn::BitCast(WordTag(), hn::LoadU(samples, pixels));
}

Colors LoadColors(const unsigned short* pixels) {
    const auto low = hn::Set(WordTag(), 0xFFFF);
    const auto [blueGreen, redAlpha] = LoadPairs(pixels);
    return {ToFloats(hn::And(blueGreen, low)), ToFloats(hn::ShiftRight<16>(blueGreen)),
            ToFloats(hn::And(redAlpha, low))};
}

Colors LoadColors(const unsigned char* pixels) {
    const auto low = hn::Set(WordTag(), 0xFF);
    const Words all = LoadWholePixels(pixels);
    return {ToFloats(hn::And(all, low)), ToFloats(hn::And(hn::ShiftRight<8>(all), low)),
            ToFloats(hn::And(hn::ShiftRight<16>(all), low))};
}

/// even[first], odd[first], even[first + 1], odd[first + 1] and so on.
Words Interleave(Words even, Words odd, unsigned first) {
    const WordTag words;
    const auto source = hn::ShiftRight<1>(hn::Iota(words, 0)) + hn::Set(words, first);
    const auto indices = hn::IndicesFromVec(words, source);
    return hn::OddEven(hn::TableLookupLanes(odd, indices), hn::TableLookupLanes(even, indices));
}

/// Stores whole parts and keeps the alphas.
void StoreColors(const Colors& colors, unsigned short* pixels) {
    const hn::Repartition<unsigned short, WordTag> samples;
    const auto low = hn::Set(WordTag(), 0xFFFF);
    const auto even =
        hn::IfVecThenElse(low, WholeBits(colors.blue), hn::ShiftLeft<16>(WholeBits(colors.green)));
    const auto odd = hn::IfVecThenElse(low, WholeBits(colors.red), LoadPairs(pixels).redAlpha);
    const auto first = Interleave(even, odd, 0);
    const auto second = Interleave(even, odd, kWordLanes / 2);
    hn::StoreU(hn::BitCast(samples, first), samples, pixels);
    hn::StoreU(hn::BitCast(samples, second), samples, pixels + 2 * kWordLanes);
}

void StoreColors(const Colors& colors, unsigned char* pixels) {
    const WordTag words;
    const hn::Repartition<unsigned char, WordTag> samples;
    const auto blueGreen = hn::IfVecThenElse(hn::Set(words, 0xFF), WholeBits(colors.blue),
                                             hn::ShiftLeft<8>(WholeBits(colors.green)));
    const auto red = hn::ShiftLeft<16>(WholeBits(colors.red));
    const auto all = hn::IfVecThenElse(hn::Set(words, 0xFFFF), blueGreen, red);
    const auto kept = hn::IfVecThenElse(hn::Set(words, 0xFFFFFF), all, LoadWholePixels(pixels));
    hn::StoreU(hn::BitCast(samples, kept), samples, pixels);
}

Floats Scaled(Floats value, float factor) {
    return value * hn::Set(FloatTag(), factor);
}

Floats Plus(Floats value, float term) {
    return value + hn::Set(FloatTag(), term);
}

/// Without clamps: each of the three rises or falls steadily with every colour, and with all
/// colours at one end or the other it lies between 0.49 and 0.51 above full scale.
template <class Sample>
void Split(const Sample* pixels, const ChromaRow<Sample>& row, int width) {
    constexpr float kOffset = ChromaScale<Sample>::kOffset;
    const auto split = [&](const Sample* from, Sample* y, Sample* cb, Sample* cr) {
        const auto [b, g, r] = LoadColors(from);
        const Floats greenRed = Scaled(r, 0.299f) + Scaled(g, 0.587f);
        const Floats luma = Scaled(b, 0.114f) + greenRed;
        const Floats blueLess = Scaled(r, -0.1687f) + Scaled(g, -0.3313f);
        const Floats blueness = blueLess + Scaled(b, 0.5f);
        const Floats redLess = Scaled(g, -0.4187f) + Scaled(r, 0.5f);
        const Floats redness = Scaled(b, -0.0813f) + redLess;
        StoreLowBits(WholeBits(Plus(luma, 0.5f)), y);
        StoreLowBits(WholeBits(Plus(blueness, kOffset)), cb);
        StoreLowBits(WholeBits(Plus(redness, kOffset)), cr);
    };
    ForEachVector<kWordLanes>(width, split, Row<const Sample, kElements>{pixels},
                              Row<Sample>{row.y}, Row<Sample>{row.cb}, Row<Sample>{row.cr});
}

/// A colour before its fraction is dropped.
template <class Sample>
Floats ColorBack(Floats value) {
    const FloatTag floats;
    const auto full = hn::Set(floats, static_cast<float>(kFullScale<Sample>));
    const auto color = Plus(Scaled(value, ChromaScale<Sample>::kScaleBack), 0.5f);
    return hn::Min(hn::Max(color, hn::Zero(floats)), full);
}

template <class Sample>
void Join(const ChromaRow<const Sample>& row, Sample* pixels, int width) {
    constexpr float kOffset = ChromaScale<Sample>::kOffsetBack;
    const auto join = [&](const Sample* ys, const Sample* cbs, const Sample* crs, Sample* to) {
        const Floats y = ToFloats(LoadWords(ys));
        const Floats cb = Plus(ToFloats(LoadWords(cbs)), -kOffset);
        const Floats cr = Plus(ToFloats(LoadWords(crs)), -kOffset);
        const Floats b = Scaled(cb, 1.772f) + y;
        const Floats g = Scaled(cr, -0.71414f) + (Scaled(cb, -0.34414f) + y);
        const Floats r = Scaled(cr, 1.402f) + y;
        StoreColors({ColorBack<Sample>(b), ColorBack<Sample>(g), ColorBack<Sample>(r)}, to);
    };
    ForEachVector<kWordLanes>(width, join, Row<const Sample>{row.y}, Row<const Sample>{row.cb},
                              Row<const Sample>{row.cr}, Row<Sample, kElements>{pixels});
}

/// sum / count, fractions dropped. The estimate lies below the mean, by less than 1, so that its
/// whole part and 1 is the mean's whole part or one too many.
Words Mean(Words sum, Words count, Floats weight) {
    const WordTag words;
    const hn::RebindToSigned<WordTag> ints;
    const Floats estimate = hn::ConvertTo(FloatTag(), sum) * weight;
    const Words most = hn::And(WholeBits(Plus(estimate, 1.0f)), hn::Set(words, 0xFFFF));
    const Words rest = sum - most * count;
    return most + hn::BitCast(words, hn::BroadcastSignBit(hn::BitCast(ints, rest)));
}

template <class Sample>
void Average(const WindowSums<std::uint32_t>& sums, const WindowCounts<std::uint32_t>& counts,
             Sample* means, int width) {
    const WordTag words;
    const auto average = [&](const std::uint32_t* end, const std::uint32_t* begin,
                             const std::uint32_t* count, const float* weight, Sample* to) {
        const Words sum = hn::LoadU(words, end) - hn::LoadU(words, begin);
        StoreLowBits(Mean(sum, hn::LoadU(words, count), hn::LoadU(FloatTag(), weight)), to);
    };
    using Sums = Row<const std::uint32_t>;
    ForEachVector<kWordLanes>(width, average, Sums{sums.end}, Sums{sums.begin},
                              Sums{counts.samples}, Row<const float>{counts.weights},
                              Row<Sample>{means});
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

VELTRANE_DEFINE_ROWS_OF_BOTH_DEPTHS(ChromaRows, SimdChromaRows, GetChromaRows)

}  // namespace veltrane
#endif
