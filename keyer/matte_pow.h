// The key's powers and turns in vectors of doubles, and how they are narrowed to the very floats
// that the library's functions give: each value has an error bound that covers our error and the
// library's; where the two ends of that range narrow to different floats, the library decides.
// Compiled once for every instruction set, like matte_lanes.h.

#if defined(VELTRANE_KEYER_MATTE_POW_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VELTRANE_KEYER_MATTE_POW_H
#undef VELTRANE_KEYER_MATTE_POW_H
#else
#define VELTRANE_KEYER_MATTE_POW_H
#endif

#include "keyer/matte_lanes.h"
#include "keyer/matte_rows.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES && !HWY_HAVE_SCALABLE
namespace {

using HalfFloatTag = hn::Half<FloatTag>;
using DoubleTag = hn::Rebind<double, HalfFloatTag>;
using BitsTag = hn::RebindToUnsigned<DoubleTag>;
using Doubles = hn::Vec<DoubleTag>;

constexpr DoubleTag kDoubles;

HWY_INLINE Doubles Splat(double value) {
    return hn::Set(kDoubles, value);
}
HWY_INLINE hn::Vec<BitsTag> SplatBits(std::uint64_t bits) {
    return hn::Set(BitsTag(), bits);
}
HWY_INLINE hn::Vec<BitsTag> Bits(Doubles v) {
    return hn::BitCast(BitsTag(), v);
}
HWY_INLINE Doubles FromBits(hn::Vec<BitsTag> v) {
    return hn::BitCast(kDoubles, v);
}

/// One half of a vector of floats as doubles.
HWY_INLINE Doubles Widen(Floats v, bool upper) {
    return hn::PromoteTo(kDoubles, upper ? hn::UpperHalf(HalfFloatTag(), v) : hn::LowerHalf(v));
}
HWY_INLINE Floats Narrow(Doubles lower, Doubles upper) {
    const HalfFloatTag halves;
    return hn::Combine(kFloats, hn::DemoteTo(halves, upper), hn::DemoteTo(halves, lower));
}

/// The sum of coefficients[k] * x^k.
template <std::size_t kTerms>
HWY_INLINE Doubles Polynomial(const double (&coefficients)[kTerms], Doubles x) {
    Doubles sum = Splat(coefficients[kTerms - 1]);
    for (std::size_t k = kTerms - 1; k-- > 0;) sum = sum * x + Splat(coefficients[k]);
    return sum;
}

/// log2 of positive normal numbers, good to 2^-44 of itself plus 2^-53 of its whole part. With x =
/// 2^e * m and s = (m - 1) / (m + 1) it is e plus twice the inverse hyperbolic tangent of s, whose
/// series is cut where s^16 / 17 < 2^-44.
HWY_INLINE Doubles Log2(Doubles x) {
    constexpr std::uint64_t kOne = 0x3FF0000000000000;
    constexpr std::uint64_t kRootOfHalf = 0x3FE6A09E667F3BCD;  // m lies from here to its double
    constexpr std::uint64_t kTwoTo52 = 0x4330000000000000;
    constexpr double kScale = 2.885390081777927;  // 2 / ln 2
    static constexpr double kSeries[] = {kScale,     kScale / 3,  kScale / 5,  kScale / 7,
                                         kScale / 9, kScale / 11, kScale / 13, kScale / 15};
    const auto bits = hn::Add(Bits(x), SplatBits(kOne - kRootOfHalf));
    const auto power = hn::Or(hn::ShiftRight<52>(bits), SplatBits(kTwoTo52));
    const auto mantissa = hn::And(bits, SplatBits(0x000FFFFFFFFFFFFF));
    const Doubles whole = FromBits(power) - Splat(4503599627370496.0 + 1023);
    const Doubles m = FromBits(hn::Add(mantissa, SplatBits(kRootOfHalf)));
    const Doubles s = (m - Splat(1.0)) / (m + Splat(1.0));
    return whole + s * Polynomial(kSeries, s * s);
}

/// 2^x for -1000 < x < 1000, good to 2^-46 of itself: e^(f ln 2) for the fraction f within a half,
/// its series cut where (ln 2 / 2)^12 / 12! < 2^-46.
HWY_INLINE Doubles Exp2(Doubles x) {
    constexpr double kLn2 = 0.6931471805599453;
    constexpr double kRounder = 6755399441055744.0;  // 1.5 * 2^52: its last bit is worth 1
    static constexpr double kSeries[] = {1.0,         1.0,          1.0 / 2,       1.0 / 6,
                                         1.0 / 24,    1.0 / 120,    1.0 / 720,     1.0 / 5040,
                                         1.0 / 40320, 1.0 / 362880, 1.0 / 3628800, 1.0 / 39916800};
    const Doubles rounded = x + Splat(kRounder);
    const Doubles fraction = x - (rounded - Splat(kRounder));
    const auto power = hn::ShiftLeft<52>(hn::Add(Bits(rounded), SplatBits(1023)));
    return Polynomial(kSeries, fraction * Splat(kLn2)) * FromBits(power);
}

/// Doubles that are not known exactly, a vector of them in two halves, narrowed to floats: both
/// ends of the range that error leaves.
struct Narrowed {
    Floats low;
    Floats high;

    Narrowed(const Doubles (&value)[2], const Doubles (&error)[2])
        : low(Narrow(value[0] - error[0], value[1] - error[1])),
          high(Narrow(value[0] + error[0], value[1] + error[1])) {}

