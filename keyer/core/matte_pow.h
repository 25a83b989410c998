// The key's powers and turns in vectors of doubles, and how they are narrowed to the very floats
// that the library's functions give: each value has an error bound that covers our error and the
// library's; where the two ends of that range narrow to different floats, the library decides.
// Compiled once for every instruction set, like matte_lanes.h.

#if defined(VELTRANE_KEYER_CORE_MATTE_POW_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VELTRANE_KEYER_CORE_MATTE_POW_H
#undef VELTRANE_KEYER_CORE_MATTE_POW_H
#else
#define VELTRANE_KEYER_CORE_MATTE_POW_H
#endif

#include <bit>

#include "keyer/core/matte_lanes.h"
#include "keyer/core/matte_rows.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES && !HWY_HAVE_SCALABLE
namespace {

using HalfFloatTag = hn::Half<FloatTag>;
using DoubleTag = hn::Rebind<double, HalfFloatTag>;
using BitsTag = hn::RebindToUnsigned<DoubleTag>;

/// A double a lane of Floats, in two vectors that take every step together, which halves the wait.
struct Doubles {
    hn::Vec<DoubleTag> lower;
    hn::Vec<DoubleTag> upper;
};

/// The bits of Doubles.
struct Words {
    hn::Vec<BitsTag> lower;
    hn::Vec<BitsTag> upper;
};

HWY_INLINE Doubles Splat(double value) {
    const auto all = hn::Set(DoubleTag(), value);
    return {all, all};
}
HWY_INLINE Words SplatWords(std::uint64_t bits) {
    const auto all = hn::Set(BitsTag(), bits);
    return {all, all};
}

HWY_INLINE Doubles operator+(Doubles a, Doubles b) {
    return {a.lower + b.lower, a.upper + b.upper};
}
HWY_INLINE Doubles operator-(Doubles a, Doubles b) {
    return {a.lower - b.lower, a.upper - b.upper};
}
HWY_INLINE Doubles operator*(Doubles a, Doubles b) {
    return {a.lower * b.lower, a.upper * b.upper};
}
HWY_INLINE Doubles operator/(Doubles a, Doubles b) {
    return {a.lower / b.lower, a.upper / b.upper};
}
HWY_INLINE Doubles Max(Doubles a, Doubles b) {
    return {hn::Max(a.lower, b.lower), hn::Max(a.upper, b.upper)};
}
/// yes where a < b.
HWY_INLINE Doubles ChooseLess(Doubles a, Doubles b, Doubles yes, Doubles no) {
    return {hn::IfThenElse(a.lower < b.lower, yes.lower, no.lower),
            hn::IfThenElse(a.upper < b.upper, yes.upper, no.upper)};
}

HWY_INLINE Words operator+(Words a, Words b) {
    return {a.lower + b.lower, a.upper + b.upper};
}
HWY_INLINE Words operator&(Words a, Words b) {
    return {hn::And(a.lower, b.lower), hn::And(a.upper, b.upper)};
}
HWY_INLINE Words operator|(Words a, Words b) {
    return {hn::Or(a.lower, b.lower), hn::Or(a.upper, b.upper)};
}
template <int kBits>
HWY_INLINE Words ShiftLeft(Words a) {
    return {hn::ShiftLeft<kBits>(a.lower), hn::ShiftLeft<kBits>(a.upper)};
}
template <int kBits>
HWY_INLINE Words ShiftRight(Words a) {
    return {hn::ShiftRight<kBits>(a.lower), hn::ShiftRight<kBits>(a.upper)};
}
HWY_INLINE Words ToWords(Doubles v) {
    return {hn::BitCast(BitsTag(), v.lower), hn::BitCast(BitsTag(), v.upper)};
}
HWY_INLINE Doubles FromWords(Words v) {
    return {hn::BitCast(DoubleTag(), v.lower), hn::BitCast(DoubleTag(), v.upper)};
}

HWY_INLINE Doubles Widen(Floats v) {
    const DoubleTag doubles;
    return {hn::PromoteTo(doubles, hn::LowerHalf(v)),
            hn::PromoteTo(doubles, hn::UpperHalf(HalfFloatTag(), v))};
}
HWY_INLINE Floats Narrow(Doubles v) {
    const HalfFloatTag halves;
    return hn::Combine(kFloats, hn::DemoteTo(halves, v.upper), hn::DemoteTo(halves, v.lower));
}

/// (ln 2)^k / k!
template <std::size_t kTerms>
struct ExpSeries {
    double coefficients[kTerms];
    constexpr ExpSeries() : coefficients{1} {
        for (std::size_t k = 1; k < kTerms; ++k) {
            coefficients[k] = coefficients[k - 1] * 0.6931471805599453 / static_cast<double>(k);
        }
    }
};

/// The sum of coefficients[k] * x^k, even and odd powers apart to shorten the wait.
template <std::size_t kTerms>
HWY_INLINE Doubles Polynomial(const double (&coefficients)[kTerms], Doubles x) {
    constexpr std::size_t kEven = (kTerms - 1) / 2 * 2;
    constexpr std::size_t kOdd = (kTerms - 2) / 2 * 2 + 1;
    const Doubles square = x * x;
    Doubles even = Splat(coefficients[kEven]);
    for (std::size_t k = kEven; k >= 2; k -= 2) even = even * square + Splat(coefficients[k - 2]);
    Doubles odd = Splat(coefficients[kOdd]);
    for (std::size_t k = kOdd; k >= 3; k -= 2) odd = odd * square + Splat(coefficients[k - 2]);
    return even + x * odd;
}

/// log2(x / y) / s for s = (x - y) / (x + y) within 0.172 of 0, from s^2, good to 2^-38 of itself:
/// twice the inverse hyperbolic tangent, its series cut where 0.172^14 / 15 < 2^-39.
HWY_INLINE Doubles LogSeries(Doubles square) {
    constexpr double kScale = 2.885390081777927;  // 2 / ln 2
    static constexpr double kSeries[] = {kScale,     kScale / 3,  kScale / 5, kScale / 7,
                                         kScale / 9, kScale / 11, kScale / 13};
    return Polynomial(kSeries, square);
}

/// log2 of positive normal numbers, good to 2^-38.
HWY_INLINE Doubles Log2(Doubles x) {
    constexpr std::uint64_t kOne = 0x3FF0000000000000;
    constexpr std::uint64_t kRootOfHalf = 0x3FE6A09E667F3BCD;
    constexpr std::uint64_t kTwoTo52 = 0x4330000000000000;
    // x = 2^e * m, m from the root of a half to the root of 2.
    const Words bits = ToWords(x) + SplatWords(kOne - kRootOfHalf);
    const Doubles power = FromWords(ShiftRight<52>(bits) | SplatWords(kTwoTo52));
    const Doubles e = power - Splat(4503599627370496.0 + 1023);
    const Doubles m = FromWords((bits & SplatWords(0x000FFFFFFFFFFFFF)) + SplatWords(kRootOfHalf));
    const Doubles s = (m - Splat(1.0)) / (m + Splat(1.0));
    return e + s * LogSeries(s * s);
}

/// log2 of x / y for 0.26 < x / y < 1.41, good to 2^-38.
HWY_INLINE Doubles Log2OfRatio(Doubles x, Doubles y) {
    const Doubles half = y * Splat(0.7071);
    const Doubles quarter = y * Splat(0.3535);
    const Doubles scaled =
        ChooseLess(x, quarter, y * Splat(0.25), ChooseLess(x, half, y * Splat(0.5), y));
    const Doubles e =
        ChooseLess(x, quarter, Splat(-2.0), ChooseLess(x, half, Splat(-1.0), Splat(0.0)));
    const Doubles s = (x - scaled) / (x + scaled);
    return e + s * LogSeries(s * s);
}

/// 2^x for -1000 < x < 1000, good to 2^-41 of itself: the series of e^(f ln 2) for the fraction f
/// within a half, cut where (ln 2 / 2)^11 / 11! < 2^-42.
HWY_INLINE Doubles Exp2(Doubles x) {
    constexpr double kRounder = 6755399441055744.0;  // 1.5 * 2^52: its last bit is worth 1
    static constexpr ExpSeries<11> kSeries;
    const Doubles rounded = x + Splat(kRounder);
    const Doubles fraction = x - (rounded - Splat(kRounder));
    const Doubles power = Polynomial(kSeries.coefficients, fraction);
    return FromWords(ToWords(power) + ShiftLeft<52>(ToWords(rounded)));
}

/// Values that are not known exactly, narrowed to floats: the ends of the range that an error
/// leaves.
struct Range {
    Floats low;
    Floats high;

