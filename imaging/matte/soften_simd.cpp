#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/matte/soften_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/cpu/row_vectors-inl.h"
#include "imaging/matte/soften_rows.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

template <class Sample>
constexpr float kFull = kFullScale<Sample>;

template <class Sample>
Floats OfFullScale(Floats value) {
    const FloatTag floats;
    return value * hn::Set(floats, FullScaleFactors<Sample>::kMost) +
           value * hn::Set(floats, FullScaleFactors<Sample>::kRest);
}

/// The blurred inverse, steepened; 0 and full scale come out as they are.
template <class Sample>
Floats Shaped(Floats mean) {
    const FloatTag floats;
    const auto full = hn::Set(floats, kFull<Sample>);
    const auto steepness = hn::Set(floats, FullScaleFactors<Sample>::kSteepness);
    const auto inverse = hn::Floor(hn::Min(mean, full));
    return hn::Floor(hn::Min(inverse * inverse * steepness, full));
}

template <class Sample>
Floats Softened(Floats matte, Floats inverse, Floats strength, Floats offset) {
    const FloatTag floats;
    const auto full = hn::Set(floats, kFull<Sample>);
    const auto taken = (inverse * strength) / hn::Neg(full);
    const auto kept = taken + hn::Set(floats, 1.0f);
    const auto left = kept * OfFullScale<Sample>(matte) * full;
    const auto reduction = hn::Max(matte - left - offset, hn::Zero(floats));
    const auto softened = matte - reduction + hn::Set(floats, 0.499f);
    return hn::Min(hn::Max(softened, hn::Zero(floats)), full);
}

template <class Sample>
void Soften(const WindowSums<std::uint32_t>& windows, const Softening& s, Sample* matte,
            int width) {
    const WordTag words;
    const FloatTag floats;
    const auto down = hn::Set(floats, s.down);
    const auto strength = hn::Set(floats, s.strength);
    const auto offset = hn::Set(floats, s.offset);
    const auto soften = [&](const std::uint32_t* end, const std::uint32_t* begin,
                            const float* across, Sample* at) {
        const Words value = LoadWords(at);
        if (hn::AllTrue(words, hn::Eq(value, hn::Zero(words)))) return;  // stays 0
        const Words sum = hn::LoadU(words, end) - hn::LoadU(words, begin);
        const Floats mean = hn::ConvertTo(floats, sum) * hn::LoadU(floats, across);
        const Floats inverse = Shaped<Sample>(mean * down);
        const Floats softened = Softened<Sample>(ToFloats(value), inverse, strength, offset);
        StoreLowBits(WholeBits(softened), at);
    };
    ForEachVector<kWordLanes>(width, soften, Row<const std::uint32_t>{windows.end},
                              Row<const std::uint32_t>{windows.begin}, Row<const float>{s.across},
                              Row<Sample>{matte});
}

}  // namespace

template <class Sample>
const SoftenRows<Sample>* GetSoftenRows() {
    static constexpr SoftenRows<Sample> kRows{Soften<Sample>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS_OF_BOTH_DEPTHS(SoftenRows, SimdSoftenRows, GetSoftenRows)

}  // namespace veltrane
#endif
