#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "media/exr_half_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstdint>

#include "imaging/cpu/row_vectors-inl.h"
#include "media/exr_half_rows.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

/// Below the least normal half, halves count in the steps in which floats from 0.5 on count. Above
/// it, half a step less one, and one more where the half below is odd, lets ties become even.
Words Halves(Floats values) {
    constexpr std::uint32_t kHalf = 0x3f000000, kLeastNormal = 0x38800000;
    constexpr std::uint32_t kBelowHalfStep = 0xfff, kExponents = (127 - 15) << 23;
    const WordTag words;
    const Words bits = hn::BitCast(words, values);
    const Words small = hn::BitCast(words, values + hn::Set(FloatTag(), 0.5f));
    const Words odd = hn::And(hn::ShiftRight<13>(bits), hn::Set(words, 1u));
    const Words normal =
        hn::ShiftRight<13>(bits + hn::Set(words, kBelowHalfStep - kExponents) + odd);
    const auto isSmall = bits < hn::Set(words, kLeastNormal);
    return hn::IfThenElse(isSmall, small - hn::Set(words, kHalf), normal);
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

}  // namespace

const media::ExrHalfRows* GetExrHalfRows() {
    static constexpr media::ExrHalfRows kRows{Narrow};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane::media {

VELTRANE_DEFINE_ROWS(ExrHalfRows, SimdExrHalfRows, GetExrHalfRows)

}  // namespace veltrane::media
#endif
