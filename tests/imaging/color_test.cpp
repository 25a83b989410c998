#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <limits>

#include "imaging/imaging.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {
namespace {

using Three = std::array<float, 3>;
using Whole = std::array<int, 3>;

const CImagingORV imaging;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

Three Of(YIQ c) {
    return {c.Y, c.I, c.Q};
}
Three Of(HLS c) {
    return {c.H, c.L, c.S};
}
Whole Of(RGB c) {
    return {c.R, c.G, c.B};
}

Three PlainYiq(float R, float G, float B) {
    return {0.114f * B + (0.299f * R + 0.587f * G), -0.321f * B + (0.596f * R - 0.275f * G),
            0.311f * B + (0.212f * R - 0.523f * G)};
}

Whole PlainRgb(YIQ c, float scale) {
    return {int((0.62f * c.Q + (0.956f * c.I + c.Y)) * scale + 0.5f),
            int((-0.647f * c.Q + (-0.272f * c.I + c.Y)) * scale + 0.5f),
            int((1.705f * c.Q + (-1.108f * c.I + c.Y)) * scale + 0.5f)};
}

Three PlainHls(float R, float G, float B) {
    const float Y = 0.114f * B + (0.299f * R + 0.587f * G), u = R - Y, v = B - Y;
    const float H = static_cast<float>(std::atan2(double(u), double(v))) * 180.0f / 3.1415927f;
    return {H < 0 ? H + 360.0f : H, Y, std::sqrt(u * u + v * v)};
}

Three PlainHlsToYiq(float H, float L, float S) {
    float h = H - std::trunc(H / 360.0f) * 360.0f;
    h += h > 180 ? -360.0f : h < -180 ? 360.0f : 0.0f;
    const double x = static_cast<float>(double(h) * 3.141592653589793 / 180.0);
    const float c = static_cast<float>(std::cos(x) * S), s = static_cast<float>(std::sin(x) * S);
    const double R = L + s, B = L + c, G = float(double(L) + (0.299 * s + 0.114 * c) / -0.587);
    return {float(0.114 * B + (0.299 * R + 0.587 * G)), float(-0.321 * B + (0.596 * R - 0.275 * G)),
            float(0.311 * B + (0.212 * R - 0.523 * G))};
}

TEST(Color, ConversionsMatchThePlainFormulas) {
    Random random(1);
    for (int n = 0; n < 20000; ++n) {
        const int R = random.Biased(0, 255), G = random.Biased(0, 255), B = random.Biased(0, 255);
        SCOPED_TRACE(::testing::Message() << "colour " << R << "," << G << "," << B);
        const auto floored = [&](double r, double g, double b) {
            return static_cast<float>(std::floor((r * R + g * G + b * B) / 65536));
        };
        ASSERT_EQ(Of(imaging.RGBtoYIQ(R, G, B)),
                  (Three{floored(19595, 38470, 7471), floored(39059, -18022, -21037),
                         floored(13894, -34275, 20382)}));
        const YIQ eight = imaging.RGBtoYIQ2(R, G, B);
        ASSERT_EQ(Of(eight), PlainYiq(R, G, B));
        ASSERT_EQ(Of(imaging.RGBtoYIQ2(RGB{R, G, B})), PlainYiq(R, G, B));
        ASSERT_EQ(Of(imaging.RGBtoHLS(R, G, B)), PlainHls(R, G, B));
        const int r = random(0, 65535), g = random(0, 65535), b = random(0, 65535);
        const YIQ sixteen = imaging.RGBtoYIQ2_16bit(r, g, b);
        ASSERT_EQ(Of(sixteen), PlainYiq(r / 257.0f, g / 257.0f, b / 257.0f));
        ASSERT_EQ(Of(imaging.RGBtoHLS_16bit(r, g, b)),
                  PlainHls(r / 257.0f, g / 257.0f, b / 257.0f));
        const YIQ wide{sixteen.Y * 1.5f - 60, sixteen.I * 2, sixteen.Q * 2};  // well out of gamut
        ASSERT_EQ(Of(imaging.YIQtoRGB2(wide)), PlainRgb(wide, 1));
        ASSERT_EQ(Of(imaging.YIQtoRGB2_16bit(wide)), PlainRgb(wide, 257));
        const RGB back = imaging.YIQtoRGB2(eight);
        ASSERT_LE(std::max({std::abs(back.R - R), std::abs(back.G - G), std::abs(back.B - B)}), 1);
        const float S = random.Biased(0, 300);
        const float H = random.OneIn(9) ? 180.0f * random(-6, 6) : random(-9000, 9000) / 8.0f;
        ASSERT_EQ(Of(imaging.HLStoYIQ({H, 128, S})), PlainHlsToYiq(H, 128, S)) << H << " " << S;
        const YIQ polar = imaging.HLStoYIQ(imaging.RGBtoHLS(R, G, B));
        ASSERT_LT(std::hypot(polar.Y - eight.Y, polar.I - eight.I, polar.Q - eight.Q), 2e-3);
    }
}

TEST(Color, WorkedFigures) {
    EXPECT_EQ(Of(imaging.RGBtoYIQ(0, 255, 0)), (Three{149, -71, -134}));
    EXPECT_EQ(Of(imaging.YIQtoRGB2({250, 50, 40})), (Whole{323, 211, 263}));
    EXPECT_EQ(Of(imaging.YIQtoRGB2({-20.75f, 0, 0})), (Whole{-20, -20, -20}));
    EXPECT_EQ(Of(imaging.YIQtoRGB2_16bit({160, 0, 0})), (Whole{0xA0A0, 0xA0A0, 0xA0A0}));
    EXPECT_FLOAT_EQ(imaging.RGBtoHLS(0, 255, 0).H, 225);
    EXPECT_NEAR(imaging.RGBtoHLS(0, 255, 0).S, 211.69, 0.005);
    for (YIQ none : {YIQ{kNan, 0, 0}, YIQ{-3e9f, 0, 0}, YIQ{2147483648.0f, 0, 0}}) {
        EXPECT_EQ(Of(imaging.YIQtoRGB2(none)), (Whole{INT_MIN, INT_MIN, INT_MIN}));
        EXPECT_EQ(Of(imaging.YIQtoRGB2_16bit(none)), (Whole{INT_MIN, INT_MIN, INT_MIN}));
    }
}

TEST(Interpolation, TestsTheLowEndFirstThenTheHighEnd) {
    EXPECT_EQ(imaging.LinerInter(kNan, 0.0f, 1.0f, 2.0f, 3.0f), 3.0f);
    for (int x : {2, 3, 7, 8}) {  // a segment that ends where it begins, or before, is a step
        for (int end : {3, 7}) {
            EXPECT_EQ(imaging.LinerInter(x, 7, end, 0, 65535), x > 7 ? 65535 : 0);
            EXPECT_EQ(imaging.LinerInter(x, 7, end, 2.0f, 3.0f), x > 7 ? 3.0f : 2.0f);
            EXPECT_EQ(imaging.LinerInter(float(x), 7.0f, float(end), 2.0f, 3.0f), x > 7 ? 3 : 2);
            EXPECT_EQ(imaging.LinerInter2(x, 7, end, 10, 20), x > 7 ? 20 : 10);
        }
    }
    EXPECT_EQ(imaging.LinerInter2(128, 0, 255, 0, 255), 128);
    EXPECT_EQ(imaging.LinerInter2(1, 0, 3, 5, -4), 1);  // -9 x 86 / 256 is -3.02, shifted to -4
}

TEST(Interpolation, RampArithmetic) {
    Random random(3);
    for (int n = 0; n < 20000; ++n) {
        const int x0 = random(-1000, 60000), x1 = x0 + random(2, 70000), x = random(x0 + 1, x1 - 1);
        const int y0 = random(-300, 65535), y1 = random(-300, 65535), rise = y1 / 256 - y0 / 256;
        const float fx = x / 7.0f, f0 = x0 / 7.0f, f1 = x1 / 7.0f, g0 = y0 / 7.0f, g1 = y1 / 7.0f;
        const float run = float(x - x0), span = float(x1 - x0);
        ASSERT_EQ(imaging.LinerInter(x, x0, x1, g0, g1), g0 + run * ((g1 - g0) / span));
        ASSERT_EQ(imaging.LinerInter(fx, f0, f1, g0, g1), (fx - f0) * ((g1 - g0) / (f1 - f0)) + g0);
        ASSERT_EQ(imaging.LinerInter(x, x0, x1, y0, y1),
                  int(float(y0) + run * (float(y1 - y0) / span)));
        ASSERT_EQ(imaging.LinerInter2(x, x0, x1, y0 / 256, y1 / 256),
                  y0 / 256 + int(std::floor(rise * ((x - x0) * 255 / (x1 - x0) + 1) / 256.0)));
    }
}

TEST(Alignment, RoundsUpToFour) {
    for (int n = 0; n < 40; ++n) {
        EXPECT_EQ(imaging.Align8(n), (n + 3) / 4 * 4);
        EXPECT_EQ(imaging.AlignX(n), (3 * n + 3) / 4 * 4);
        EXPECT_EQ(imaging.Align(n), imaging.AlignX(n));
    }
    EXPECT_EQ(imaging.Align8(-5), 0);  // the remainder takes the sign of n: -5 + 1 + 4
}

}  // namespace
}  // namespace veltrane::testing
