#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "hosts/ofx/pixels_simd.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "hosts/ofx/pixel_rows.h"
#include "imaging/sample.h"
#include "imaging/simd.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane::ofx {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using ByteTag = hn::ScalableTag<std::uint8_t>;
using ShortTag = hn::ScalableTag<std::uint16_t>;
using FloatTag = hn::ScalableTag<float>;
using Bytes = hn::Vec<ByteTag>;
using Shorts = hn::Vec<ShortTag>;
using Floats = hn::Vec<FloatTag>;

/// Gives every element of a pixel the one at its place in an order of four.
template <class Tag>
class Shuffle {
public:
    constexpr explicit Shuffle(const std::array<int, kElements>& order) : places_() {
        constexpr int kBytes = sizeof(hn::TFromD<Tag>);
        for (int i = 0; i < 16; ++i) {
            const int pixel = i / (kElements * kBytes) * kElements;
            const int element = order[i / kBytes % kElements];
            places_[i] = static_cast<std::uint8_t>((pixel + element) * kBytes + i % kBytes);
        }
    }

    hn::Vec<Tag> operator()(hn::Vec<Tag> pixels) const {
        const hn::Repartition<std::uint8_t, Tag> bytes;
        return hn::BitCast(Tag(), hn::TableLookupBytes(hn::BitCast(bytes, pixels),
                                                       hn::LoadDup128(bytes, places_)));
    }

private:
    alignas(16) std::uint8_t places_[16];
};

/// The vector whose pixels have this value in alpha, the last element, and zero elsewhere.
template <class Tag>
hn::Vec<Tag> InAlpha(hn::TFromD<Tag> value) {
    alignas(16) hn::TFromD<Tag> lanes[16] = {};
    for (int i = kAlpha; i < 16; i += kElements) lanes[i] = value;
    return hn::LoadDup128(Tag(), lanes);
}

/// Blue and red change places, which is its own inverse.
template <class Tag>
struct Swapped {
    hn::Vec<Tag> operator()(const hn::TFromD<Tag>* pixels) const {
        static constexpr Shuffle<Tag> kSwapped({2, 1, 0, 3});
        return kSwapped(hn::LoadU(Tag(), pixels));
    }
};

struct BytesMultiplied {
    using HalfTag = hn::Rebind<std::uint8_t, ShortTag>;

    static hn::Vec<HalfTag> Half(const std::uint8_t* from) {
        static constexpr Shuffle<ShortTag> kRgba({2, 1, 0, 3});
        static constexpr Shuffle<ShortTag> kAlphas({3, 3, 3, 3});
        const Shorts bgra = hn::PromoteTo(ShortTag(), hn::LoadU(HalfTag(), from));
        const Shorts factor = hn::Or(kAlphas(bgra), InAlpha<ShortTag>(255));
        const Shorts product = hn::Add(hn::Mul(kRgba(bgra), factor), hn::Set(ShortTag(), 128));
        const Shorts rgba = hn::ShiftRight<8>(hn::Add(product, hn::ShiftRight<8>(product)));
        return hn::DemoteTo(HalfTag(), hn::BitCast(hn::RebindToSigned<ShortTag>(), rgba));
    }

    Bytes operator()(const std::uint8_t* bgra) const {
        return hn::Combine(ByteTag(), Half(bgra + hn::Lanes(ShortTag())), Half(bgra));
    }
};

struct ShortsMultiplied {
    /// The products' halves are added up apart, with carries.
    Shorts operator()(const std::uint16_t* from) const {
        static constexpr Shuffle<ShortTag> kAlphas({3, 3, 3, 3});
        const ShortTag shorts;
        const Shorts rgba = Swapped<ShortTag>()(from);
        const Shorts factor = hn::Or(kAlphas(rgba), InAlpha<ShortTag>(0xFFFF));
        const Shorts product = hn::Mul(rgba, factor);
        const Shorts low = hn::Add(product, hn::Set(shorts, 0x8000));
        const Shorts high = hn::Add(hn::MulHigh(rgba, factor), hn::ShiftRight<15>(product));
        const auto carry = hn::VecFromMask(shorts, hn::Lt(hn::Add(low, high), low));
        return hn::Sub(high, carry);
    }
};

