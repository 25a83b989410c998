#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>

#include "tests/keyer/records.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

/// I and Q.
using Chroma = std::complex<float>;

float Dot(Chroma a, Chroma b) {
    return a.real() * b.real() + a.imag() * b.imag();
}
float Length(Chroma v) {
    return std::sqrt(Dot(v, v));
}

Chroma Rotate(Chroma v, double cosine, double sine) {
    return {float(v.real() * cosine - v.imag() * sine), float(v.real() * sine + v.imag() * cosine)};
}

Chroma QuarterTurn(Chroma v, bool anticlockwise) {
    const uint64_t sine = anticlockwise ? 0x3FEFFFFFFFFFFFF7 : 0xBFEFFFFFFFFFFFF7;
    return Rotate(v, std::bit_cast<double>(uint64_t{0xBE6777A5CF72CECC}),
                  std::bit_cast<double>(sine));
}

Chroma Turn(Chroma v, float degrees) {
    const double angle = float(double(degrees) * 3.141592653589793 / 180.0);
    return Rotate(v, std::cos(angle), std::sin(angle));
}

Chroma HueDirection(float hue) {
    const YIQ c = CImagingORV().HLStoYIQ({hue, 128.0f, 30.0f});
    return Chroma{c.I, c.Q} / Length({c.I, c.Q});
}

/// The two keys differ in these alone.
struct Margins {
    float luma;       // added to the screen's luma
    int wedge;        // whole units off the axis that still count as inside
    int background;   // whole units off the axis of the background branch
    float innerBand;  // where the mixture with the protected colour begins
    float outerBand;  // and where it is complete
};
constexpr Margins kPlateMargins{1.5f, 24, 9, 10, 25};
constexpr Margins kDirectMargins{0, 19, 4, 5, 20};

/// Blue, green, red, alpha.
using Pixel = std::array<int, 4>;

template <typename T>
struct Key {
    Key(const Record<T>& record, const Margins& m) : margins(m) {
        A = record.screenGain[0] * 0.01f;
        B = record.despillGray[0] * -0.01f + 1.0f;
        c = record.shadow[0] * 0.01f;
        const YIQ grey = CImagingORV().RGBtoYIQ2(127, 127, 127);
        N = {grey.I, grey.Q};
        W = QuarterTurn(HueDirection(record.skinHue[0]), false);
        X = QuarterTurn(HueDirection(record.blueHue[0]), true);
        E = Turn(W, -float(record.despillSkin[0]));
        F = Turn(X, float(record.despillBlue[0]));
    }

    static float Ramp(float x, float x0, float x1) {
        return x <= x0 ? 0.0f : x < x1 ? (x - x0) * (1.0f / (x1 - x0)) + 0.0f : 1.0f;
    }

    static bool Within(float perp, int limit) {
        return std::trunc(perp) >= -limit && std::trunc(perp) <= limit;
    }

    int AlphaOf(float matte) const {
        const int alpha = int(std::clamp(matte * kFull<T>, 0.0f, float(kFull<T>)));
        if (c == 1.0f) return alpha;
        const double exponent = (1.0f - c) + 1.0f;
        const float power = float(std::pow(double(float(alpha) / float(kFull<T>)), exponent));
        return std::clamp(int(power * kFull<T> + 0.499f), 0, kFull<T>);
    }

    Pixel Run(const T* source, YIQ pixel, YIQ screen) {
        Y = pixel.Y;
        s = {pixel.I, pixel.Q};
        b = {screen.I, screen.Q};
        d = N - b;
        L = Length(d);
        u = d / L;
        perp = Dot(QuarterTurn(u, true), s - b);
        const float along = Dot(s - b, u) / L;
        K = screen.Y + margins.luma;
        const bool wedge = (perp < 0 && Dot(W, s) > 0) || (perp >= 0 && Dot(X, s) > 0);
        if (!wedge && !(Within(perp, margins.wedge) && along < 1.0f))
            return {source[0], source[1], source[2], kFull<T>};
        return Within(perp, margins.background) && along < A ? Background() : Mixed();
    }

    Pixel Background() {
        const float t = Y < K ? Ramp((Y - K) / (-50.0f - K), 0, B) : 0.0f;
        const int alpha = AlphaOf(Ramp(t, 0, 1));
        const int colour = alpha == 0 ? 160 * kUnit<T> : 0;
        return {colour, colour, colour, alpha};
    }

    Chroma Meet(Chroma V) const { return s + (Dot(N - s, V) / Dot(u, V)) * u; }
    Chroma Through(Chroma V) const { return b + (Dot(d, V) / Dot(s - b, V)) * (s - b); }
    float Weight(Chroma V) const { return 1.0f - Dot(Meet(V) - s, u) / L; }
    static Chroma Blend(float w, Chroma v, Chroma rest) { return w * v + (1.0f - w) * rest; }

    /// The foreground's chroma for the matte and the one for the colour.
    std::array<Chroma, 2> ChooseTargets() const {
        const float a = std::fabs(perp), w = Ramp(a, margins.innerBand, margins.outerBand);
        const Chroma p0 = s + Dot(N - s, u) * u;
        const bool blueSide = perp > 0;
        const Chroma V = blueSide ? X : W;
        const float weight = Weight(blueSide ? F : W);
        const Chroma colour = (1.0f - weight) * Meet(V) + weight * Through(V);
        Chroma tilted = blueSide ? F : E;
        if (!blueSide && Y > 200.0f) tilted = Turn(E, -30.0f * Ramp(Y, 200, 255));
        if (a <= margins.innerBand) return {p0, blueSide ? p0 : Meet(W)};
        if (a >= margins.outerBand) return {Meet(tilted), colour};
        const Chroma blended = blueSide ? Blend(w, colour, p0) : colour;
        return {Blend(w, Meet(tilted), p0), Dot(V, s) < 0 ? Blend(w, s, p0) : blended};
    }

