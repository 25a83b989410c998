#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <limits>

#include "imaging/imaging.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {
namespace {

using Three = std::array<double, 3>;
const CImagingORV imaging;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

template <typename Color>
Three Of(Color color) {
    const auto [a, b, c] = color;
    return {double(a), double(b), double(c)};
}

template <typename Real>
Three PlainYiq(Real R, Real G, Real B) {
    return {float(Real(0.114) * B + (Real(0.299) * R + Real(0.587) * G)),
            float(Real(-0.321) * B + (Real(0.596) * R - Real(0.275) * G)),
            float(Real(0.311) * B + (Real(0.212) * R - Real(0.523) * G))};
}

Three PlainRgb(YIQ c, float scale) {
    const auto round = [scale](float v) { return std::trunc(v * scale + 0.5f); };
    return {round(0.62f * c.Q + (0.956f * c.I + c.Y)), round(-0.647f * c.Q + (-0.272f * c.I + c.Y)),
            round(1.705f * c.Q + (-1.108f * c.I + c.Y))};
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
    return PlainYiq<double>(L + s, float(double(L) + (0.299 * s + 0.114 * c) / -0.587), L + c);
}

TEST(Color, ConversionsMatchThePlainFormulas) {
    Random random(1);
    for (int n = 0; n < 20000; ++n) {
        const int R = random.Biased(0, 255), G = random.Biased(0, 255), B = random.Biased(0, 255);
        const int r = random(0, 65535), g = random(0, 65535), b = random(0, 65535);
        SCOPED_TRACE(::testing::PrintToString(std::array{R, G, B, r, g, b}));
        const auto floored = [&](double red, double green, double blue) {
            return std::floor((red * R + green * G + blue * B) / 65536);
        };
        ASSERT_EQ(Of(imaging.RGBtoYIQ(R, G, B)),
                  (Three{floored(19595, 38470, 7471), floored(39059, -18022, -21037),
                         floored(13894, -34275, 20382)}));
        ASSERT_EQ(Of(imaging.RGBtoYIQ2(R, G, B)), PlainYiq<float>(R, G, B));
        ASSERT_EQ(Of(imaging.RGBtoYIQ2(RGB{R, G, B})), PlainYiq<float>(R, G, B));
        ASSERT_EQ(Of(imaging.RGBtoHLS(R, G, B)), PlainHls(R, G, B));
        const YIQ c = imaging.RGBtoYIQ2_16bit(r, g, b);
        ASSERT_EQ(Of(c), PlainYiq(r / 257.0f, g / 257.0f, b / 257.0f));
        ASSERT_EQ(Of(imaging.RGBtoHLS_16bit(r, g, b)),
                  PlainHls(r / 257.0f, g / 257.0f, b / 257.0f));
        const YIQ wide{c.Y * 1.5f - 60, c.I * 2, c.Q * 2};  // well out of gamut
        ASSERT_EQ(Of(imaging.YIQtoRGB2(wide)), PlainRgb(wide, 1));
        ASSERT_EQ(Of(imaging.YIQtoRGB2_16bit(wide)), PlainRgb(wide, 257));
        const float S = random.Biased(0, 300);
        const float H = random.OneIn(9) ? 180.0f * random(-6, 6) : random(-9000, 9000) / 8.0f;
        ASSERT_EQ(Of(imaging.HLStoYIQ({H, 128, S})), PlainHlsToYiq(H, 128, S)) << H << " " << S;
    }
    for (YIQ none : {YIQ{kNan, 0, 0}, YIQ{-3e9f, 0, 0}, YIQ{2147483648.0f, 0, 0}}) {
        EXPECT_EQ(Of(imaging.YIQtoRGB2(none)), (Three{INT_MIN, INT_MIN, INT_MIN}));
        EXPECT_EQ(Of(imaging.YIQtoRGB2_16bit(none)), (Three{INT_MIN, INT_MIN, INT_MIN}));
    }
}

TEST(Interpolation, IsARampBetweenFlatEndsOrAStep) {
    Random random(3);
    for (int n = 0; n < 20000; ++n) {
        const int x0 = random(-1000, 60000), x1 = x0 + random(-3, random.OneIn(2) ? 6 : 70000);
        const int x = random(std::min(x0, x1) - 2, std::max(x0, x1) + 2), run = x - x0;
        const int y0 = random(-300, 65535), y1 = random(-300, 65535), span = std::max(1, x1 - x0);
        const float f0 = x0 / 7.0f, length = x1 / 7.0f - f0, g0 = y0 / 7.0f, g1 = y1 / 7.0f;
        SCOPED_TRACE(::testing::PrintToString(std::array{x, x0, x1, y0, y1}));
        const auto ramp = [&](auto low, auto between, auto high) {
            return x <= x0 ? low : x >= x1 ? high : between;
        };
        ASSERT_EQ(imaging.LinerInter(x, x0, x1, g0, g1),
                  ramp(g0, g0 + float(run) * ((g1 - g0) / float(span)), g1));
        ASSERT_EQ(imaging.LinerInter(x / 7.0f, f0, x1 / 7.0f, g0, g1),
                  ramp(g0, (x / 7.0f - f0) * ((g1 - g0) / length) + g0, g1));
        ASSERT_EQ(imaging.LinerInter(x, x0, x1, y0, y1),
                  ramp(y0, int(float(y0) + float(run) * (float(y1 - y0) / float(span))), y1));
        const int low = y0 / 256, high = y1 / 256, part = run * 255 / span + 1;
        ASSERT_EQ(imaging.LinerInter2(x, x0, x1, low, high),
                  ramp(low, low + int(std::floor((high - low) * part / 256.0)), high));
    }
    EXPECT_EQ(imaging.LinerInter(kNan, 0.0f, 1.0f, 2.0f, 3.0f), 3.0f);
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
