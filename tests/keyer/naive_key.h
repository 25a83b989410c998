#ifndef VELTRANE_TESTS_KEYER_NAIVE_KEY_H
#define VELTRANE_TESTS_KEYER_NAIVE_KEY_H

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <map>
#include <string>

#include "tests/keyer/records.h"

namespace veltrane::testing {

/// How often each way through the key was taken.
using Visits = std::map<std::string, int>;

struct Chroma {
    float I;
    float Q;
    friend Chroma operator+(Chroma a, Chroma b) { return {a.I + b.I, a.Q + b.Q}; }
    friend Chroma operator-(Chroma a, Chroma b) { return {a.I - b.I, a.Q - b.Q}; }
    friend Chroma operator*(float k, Chroma v) { return {k * v.I, k * v.Q}; }
    friend float Dot(Chroma a, Chroma b) { return a.I * b.I + a.Q * b.Q; }
    friend float Length(Chroma v) { return std::sqrt(Dot(v, v)); }
};

inline Chroma Rotate(Chroma v, double cosine, double sine) {
    return {float(v.I * cosine - v.Q * sine), float(v.I * sine + v.Q * cosine)};
}

inline Chroma QuarterTurn(Chroma v, bool anticlockwise) {
    const uint64_t sine = anticlockwise ? 0x3FEFFFFFFFFFFFF7 : 0xBFEFFFFFFFFFFFF7;
    return Rotate(v, std::bit_cast<double>(uint64_t{0xBE6777A5CF72CECC}),
                  std::bit_cast<double>(sine));
}

inline Chroma Turn(Chroma v, float degrees) {
    const double angle = float(double(degrees) * 3.141592653589793 / 180.0);
    return Rotate(v, std::cos(angle), std::sin(angle));
}

inline Chroma HueDirection(float hue) {
    const YIQ c = CImagingORV().HLStoYIQ({hue, 128.0f, 30.0f});
    const float length = Length(Chroma{c.I, c.Q});
    return {c.I / length, c.Q / length};
}

/// The two keys differ in these alone.
struct Margins {
    float luma;       // added to the screen's luma
    int wedge;        // whole units off the axis that still count as inside
    int background;   // whole units off the axis of the background branch
    float innerBand;  // where the mixture with the protected colour begins
    float outerBand;  // and where it is complete
};
inline constexpr Margins kPlateMargins{1.5f, 24, 9, 10, 25};
inline constexpr Margins kDirectMargins{0, 19, 4, 5, 20};

/// Blue, green, red, alpha.
using Pixel = std::array<int, 4>;

template <typename T>
struct Key {
    Key(const Record<T>& record, const Margins& m, Visits& v) : margins(m), visits(v) {
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
        u = {d.I / L, d.Q / L};
        perp = Dot(QuarterTurn(u, true), s - b);
        const float along = Dot(s - b, u) / L;
        K = screen.Y + margins.luma;
        const bool wedge = (perp < 0 && Dot(W, s) > 0) || (perp >= 0 && Dot(X, s) > 0);
        if (!wedge && !(Within(perp, margins.wedge) && along < 1.0f)) {
            ++visits["foreground"];
            return {source[0], source[1], source[2], kFull<T>};
        }
        return Within(perp, margins.background) && along < A ? Background() : Mixed();
    }

    Pixel Background() {
        const float t = Y < K ? Ramp((Y - K) / (-50.0f - K), 0, B) : 0.0f;
        const int alpha = AlphaOf(Ramp(t, 0, 1));
        ++visits[alpha == 0 ? "open screen" : "shadow"];
        const int colour = alpha == 0 ? 160 * kUnit<T> : 0;
        return {colour, colour, colour, alpha};
    }

    Chroma Meet(Chroma V) const { return s + (Dot(N - s, V) / Dot(u, V)) * u; }
    Chroma Through(Chroma V) const { return b + (Dot(d, V) / Dot(s - b, V)) * (s - b); }
    float Weight(Chroma V) const { return 1.0f - Dot(Meet(V) - s, u) / L; }
    static Chroma Blend(float w, Chroma v, Chroma rest) { return w * v + (1.0f - w) * rest; }