struct FloatsMultiplied {
    Floats operator()(const std::uint16_t* bgra) const {
        static constexpr Shuffle<FloatTag> kRgba({2, 1, 0, 3});
        static constexpr Shuffle<FloatTag> kAlphas({3, 3, 3, 3});
        const FloatTag floats;
        const hn::RebindToSigned<FloatTag> ints;
        const auto samples = hn::LoadU(hn::Rebind<std::uint16_t, FloatTag>(), bgra);
        const Floats values =
            hn::Div(hn::ConvertTo(floats, hn::PromoteTo(ints, samples)), hn::Set(floats, 65535.0f));
        const Floats rgba = kRgba(values);
        const auto isAlpha = hn::Gt(InAlpha<FloatTag>(1), hn::Zero(floats));
        return hn::IfThenElse(isAlpha, rgba, hn::Mul(rgba, kAlphas(values)));
    }
};

/// Converts fewer elements than a vector has by way of a small block.
template <class Tag, class Form, class From>
void ConvertSome(const Form& form, const From* from, hn::TFromD<Tag>* to, std::size_t count) {
    From source[hn::MaxLanes(Tag())] = {};
    alignas(64) hn::TFromD<Tag> target[hn::MaxLanes(Tag())];
    std::copy_n(from, count, source);
    hn::Store(form(source), Tag(), target);
    std::copy_n(target, count, to);
}

/// How many elements come before the first at which vectors are aligned, if long rows are to be
/// written past the caches: a frame of such rows does not fit into them anyway, and memory need not
/// be read before it is written. Narrow vectors gain nothing.
template <class Tag>
std::size_t StreamStart(const hn::TFromD<Tag>* to, std::size_t count) {
    constexpr std::size_t kLongRow = 1024 * kElements;
    constexpr std::size_t kPixel = kElements * sizeof(*to);
    constexpr std::size_t kVector = hn::MaxLanes(Tag()) * sizeof(*to);
    const auto address = reinterpret_cast<std::uintptr_t>(to);
    if (kVector < 32 || count < kLongRow || address % kPixel != 0) return count;
    return (kVector - address % kVector) % kVector / sizeof(*to);
}

/// Vectors from start on, which is a multiple of a pixel, and the rest around them.
template <class Tag, class Form, class From, class Store>
void ConvertFrom(std::size_t start, const Form& form, const From* from, hn::TFromD<Tag>* to,
                 std::size_t count, const Store& store) {
    const std::size_t lanes = hn::Lanes(Tag());
    ConvertSome<Tag>(form, from, to, start);
    std::size_t i = start;
    for (; i + lanes <= count; i += lanes) store(form(from + i), to + i);
    ConvertSome<Tag>(form, from + i, to + i, count - i);
}

/// To the host's frame.
template <class Tag, class Form, class From>
void ConvertRowBy(const From* from, hn::TFromD<Tag>* to, int width) {
    const Tag tag;
    const std::size_t count = static_cast<std::size_t>(width) * kElements;
    const std::size_t start = StreamStart<Tag>(to, count);
    if (start < count) {
        ConvertFrom<Tag>(start, Form(), from, to, count,
                         [&](hn::Vec<Tag> v, hn::TFromD<Tag>* at) { hn::Stream(v, tag, at); });
        hwy::FlushStream();
    } else {
        ConvertFrom<Tag>(0, Form(), from, to, count,
                         [&](hn::Vec<Tag> v, hn::TFromD<Tag>* at) { hn::StoreU(v, tag, at); });
    }
}

/// To the keyer's frame, which is read again soon.
template <class Tag>
void ToKeyer(const hn::TFromD<Tag>* rgba, bool solid, hn::TFromD<Tag>* bgra, int width) {
    using Sample = hn::TFromD<Tag>;
    const auto alpha = InAlpha<Tag>(solid ? kFullScale<Sample> : 0);
    const auto form = [&](const Sample* from) { return hn::Or(Swapped<Tag>()(from), alpha); };
    ConvertFrom<Tag>(0, form, rgba, bgra, static_cast<std::size_t>(width) * kElements,
                     [](hn::Vec<Tag> v, Sample* at) { hn::StoreU(v, Tag(), at); });
}

}  // namespace

const PixelRows* GetPixelRows() {
    static constexpr PixelRows kRows{ToKeyer<ByteTag>,
                                     ToKeyer<ShortTag>,
                                     ConvertRowBy<ByteTag, Swapped<ByteTag>, std::uint8_t>,
                                     ConvertRowBy<ShortTag, Swapped<ShortTag>, std::uint16_t>,
                                     ConvertRowBy<ByteTag, BytesMultiplied, std::uint8_t>,
                                     ConvertRowBy<ShortTag, ShortsMultiplied, std::uint16_t>,
                                     ConvertRowBy<FloatTag, FloatsMultiplied, std::uint16_t>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane::ofx
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane::ofx {

VELTRANE_DEFINE_ROWS(PixelRows, SimdPixelRows, GetPixelRows)

}  // namespace veltrane::ofx
#endif
