#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "keyer/light/linear_matte_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/cpu/row_vectors-inl.h"
#include "imaging/sample.h"
#include "keyer/light/linear_matte_rows.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

template <class Sample>
using SampleTag = hn::Rebind<Sample, WordTag>;

/// A pixel of each lane, as whole numbers.
struct Pixels {
    Words element[4];

    template <class Sample>
    static Pixels Load(const Sample* row) {
        const SampleTag<Sample> samples;
        const WordTag words;
        hn::Vec<SampleTag<Sample>> blue, green, red, alpha;
        hn::LoadInterleaved4(samples, row, blue, green, red, alpha);
        return {{hn::PromoteTo(words, blue), hn::PromoteTo(words, green), hn::PromoteTo(words, red),
                 hn::PromoteTo(words, alpha)}};
    }

    /// Those that are partly covered and no shadow.
    hn::Mask<WordTag> Mixed(Words full) const {
        const auto zero = hn::Zero(WordTag());
        const auto color = hn::Or(hn::Or(element[0], element[1]), element[2]);
        const auto isEnd = hn::Or(hn::Eq(element[kAlpha], zero), hn::Eq(element[kAlpha], full));
        return hn::AndNot(isEnd, hn::Ne(color, zero));
    }
};

/// Red, green and blue of each lane.
struct Vectors {
    Floats element[3];
};

Floats Dot(const Vectors& a, const Vectors& b) {
    return a.element[0] * b.element[0] + a.element[1] * b.element[1] + a.element[2] * b.element[2];
}

Vectors LightOf(const float* light, const Pixels& pixels, int step) {
    const hn::RebindToSigned<WordTag> ints;
    Vectors vectors;
    for (int e = 0; e < kAlpha; ++e) {
        const auto sample = pixels.element[e] * hn::Set(WordTag(), static_cast<unsigned>(step));
        vectors.element[e] = hn::GatherIndex(FloatTag(), light, hn::BitCast(ints, sample));
    }
    return vectors;
}

Vectors Less(Vectors a, const Vectors& b) {
    for (int e = 0; e < kAlpha; ++e) a.element[e] = a.element[e] - b.element[e];
    return a;
}

Floats Moved(Floats matte, const Vectors& source, const Vectors& foreground) {
    const FloatTag floats;
    const auto zero = hn::Zero(floats), one = hn::Set(floats, 1.0f);
    const auto square = Dot(foreground, foreground);
    const auto tells = hn::Gt(square, hn::Set(floats, kLeastSquare));
    const auto divisor = hn::IfThenElse(tells, square, one);
    const auto cover = hn::Min(hn::Max(Dot(source, foreground) / divisor, zero), one);
    Vectors rest = source;
    for (int e = 0; e < kAlpha; ++e)
        rest.element[e] = rest.element[e] - cover * foreground.element[e];
    const auto trust = divisor / (divisor + hn::Set(floats, kDoubt) * Dot(rest, rest));
    const auto farthest = hn::Set(floats, kFarthestMove);
    const auto move = hn::Min(hn::Max(cover - matte, hn::Neg(farthest)), farthest);
    const auto fade = hn::Min(hn::Set(floats, kFadeIn) * hn::Min(matte, one - matte), one);
    return hn::IfThenElse(tells, matte + move * trust * fade, matte);
}

template <class Sample>
void ApplyVector(const float* light, const Sample* source, const Sample* plate, Sample* row) {
    constexpr unsigned kFull = kFullScale<Sample>;
    constexpr int kStep = 65535 / int{kFull};
    const WordTag words;
    const FloatTag floats;
    const auto keyed = Pixels::Load(row);
    const auto mixed = keyed.Mixed(hn::Set(words, kFull));
    if (hn::AllFalse(words, mixed)) return;
    const auto behind = LightOf(light, Pixels::Load(plate), kStep);
    const auto full = hn::Set(floats, float{kFull});
    const auto moved = Moved(ToFloats(keyed.element[kAlpha]) / full,
                             Less(LightOf(light, Pixels::Load(source), kStep), behind),
                             Less(LightOf(light, keyed, kStep), behind));
    const auto rounded =
        hn::ConvertTo(hn::RebindToSigned<WordTag>(), moved * full + hn::Set(floats, 0.5f));
    const auto bounded = hn::Min(hn::Max(hn::BitCast(words, rounded), hn::Set(words, 1u)),
                                 hn::Set(words, kFull - 1));
    const auto matte = hn::IfThenElse(mixed, bounded, keyed.element[kAlpha]);
    const SampleTag<Sample> samples;
    const auto stored = [&](Words value) { return hn::TruncateTo(samples, value); };
    hn::StoreInterleaved4(stored(keyed.element[0]), stored(keyed.element[1]),
                          stored(keyed.element[2]), stored(matte), samples, row);
}

template <class Sample>
void Apply(const float* light, const Sample* source, const Sample* plate, Sample* row, int width) {
    const auto body = [=](const Sample* from, const Sample* behind, Sample* to) {
        ApplyVector(light, from, behind, to);
    };
    ForEachVector<kWordLanes>(width, body, Row<const Sample, kElements>{source},
                              Row<const Sample, kElements>{plate}, Row<Sample, kElements>{row});
}

}  // namespace

template <class Sample>
const LinearMatteRows<Sample>* GetLinearMatteRows() {
    static constexpr LinearMatteRows<Sample> kRows{Apply<Sample>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS_OF_BOTH_DEPTHS(LinearMatteRows, SimdLinearMatteRows, GetLinearMatteRows)

}  // namespace veltrane
#endif
