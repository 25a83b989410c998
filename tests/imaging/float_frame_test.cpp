#include "imaging/convert/float_frame.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "imaging/sample.h"
#include "tests/imaging/frames.h"
#include "tests/imaging/levels.h"

namespace veltrane::testing {
namespace {

using Frame = std::vector<std::uint16_t>;

Frame ToFrame(const std::vector<float>& pixels, FloatLayout layout = FloatLayout::kRgba,
              FloatRounding rounding = FloatRounding::kDown) {
    Frame row(pixels.size() + 8, 4711);
    FloatRowToFrame(pixels.data(), layout, rounding, row.data(),
                    static_cast<int>(pixels.size() / 4));
    for (; row.size() > pixels.size(); row.pop_back()) EXPECT_EQ(row.back(), 4711);
    return row;
}

std::vector<float> ToFloat(const Frame& row, FloatLayout layout = FloatLayout::kRgba) {
    std::vector<float> pixels(row.size() + 8, -3);
    FrameRowToFloat(row.data(), layout, pixels.data(), static_cast<int>(row.size() / 4));
    for (; pixels.size() > row.size(); pixels.pop_back()) EXPECT_EQ(pixels.back(), -3);
    return pixels;
}

TEST(FloatFrame, ConvertsWorkedValues) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const auto check = [&] {
        // Alpha, red, green, blue to blue, green, red, alpha; 0.5 is 32767.5.
        EXPECT_EQ(ToFrame({0.5f, 1, 0.25f, 0}, FloatLayout::kArgb),
                  (Frame{0, 16383, 65535, 32767}));
        EXPECT_EQ(ToFrame({0.5f, 1, 0.25f, 0}), (Frame{16383, 65535, 32767, 0}));
        EXPECT_EQ(ToFrame({0.5f, 1, 0.25f, 0}, FloatLayout::kRgba, FloatRounding::kNearest),
                  (Frame{16384, 65535, 32768, 0}));
        for (const auto rounding : {FloatRounding::kDown, FloatRounding::kNearest}) {
            EXPECT_EQ(ToFrame({-0.0f, -1, 1.5f, std::nanf("")}, FloatLayout::kRgba, rounding),
                      (Frame{65535, 0, 0, 0}));
            EXPECT_EQ(
                ToFrame({kInfinity, -kInfinity, 1e30f, -1e-40f}, FloatLayout::kRgba, rounding),
                (Frame{65535, 0, 65535, 0}));
        }
        EXPECT_EQ(ToFloat({0, 16384, 32768, 65535}, FloatLayout::kArgb),
                  (std::vector<float>{1, 32768 / 65535.0f, 16384 / 65535.0f, 0}));
        EXPECT_EQ(ToFloat({0, 16384, 32768, 65535}),
                  (std::vector<float>{32768 / 65535.0f, 16384 / 65535.0f, 0, 1}));
    };
    Plainly([&] { return check(), 0; });
    ForEachLevel(check);
}

/// Checks the floats around every (k + middle) / 65535, where rounding has to change over.
void CheckRounding(FloatRounding rounding, double middle) {
    std::vector<float> pixels;
    Frame expected;
    for (int k = 0; k <= 65535; ++k) {
        float value = static_cast<float>((k + middle) / 65535.0);
        for (int i = 0; i < 3; ++i) value = std::nextafter(value, -1.0f);
        for (int i = 0; i < 7; ++i, value = std::nextafter(value, 2.0f)) {
            pixels.push_back(value);
            // At most 40 bits long, so exact.
            const double scaled = value * 65535.0 + middle;
            expected.push_back(static_cast<std::uint16_t>(std::clamp(scaled, 0.0, 65535.0)));
        }
    }
    while (pixels.size() % 4 != 0) pixels.push_back(0), expected.push_back(0);
    for (size_t i = 0; i < expected.size(); i += 4) std::swap(expected[i], expected[i + 2]);
    const auto check = [&] {
        ASSERT_TRUE(Same(expected, ToFrame(pixels, FloatLayout::kRgba, rounding), 1 << 20));
    };
    Plainly([&] { return check(), 0; });
    ForEachLevel(check);
}

TEST(FloatFrame, RoundsAsAskedAroundEverySample) {
    CheckRounding(FloatRounding::kDown, 0);
    CheckRounding(FloatRounding::kNearest, 0.5);
}

TEST(FloatFrame, DividesEverySample) {
    Frame row(65536);
    std::vector<float> expected;
    for (int i = 0; i < 65536; ++i) row[i] = i;
    for (int i = 0; i < 65536; ++i) expected.push_back((i ^ 3) / 65535.0f);
    const auto check = [&] { EXPECT_EQ(ToFloat(row, FloatLayout::kArgb), expected); };
    Plainly([&] { return check(), 0; });
    ForEachLevel(check);
}

TEST(FloatFrame, GivesTheSameBitsAtEveryLevelAndWidth) {
    for (int width = 1; width <= 70; ++width) {
        Random random(width);
        const auto row = RandomSamples<std::uint16_t>(random, width * 4);
        std::vector<float> pixels(row.size());
        for (float& value : pixels) value = random(-1 << 20, 9 << 20) / 8388608.0f;
        for (const auto layout : {FloatLayout::kArgb, FloatLayout::kRgba})
            for (const auto rounding : {FloatRounding::kDown, FloatRounding::kNearest}) {
                const auto opaque = [&] {
                    Frame frame(row.size());
                    FloatRowToFrame(pixels.data(), layout, rounding, frame.data(), width, true);
                    return frame;
                };
                auto frame = Plainly([&] { return ToFrame(pixels, layout, rounding); });
                const auto floats = Plainly([&] { return ToFloat(row, layout); });
                ForEachLevel([&] {
                    ASSERT_TRUE(Same(frame, ToFrame(pixels, layout, rounding), width));
                    ASSERT_TRUE(Same(floats, ToFloat(row, layout), width));
                });
                for (size_t i = 3; i < frame.size(); i += 4) frame[i] = 65535;
                EXPECT_EQ(Plainly(opaque), frame);
                ForEachLevel([&] { ASSERT_TRUE(Same(frame, opaque(), width)); });
            }
    }
}

TEST(FloatFrame, LinearPremultiplicationRaisesAlpha) {
    const Frame row{65535, 32768, 0, 32768, 1, 2, 3, 0, 7, 8, 9, 65535};
    std::vector<float> pixels(row.size());
    FrameRowToLinearPremultiplied(row.data(), FloatLayout::kArgb, pixels.data(), 3);
    // 0.50000763 to the power 2.2, worked by hand to five places.
    EXPECT_NEAR(pixels[0], 0.21764, 5e-6);
    EXPECT_EQ(pixels[3], pixels[0]);
    EXPECT_EQ(pixels[2], 32768 / 65535.0f * pixels[0]);
    EXPECT_EQ(pixels[1], 0);
    EXPECT_EQ((std::vector<float>(pixels.begin() + 4, pixels.end())),
              (std::vector<float>{0, 0, 0, 0, 1, 9 / 65535.0f, 8 / 65535.0f, 7 / 65535.0f}));
}

}  // namespace
}  // namespace veltrane::testing