    void ChooseTargets(Chroma& T1, Chroma& T2) {
        const float a = std::fabs(perp), w = Ramp(a, margins.innerBand, margins.outerBand);
        const Chroma p0 = s + Dot(N - s, u) * u;
        const bool blueSide = perp > 0;
        const std::string side = blueSide ? "blue " : "skin ";
        const Chroma V = blueSide ? X : W;
        const float weight = Weight(blueSide ? F : W);
        const Chroma colour = (1.0f - weight) * Meet(V) + weight * Through(V);
        Chroma tilted = blueSide ? F : E;
        if (!blueSide && Y > 200.0f) {
            tilted = Turn(E, -30.0f * Ramp(Y, 200, 255));
            ++visits["skin bright"];
        }
        if (a <= margins.innerBand) {
            ++visits[side + "inner"];
            T1 = p0;
            T2 = blueSide ? p0 : Meet(W);
        } else if (a < margins.outerBand) {
            const bool beyond = Dot(V, s) < 0;
            ++visits[side + (beyond ? "middle beyond" : "middle")];
            T1 = Blend(w, Meet(tilted), p0);
            T2 = beyond ? Blend(w, s, p0) : blueSide ? Blend(w, colour, p0) : colour;
        } else {
            ++visits[side + "outer"];
            T1 = Meet(tilted);
            T2 = colour;
        }
    }

    float ForegroundLuma(float a0) {
        if (a0 == 0) return Y < K ? -50.0f : Y > K ? 370.0f : Y;
        ++visits[Y > K ? "linear luma" : "power luma"];
        const double y = Y, k = K, part = a0;
        const float f =
            Y > K ? (Y - (1.0f - a0) * K) / a0
                  : float(std::pow((y + 100) / std::pow(k + 100, 1 - part), 1 / part) - 100);
        return std::clamp(f, -50.0f, 370.0f);
    }

    Pixel Mixed() {
        Chroma T1, T2;
        ChooseTargets(T1, T2);
        const float a0 = std::clamp(Ramp(1.0f - Dot(T1 - s, u) / L, A, 1), 0.0f, 1.0f);
        const float f = ForegroundLuma(a0);
        const float a1 = f < K && Y != K ? (Y - K) / (f - K) : a0;
        const float a2 = Ramp(Ramp(a1, 0, B), 0, 1);
        ++visits[a2 == 0 ? "mixed clear" : a2 < 1 ? "mixed partial" : "mixed full"];
        const YIQ colour =
            a2 == 0 ? YIQ{160, 0, 0} : YIQ{std::clamp(std::min(Y, f), 0.0f, 255.0f), T2.I, T2.Q};
        const RGB rgb = sizeof(T) == 2 ? CImagingORV().YIQtoRGB2_16bit(colour)
                                       : CImagingORV().YIQtoRGB2(colour);
        const auto clamp = [](int v) { return std::clamp(v, 0, kFull<T>); };
        return {clamp(rgb.B), clamp(rgb.G), clamp(rgb.R), AlphaOf(a2)};
    }

    Margins margins;
    Visits& visits;
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
std::vector<T> NaiveKey(const Record<T>& record, const T* plate, Visits& visits) {
    Key<T> key(record, plate ? kPlateMargins : kDirectMargins, visits);
    const T keyColour[] = {record.keyB[0], record.keyG[0], record.keyR[0]};
    std::vector<T> result;
    for (int i = 0; i < record.width * record.height; ++i) {
        const T* p = record.src + 4 * i;
        for (int element : key.Run(p, ToYiq(p), ToYiq(plate ? plate + 4 * i : keyColour)))
            result.push_back(static_cast<T>(element));
    }
    return result;
}

}  // namespace veltrane::testing

#endif
