#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "media/exr_row_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "imaging/cpu/row_vectors-inl.h"
#include "media/exr_row_forms.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

using ShortTag = hn::Rebind<std::uint16_t, WordTag>;
using Shorts = hn::Vec<ShortTag>;

/// Of whole numbers below 2^31.
hn::Mask<WordTag> IsBelow(Words numbers, std::uint32_t bound) {
    const hn::RebindToSigned<WordTag> ints;
    const auto limit = hn::Set(ints, static_cast<std::int32_t>(bound));
    return hn::RebindMask(WordTag(), hn::Lt(hn::BitCast(ints, numbers), limit));
}

/// Below the least normal half, halves count in the steps in which floats from 0.5 on count. Above
/// it, half a step less one, and one more where the half below is odd, lets ties become even.
Words Halves(Floats values) {
    constexpr std::uint32_t kHalf = 0x3f000000, kLeastNormal = 0x38800000, kInfinite = 0x7c00;
    constexpr std::uint32_t kBelowHalfStep = 0xfff, kExponents = (127 - 15) << 23;
    constexpr std::uint32_t kBeyond = 0x477ff000;  // 65520, halfway to the half there is not
    const WordTag words;
    const Words all = hn::BitCast(words, values);
    const Words bits = hn::And(all, hn::Set(words, 0x7fffffff));
    const Words small =
        hn::BitCast(words, hn::BitCast(FloatTag(), bits) + hn::Set(FloatTag(), 0.5f)) -
        hn::Set(words, kHalf);
    const Words odd = hn::And(hn::ShiftRight<13>(bits), hn::Set(words, 1u));
    const Words normal =
        hn::ShiftRight<13>(bits + hn::Set(words, kBelowHalfStep - kExponents) + odd);
    const Words finite = hn::IfThenElse(IsBelow(bits, kLeastNormal), small, normal);
    const Words halves = hn::IfThenElse(IsBelow(bits, kBeyond), finite, hn::Set(words, kInfinite));
    return hn::Or(halves, hn::ShiftRight<16>(hn::Xor(all, bits)));
}

void Narrow(const float* values, const float* factors, std::ptrdiff_t width,
            std::uint16_t* halves) {
    const FloatTag floats;
    if (factors == nullptr) {
        const auto narrow = [=](const float* from, std::uint16_t* to) {
            StoreLowBits(Halves(hn::LoadU(floats, from)), to);
        };
        ForEachVector<kWordLanes>(width, narrow, Row<const float>{values},
                                  Row<std::uint16_t>{halves});
        return;
    }
    const auto narrow = [=](const float* from, const float* factor, std::uint16_t* to) {
        StoreLowBits(Halves(hn::LoadU(floats, from) * hn::LoadU(floats, factor)), to);
    };
    ForEachVector<kWordLanes>(width, narrow, Row<const float>{values}, Row<const float>{factors},
                              Row<std::uint16_t>{halves});
}

/// Ones where colour is the same, and, if it counts, alpha is full.
Shorts Untouched(const std::uint16_t* result, const std::uint16_t* source, bool anyAlpha) {
    const ShortTag shorts;
    Shorts blue, green, red, alpha, sourceBlue, sourceGreen, sourceRed, unused;
    hn::LoadInterleaved4(shorts, result, blue, green, red, alpha);
    hn::LoadInterleaved4(shorts, source, sourceBlue, sourceGreen, sourceRed, unused);
    const Shorts differs = hn::Or(hn::Xor(blue, sourceBlue),
                                  hn::Or(hn::Xor(green, sourceGreen), hn::Xor(red, sourceRed)));
    const Shorts missing = hn::Xor(alpha, hn::Set(shorts, 65535));
    const Shorts any = anyAlpha ? differs : hn::Or(differs, missing);
    return hn::VecFromMask(shorts, hn::Eq(any, hn::Zero(shorts)));
}

