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

/// floor(v * 65535) within 0..65535. With n + f = v * 65536, which is exact, v * 65535 is
/// n + (f - v): one below n just when the fraction is less than v. The whole number is in the low
/// bits of its sum with 2^23, from where floats count in ones.
hn::Vec<SampleTag> ToSamples(Floats value) {
    constexpr float kOnes = 0x1p23f;
    const FloatTag floats;
    const auto one = hn::Set(floats, 1.0f);
    const auto number = hn::IfThenElseZero(hn::Gt(value, hn::Zero(floats)), hn::Min(value, one));
    const auto scaled = hn::Mul(number, hn::Set(floats, 65536.0f));
    const auto whole = hn::Floor(scaled);
    const auto borrow = hn::IfThenElseZero(hn::Lt(hn::Sub(scaled, whole), number), one);
    const auto bits = hn::Add(hn::Sub(whole, borrow), hn::Set(floats, kOnes));
    return hn::TruncateTo(SampleTag(), hn::BitCast(WordTag(), bits));
}

Floats ToFloats(hn::Vec<SampleTag> samples) {
    const FloatTag floats;
    const auto values = hn::ConvertTo(floats, hn::PromoteTo(IntTag(), samples));
    return hn::Div(values, hn::Set(floats, 65535.0f));
}

void ToFrame(const float* pixels, FloatLayout layout, std::uint16_t* row, int width) {
    const ChannelOrder reorder(layout);
    const auto convert = [&](const float* from, std::uint16_t* to) {
        hn::StoreU(ToSamples(reorder(hn::LoadU(FloatTag(), from))), SampleTag(), to);
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
