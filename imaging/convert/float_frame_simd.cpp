#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/convert/float_frame_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstdint>

#include "imaging/convert/float_frame_rows.h"
#include "imaging/cpu/row_vectors-inl.h"
#include "imaging/sample.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

using SampleTag = hn::ScalableTag<std::uint16_t>;
using PixelTag = hn::Repartition<std::uint64_t, SampleTag>;
using ByteTag = hn::Repartition<std::uint8_t, SampleTag>;
using Samples = hn::Vec<SampleTag>;
constexpr int kFloats = hn::MaxLanes(FloatTag());
constexpr int kSamples = 2 * kFloats;
constexpr int kPixels = kSamples / kElements;

/// Moves the four 16-bit channels of every pixel to their places in the other order.
class ChannelOrder {
public:
    explicit ChannelOrder(FloatLayout layout)
        : bytes_(hn::LoadDup128(ByteTag(), layout == FloatLayout::kArgb ? kArgb : kRgba)) {}

    /// Its own inverse.
    Samples operator()(Samples pixels) const {
        return hn::BitCast(SampleTag(),
                           hn::TableLookupBytes(hn::BitCast(ByteTag(), pixels), bytes_));
    }

private:
    alignas(16) static constexpr std::uint8_t kArgb[16] = {6,  7,  4,  5,  2,  3,  0, 1,
                                                           14, 15, 12, 13, 10, 11, 8, 9};
    alignas(16) static constexpr std::uint8_t kRgba[16] = {4,  5,  2,  3,  0, 1, 6,  7,
                                                           12, 13, 10, 11, 8, 9, 14, 15};

    hn::Vec<ByteTag> bytes_;
};

#if HWY_NATIVE_FMA
/// v * 65535, rounded, within 0..65535, in the low bits. From 2^23 on floats count in ones, so the
/// sum is v * 65535 rounded once to the nearest whole number. Of all floats within 0..1, 0.5 alone
/// makes it a half, and 32767.5 goes up, to the even number. Rounding down takes a half off first,
/// which does as long as v * 65535 is not a whole number: only 0 and 1 make it one.
template <FloatRounding rounding>
Words WholeSamples(Floats value) {
    constexpr float kLess = rounding == FloatRounding::kDown ? 0.5f : 0;
    const FloatTag floats;
    const auto none = hn::Set(floats, 0x1p23f);
    const auto full = hn::Set(floats, 0x1p23f + 65535.0f);
    const auto sum = hn::MulAdd(value, hn::Set(floats, 65535.0f), hn::Set(floats, 0x1p23f - kLess));
    // Of not-a-number and another operand, the maximum is the other one.
    const auto bounded = hn::Max(sum, none);
    return hn::BitCast(WordTag(),
                       hn::IfThenElse(hn::Ge(value, hn::Set(floats, 1.0f)), full, bounded));
}
#else
/// The same without a sum that is rounded once. With n + f = v * 65536, which is exact, v * 65535
/// is n + (f - v): its floor is one below n just when f < v, and the nearest number is one above
/// or below n just when f - v is at least a half or less than minus a half. The halves are put on
/// the side of f, where they are exact or cannot matter.
template <FloatRounding rounding>
Words WholeSamples(Floats value) {
    const FloatTag floats;
    const auto one = hn::Set(floats, 1.0f);
    const auto half = hn::Set(floats, 0.5f);
    const auto number = hn::IfThenElseZero(hn::Gt(value, hn::Zero(floats)), hn::Min(value, one));
    const auto scaled = hn::Mul(number, hn::Set(floats, 65536.0f));
    auto whole = hn::Floor(scaled);
    auto fraction = hn::Sub(scaled, whole);
    if constexpr (rounding == FloatRounding::kNearest) {
        const auto above = hn::Ge(hn::Sub(fraction, half), number);
        whole = hn::Add(whole, hn::IfThenElseZero(above, one));
        fraction = hn::Add(fraction, half);
    }
    const auto borrow = hn::IfThenElseZero(hn::Lt(fraction, number), one);
    return hn::BitCast(WordTag(), hn::Add(hn::Sub(whole, borrow), hn::Set(floats, 0x1p23f)));
}
#endif

/// s / 65535 rounded to nearest, from the floats 2^23 + s: s (2^-16 + 2^-32 + 2^-48 + ...). What is
/// left out and what is rounded before the last sum are too little to carry it over the middle
/// between two floats.
Floats Fractions(Floats raised) {
    const FloatTag floats;
    const auto share = hn::MulAdd(raised, hn::Set(floats, 0x1p-16f), hn::Set(floats, -0x1p7f));
    return hn::MulAdd(share, hn::Set(floats, 0x1p-16f + 0x1p-32f), share);
}

template <FloatRounding rounding>
void ToFrame(const float* pixels, FloatLayout layout, bool opaque, std::uint16_t* row, int width) {
    const FloatTag floats;
    const SampleTag samples;
    const ChannelOrder reorder(layout);
    const auto alpha = hn::BitCast(
        samples, hn::Set(PixelTag(), opaque ? std::uint64_t{0xFFFF} << 48 : std::uint64_t{0}));
    const auto convert = [&](const float* from, std::uint16_t* to) {
        const auto low = hn::BitCast(samples, WholeSamples<rounding>(hn::LoadU(floats, from)));
        const auto high =
            hn::BitCast(samples, WholeSamples<rounding>(hn::LoadU(floats, from + kFloats)));
        hn::StoreU(hn::Or(reorder(hn::ConcatEven(samples, high, low)), alpha), samples, to);
    };
    ForEachVector<kSamples>(width * kElements, convert, Row<const float>{pixels},
                            Row<std::uint16_t>{row});
}

void ToRoundedFrame(const float* pixels, FloatLayout layout, FloatRounding rounding, bool opaque,
                    std::uint16_t* row, int width) {
    const auto toFrame = rounding == FloatRounding::kNearest ? ToFrame<FloatRounding::kNearest>
                                                             : ToFrame<FloatRounding::kDown>;
    toFrame(pixels, layout, opaque, row, width);
}

void ToFloat(const std::uint16_t* row, FloatLayout layout, float* pixels, int width) {
    const FloatTag floats;
    const SampleTag samples;
    const PixelTag whole;
    const ChannelOrder reorder(layout);
    // The first and the second half take turns, as interleaving works within blocks of two pixels.
    alignas(64) std::uint64_t turns[kPixels];
    for (int i = 0; i < kPixels; ++i) turns[i] = i / 2 + i % 2 * (kPixels / 2);
    const auto places = hn::SetTableIndices(whole, turns);
    const auto raise = hn::Set(samples, 0x4B00);  // the upper half of the float 2^23
    const auto convert = [&](const std::uint16_t* from, float* to) {
        const auto turned = hn::BitCast(whole, hn::LoadU(samples, from));
        const auto ordered = reorder(hn::BitCast(samples, hn::TableLookupLanes(turned, places)));
        const auto first = hn::BitCast(floats, hn::InterleaveLower(samples, ordered, raise));
        const auto second = hn::BitCast(floats, hn::InterleaveUpper(samples, ordered, raise));
        hn::StoreU(Fractions(first), floats, to);
        hn::StoreU(Fractions(second), floats, to + kFloats);
    };
    ForEachVector<kSamples>(width * kElements, convert, Row<const std::uint16_t>{row},
                            Row<float>{pixels});
}

}  // namespace

const FloatFrameRows* GetFloatFrameRows() {
    static constexpr FloatFrameRows kRows{ToRoundedFrame, ToFloat};
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
