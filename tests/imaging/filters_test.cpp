#include <gtest/gtest.h>

#include <climits>
#include <limits>

#include "imaging/imaging.h"
#include "imaging/matte/matte_plane.h"
#include "imaging/matte/soften_rows.h"
#include "tests/imaging/frames.h"
#include "tests/imaging/levels.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

TYPED_TEST(BothDepths, FactorsStandForTheDivisionsOfEveryValue) {
    using T = TypeParam;
    using Factors = FullScaleFactors<T>;
    constexpr float full = kFull<T>;
    for (int i = 0; i <= kFull<T>; ++i) {
        const float v = float(i);
        ASSERT_EQ(v * Factors::kMost + v * Factors::kRest, v / full) << i;
        const float steep = i < kFull<T> ? v * v / full * 4.0f : full;
        ASSERT_EQ(int(std::min(v * v * Factors::kSteepness, full)), int(std::min(steep, full)))
            << i;
    }
}

TYPED_TEST(BothDepths, EveryMatteValueSoftensTheSameAtEveryLevel) {
    using T = TypeParam;
    std::vector<T> values(kFull<T> + 1);
    for (int v = 0; v <= kFull<T>; ++v) values[v] = T(v);
    for (int amount = 0; amount <= 100; amount += 5) {  // radius 0 keeps every inverse
        const auto soften = [&] {
            auto matte = values;
            SoftenMatte(kFull<T> + 1, 1, matte.data(), 0, amount, 0);
            return matte;
        };
        const auto expected = Plainly(soften);
        ForEachLevel([&] { EXPECT_TRUE(Same(expected, soften(), kFull<T> + 1, 1)) << amount; });
    }
}

/// Every window of a square of 2 * radius + 1 takes its middle in; with the middle one too low,
/// each sum is one below a multiple of its count, where the fraction to drop is largest.
TYPED_TEST(BothDepths, ChromaMeansDropTheLargestFractions) {
    using T = TypeParam;
    const auto blur =
        ByDepth<T>(&CImagingORV::ChromaBlurCore3_64bit, &CImagingORV::ChromaBlurCore3_32bit);
    for (const int radius : {1, 2, 3, 7, 10, 100, 127, 128}) {
        const int side = 2 * radius + 1, step = sizeof(T) == 1 ? 1 : radius < 4 ? 5 : 31 * radius;
        std::vector<T> frame(size_t(side) * side * 4), work = frame, expected = frame;
        const auto check = [&] {
            for (int mean = kFull<T>; mean > 0; mean -= radius < 100 ? step : 199 * kUnit<T>) {
                for (size_t i = 0; i < frame.size(); ++i) {
                    frame[i] = T(mean);
                    expected[i] = T(i % 4 == 1 ? mean - 1 : mean);
                }
                --frame[frame.size() / 8 * 4 + 1];
                (CImagingORV().*blur)(side, side, frame.data(), work.data(), radius);
                ASSERT_TRUE(Same(expected, frame, side)) << "radius " << radius;
            }
        };
        AtEveryLevel(check);
    }
}

TEST(EdgeMap, ThresholdsReachUpToTheGreatestStrength) {
    std::vector<unsigned char> frame(9 * 4, 0), map(9);
    std::fill_n(&frame[4 * 4], 4, static_cast<unsigned char>(255));
    for (const auto& [threshold, edge] : {std::pair{2040, 255}, {2041, 0}, {1 << 30, 0}}) {
        CImagingORV().Laplacian32bit8(frame.data(), 3, 3, 12, map.data(), 3, 3, 3, threshold);
        EXPECT_EQ(map[4], edge) << threshold;
        EXPECT_EQ(std::count(map.begin(), map.end(), 0), edge == 0 ? 9 : 8);
    }
}

TEST(Resample, ReducesEverySampleOf16BitsExactly) {
    std::vector<unsigned short> source(65536 * 4);
    for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<unsigned short>(i / 4);
    const auto check = [&] {
        std::vector<unsigned char> target(source.size(), 7);
        CImagingORV().DF_WH64bitTo32bit5_1(source.data(), 256, 256, 1024, target.data(), 256, 256,
                                           1024, 0, 2);
        for (int v = 0; v < 65536; ++v) {
            const auto reduced = static_cast<unsigned char>(v / 257.0f + 0.5f);
            const auto at = target.begin() + 4 * v;
            ASSERT_TRUE(std::count(at, at + 3, reduced) == 3 && at[3] == 7) << v;
        }
    };
    AtEveryLevel(check);
}

TEST(ChromaBlur, WideWindowsDoNotOverflow) {
    constexpr int kSide = 260;  // 259 x 259 x 65535 needs more than 32 bits
    std::vector<unsigned short> wide(kSide * kSide * 4, 65535), work = wide;
    const auto flat = wide;
    for (int radius : {91, 129}) {
        CImagingORV().ChromaBlurCore3_64bit(kSide, kSide, wide.data(), work.data(), radius);
        EXPECT_TRUE(Same(flat, wide, kSide)) << "radius " << radius;
    }
}

TEST(Color, WhatNoIntHoldsBecomesTheLeastOne) {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    const CImagingORV imaging;
    for (YIQ none : {YIQ{kNan, 0, 0}, YIQ{-3e9f, 0, 0}, YIQ{2147483648.0f, 0, 0}})
        for (const auto [r, g, b] : {imaging.YIQtoRGB2(none), imaging.YIQtoRGB2_16bit(none)})
            EXPECT_TRUE(r == INT_MIN && g == INT_MIN && b == INT_MIN);
    EXPECT_EQ(imaging.LinerInter(kNan, 0.0f, 1.0f, 2.0f, 3.0f), 3.0f);
}

}  // namespace
}  // namespace veltrane::testing