    HWY_INLINE Range(Doubles value, Doubles error)
        : low(Narrow(value - error)), high(Narrow(value + error)) {}

    /// Where the ends are different floats, or not a number.
    HWY_INLINE Mask Doubtful() const { return low != high; }
};

/// The values with exact(lane) where they are doubtful.
template <class Exact>
HWY_NOINLINE Floats Redone(Floats values, Mask doubtful, const Exact& exact) {
    float lanes[kLanes];
    hn::StoreU(values, kFloats, lanes);
    for (unsigned bits = Bits(doubtful); bits != 0; bits &= bits - 1) {
        const int lane = std::countr_zero(bits);
        lanes[lane] = exact(lane);
    }
    return hn::LoadU(kFloats, lanes);
}

/// A vector whose lanes are read one by one.
struct LanesOf {
    float lanes[kLanes];

    explicit LanesOf(Floats v) { hn::StoreU(v, kFloats, lanes); }
    float operator[](int lane) const { return lanes[lane]; }
};

/// UnmixedDarkLuma() for mattes between 0 and 1, where wanted. With x and y for the lumas plus 100
/// it is x * (x / y)^k - 100, k = (1 - matte) / matte; k enlarges the roundings of the library's
/// inner power and of its quotient, 16 of them at most. The values lie below 400; exponents below
/// -4 mean less than the least luma.
HWY_INLINE Floats UnmixDark(Floats luma, Floats screenLuma, Floats matte, Mask wanted) {
    const Doubles x = Widen(luma) + Splat(100.0);
    const Doubles y = Widen(screenLuma) + Splat(100.0);
    const Doubles part = Widen(matte);
    const Doubles k = (Splat(1.0) - part) / part;
    const Doubles power = Max(k * Log2OfRatio(x, y), Splat(-4.0));
    const Doubles error = k * Splat(400 * 0x1p-49) + Splat(400 * 0x1p-37);
    const Range range(x * Exp2(power) - Splat(100.0), error);
    const Mask doubtful = hn::And(wanted, range.Doubtful());
    if (HWY_LIKELY(!Any(doubtful))) return range.low;
    const auto exact = [lumas = LanesOf(luma), screenLumas = LanesOf(screenLuma),
                        mattes = LanesOf(matte)](int lane) {
        return UnmixedDarkLuma(lumas[lane], screenLumas[lane], mattes[lane]);
    };
    return Redone(range.low, doubtful, exact);
}

/// BrightSkinNormal() where wanted. The series of the angles, from 0 to 30 degrees, are cut where
/// (pi / 6)^11 / 11! < 2^-35.
HWY_INLINE Chromas BrightSkinNormals(Chroma normal, double turn, Floats luma, Mask wanted) {
    static constexpr double kSine[] = {1.0, -1.0 / 6, 1.0 / 120, -1.0 / 5040, 1.0 / 362880};
    static constexpr double kCosine[] = {1.0,        -1.0 / 2,    1.0 / 24,
                                         -1.0 / 720, 1.0 / 40320, -1.0 / 3628800};
    const Floats degrees =
        Splat(static_cast<float>(turn) * -30.0f) * UnitRamp(200.0f, 255.0f)(luma);
    const Doubles x = Widen(Narrow(Widen(degrees) * Splat(kPi) / Splat(180.0)));
    const Doubles sine = x * Polynomial(kSine, x * x);
    const Doubles cosine = Polynomial(kCosine, x * x);
    const Doubles i = Splat(double{normal.i});
    const Doubles q = Splat(double{normal.q});
    const Doubles error = Splat(0x1p-34);
    const Range turnedI(i * cosine - q * sine, error);
    const Range turnedQ(i * sine + q * cosine, error);
    const Mask doubtful = hn::And(wanted, hn::Or(turnedI.Doubtful(), turnedQ.Doubtful()));
    if (HWY_LIKELY(!Any(doubtful))) return {turnedI.low, turnedQ.low};
    const auto exact = [lumas = LanesOf(luma), normal, turn](int lane) {
        return BrightSkinNormal(normal, turn, lumas[lane]);
    };
    return {Redone(turnedI.low, doubtful, [&](int lane) { return exact(lane).i; }),
            Redone(turnedQ.low, doubtful, [&](int lane) { return exact(lane).q; })};
}

/// KeyLook::curve for an exponent within 1..2.
template <class Sample>
void MatteCurve(double exponent, Sample* curve) {
    constexpr int kFull = kFullScale<Sample>;
    const hn::Rebind<Sample, FloatTag> samples;
    for (int i = 0; i <= kFull; i += kLanes) {
        const Floats base = hn::ConvertTo(kFloats, hn::Iota(kInts, i)) / Splat(float{kFull});
        const Doubles value = Exp2(Max(Splat(exponent) * Log2(Widen(base)), Splat(-999.0)));
        const Range range(value, value * Splat(0x1p-37));
        const Mask doubtful = range.Doubtful();
        Floats power = range.low;
        if (HWY_UNLIKELY(Any(doubtful))) {
            power = Redone(range.low, doubtful,
                           [=](int lane) { return MattePower<Sample>(i + lane, exponent); });
        }
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
