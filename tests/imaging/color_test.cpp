#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "imaging/imaging.h"
#include "tests/imaging/frames.h"

namespace veltrane::testing {
namespace {

const CImagingORV imaging;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

void ExpectYiq(YIQ actual, float Y, float I, float Q) {
    EXPECT_EQ(actual.Y, Y);
    EXPECT_EQ(actual.I, I);
    EXPECT_EQ(actual.Q, Q);
}

void ExpectRgb(RGB actual, int R, int G, int B) {
    EXPECT_EQ(actual.R, R);
    EXPECT_EQ(actual.G, G);
    EXPECT_EQ(actual.B, B);
}

template <typename Visit>
void ForColorGrid(Visit visit) {
    for (int R = 0; R <= 255; R += 15)
        for (int G = 0; G <= 255; G += 15)
            for (int B = 0; B <= 255; B += 15) visit(R, G, B);
}

YIQ PlainYiq(float R, float G, float B) {
    return {0.114f * B + (0.299f * R + 0.587f * G), -0.321f * B + (0.596f * R - 0.275f * G),
            0.311f * B + (0.212f * R - 0.523f * G)};
}

TEST(Color, IntegerYiqRoundsTowardMinusInfinity) {
    ExpectYiq(imaging.RGBtoYIQ(0, 255, 0), 149, -71, -134);
    ExpectYiq(imaging.RGBtoYIQ(255, 255, 255), 255, 0, 0);
    ForColorGrid([](int R, int G, int B) {
        const auto down = [](double sum) { return static_cast<float>(std::floor(sum / 65536)); };
        ExpectYiq(imaging.RGBtoYIQ(R, G, B), down(19595. * R + 38470. * G + 7471. * B),
                  down(39059. * R - 18022. * G - 21037. * B),
                  down(13894. * R - 34275. * G + 20382. * B));
    });
}

TEST(Color, SinglePrecisionYiqOfBothDepths) {
    ForColorGrid([](int R, int G, int B) {
        const YIQ plain = PlainYiq(R, G, B);
        ExpectYiq(imaging.RGBtoYIQ2(R, G, B), plain.Y, plain.I, plain.Q);
        ExpectYiq(imaging.RGBtoYIQ2(RGB{R, G, B}), plain.Y, plain.I, plain.Q);
        ExpectYiq(imaging.RGBtoYIQ2_16bit(R * 257, G * 257, B * 257), plain.Y, plain.I, plain.Q);
        const RGB back = imaging.YIQtoRGB2(plain);
        EXPECT_LE(std::abs(back.R - R), 1);
        EXPECT_LE(std::abs(back.G - G), 1);
        EXPECT_LE(std::abs(back.B - B), 1);
    });
    Random random(1);
    for (int n = 0; n < 1000; ++n) {
        const int R = random(0, 65535), G = random(0, 65535), B = random(0, 65535);
        const YIQ plain = PlainYiq(R / 257.0f, G / 257.0f, B / 257.0f);
        ExpectYiq(imaging.RGBtoYIQ2_16bit(R, G, B), plain.Y, plain.I, plain.Q);
    }
}

TEST(Color, YiqToRgbRoundsOnceAndDoesNotClamp) {
    ExpectRgb(imaging.YIQtoRGB2({160, 0, 0}), 160, 160, 160);
    ExpectRgb(imaging.YIQtoRGB2_16bit({160, 0, 0}), 0xA0A0, 0xA0A0, 0xA0A0);
    ExpectRgb(imaging.YIQtoRGB2({250, 50, 40}), 323, 211, 263);
    ExpectRgb(imaging.YIQtoRGB2({-20.75f, 0, 0}), -20, -20, -20);
    Random random(2);
    for (int n = 0; n < 1000; ++n) {
        const float Y = random(-5000, 30000) / 100.0f, I = random(-15000, 15000) / 100.0f,
                    Q = random(-15000, 15000) / 100.0f;
        const float red = 0.62f * Q + (0.956f * I + Y), green = -0.647f * Q + (-0.272f * I + Y),
                    blue = 1.705f * Q + (-1.108f * I + Y);
        ExpectRgb(imaging.YIQtoRGB2({Y, I, Q}), int(red + 0.5f), int(green + 0.5f),
                  int(blue + 0.5f));
        ExpectRgb(imaging.YIQtoRGB2_16bit({Y, I, Q}), int(red * 257.0f + 0.5f),
                  int(green * 257.0f + 0.5f), int(blue * 257.0f + 0.5f));
    }
}

TEST(Color, WhatNoIntegerHoldsBecomesTheMostNegative) {
    ExpectRgb(imaging.YIQtoRGB2({kNan, 0, 0}), INT_MIN, INT_MIN, INT_MIN);
    ExpectRgb(imaging.YIQtoRGB2_16bit({kInf, 0, 0}), INT_MIN, INT_MIN, INT_MIN);
    ExpectRgb(imaging.YIQtoRGB2({-3e9f, 0, 0}), INT_MIN, INT_MIN, INT_MIN);
    ExpectRgb(imaging.YIQtoRGB2_16bit({2147483648.0f / 257, 0, 0}), INT_MIN, INT_MIN, INT_MIN);
}

TEST(Color, HueIsTheAngleOfTheColourDifferences) {
    const HLS green = imaging.RGBtoHLS(0, 255, 0);
    EXPECT_FLOAT_EQ(green.H, 225);
    EXPECT_FLOAT_EQ(green.L, 149.685f);
    EXPECT_NEAR(green.S, 211.69, 0.005);
    for (int grey : {0, 1, 255}) EXPECT_LT(imaging.RGBtoHLS(grey, grey, grey).S, 1e-4f);
    EXPECT_GT(imaging.RGBtoHLS(255, 0, 0).H, 90);   // red: its own axis is 90 degrees
    EXPECT_LT(imaging.RGBtoHLS(255, 0, 0).H, 180);  // and blue falls below luma
    EXPECT_GT(imaging.RGBtoHLS(0, 0, 255).H, 270);
    ForColorGrid([](int R, int G, int B) {
        const float Y = 0.114f * B + (0.299f * R + 0.587f * G), u = R - Y, v = B - Y;
        float H = static_cast<float>(std::atan2(double(u), double(v))) * 180.0f / 3.1415927f;
        if (H < 0) H += 360.0f;
        const HLS eight = imaging.RGBtoHLS(R, G, B);
        EXPECT_EQ(eight.H, H);
        EXPECT_EQ(eight.L, Y);
        EXPECT_EQ(eight.S, std::sqrt(u * u + v * v));
        const HLS sixteen = imaging.RGBtoHLS_16bit(R * 257, G * 257, B * 257);
        EXPECT_TRUE(sixteen.H == H && sixteen.L == Y && sixteen.S == eight.S);
    });
}

YIQ PlainHlsToYiq(float hue, float L, float S) {
    float h = hue - std::trunc(hue / 360.0f) * 360.0f;
    h += h > 180 ? -360.0f : h < -180 ? 360.0f : 0.0f;
    const float x = static_cast<float>(double(h) * 3.141592653589793 / 180.0);
    const float c = static_cast<float>(std::cos(double(x)) * double(S));
    const float s = static_cast<float>(std::sin(double(x)) * double(S));
    const double R = L + s, B = L + c;
    const double G = static_cast<float>(double(L) + (0.299 * s + 0.114 * c) / -0.587);
    return {static_cast<float>(0.114 * B + (0.299 * R + 0.587 * G)),
            static_cast<float>(-0.321 * B + (0.596 * R - 0.275 * G)),
            static_cast<float>(0.311 * B + (0.212 * R - 0.523 * G))};
}

TEST(Color, HlsToYiqInvertsThePolarForm) {
    for (int hue = -1100; hue <= 1100; ++hue) {
        for (float S : {0.0f, 30.0f, 50.0f, 211.69f}) {
            const YIQ plain = PlainHlsToYiq(hue, 128.0f, S);
            ExpectYiq(imaging.HLStoYIQ({float(hue), 128.0f, S}), plain.Y, plain.I, plain.Q);
        }
    }
    ForColorGrid([](int R, int G, int B) {
        const YIQ direct = imaging.RGBtoYIQ2(R, G, B);
        const YIQ polar = imaging.HLStoYIQ(imaging.RGBtoHLS(R, G, B));
        EXPECT_NEAR(direct.Y, polar.Y, 1e-3);
        EXPECT_NEAR(direct.I, polar.I, 1e-3);
        EXPECT_NEAR(direct.Q, polar.Q, 1e-3);
    });
}

TEST(Interpolation, TestsTheLowEndFirstThenTheHighEnd) {
    EXPECT_EQ(imaging.LinerInter(0.5f, 0.0f, 2.0f, 10.0f, 30.0f), 15.0f);
    EXPECT_EQ(imaging.LinerInter(kNan, 0.0f, 1.0f, 2.0f, 3.0f), 3.0f);
    EXPECT_EQ(imaging.LinerInter(0.0f, 0.0f, 0.0f, 2.0f, 3.0f), 2.0f);
    EXPECT_EQ(imaging.LinerInter(1e-9f, 0.0f, 0.0f, 2.0f, 3.0f), 3.0f);
    for (int x : {-5, 7, 8}) {  // a segment that ends before it begins is a step above x0
        EXPECT_EQ(imaging.LinerInter(x, 7, 3, 0, 65535), x > 7 ? 65535 : 0);
        EXPECT_EQ(imaging.LinerInter(x, 7, 3, 0.0f, 1.0f), x > 7 ? 1.0f : 0.0f);
        EXPECT_EQ(imaging.LinerInter2(x, 7, 3, 10, 20), x > 7 ? 20 : 10);
    }
    EXPECT_EQ(imaging.LinerInter2(128, 0, 255, 0, 255), 128);
    EXPECT_EQ(imaging.LinerInter2(1, 0, 3, 5, -4), 5 + (-9 * 86 - 255) / 256);
}

TEST(Interpolation, RampArithmetic) {
    Random random(3);
    for (int n = 0; n < 20000; ++n) {
        const int x0 = random(-1000, 60000), x1 = x0 + random(2, 70000), x = random(x0 + 1, x1 - 1);
        const int y0 = random(-300, 65535), y1 = random(-300, 65535);
        const float fx = x / 7.0f, f0 = x0 / 7.0f, f1 = x1 / 7.0f, g0 = y0 / 7.0f, g1 = y1 / 7.0f;
        EXPECT_EQ(imaging.LinerInter(x, x0, x1, g0, g1),
                  g0 + float(x - x0) * ((g1 - g0) / float(x1 - x0)));
        EXPECT_EQ(imaging.LinerInter(fx, f0, f1, g0, g1), (fx - f0) * ((g1 - g0) / (f1 - f0)) + g0);
        EXPECT_EQ(imaging.LinerInter(x, x0, x1, y0, y1),
                  int(float(y0) + float(x - x0) * (float(y1 - y0) / float(x1 - x0))));
        const int small0 = y0 / 256, small1 = y1 / 256, step = (x - x0) * 255 / (x1 - x0) + 1;
        EXPECT_EQ(imaging.LinerInter2(x, x0, x1, small0, small1),
                  small0 + int(std::floor((small1 - small0) * step / 256.0)));
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
