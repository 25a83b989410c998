// Pixels of a key in vectors, one a lane. Compiled once for every instruction set: include it only
// from a file that is, after Highway.

#if defined(VELTRANE_KEYER_MATTE_LANES_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VELTRANE_KEYER_MATTE_LANES_H
#undef VELTRANE_KEYER_MATTE_LANES_H
#else
#define VELTRANE_KEYER_MATTE_LANES_H
#endif

#include <hwy/highway.h>

#include <cstdint>

#include "imaging/planar_row.h"
#include "imaging/sample.h"
#include "imaging/simd.h"
#include "keyer/matte_core.h"

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

/// Components on the 8-bit scale.
HWY_INLINE Colors ToColors(Floats r, Floats g, Floats b) {
    return {Splat(0.114f) * b + (Splat(0.299f) * r + Splat(0.587f) * g),
            {Splat(-0.321f) * b + (Splat(0.596f) * r - Splat(0.275f) * g),
             Splat(0.311f) * b + (Splat(0.212f) * r - Splat(0.523f) * g)}};
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

    static HWY_INLINE Pixels Load(const std::uint16_t* from) {
        const auto first = hn::BitCast(kInts, hn::LoadU(HalfTag(), from));
        const auto second = hn::BitCast(kInts, hn::LoadU(HalfTag(), from + 2 * kLanes));
        return {hn::OddEven(Up(second), first), hn::OddEven(second, Down(first))};
    }

    HWY_INLINE void Store(std::uint16_t* to) const {
        const auto first = hn::OddEven(Up(redAlpha), blueGreen);
        const auto second = hn::OddEven(redAlpha, Down(blueGreen));
        hn::StoreU(hn::BitCast(HalfTag(), first), HalfTag(), to);
        hn::StoreU(hn::BitCast(HalfTag(), second), HalfTag(), to + 2 * kLanes);
    }

    static HWY_INLINE Pixels Of(Ints r, Ints g, Ints b, Ints alpha) {
        return {b | hn::ShiftLeft<16>(g), r | hn::ShiftLeft<16>(alpha)};
    }

    HWY_INLINE Colors ToColors() const {
        const Ints low = Splat(0xFFFF);
        return HWY_NAMESPACE::ToColors(Unit(hn::And(redAlpha, low)), Unit(Shifted(blueGreen)),
                                       Unit(hn::And(blueGreen, low)));
    }

    HWY_INLINE Pixels Opaque() const { return {blueGreen, redAlpha | Splat(INT_MIN >> 15)}; }

    static HWY_INLINE Pixels Choose(Mask mask, Pixels yes, Pixels no) {
        return {HWY_NAMESPACE::Choose(mask, yes.blueGreen, no.blueGreen),
                HWY_NAMESPACE::Choose(mask, yes.redAlpha, no.redAlpha)};
    }

    /// The bytes of a plane in the order of the pixels here.
    static HWY_INLINE Floats LoadPlane(const unsigned char* from) {
        const hn::Rebind<std::uint8_t, FloatTag> bytes;
        const auto all = hn::LoadU(bytes, from);
        const auto mixed = hn::InterleaveLower(all, hn::ShiftRightBytes<kLanes / 2>(bytes, all));
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
    /// v / 257, to the bit for every sample: 1 / 257 is 1 / 256 - 1 / (256 * 257).
    static HWY_INLINE Floats Unit(Ints v) {
        const Floats value = hn::ConvertTo(kFloats, v);
        return value * Splat(1 / 256.0f) - value * Splat(1 / 65792.0f);
    }
};

template <>
struct Pixels<std::uint8_t> {
    using ByteTag = hn::Repartition<std::uint8_t, FloatTag>;

    Ints bgra;

    static HWY_INLINE Pixels Load(const std::uint8_t* from) {
        return {hn::BitCast(kInts, hn::LoadU(ByteTag(), from))};
    }

    HWY_INLINE void Store(std::uint8_t* to) const {
        hn::StoreU(hn::BitCast(ByteTag(), bgra), ByteTag(), to);
    }

    static HWY_INLINE Pixels Of(Ints r, Ints g, Ints b, Ints alpha) {
        return {(b | hn::ShiftLeft<8>(g)) | (hn::ShiftLeft<16>(r) | hn::ShiftLeft<24>(alpha))};
    }

    HWY_INLINE Colors ToColors() const {
        return HWY_NAMESPACE::ToColors(Unit(hn::ShiftRight<16>(bgra)),
                                       Unit(hn::ShiftRight<8>(bgra)), Unit(bgra));
    }

    HWY_INLINE Pixels Opaque() const { return {bgra | Splat(INT_MIN >> 7)}; }

    static HWY_INLINE Pixels Choose(Mask mask, Pixels yes, Pixels no) {
        return {HWY_NAMESPACE::Choose(mask, yes.bgra, no.bgra)};
    }

    static HWY_INLINE Floats LoadPlane(const unsigned char* from) {
        const hn::Rebind<std::uint8_t, FloatTag> bytes;
        return hn::ConvertTo(kFloats, hn::PromoteTo(kInts, hn::LoadU(bytes, from)));
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
