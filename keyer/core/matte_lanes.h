// Pixels of a key in vectors, one a lane. Compiled once for every instruction set: include it only
// from a file that is, after Highway.

#if defined(VELTRANE_KEYER_CORE_MATTE_LANES_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VELTRANE_KEYER_CORE_MATTE_LANES_H
#undef VELTRANE_KEYER_CORE_MATTE_LANES_H
#else
#define VELTRANE_KEYER_CORE_MATTE_LANES_H
#endif

#include <hwy/highway.h>

#include <bit>
#include <cstdint>
#include <cstring>

#include "imaging/cpu/simd.h"
#include "imaging/resample/planar_row.h"
#include "imaging/sample.h"
#include "keyer/core/matte_core.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES && !HWY_HAVE_SCALABLE
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using FloatTag = hn::ScalableTag<float>;
using IntTag = hn::RebindToSigned<FloatTag>;
using Floats = hn::Vec<FloatTag>;
using Ints = hn::Vec<IntTag>;
using Mask = hn::Mask<FloatTag>;

constexpr FloatTag kFloats;
constexpr IntTag kInts;
constexpr int kLanes = hn::MaxLanes(FloatTag());

HWY_INLINE Floats Splat(float value) {
    return hn::Set(kFloats, value);
}
HWY_INLINE Ints Splat(int value) {
    return hn::Set(kInts, value);
}
HWY_INLINE Floats Choose(Mask mask, Floats yes, Floats no) {
    return hn::IfThenElse(mask, yes, no);
}
HWY_INLINE Ints Choose(Mask mask, Ints yes, Ints no) {
    return hn::IfThenElse(hn::RebindMask(kInts, mask), yes, no);
}
HWY_INLINE bool Any(Mask mask) {
    return !hn::AllFalse(kFloats, mask);
}

/// The ramp from 0 at x0 to 1 at x1.
struct UnitRamp {
    Floats x0;
    Floats x1;
    Floats slope;

    UnitRamp(float from, float to)
        : x0(Splat(from)), x1(Splat(to)), slope(Splat(1.0f / (to - from))) {}

    HWY_INLINE Floats operator()(Floats x) const {
        const Floats rising = Choose(hn::Lt(x, x1), (x - x0) * slope, Splat(1.0f));
        return hn::IfThenZeroElse(hn::Le(x, x0), rising);
    }
};

/// A bit for each lane, the first lowest.
HWY_INLINE unsigned Bits(Mask mask) {
    std::uint8_t bytes[8] = {};
    hn::StoreMaskBits(kFloats, mask, bytes);
    return bytes[0] | unsigned{bytes[1]} << 8;
}

/// Vectors of Chroma.
struct Chromas {
    Floats i;
    Floats q;
};

HWY_INLINE Chromas Splat(Chroma c) {
    return {Splat(c.i), Splat(c.q)};
}
HWY_INLINE Chromas operator+(Chromas a, Chromas b) {
    return {a.i + b.i, a.q + b.q};
}
HWY_INLINE Chromas operator-(Chromas a, Chromas b) {
    return {a.i - b.i, a.q - b.q};
}
HWY_INLINE Chromas operator*(Floats s, Chromas a) {
    return {s * a.i, s * a.q};
}
HWY_INLINE Floats Dot(Chromas a, Chromas b) {
    return a.i * b.i + a.q * b.q;
}
HWY_INLINE Chromas Blend(Floats w, Chromas b, Chromas a) {
    return w * b + (Splat(1.0f) - w) * a;
}
HWY_INLINE Chromas Choose(Mask mask, Chromas yes, Chromas no) {
    return {Choose(mask, yes.i, no.i), Choose(mask, yes.q, no.q)};
}

struct Colors {
    Floats luma;
    Chromas chroma;
};

