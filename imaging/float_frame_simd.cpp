#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/float_frame_simd.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstdint>
#include <cstring>

#include "imaging/float_frame_rows.h"
#include "imaging/row_vectors-inl.h"
#include "imaging/sample.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

using IntTag = hn::RebindToSigned<FloatTag>;
using SampleTag = hn::Rebind<std::uint16_t, FloatTag>;
using ByteTag = hn::Repartition<std::uint8_t, FloatTag>;
constexpr int kLanes = hn::MaxLanes(FloatTag());

/// Moves the four channels of every pixel to their places in the other order.
class ChannelOrder {
public:
    explicit ChannelOrder(FloatLayout layout) {
        constexpr std::uint8_t kArgb[16] = {12, 13, 14, 15, 8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3};
        constexpr std::uint8_t kRgba[16] = {8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3, 12, 13, 14, 15};
        std::memcpy(bytes_, layout == FloatLayout::kArgb ? kArgb : kRgba, sizeof(bytes_));
    }

    /// Its own inverse.
    Floats operator()(Floats pixels) const {
        const ByteTag bytes;
        return hn::BitCast(FloatTag(), hn::TableLookupBytes(hn::BitCast(bytes, pixels),
                                                            hn::LoadDup128(bytes, bytes_)));
    }

private:
    alignas(16) std::uint8_t bytes_[16];
};

#if HWY_NATIVE_FMA
/// floor(v * 65535) within 0..65535, in the low bits. From 2^23 on floats count in ones, so the sum
/// is v * 65535 - 0.5 rounded once to the nearest whole number, which is what is wanted as long as
/// v * 65535 is not a whole number: of all floats within 0..1, only 0 and 1 make it one.
Words WholeSamples(Floats value) {
    const FloatTag floats;
    const auto none = hn::Set(floats, 0x1p23f);
    const auto full = hn::Set(floats, 0x1p23f + 65535.0f);
    const auto sum = hn::MulAdd(value, hn::Set(floats, 65535.0f), hn::Set(floats, 0x1p23f - 0.5f));
    // Not-a-number is no more than its second operand to Max.
    const auto bounded = hn::Max(sum, none);
    return hn::BitCast(WordTag(),
                       hn::IfThenElse(hn::Ge(value, hn::Set(floats, 1.0f)), full, bounded));
}
#else
/// The same without a sum that is rounded once. With n + f = v * 65536, which is exact, v * 65535 is
/// n + (f - v): one below n just when the fraction is less than v.
Words WholeSamples(Floats value) {
    const FloatTag floats;
    const auto one = hn::Set(floats, 1.0f);
    const auto number = hn::IfThenElseZero(hn::Gt(value, hn::Zero(floats)), hn::Min(value, one));
    const auto scaled = hn::Mul(number, hn::Set(floats, 65536.0f));
    const auto whole = hn::Floor(scaled);
    const auto borrow = hn::IfThenElseZero(hn::Lt(hn::Sub(scaled, whole), number), one);
    return hn::BitCast(WordTag(), hn::Add(hn::Sub(whole, borrow), hn::Set(floats, 0x1p23f)));
}
#endif

/// v / 65535 rounded to nearest: v (2^-16 + 2^-32 + 2^-48 + ...). What is left out and what is
/// rounded before the sum are both too little to carry it over the middle between two floats.
Floats ToFloats(hn::Vec<SampleTag> samples) {
    const FloatTag floats;
    const auto values = hn::ConvertTo(floats, hn::PromoteTo(IntTag(), samples));
    return hn::MulAdd(values, hn::Set(floats, 0x1p-32f + 0x1p-48f),
                      hn::Mul(values, hn::Set(floats, 0x1p-16f)));
}

void ToFrame(const float* pixels, FloatLayout layout, std::uint16_t* row, int width) {
    const ChannelOrder reorder(layout);
    const auto convert = [&](const float* from, std::uint16_t* to) {
        StoreLowBits(WholeSamples(reorder(hn::LoadU(FloatTag(), from))), to);
    };
    ForEachVector<kLanes>(width * kElements, convert, Row<const float>{pixels},
                          Row<std::uint16_t>{row});
}

/// From which pixel on a row of the host's frame is better written past the caches: a frame of long
/// rows does not fit into them anyway. Narrow vectors gain nothing.
int StreamStart(const float* pixels, int width) {
    constexpr int kLongRow = 1024;
    constexpr std::size_t kPixel = kElements * sizeof(float);
    constexpr std::size_t kVector = kLanes * sizeof(float);
    const auto address = reinterpret_cast<std::uintptr_t>(pixels);
    if (kVector < 32 || width < kLongRow || address % kPixel != 0) return width;
    return static_cast<int>((kVector - address % kVector) % kVector / kPixel);
}

template <class Store>
void ToFloatBy(Store store, const std::uint16_t* row, FloatLayout layout, float* pixels,
               int width) {
    const ChannelOrder reorder(layout);
    const auto convert = [&](const std::uint16_t* from, float* to) {
        store(reorder(ToFloats(hn::LoadU(SampleTag(), from))), to);
    };
    ForEachVector<kLanes>(width * kElements, convert, Row<const std::uint16_t>{row},
                          Row<float>{pixels});
}

void ToFloat(const std::uint16_t* row, FloatLayout layout, float* pixels, int width) {
    const FloatTag floats;
    const int start = StreamStart(pixels, width);
    const auto store = [&](Floats values, float* to) { hn::StoreU(values, floats, to); };
    ToFloatBy(store, row, layout, pixels, start);
    if (start == width) return;
    const auto stream = [&](Floats values, float* to) { hn::Stream(values, floats, to); };
    ToFloatBy(stream, row + start * kElements, layout, pixels + start * kElements, width - start);
    hwy::FlushStream();
}

}  // namespace

const FloatFrameRows* GetFloatFrameRows() {
    static constexpr FloatFrameRows kRows{ToFrame, ToFloat};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS(FloatFrameRows, SimdFloatFrameRows, GetFloatFrameRows)

}  // namespace veltrane
#endif