/// Below the least normal half, halves are what floats from 2^-14 on lie above it.
Floats AsFloats(Shorts halves) {
    constexpr std::uint32_t kLeastNormal = 0x0400 << 13, kInfinite = 0x7c00 << 13;
    constexpr std::uint32_t kExponents = (127 - 15) << 23, kOne = 1 << 23;
    const WordTag words;
    const FloatTag floats;
    const Words half = hn::PromoteTo(words, halves);
    const Words bits = hn::ShiftLeft<13>(hn::And(half, hn::Set(words, 0x7fff)));
    const Words normal = bits + hn::Set(words, kExponents);
    const Words raised = normal + hn::Set(words, kOne);
    const Words small = hn::BitCast(words, hn::BitCast(floats, raised) - hn::Set(floats, 0x1p-14f));
    const Words finite = hn::IfThenElse(IsBelow(bits, kLeastNormal), small, normal);
    const Words wide =
        hn::IfThenElse(IsBelow(bits, kInfinite), finite, normal + hn::Set(words, kExponents));
    const Words sign = hn::And(half, hn::Set(words, 0x8000));
    return hn::BitCast(floats, hn::Or(wide, hn::ShiftLeft<16>(sign)));
}
Floats AsFloats(Floats values) {
    return values;
}

Floats Excess(Floats value) {
    const FloatTag floats;
    const auto one = hn::Set(floats, 1.0f), zero = hn::Zero(floats);
    const Floats above = hn::IfThenElseZero(hn::Gt(value, one), value - one);
    return hn::IfThenElse(hn::Lt(value, zero), value, above);
}

void StoreUnless(Shorts untouched, Floats value, Shorts original, std::uint16_t* to) {
    const ShortTag shorts;
    const Shorts made = hn::TruncateTo(shorts, Halves(value));
    hn::StoreU(hn::IfVecThenElse(untouched, original, made), shorts, to);
}
void StoreUnless(Shorts untouched, Floats value, Floats original, float* to) {
    const FloatTag floats;
    const hn::RebindToSigned<ShortTag> shorts;
    const hn::RebindToSigned<WordTag> ints;
    const auto wide = hn::PromoteTo(ints, hn::BitCast(shorts, untouched));
    hn::StoreU(hn::IfVecThenElse(hn::BitCast(floats, wide), original, value), floats, to);
}

template <class Sample>
void Make(const media::ExrRowSource<Sample>& from, std::ptrdiff_t width,
          const media::ExrRow<Sample>& row) {
    using SampleTag = std::conditional_t<std::is_same_v<Sample, float>, FloatTag, ShortTag>;
    const FloatTag floats;
    const bool opaque = row.alpha == nullptr;
    const auto one = hn::Set(floats, 1.0f);
    const auto make = [&](const std::uint16_t* result, const std::uint16_t* source,
                          const Sample* originals, const float* red, const float* green,
                          const float* blue, const float* alpha, Sample* toRed, Sample* toGreen,
                          Sample* toBlue) {
        const Shorts untouched = Untouched(result, source, opaque);
        const Floats alphas = opaque ? one : hn::LoadU(floats, alpha);
        const auto covers = hn::Gt(alphas, hn::Zero(floats));
        hn::Vec<SampleTag> given[3];
        hn::LoadInterleaved3(SampleTag(), originals, given[0], given[1], given[2]);
        const auto channel = [&](const float* value, hn::Vec<SampleTag> original, Sample* to) {
            const Floats excess = hn::IfThenElseZero(covers, Excess(AsFloats(original)));
            const Floats sum = hn::LoadU(floats, value) + excess;
            StoreUnless(untouched, from.premultiplied ? sum * alphas : sum, original, to);
        };
        channel(red, given[0], toRed);
        channel(green, given[1], toGreen);
        channel(blue, given[2], toBlue);
    };
    ForEachVector<kWordLanes>(
        width, make, Row<const std::uint16_t, 4>{from.result},
        Row<const std::uint16_t, 4>{from.source}, Row<const Sample, 3>{from.originals},
        Row<const float>{from.values.red}, Row<const float>{from.values.green},
        Row<const float>{from.values.blue},
        Row<const float>{opaque ? from.values.red : from.values.alpha}, Row<Sample>{row.red},
        Row<Sample>{row.green}, Row<Sample>{row.blue});
    if (opaque) return;
    if constexpr (std::is_same_v<Sample, float>) {
        std::copy(from.values.alpha, from.values.alpha + width, row.alpha);
    } else {
        Narrow(from.values.alpha, nullptr, width, row.alpha);
    }
}

}  // namespace

const media::ExrRowForms* GetExrRowForms() {
    static constexpr media::ExrRowForms kForms{Narrow, Make<std::uint16_t>, Make<float>};
    return &kForms;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane::media {

VELTRANE_DEFINE_ROWS(ExrRowForms, SimdExrRowForms, GetExrRowForms)

}  // namespace veltrane::media
#endif