/// Of components that are kScale times those of the 8-bit scale. A power of two takes nothing from
/// the weights.
template <int kScale>
HWY_INLINE Colors ToColors(Floats r, Floats g, Floats b) {
    constexpr float kUnit = 1.0f / kScale;
    return {Splat(0.114f * kUnit) * b + (Splat(0.299f * kUnit) * r + Splat(0.587f * kUnit) * g),
            {Splat(-0.321f * kUnit) * b + (Splat(0.596f * kUnit) * r - Splat(0.275f * kUnit) * g),
             Splat(0.311f * kUnit) * b + (Splat(0.212f * kUnit) * r - Splat(0.523f * kUnit) * g)}};
}

/// A vector's worth of interleaved pixels.
template <class Sample>
struct Pixels;

/// Pixels of the first and the second half of the vector alternate, which saves the shuffles.
template <>
struct Pixels<std::uint16_t> {
    using HalfTag = hn::Repartition<std::uint16_t, FloatTag>;
    using PairTag = hn::Repartition<std::uint64_t, FloatTag>;

    Ints blueGreen;  ///< blue in the low half of each lane
    Ints redAlpha;

    static constexpr unsigned kFirstHalf = 0x5555;
    static constexpr unsigned kSecondHalf = 0xAAAA;

    /// From two places of half a vector each.
    static HWY_INLINE Pixels Load(const std::uint16_t* from, const std::uint16_t* from2) {
        const auto first = hn::BitCast(kInts, hn::LoadU(HalfTag(), from));
        const auto second = hn::BitCast(kInts, hn::LoadU(HalfTag(), from2));
        return {hn::OddEven(Up(second), first), hn::OddEven(second, Down(first))};
    }

    HWY_INLINE void Store(std::uint16_t* to) const {
        StoreFirst(to);
        StoreSecond(to + 2 * kLanes);
    }
    HWY_INLINE void StoreFirst(std::uint16_t* to) const {
        hn::StoreU(hn::BitCast(HalfTag(), hn::OddEven(Up(redAlpha), blueGreen)), HalfTag(), to);
    }
    HWY_INLINE void StoreSecond(std::uint16_t* to) const {
        hn::StoreU(hn::BitCast(HalfTag(), hn::OddEven(redAlpha, Down(blueGreen))), HalfTag(), to);
    }

    static HWY_INLINE Pixels Of(Ints r, Ints g, Ints b, Ints alpha) {
        return {b | hn::ShiftLeft<16>(g), r | hn::ShiftLeft<16>(alpha)};
    }

    /// Black with the matte; gray where that is 0.
    static HWY_INLINE Pixels Black(Ints matte) {
        const auto clear = matte == Splat(0);
        constexpr int kGray = Depth<std::uint16_t>::kTransparentGray;
        return {hn::IfThenElseZero(clear, Splat(static_cast<int>(kGray * 0x10001u))),
                hn::IfThenElse(clear, Splat(kGray), hn::ShiftLeft<16>(matte))};
    }

    HWY_INLINE Colors ToColors() const {
        const Ints low = Splat(0xFFFF);
        return HWY_NAMESPACE::ToColors<256>(Units(hn::And(redAlpha, low)),
                                            Units(Shifted(blueGreen)),
                                            Units(hn::And(blueGreen, low)));
    }

    HWY_INLINE Pixels Opaque() const { return {blueGreen, redAlpha | Splat(INT_MIN >> 15)}; }

    static HWY_INLINE Pixels Choose(Mask mask, Pixels yes, Pixels no) {
        return {HWY_NAMESPACE::Choose(mask, yes.blueGreen, no.blueGreen),
                HWY_NAMESPACE::Choose(mask, yes.redAlpha, no.redAlpha)};
    }

