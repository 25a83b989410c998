#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/blur_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/blur_rows.h"
#include "imaging/row_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

using SumTag = hn::ScalableTag<std::uint32_t>;
using IntTag = hn::RebindToSigned<SumTag>;
using FloatTag = hn::RebindToFloat<SumTag>;
using Floats = hn::Vec<FloatTag>;
constexpr int kLanes = hn::MaxLanes(SumTag());

template <class Sample>
constexpr float kFull = kFullScale<Sample>;

/// value / full scale for whole numbers up to there: 1 / full is 1 / (full + 1) and a little more,
/// and the first product is exact.
template <class Sample>
Floats OfFullScale(Floats value) {
    constexpr float kMost = 1.0f / (kFull<Sample> + 1);
    constexpr float kRest = static_cast<float>(1.0 / (kFull<Sample> * (kFull<Sample> + 1.0)));
    const FloatTag floats;
    return hn::Add(hn::Mul(value, hn::Set(floats, kMost)), hn::Mul(value, hn::Set(floats, kRest)));
}

/// The blurred inverse, steepened. No whole number within the scale comes out different by one
/// product less and without the division; 0 and full scale come out as they are.
template <class Sample>
Floats Shaped(Floats mean) {
    const FloatTag floats;
    const auto full = hn::Set(floats, kFull<Sample>);
    const auto inverse = hn::Floor(hn::Min(mean, full));
    const auto steep = hn::Mul(hn::Mul(inverse, inverse), hn::Set(floats, 4.0f / kFull<Sample>));
    return hn::Floor(hn::Min(steep, full));
}

template <class Sample>
Floats Softened(Floats matte, Floats inverse, Floats strength, Floats offset) {
    const FloatTag floats;
    const auto full = hn::Set(floats, kFull<Sample>);
    const auto taken = hn::Div(hn::Mul(inverse, strength), hn::Neg(full));
    const auto kept = hn::Add(taken, hn::Set(floats, 1.0f));
    const auto left = hn::Mul(hn::Mul(kept, OfFullScale<Sample>(matte)), full);
    const auto reduction = hn::Max(hn::Sub(hn::Sub(matte, left), offset), hn::Zero(floats));
    const auto softened = hn::Add(hn::Sub(matte, reduction), hn::Set(floats, 0.499f));
    return hn::Min(hn::Max(softened, hn::Zero(floats)), full);
}

template <class Sample>
void Soften(const WindowSums<std::uint32_t>& windows, const Softening& s, Sample* matte,
            int width) {
    const SumTag sums;
    const IntTag ints;
    const FloatTag floats;
    const hn::Rebind<Sample, FloatTag> samples;
    const auto down = hn::Set(floats, s.down);
    const auto strength = hn::Set(floats, s.strength);
    const auto offset = hn::Set(floats, s.offset);
    const auto soften = [&](const std::uint32_t* end, const std::uint32_t* begin,
                            const float* across, Sample* at) {
        const auto sum =
            hn::ConvertTo(floats, hn::Sub(hn::LoadU(sums, end), hn::LoadU(sums, begin)));
        const auto mean = hn::Mul(hn::Mul(sum, hn::LoadU(floats, across)), down);
        const auto value = hn::ConvertTo(floats, hn::PromoteTo(ints, hn::LoadU(samples, at)));
        const auto result = Softened<Sample>(value, Shaped<Sample>(mean), strength, offset);
        hn::StoreU(hn::DemoteTo(samples, hn::ConvertTo(ints, result)), samples, at);
    };
    ForEachVector<kLanes>(width, soften, Row<const std::uint32_t>{windows.end},
                          Row<const std::uint32_t>{windows.begin}, Row<const float>{s.across},
                          Row<Sample>{matte});
}

}  // namespace

template <class Sample>
const BlurRows<Sample>* GetBlurRows() {
    static constexpr BlurRows<Sample> kRows{Soften<Sample>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

template <class Sample>
const BlurRows<Sample>* SimdBlurRows() {
    return RowsInUse<BlurRows<Sample>>(VELTRANE_FOR_EACH_LEVEL(GetBlurRows<Sample>));
}

template const BlurRows<unsigned short>* SimdBlurRows();
template const BlurRows<unsigned char>* SimdBlurRows();

}  // namespace veltrane
#endif
