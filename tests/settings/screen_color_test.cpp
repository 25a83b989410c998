#include "settings/screen_color.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <stdexcept>

namespace veltrane {
namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 180;
constexpr unsigned kSeed = 7;

using Scene = std::function<Color(int x, int y)>;

std::vector<std::uint16_t> Render(const Scene& scene, double noise = 0) {
    std::mt19937 random(kSeed);
    std::normal_distribution<double> grain(0, noise > 0 ? noise : 1);
    std::vector<std::uint16_t> frame;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            const Color c = scene(x, y);
            for (const double channel : {c.blue, c.green, c.red, 1.0}) {
                const double value = channel + (noise > 0 && channel < 1 ? grain(random) : 0);
                frame.push_back(std::lround(65535 * std::clamp(value, 0.0, 1.0)));
            }
        }
    return frame;
}

Color Times(Color c, double gain) {
    return {c.red * gain, c.green * gain, c.blue * gain};
}

constexpr Color kSkin{0.82, 0.62, 0.5};
constexpr Color kGrey{0.4, 0.41, 0.4};

/// A subject of this part of the width in the middle, down to the lower border, on the screen.
Scene WithSubject(double part, const Scene& screen) {
    return [=](int x, int y) {
        const bool inside = std::abs(x - kWidth / 2) < part * kWidth / 2 && y > kHeight / 20;
        return inside ? (y < kHeight / 2 ? kSkin : kGrey) : screen(x, y);
    };
}

Scene Plain(Color c) {
    return [=](int, int) { return c; };
}

void ExpectFound(const Scene& scene, double noise, Color expected, double coverage, double within) {
    const auto found = FindScreenColor(kWidth, kHeight, Render(scene, noise).data());
    ASSERT_TRUE(found.has_value()) << "seed " << kSeed;
    EXPECT_NEAR(found->color.red, expected.red, within);
    EXPECT_NEAR(found->color.green, expected.green, within);
    EXPECT_NEAR(found->color.blue, expected.blue, within);
    EXPECT_NEAR(found->coverage, coverage, 0.03);
    EXPECT_EQ(found->color, SnapToByteSteps(found->color));
}

TEST(ScreenColor, FindsPlainScreensExactly) {
    // Saturated with no red at all, everyday, dark, yellow-green, bluish.
    for (const Color screen :
         {Color{0, 0.7, 0.25}, Color{0.27, 0.76, 0.26}, Color{0.02, 0.12, 0.05},
          Color{0.76, 0.78, 0.07}, Color{0.1, 0.7, 0.5}})
        ExpectFound(WithSubject(0.4, Plain(screen)), 0, screen, 0.62, 0.002);
}

TEST(ScreenColor, SurvivesGrainAndASubjectThatFillsTheFrame) {
    const Color screen{0.1, 0.65, 0.2};
    ExpectFound(WithSubject(0.4, Plain(screen)), 0.05, screen, 0.62, 0.02);
    // The strip above the subject is a twentieth of the height.
    ExpectFound(WithSubject(0.92, Plain(screen)), 0, screen, 0.127, 0.01);
    ExpectFound(WithSubject(0.92, Plain(screen)), 0.03, screen, 0.127, 0.03);
}

TEST(ScreenColor, SurvivesUnevenLight) {
    const Color screen{0.3, 0.8, 0.3};
    const Scene falling = [=](int x, int) { return Times(screen, 1.1 - 0.8 * x / kWidth); };
    const auto found = FindScreenColor(kWidth, kHeight, Render(falling).data());
    ASSERT_TRUE(found.has_value());
    EXPECT_GT(found->coverage, 0.95);
    EXPECT_NEAR(found->color.red / found->color.green, 0.375, 0.02);
    EXPECT_NEAR(found->color.green, 0.4, 0.02);  // of 0.88 down to 0.24, the darker quarter's end
}

TEST(ScreenColor, TheScreenWinsOverAGreenShirt) {
    const Color screen{0.2, 0.75, 0.25};
    const Scene scene = [=](int x, int y) {
        const bool shirt = std::abs(x - kWidth / 2) < kWidth / 5 && y > kHeight / 2;
        return shirt ? Color{0.3, 0.45, 0.1} : screen;
    };
    ExpectFound(scene, 0.02, screen, 0.8, 0.01);
}