    /// The bytes of a plane in the order of the pixels here.
    static HWY_INLINE Floats LoadPlane(const unsigned char* from, const unsigned char* from2) {
        const hn::Rebind<std::uint8_t, FloatTag> bytes;
        const hn::Half<decltype(bytes)> half;
        const auto first = hn::ZeroExtendVector(bytes, hn::LoadU(half, from));
        const auto second = hn::ZeroExtendVector(bytes, hn::LoadU(half, from2));
        const auto mixed = hn::InterleaveLower(first, second);
        return hn::ConvertTo(kFloats, hn::PromoteTo(kInts, mixed));
    }

private:
    static HWY_INLINE Ints Up(Ints v) {
        return hn::BitCast(kInts, hn::ShiftLeft<32>(hn::BitCast(PairTag(), v)));
    }
    static HWY_INLINE Ints Down(Ints v) {
        return hn::BitCast(kInts, hn::ShiftRight<32>(hn::BitCast(PairTag(), v)));
    }
    static HWY_INLINE Ints Shifted(Ints v) {
        const hn::RebindToUnsigned<IntTag> words;
        return hn::BitCast(kInts, hn::ShiftRight<16>(hn::BitCast(words, v)));
    }
    /// v / 257 * 256, to the last bit for every sample.
    static HWY_INLINE Floats Units(Ints v) {
        const Floats value = hn::ConvertTo(kFloats, v);
        return value - value * Splat(1 / 257.0f);
    }
};

template <>
struct Pixels<std::uint8_t> {
    using ByteTag = hn::Repartition<std::uint8_t, FloatTag>;

    Ints bgra;

    static constexpr unsigned kFirstHalf = (1u << kLanes / 2) - 1;
    static constexpr unsigned kSecondHalf = kFirstHalf << kLanes / 2;

    static HWY_INLINE Pixels Load(const std::uint8_t* from, const std::uint8_t* from2) {
        const hn::Half<ByteTag> half;
        return {hn::BitCast(kInts,
                            hn::Combine(ByteTag(), hn::LoadU(half, from2), hn::LoadU(half, from)))};
    }

    HWY_INLINE void Store(std::uint8_t* to) const {
        hn::StoreU(hn::BitCast(ByteTag(), bgra), ByteTag(), to);
    }
    HWY_INLINE void StoreFirst(std::uint8_t* to) const {
        hn::StoreU(hn::LowerHalf(hn::BitCast(ByteTag(), bgra)), hn::Half<ByteTag>(), to);
    }
    HWY_INLINE void StoreSecond(std::uint8_t* to) const {
        hn::StoreU(hn::UpperHalf(hn::Half<ByteTag>(), hn::BitCast(ByteTag(), bgra)),
                   hn::Half<ByteTag>(), to);
    }

    static HWY_INLINE Pixels Of(Ints r, Ints g, Ints b, Ints alpha) {
        return {(b | hn::ShiftLeft<8>(g)) | (hn::ShiftLeft<16>(r) | hn::ShiftLeft<24>(alpha))};
    }

    static HWY_INLINE Pixels Black(Ints matte) {
        constexpr int kGray = Depth<std::uint8_t>::kTransparentGray;
        return {
            hn::IfThenElse(matte == Splat(0), Splat(kGray * 0x10101), hn::ShiftLeft<24>(matte))};
    }

    HWY_INLINE Colors ToColors() const {
        return HWY_NAMESPACE::ToColors<1>(Unit(hn::ShiftRight<16>(bgra)),
                                          Unit(hn::ShiftRight<8>(bgra)), Unit(bgra));
    }

    HWY_INLINE Pixels Opaque() const { return {bgra | Splat(INT_MIN >> 7)}; }

    static HWY_INLINE Pixels Choose(Mask mask, Pixels yes, Pixels no) {
        return {HWY_NAMESPACE::Choose(mask, yes.bgra, no.bgra)};
    }

    static HWY_INLINE Floats LoadPlane(const unsigned char* from, const unsigned char* from2) {
        const hn::Rebind<std::uint8_t, FloatTag> bytes;
        const hn::Half<decltype(bytes)> half;
        const auto all = hn::Combine(bytes, hn::LoadU(half, from2), hn::LoadU(half, from));
        return hn::ConvertTo(kFloats, hn::PromoteTo(kInts, all));
    }

private:
    static HWY_INLINE Floats Unit(Ints v) {
        return hn::ConvertTo(kFloats, hn::And(v, Splat(0xFF)));
    }
};

}  // namespace
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
