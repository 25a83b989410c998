#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "hosts/ofx/pixels_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <array>
#include <cstdint>
#include <type_traits>

#include "hosts/ofx/pixel_rows.h"
#include "imaging/cpu/row_vectors-inl.h"
#include "imaging/sample.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane::ofx {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES
namespace {

using namespace veltrane::HWY_NAMESPACE;
namespace hn = hwy::HWY_NAMESPACE;

using ShortTag = hn::ScalableTag<std::uint16_t>;
using IntTag = hn::RebindToSigned<WordTag>;
using Shorts = hn::Vec<ShortTag>;
using Ints = hn::Vec<IntTag>;

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

/// Every pixel's alpha in all its elements.
template <class Tag>
hn::Vec<Tag> Alphas(Tag, hn::Vec<Tag> pixels) {
    static constexpr Shuffle<Tag> kAlphas({kAlpha, kAlpha, kAlpha, kAlpha});
    return kAlphas(pixels);
}

/// The vector whose pixels have this value in alpha, the last element, and zero elsewhere.
template <class Tag>
hn::Vec<Tag> InAlpha(Tag tag, hn::TFromD<Tag> value) {
    alignas(16) hn::TFromD<Tag> lanes[16] = {};
    for (int i = kAlpha; i < 16; i += kElements) lanes[i] = value;
    return hn::LoadDup128(tag, lanes);
}

/// The colours of one vector with the alphas of the other.
template <class Tag>
hn::Vec<Tag> WithAlpha(Tag tag, hn::Vec<Tag> colors, hn::Vec<Tag> alphas) {
    return hn::IfThenElse(hn::Gt(InAlpha(tag, 1), hn::Zero(tag)), alphas, colors);
}

template <class T>
void Swap(const T* from, bool opaque, T* to, int width) {
    using Tag = hn::ScalableTag<T>;
    static constexpr Shuffle<Tag> kSwapped({2, 1, 0, kAlpha});
    const Tag tag;
    const auto alpha = InAlpha(tag, opaque ? kFullScale<T> : 0);
    const auto swap = [&](const T* source, T* target) {
        hn::StoreU(hn::Or(kSwapped(hn::LoadU(tag, source)), alpha), tag, target);
    };
    ForEachVector<hn::MaxLanes(tag)>(width * kElements, swap, Row<const T>{from}, Row<T>{to});
}

/// Compares bits, so zeros of different sign differ.
template <class T>
bool IsAlpha(T value, const T* pixels, int width) {
    const hn::ScalableTag<T> tag;
    const hn::RebindToUnsigned<decltype(tag)> bits;
    using Bits = hn::TFromD<decltype(bits)>;
    constexpr int kLanes = hn::MaxLanes(tag);
    const auto wanted = hn::BitCast(bits, InAlpha(tag, value));
    const auto alpha = InAlpha(bits, static_cast<Bits>(-1));
    auto differences = hn::Zero(bits);
    std::ptrdiff_t i = 0;
    for (; i + kLanes <= width * kElements; i += kLanes) {
        const auto found = hn::And(hn::BitCast(bits, hn::LoadU(tag, pixels + i)), alpha);
        differences = hn::Or(differences, hn::Xor(found, wanted));
    }
    bool is = hn::AllTrue(bits, hn::Eq(differences, hn::Zero(bits)));
    for (; i < width * kElements; i += kElements) is &= pixels[i + kAlpha] == value;
    return is;
}

/// The quotient is estimated to less than a hundredth, rounded, and set right by what remains.
/// Products are taken modulo 2^32, which the small remainder outlives.
template <class T>
Words Divided(Words pixels) {
    const WordTag words;
    const IntTag ints;
    const FloatTag floats;
    constexpr int kFull = kFullScale<T>;
    const Words alphas = Alphas(words, pixels);
    const auto alpha = hn::Max(hn::BitCast(ints, alphas), hn::Set(ints, 1));
    const auto color = hn::Min(hn::BitCast(ints, pixels), hn::BitCast(ints, alphas));
    const auto scaled = hn::Mul(hn::ConvertTo(floats, color), hn::Set(floats, kFull));
    const auto near = hn::NearestInt(hn::Div(scaled, hn::ConvertTo(floats, alpha)));
    const auto product = hn::Mul(hn::BitCast(words, color), hn::Set(words, kFull));
    const auto rest = hn::BitCast(
        ints, hn::Sub(product, hn::Mul(hn::BitCast(words, near), hn::BitCast(words, alpha))));
    const auto twice = hn::Add(rest, rest);
    const auto more = hn::VecFromMask(ints, hn::Gt(twice, hn::Sub(alpha, hn::Set(ints, 1))));
    const auto less = hn::VecFromMask(ints, hn::Lt(twice, hn::Neg(alpha)));
    return WithAlpha(words, hn::BitCast(words, hn::Add(hn::Sub(near, more), less)), pixels);
}

Floats Divided(Floats pixels) {
    const FloatTag floats;
    const Floats alphas = Alphas(floats, pixels);
    const auto colors =
        hn::IfThenElseZero(hn::Gt(alphas, hn::Zero(floats)), hn::Div(pixels, alphas));
    return WithAlpha(floats, colors, pixels);
}

template <class T>
void Divide(const T* from, T* to, int width) {
    const auto divide = [](const T* source, T* target) {
        if constexpr (std::is_same_v<T, float>) {
            hn::StoreU(Divided(hn::LoadU(FloatTag(), source)), FloatTag(), target);
        } else {
            StoreLowBits(Divided<T>(LoadWords(source)), target);
        }
    };
    ForEachVector<kWordLanes>(width * kElements, divide, Row<const T>{from}, Row<T>{to});
}

/// Bytes in 16 bits each.
Shorts MultipliedBytes(Shorts pixels) {
    const ShortTag shorts;
    const Shorts factor = hn::Or(Alphas(shorts, pixels), InAlpha(shorts, 255));
    const Shorts product = hn::Add(hn::Mul(pixels, factor), hn::Set(shorts, 128));
    return hn::ShiftRight<8>(hn::Add(product, hn::ShiftRight<8>(product)));
}

/// The products' halves are added up apart, with carries.
Shorts MultipliedShorts(Shorts pixels) {
    const ShortTag shorts;
    const Shorts factor = hn::Or(Alphas(shorts, pixels), InAlpha(shorts, 0xFFFF));
    const Shorts product = hn::Mul(pixels, factor);
    const Shorts low = hn::Add(product, hn::Set(shorts, 0x8000));
    const Shorts high = hn::Add(hn::MulHigh(pixels, factor), hn::ShiftRight<15>(product));
    const auto carry = hn::VecFromMask(shorts, hn::Lt(hn::Add(low, high), low));
    return hn::Sub(high, carry);
}

Floats MultipliedFloats(Floats pixels) {
    const FloatTag floats;
    return WithAlpha(floats, hn::Mul(pixels, Alphas(floats, pixels)), pixels);
}

template <class T>
void Multiply(const T* from, T* to, int width) {
    const ShortTag shorts;
    const FloatTag floats;
    const auto multiply = [&](const T* source, T* target) {
        if constexpr (std::is_same_v<T, float>) {
            hn::StoreU(MultipliedFloats(hn::LoadU(floats, source)), floats, target);
        } else if constexpr (sizeof(T) == 2) {
            hn::StoreU(MultipliedShorts(hn::LoadU(shorts, source)), shorts, target);
        } else {
            const hn::Rebind<T, ShortTag> bytes;
            const auto wide = hn::PromoteTo(shorts, hn::LoadU(bytes, source));
            hn::StoreU(hn::TruncateTo(bytes, MultipliedBytes(wide)), bytes, target);
        }
    };
    constexpr int kLanes = hn::MaxLanes(
        hn::ScalableTag<std::conditional_t<std::is_same_v<T, float>, float, std::uint16_t>>());
    ForEachVector<kLanes>(width * kElements, multiply, Row<const T>{from}, Row<T>{to});
}

template <class T>
constexpr auto kSwap = Swap<T>;
template <>
constexpr std::nullptr_t kSwap<float> = nullptr;

}  // namespace

template <class T>
const PixelRows<T>* GetPixelRows() {
    static constexpr PixelRows<T> kRows{kSwap<T>, IsAlpha<T>, Divide<T>, Multiply<T>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane::ofx
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane::ofx {

VELTRANE_DEFINE_ROWS_OF_BOTH_DEPTHS(PixelRows, SimdPixelRows, GetPixelRows)
template const PixelRows<float>* SimdPixelRows();

}  // namespace veltrane::ofx
#endif
