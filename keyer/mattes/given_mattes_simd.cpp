#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "keyer/mattes/given_mattes_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/cpu/row_vectors-inl.h"
#include "keyer/depth.h"
#include "keyer/mattes/given_mattes_rows.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

template <class Sample>
using Samples = hn::Vec<hn::Rebind<Sample, WordTag>>;

/// A quotient by full scale, exact for all that two samples and a level can make.
Words ByFullLevel(Words value) {
    const auto one = hn::Set(WordTag(), 1);
    return hn::ShiftRight<16>(value + hn::ShiftRight<16>(value) + one);
}

Words Mixed(Words a, Words b, Words level) {
    const auto full = hn::Set(WordTag(), kFullLevel);
    const auto half = hn::Set(WordTag(), kFullLevel / 2);
    return ByFullLevel(a * (full - level) + b * level + half);
}

Floats CoreShare(Words matte, Words solid, Words core) {
    const FloatTag floats;
    const auto full = hn::Set(WordTag(), kFullLevel);
    const auto inside = ToFloats(core) * ToFloats(solid);
    const auto keyed = ToFloats(full - core) * ToFloats(matte);
    return hn::IfThenElseZero(hn::Gt(inside, hn::Zero(floats)), inside / (inside + keyed));
}

/// The colour of one channel.
template <class Sample>
Samples<Sample> MixedColor(Samples<Sample> keyed, Samples<Sample> core, Floats share) {
    const WordTag words;
    const auto from = ToFloats(hn::PromoteTo(words, keyed));
    const auto step = ToFloats(hn::PromoteTo(words, core)) - from;
    const auto mixed = from + step * share + hn::Set(FloatTag(), 0.5f);
    const auto whole = hn::ConvertTo(hn::RebindToSigned<WordTag>(), mixed);
    return hn::TruncateTo(hn::Rebind<Sample, WordTag>(), hn::BitCast(words, whole));
}

template <class Sample>
void ApplyVector(const Sample* source, const Sample* corePixels, Words garbage, Words core,
                 Sample* row) {
    const WordTag words;
    const hn::Rebind<Sample, WordTag> samples;
    Samples<Sample> keyed[4], inside[4], from[4];
    hn::LoadInterleaved4(samples, row, keyed[0], keyed[1], keyed[2], keyed[3]);
    hn::LoadInterleaved4(samples, corePixels, inside[0], inside[1], inside[2], inside[3]);
    hn::LoadInterleaved4(samples, source, from[0], from[1], from[2], from[3]);
    const auto matte = hn::PromoteTo(words, keyed[kAlpha]);
    const auto solid = hn::Max(matte, hn::PromoteTo(words, from[kAlpha]));
    const auto share = CoreShare(matte, solid, core);
    const auto gray = hn::Set(words, Depth<Sample>::kTransparentGray);
    const auto isOut = hn::Eq(garbage, hn::Set(words, kFullLevel));
    for (int e = 0; e < kAlpha; ++e) {
        const auto color = MixedColor<Sample>(keyed[e], inside[e], share);
        const auto kept = hn::IfThenElse(isOut, gray, hn::PromoteTo(words, color));
        keyed[e] = hn::TruncateTo(samples, kept);
    }
    const auto left = Mixed(Mixed(matte, solid, core), hn::Zero(words), garbage);
    hn::StoreInterleaved4(keyed[0], keyed[1], keyed[2], hn::TruncateTo(samples, left), samples,
                          row);
}

template <class Sample>
void Apply(const Sample* source, const Sample* corePixels, const std::uint16_t* garbage,
           const std::uint16_t* core, Sample* row, int width) {
    const auto body = [](const Sample* from, const Sample* inside, const std::uint16_t* out,
                         const std::uint16_t* in, Sample* to) {
        const auto outside = LoadWords(out);
        const auto within = LoadWords(in);
        const WordTag words;
        if (hn::AllTrue(words, hn::Eq(hn::Or(outside, within), hn::Zero(words)))) return;
        ApplyVector(from, inside, outside, within, to);
    };
    ForEachVector<kWordLanes>(width, body, Row<const Sample, kElements>{source},
                              Row<const Sample, kElements>{corePixels},
                              Row<const std::uint16_t>{garbage}, Row<const std::uint16_t>{core},
                              Row<Sample, kElements>{row});
}

}  // namespace

template <class Sample>
const GivenMatteRows<Sample>* GetGivenMatteRows() {
    static constexpr GivenMatteRows<Sample> kRows{Apply<Sample>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS_OF_BOTH_DEPTHS(GivenMatteRows, SimdGivenMatteRows, GetGivenMatteRows)

}  // namespace veltrane
#endif
