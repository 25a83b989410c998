#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "keyer/plate/screen_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "imaging/cpu/row_vectors-inl.h"
#include "imaging/sample.h"
#include "keyer/plate/screen_rows.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

using IntTag = hn::RebindToSigned<WordTag>;
using ByteTag = hn::Repartition<std::uint8_t, WordTag>;
using Ints = hn::Vec<IntTag>;

/// A weighted sum of red, green and blue in 16 fractional bits, rounded down.
Ints Weighted(const Ints (&rgb)[3], int red, int green, int blue) {
    const IntTag ints;
    const Ints sum = rgb[0] * hn::Set(ints, red) + rgb[1] * hn::Set(ints, green);
    return hn::ShiftRight<16>(sum + rgb[2] * hn::Set(ints, blue));
}

void Extract(const ScreenLook& look, std::uint8_t* pixels, std::uint8_t* marks, int width) {
    const IntTag ints;
    const WordTag words;
    const FloatTag floats;
    const ByteTag bytes;
    const auto extract = [&](std::uint8_t* at, std::uint8_t* mark) {
        const Words pixel = hn::BitCast(words, hn::LoadU(bytes, at));
        const auto component = [&](Words shifted) {
            return hn::BitCast(ints, hn::And(shifted, hn::Set(words, 255)));
        };
        const Ints rgb[3] = {component(hn::ShiftRight<16>(pixel)),
                             component(hn::ShiftRight<8>(pixel)), component(pixel)};
        const Ints y = Weighted(rgb, 19595, 38470, 7471);
        const Ints i = Weighted(rgb, 39059, -18022, -21037);
        const Ints q = Weighted(rgb, 13894, -34275, 20382);
        const Floats fi = hn::ConvertTo(floats, i);
        const Floats fq = hn::ConvertTo(floats, q) * hn::Set(floats, look.turn);
        const auto outside = hn::Or(hn::Le(fi * hn::Set(floats, look.skinSlope), fq),
                                    hn::Le(fi * hn::Set(floats, look.neighbourSlope), fq));
        const Ints di = i - hn::GatherIndex(ints, look.i, y);
        const Ints dq = q - hn::GatherIndex(ints, look.q, y);
        const Ints distance = di * di + dq * dq;
        const auto far = hn::Gt(distance, hn::Set(ints, look.squaredDistance));
        const auto emptied = hn::Or(hn::RebindMask(ints, outside), far);
        const auto colors = hn::IfThenElseZero(emptied, hn::Set(ints, 0x00FFFFFF));
        hn::StoreU(hn::BitCast(bytes, hn::AndNot(hn::BitCast(words, colors), pixel)), bytes, at);
        const auto foreign = hn::AndNot(hn::RebindMask(ints, outside), far);
        StoreLowBits(hn::BitCast(words, hn::VecFromMask(ints, foreign)), mark);
    };
    ForEachVector<kWordLanes>(width, extract, Row<std::uint8_t, kElements>{pixels},
                              Row<std::uint8_t>{marks});
}

}  // namespace

const ScreenRows* GetScreenRows() {
    static constexpr ScreenRows kRows{Extract};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS(ScreenRows, SimdScreenRows, GetScreenRows)

}  // namespace veltrane
#endif
