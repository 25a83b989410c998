#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/convert/light_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstdint>

#include "imaging/convert/light_rows.h"
#include "imaging/cpu/row_vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

/// Floats from kSmallest to below 1. A straight line through the bucket misses by a step at most,
/// which the thresholds tell.
Words Samples(const LightTables& tables, Floats values) {
    constexpr int kShift = LightTables::kBucketShift;
    const FloatTag floats;
    const WordTag words;
    const hn::RebindToSigned<WordTag> ints;
    const Words bits = hn::BitCast(words, values);
    const Words start = hn::BitCast(words, hn::Set(floats, LightTables::kSmallest));
    const Words bucket = hn::ShiftRight<kShift>(bits) - hn::ShiftRight<kShift>(start);
    const Words found = hn::GatherIndex(words, tables.buckets, hn::BitCast(ints, bucket));
    const Words within = hn::And(bits, hn::Set(words, (1u << kShift) - 1));
    const Words first = hn::And(found, hn::Set(words, 0xFFFF));
    const Words near = first + hn::ShiftRight<kShift>(hn::ShiftRight<16>(found) * within);
    const auto index = hn::BitCast(ints, near);
    const Floats least = hn::GatherIndex(floats, tables.thresholds, index);
    const Floats next = hn::GatherIndex(floats, tables.thresholds + 1, index);
    const auto below = hn::VecFromMask(words, hn::RebindMask(words, hn::Lt(values, least)));
    const auto above = hn::VecFromMask(words, hn::RebindMask(words, hn::Ge(values, next)));
    return near + below - above;  // a mask is -1
}

void ToWorking(const LightTables& tables, const float* stored, std::ptrdiff_t count,
               std::uint16_t* samples) {
    const FloatTag floats;
    const WordTag words;
    const auto smallest = hn::Set(floats, LightTables::kSmallest), one = hn::Set(floats, 1.0f);
    const auto convert = [&](const float* from, std::uint16_t* to) {
        const Floats values = hn::LoadU(floats, from);
        const auto some = hn::Ge(values, smallest), full = hn::Ge(values, one);
        const Floats inside = hn::IfThenElse(hn::AndNot(full, some), values, smallest);
        const Words found = Samples(tables, inside);
        const Words known = hn::IfThenElseZero(hn::RebindMask(words, some), found);
        StoreLowBits(hn::IfThenElse(hn::RebindMask(words, full), hn::Set(words, 65535), known), to);
    };
    ForEachVector<kWordLanes>(count, convert, Row<const float>{stored},
                              Row<std::uint16_t>{samples});
}

}  // namespace

const LightRows* GetLightRows() {
    static constexpr LightRows kRows{ToWorking};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS(LightRows, SimdLightRows, GetLightRows)

}  // namespace veltrane
#endif
