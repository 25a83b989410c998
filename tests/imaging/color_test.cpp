#include <gtest/gtest.h>

#include <climits>
#include <limits>

#include "imaging/imaging.h"

namespace veltrane::testing {
namespace {

const CImagingORV imaging;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(Color, WhatNoIntHoldsBecomesTheLeastOne) {
    for (YIQ none : {YIQ{kNan, 0, 0}, YIQ{-3e9f, 0, 0}, YIQ{2147483648.0f, 0, 0}}) {
        for (const RGB rgb : {imaging.YIQtoRGB2(none), imaging.YIQtoRGB2_16bit(none)}) {
            EXPECT_EQ(rgb.R, INT_MIN);
            EXPECT_EQ(rgb.G, INT_MIN);
            EXPECT_EQ(rgb.B, INT_MIN);
        }
    }
    EXPECT_EQ(imaging.LinerInter(kNan, 0.0f, 1.0f, 2.0f, 3.0f), 3.0f);
}

TEST(Color, GrayHasNoChromaAndItsOwnLuma) {
    for (int v = 0; v <= 255; ++v) {
        const auto gray = static_cast<unsigned char>(v);
        const YIQ color = imaging.RGBtoYIQ2(gray, gray, gray);
        EXPECT_NEAR(color.Y, v, 1e-4);
        EXPECT_NEAR(color.I, 0, 1e-4);
        EXPECT_NEAR(color.Q, 0, 1e-4);
        const RGB back = imaging.YIQtoRGB2_16bit(color);
        EXPECT_NEAR(back.G, v * 257, 2);
    }
}

}  // namespace
}  // namespace veltrane::testing