    float ForegroundLuma(float a0) {
        if (a0 == 0) return Y < K ? -50.0f : Y > K ? 370.0f : Y;
        const double y = Y, k = K, part = a0;
        const float f =
            Y > K ? (Y - (1.0f - a0) * K) / a0
                  : float(std::pow((y + 100) / std::pow(k + 100, 1 - part), 1 / part) - 100);
        return std::clamp(f, -50.0f, 370.0f);
    }

    Pixel Mixed() {
        const auto [T1, T2] = ChooseTargets();
        const float a0 = std::clamp(Ramp(1.0f - Dot(T1 - s, u) / L, A, 1), 0.0f, 1.0f);
        const float f = ForegroundLuma(a0);
        const float a1 = f < K && Y != K ? (Y - K) / (f - K) : a0;
        const float a2 = Ramp(Ramp(a1, 0, B), 0, 1);
        const YIQ colour =
            a2 == 0 ? YIQ{160, 0, 0}
                    : YIQ{std::clamp(std::min(Y, f), 0.0f, 255.0f), T2.real(), T2.imag()};
        const RGB rgb = sizeof(T) == 2 ? CImagingORV().YIQtoRGB2_16bit(colour)
                                       : CImagingORV().YIQtoRGB2(colour);
        const auto clamp = [](int v) { return std::clamp(v, 0, kFull<T>); };
        return {clamp(rgb.B), clamp(rgb.G), clamp(rgb.R), AlphaOf(a2)};
    }

    Margins margins;
    float A, B, c;
    Chroma N, W, X, E, F;
    Chroma s, b, d, u;
    float Y, K, L, perp;
};

template <typename T>
YIQ ToYiq(const T* pixel) {
    if constexpr (sizeof(T) == 2) {
        return CImagingORV().RGBtoYIQ2_16bit(pixel[2], pixel[1], pixel[0]);
    } else {
        return CImagingORV().RGBtoYIQ2(pixel[2], pixel[1], pixel[0]);
    }
}

/// The key written one pixel at a time, straight through: against the pixel of plate, or against
/// the record's key colour where plate is null.
template <typename T>
std::vector<T> NaiveKey(const Record<T>& record, const T* plate) {
    Key<T> key(record, plate ? kPlateMargins : kDirectMargins);
    const T keyColour[] = {record.keyB[0], record.keyG[0], record.keyR[0]};
    std::vector<T> result;
    for (int i = 0; i < record.width * record.height; ++i) {
        const T* p = record.src + 4 * i;
        for (int element : key.Run(p, ToYiq(p), ToYiq(plate ? plate + 4 * i : keyColour)))
            result.push_back(static_cast<T>(element));
    }
    return result;
}

/// A plate that wanders around the screen colour, with some pixels of no chroma and some arbitrary.
template <typename T>
std::vector<T> WanderingPlate(Random& random, size_t size) {
    auto plate = RandomSamples<T>(random, size);
    for (size_t i = 0; i < size; i += 4) {
        const int kind = random(0, 19);
        for (int e = 0; e < 3 && kind > 0; ++e)
            plate[i + e] = kind == 1 ? plate[i + 3]
                                     : static_cast<T>((kScreen[e] + random(-30, 30)) * kUnit<T>);
    }
    return plate;
}

TYPED_TEST(BothDepths, MatchesTheNaiveKeyBitForBit) {
    constexpr int kWidth = 64, kHeight = 12;
    for (unsigned seed = 0; seed < 250; ++seed) {
        Random random(seed);
        const auto source = StudioFrame<TypeParam>(random, kWidth, kHeight);
        auto plate = WanderingPlate<TypeParam>(random, source.size());
        std::vector<TypeParam> target(source.size(), 77);
        auto record = RandomRecord(random, source, target, kWidth, kHeight);
        if (seed % 50 == 0)  // a key without chroma
            for (auto* pair : {&record.keyR, &record.keyG, &record.keyB})
                SetPair(*pair, 127 * kUnit<TypeParam>);
        SCOPED_TRACE(::testing::Message()
                     << "seed " << seed << " record " << ::testing::PrintToString(record));
        EXPECT_EQ((stages.*kPlateKey<TypeParam>)(&record, plate.data()), 0u);
        ASSERT_TRUE(Same(NaiveKey(record, plate.data()), target, kWidth)) << "plate";
        EXPECT_EQ((stages.*kDirect<TypeParam>)(&record), 0u);
        const TypeParam* none = nullptr;
        ASSERT_TRUE(Same(NaiveKey(record, none), target, kWidth)) << "direct";
    }
}

TYPED_TEST(BothDepths, RefusesNoRecordAndAcceptsAnEmptyFrame) {
    std::vector<TypeParam> frame(4, 9);
    auto record = DefaultRecord(frame, frame, 0, 1);
    EXPECT_EQ((stages.*kPlateKey<TypeParam>)(nullptr, frame.data()), 2u);
    EXPECT_EQ((stages.*kDirect<TypeParam>)(nullptr), 2u);
    EXPECT_EQ((stages.*kModel<TypeParam>)(nullptr), 2u);
    EXPECT_EQ((stages.*kPlateKey<TypeParam>)(&record, frame.data()), 0u);
    EXPECT_EQ((stages.*kDirect<TypeParam>)(&record), 0u);
    EXPECT_EQ((stages.*kModel<TypeParam>)(&record), 2u);
    EXPECT_EQ(frame, std::vector<TypeParam>(4, 9));
}

}  // namespace
}  // namespace veltrane::testing