TEST(ScreenColor, RefusesFramesWithoutAScreen) {
    const Scene foliage = [](int x, int y) {
        std::minstd_rand random(static_cast<unsigned>((y / 2 * kWidth + x / 2) + 1));
        random.discard(5);
        const double light = 0.1 + 0.8 * (random() % 1000 / 1000.0);
        return Times({0.45, 0.8, 0.25}, light);
    };
    const Scene sky = [](int, int y) { return Color{0.4 + 0.002 * y, 0.62 + 0.001 * y, 0.9}; };
    const Scene shirt = [](int x, int y) {
        const bool inside = std::abs(x - 160) < 50 && std::abs(y - 90) < 25;
        return inside ? Color{0.2, 0.6, 0.2} : kGrey;
    };
    const Scene text = [](int x, int y) {
        return x % 7 < 2 && y % 13 < 8 ? Color{0, 1, 0} : Color{0, 0, 0};
    };
    const Scene plant = [=](int x, int y) { return x < 60 ? foliage(x, y) : kGrey; };
    const std::pair<const char*, Scene> scenes[] = {{"grey", Plain(kGrey)},
                                                    {"black", Plain({0, 0, 0})},
                                                    {"white", Plain({1, 1, 1})},
                                                    {"skin", Plain(kSkin)},
                                                    {"blue", Plain({0, 0.2, 0.9})},
                                                    {"red", Plain({1, 0, 0})},
                                                    {"sky", sky},
                                                    {"foliage", foliage},
                                                    {"plant", plant},
                                                    {"small shirt", shirt},
                                                    {"text", text},
                                                    {"pale", Plain({0.7, 0.8, 0.7})},
                                                    {"taxi", Plain({1, 0.8, 0})}};
    for (const auto& [name, scene] : scenes) {
        EXPECT_FALSE(FindScreenColor(kWidth, kHeight, Render(scene).data())) << name;
        EXPECT_FALSE(FindScreenColor(kWidth, kHeight, Render(scene, 0.03).data()))
            << name << " with grain, seed " << kSeed;
    }
}

TEST(ScreenColor, TakesAnySize) {
    const std::vector<std::uint16_t> strip = [] {
        std::vector<std::uint16_t> pixels;
        for (int i = 0; i < 3000; ++i) pixels.insert(pixels.end(), {13107, 52428, 13107, 65535});
        return pixels;
    }();
    for (const auto& [width, height] : {std::pair{1, 1}, {3000, 1}, {1, 3000}, {601, 3}})
        EXPECT_EQ(FindScreenColor(width, height, strip.data())->color, (Color{0.2, 0.8, 0.2}))
            << width << " x " << height;
    EXPECT_FALSE(FindScreenColor(0, 5, strip.data()));
}

TEST(AverageColor, AveragesTheSquareWithinTheFrame) {
    // Columns of red 0, 1, 2, ... in steps of 1/10.
    const Scene ramp = [](int x, int) { return Color{std::min(x, 10) / 10.0, 0.5, 0}; };
    const std::vector<std::uint16_t> frame = Render(ramp);
    EXPECT_NEAR(AverageColor(kWidth, kHeight, frame.data(), 5, 90, 1).red, 0.5, 1e-4);
    EXPECT_NEAR(AverageColor(kWidth, kHeight, frame.data(), 4, 90, 3).red, 0.4, 1e-4);
    EXPECT_NEAR(AverageColor(kWidth, kHeight, frame.data(), 0, 0, 3).red, 0.05, 1e-4);
    EXPECT_NEAR(AverageColor(kWidth, kHeight, frame.data(), 319, 179, 9).green, 0.5, 1e-4);
    EXPECT_THROW(AverageColor(kWidth, kHeight, frame.data(), kWidth, 0, 9), std::invalid_argument);
    EXPECT_THROW(AverageColor(kWidth, kHeight, frame.data(), 0, -1, 9), std::invalid_argument);
}

}  // namespace
}  // namespace veltrane