    /// The floats where both ends are the same or that are not wanted; exact(lane) elsewhere.
    template <class Exact>
    HWY_INLINE Floats Decided(Mask wanted, Exact exact) const {
        const Mask doubtful = hn::And(wanted, hn::Ne(low, high));
        if (HWY_LIKELY(!Any(doubtful))) return low;
        float values[kLanes];
        float doubts[kLanes];
        hn::StoreU(low, kFloats, values);
        hn::StoreU(hn::VecFromMask(kFloats, doubtful), kFloats, doubts);
        for (int lane = 0; lane < kLanes; ++lane) {
            if (doubts[lane] != 0) values[lane] = exact(lane);
        }
        return hn::LoadU(kFloats, values);
    }
};

/// UnmixedDarkLuma() for mattes between 0 and 1 where wanted. With x and y for the lumas plus 100
/// it is x * (x / y)^k - 100, k = (1 - matte) / matte; the roundings of x / y and of the library's
/// inner power are what k enlarges. Exponents below -4 mean less than the least luma.
HWY_INLINE Floats UnmixDark(Floats luma, Floats screenLuma, Floats matte, Mask wanted) {
    std::uint8_t lanes[8] = {};
    hn::StoreMaskBits(kFloats, wanted, lanes);
    const unsigned bits = lanes[0] | lanes[1] << 8;
    Doubles value[2] = {Splat(0.0), Splat(0.0)};
    Doubles error[2] = {Splat(0.0), Splat(0.0)};
    for (int half = 0; half < 2; ++half) {
        if ((bits >> (half * kLanes / 2) & ((1u << kLanes / 2) - 1)) == 0) continue;
        const Doubles x = Widen(luma, half) + Splat(100.0);
        const Doubles y = Widen(screenLuma, half) + Splat(100.0);
        const Doubles part = Widen(matte, half);
        const Doubles k = (Splat(1.0) - part) / part;
        const Doubles power = hn::Max(k * Log2(x / y), Splat(-4.0));
        value[half] = x * Exp2(power) - Splat(100.0);
        error[half] = (k * Splat(0x1p-49) + Splat(0x1p-41)) * Splat(400.0);
    }
    return Narrowed(value, error).Decided(wanted, [&](int lane) {
        float inputs[3][kLanes];
        hn::StoreU(luma, kFloats, inputs[0]);
        hn::StoreU(screenLuma, kFloats, inputs[1]);
        hn::StoreU(matte, kFloats, inputs[2]);
        return UnmixedDarkLuma(inputs[0][lane], inputs[1][lane], inputs[2][lane]);
    });
}

/// BrightSkinNormal() where wanted.
HWY_INLINE Chromas BrightSkinNormals(Chroma normal, Floats luma, Mask wanted) {
    static constexpr double kSine[] = {1.0,         -1.0 / 6,     1.0 / 120,
                                       -1.0 / 5040, 1.0 / 362880, -1.0 / 39916800};
    static constexpr double kCosine[] = {1.0,         -1.0 / 2,       1.0 / 24,       -1.0 / 720,
                                         1.0 / 40320, -1.0 / 3628800, 1.0 / 479001600};
    const Floats degrees = Splat(-30.0f) * UnitRamp(200.0f, 255.0f)(luma);
    const Doubles i = Splat(double{normal.i});
    const Doubles q = Splat(double{normal.q});
    const Floats angle = Narrow(Widen(degrees, false) * Splat(kPi) / Splat(180.0),
                                Widen(degrees, true) * Splat(kPi) / Splat(180.0));
    // The series are cut where (pi / 6)^13 / 13! < 2^-44.
    const Doubles error[2] = {Splat(0x1p-42), Splat(0x1p-42)};
    Doubles turnedI[2];
    Doubles turnedQ[2];
    for (int half = 0; half < 2; ++half) {
        const Doubles x = Widen(angle, half);
        const Doubles sine = x * Polynomial(kSine, x * x);
        const Doubles cosine = Polynomial(kCosine, x * x);
        turnedI[half] = i * cosine - q * sine;
        turnedQ[half] = i * sine + q * cosine;
    }
    const auto exact = [&](int lane) {
        float lumas[kLanes];
        hn::StoreU(luma, kFloats, lumas);
        return BrightSkinNormal(normal, lumas[lane]);
    };
    return {Narrowed(turnedI, error).Decided(wanted, [&](int lane) { return exact(lane).i; }),
            Narrowed(turnedQ, error).Decided(wanted, [&](int lane) { return exact(lane).q; })};
}

/// CurveEntry() of every matte; exponent lies within 1..2.
template <class Sample>
void MatteCurve(double exponent, Sample* curve) {
    constexpr int kFull = kFullScale<Sample>;
    const hn::Rebind<Sample, FloatTag> samples;
    for (int i = 0; i <= kFull; i += kLanes) {
        const Floats base = hn::ConvertTo(kFloats, hn::Iota(kInts, i)) / Splat(float{kFull});
        Doubles value[2];
        Doubles error[2];
        for (int half = 0; half < 2; ++half) {
            const Doubles power = Splat(exponent) * Log2(Widen(base, half));
            value[half] = Exp2(hn::Max(power, Splat(-999.0)));
            error[half] = value[half] * Splat(0x1p-42);
        }
        const Floats power =
            Narrowed(value, error).Decided(hn::Lt(Splat(0.0f), base), [&](int lane) {
                return MattePower<Sample>(i + lane, exponent);
            });
        const Ints entry = hn::ConvertTo(kInts, power * Splat(float{kFull}) + Splat(0.499f));
        hn::StoreU(hn::DemoteTo(samples, entry), samples, curve + i);
    }
}

}  // namespace
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
