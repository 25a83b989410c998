#include "settings/screen_color.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <stdexcept>
#include <tuple>

#include "settings/settings.h"

namespace veltrane {
namespace {

constexpr int kWidth = 384;
constexpr int kHeight = 216;
constexpr unsigned kSeed = 7;

using Scene = std::function<Color(int x, int y)>;

std::vector<std::uint16_t> Render(const Scene& scene, double noise = 0) {
    std::mt19937 random(kSeed);
    std::normal_distribution<double> grain(0, 1);
    std::vector<std::uint16_t> frame;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            const Color c = scene(x, y);
            for (const double channel : {c.blue, c.green, c.red}) {
                const double value = std::clamp(channel + noise * grain(random), 0.0, 1.0);
                frame.push_back(std::lround(65535 * value));
            }
            frame.push_back(65535);
        }
    return frame;
}

Scene Plain(Color c, double gain = 1) {
    return [=](int, int) { return Color{c.red * gain, c.green * gain, c.blue * gain}; };
}

constexpr Color kSkin{0.82, 0.62, 0.5};
constexpr Color kGrey{0.4, 0.41, 0.4};

/// A subject of this part of the width in the middle, from this row down to the lower border.
Scene Before(const Scene& screen, double part, int top, Color subject) {
    return [=](int x, int y) {
        const bool inside = std::abs(x - kWidth / 2) < part * kWidth / 2 && y > top;
        return inside ? subject : screen(x, y);
    };
}

Color Exchanged(Color c) {
    return {c.red, c.blue, c.green};
}

Scene Exchanged(const Scene& scene) {
    return [=](int x, int y) { return Exchanged(scene(x, y)); };
}

void ExpectFound(const Scene& scene, double noise, Screen screen, const Color& color,
                 double coverage) {
    const auto frame = Render(scene, noise);
    const auto found = FindScreenColor(kWidth, kHeight, frame.data());
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->screen, screen);
    for (const auto channel : {&Color::red, &Color::green, &Color::blue})
        EXPECT_NEAR(found->color.*channel, color.*channel, 0.02);
    EXPECT_NEAR(found->coverage, coverage, 0.05);
    EXPECT_EQ(found->color, SnapToByteSteps(found->color));
    EXPECT_EQ(ScreenOf(found->color), screen);
    const Screen other = screen == Screen::Green ? Screen::Blue : Screen::Green;
    EXPECT_FALSE(FindScreenColor(kWidth, kHeight, frame.data(), other));
}

TEST(ScreenColor, FindsTheScreen) {
    const Color usual{0.27, 0.76, 0.26};
    const Scene uneven = [](int x, int y) {
        return Plain({0.3, 0.8, 0.3}, 1.1 - 0.8 * x / kWidth)(x, y);
    };
    // Name, scene, colour and the part of the frame that shows it.
    std::vector<std::tuple<const char*, Scene, Color, double>> cases{
        // The strip above the subject is a twentieth of the height.
        {"full frame", Before(Plain(usual), 0.92, 11, kSkin), usual, 0.127},
        {"green shirt", Before(Plain(usual), 0.4, 108, {0.3, 0.45, 0.1}), usual, 0.8},
        // Green runs from 0.88 down to 0.24; its darker quarter ends at 0.4.
        {"uneven", uneven, {0.15, 0.4, 0.15}, 0.99}};
    for (const Color saturated :
         {Color{0, 0.7, 0.25}, Color{0.76, 0.78, 0.07}, Color{0.1, 0.7, 0.5}})
        cases.push_back({"plain", Before(Plain(saturated), 0.4, 11, kGrey), saturated, 0.62});
    for (const auto& [name, scene, color, coverage] : cases)
        for (const double noise : {0.0, 0.03}) {
            SCOPED_TRACE(name + std::to_string(noise) + " seed " + std::to_string(kSeed));
            ExpectFound(scene, noise, Screen::Green, color, coverage);
            // The mirror images of bluish and yellowish greens might as well be sky or purple.
            if (color.red < 0.5 && color.blue < 0.4)
                ExpectFound(Exchanged(scene), noise, Screen::Blue, Exchanged(color), coverage);
        }
}

TEST(ScreenColor, IsThatOfTheScreenThatShowsMore) {
    const Color green{0.2, 0.7, 0.25}, blue{0.15, 0.3, 0.75};
    for (const auto& [behind, before, screen] :
         {std::tuple{green, blue, Screen::Green}, {blue, green, Screen::Blue}}) {
        const auto frame = Render(Before(Plain(behind), 0.4, 72, before));
        EXPECT_EQ(FindScreenColor(kWidth, kHeight, frame.data())->screen, screen);
        for (const Screen kind : {Screen::Green, Screen::Blue})
            EXPECT_EQ(FindScreenColor(kWidth, kHeight, frame.data(), kind)->screen, kind);
    }
}

TEST(ScreenColor, OfGreysAndWhatLiesFarFromBothIsNone) {
    for (const Color c : {Color{0, 0, 0}, kGrey, kSkin, {0.7, 0.2, 0.2}, {0.1, 0.7, 0.72}})
        EXPECT_FALSE(ScreenOf(c)) << HexText(c);
    EXPECT_EQ(ScreenOf({0.35, 0.45, 0.1}), Screen::Green);
    EXPECT_EQ(ScreenOf({0.3, 0.2, 0.7}), Screen::Blue);
}

TEST(ScreenColor, RefusesFramesWithoutAScreen) {
    const Scene foliage = [](int x, int y) {
        std::minstd_rand random(unsigned((y / 2 * kWidth + x / 2) + 1));
        random.discard(5);
        return Plain({0.45, 0.8, 0.25}, 0.1 + 0.8 * (random() % 1000 / 1000.0))(x, y);
    };
    const Scene sky = [](int, int y) { return Color{0.4 + 0.002 * y, 0.62 + 0.001 * y, 0.9}; };
    const Scene shirt = [](int x, int y) {
        const bool inside = std::abs(x - 192) < 60 && std::abs(y - 108) < 30;
        return inside ? Color{0.2, 0.6, 0.2} : kGrey;
    };
    const Scene text = [](int x, int y) { return Color{0, x % 7 < 2 && y % 13 < 8 ? 1. : 0., 0}; };
    std::vector<Scene> scenes{foliage, sky, shirt, text};
    // Black, pale green, a pool's cyan, a taxi's yellow, clear sky, denim and night are no screens
    // either.
    for (const Color c : {kGrey, kSkin, Color{0, 0, 0}, Color{0.7, 0.8, 0.7},
                          Color{0.05, 0.7, 0.72}, Color{1, 0.8, 0}, Color{0.27, 0.51, 0.78},
                          Color{0.24, 0.31, 0.5}, Color{0.02, 0.04, 0.12}})
        scenes.push_back(Plain(c));
    for (std::size_t i = 0; i < scenes.size(); ++i)
        for (const double noise : {0.0, 0.03})
            EXPECT_FALSE(FindScreenColor(kWidth, kHeight, Render(scenes[i], noise).data()))
                << "scene " << i << ", grain " << noise << ", seed " << kSeed;
}

TEST(ScreenColor, TakesAnySize) {
    const std::vector<std::uint16_t> frame = Render(Plain({0.2, 0.8, 0.2}));
    for (const auto& [width, height] : {std::pair{1, 1}, {3000, 1}, {1, 3000}, {601, 3}})
        EXPECT_EQ(FindScreenColor(width, height, frame.data())->color, (Color{0.2, 0.8, 0.2}));
    EXPECT_FALSE(FindScreenColor(0, 5, frame.data()));
}

TEST(AverageColor, AveragesTheSquareWithinTheFrame) {
    // Red grows by 1/384 a column, green by 1/384 a row.
    const std::vector<std::uint16_t> frame = Render([](int x, int y) {
        return Color{double(x) / kWidth, double(y) / kWidth, 0};
    });
    const Color inside = AverageColor(kWidth, kHeight, frame.data(), 5, 3, 3);
    EXPECT_NEAR(inside.red * kWidth, 5, 0.01);
    EXPECT_NEAR(inside.green * kWidth, 3, 0.01);
    const Color corner = AverageColor(kWidth, kHeight, frame.data(), kWidth - 1, 0, 3);
    EXPECT_NEAR(corner.red * kWidth, kWidth - 1.5, 0.01);
    EXPECT_NEAR(corner.green * kWidth, 0.5, 0.01);
    EXPECT_THROW(AverageColor(kWidth, kHeight, frame.data(), kWidth, 0, 9), std::invalid_argument);
    EXPECT_THROW(AverageColor(kWidth, kHeight, frame.data(), 0, -1, 9), std::invalid_argument);
}

// How colours beside a blue screen's are keyed.

constexpr Color kSubjects[] = {{0.78, 0.57, 0.45}, {0.5, 0.5, 0.5},   {0.92, 0.93, 0.91},
                               {0.7, 0.2, 0.18},   {0.2, 0.52, 0.24}, {0.85, 0.7, 0.2}};
constexpr Color kHair{0.25, 0.16, 0.1};

// No part of a saturated blue screen holds red, which must not be taken for a hole.
TEST(Quality, BlueScreensNeedNoRed) {
    const Color screen{0, 0.2, 0.7};
    const auto frame = Render(Before(Plain(screen), 0.4, 108, kSubjects[0]));
    auto keyed = frame;
    Key({.keyColor = screen, .screen = Screen::Blue}, kWidth, kHeight, frame.data(), keyed.data());
    EXPECT_LT(keyed[4 * kWidth * 20 + 3], 65535 / 20);
    EXPECT_GT(keyed[4 * (kWidth * 160 + kWidth / 2) + 3], 65535 * 19 / 20);
}

// Neither what stands beside the screen's hue nor skin may be eaten; each slider moves its own.
TEST(Quality, HueSlidersProtectTheirSides) {
    const auto matteOf = [](Color subject, int skinHue, int neighbourHue) {
        Settings settings;
        settings.screen = Screen::Blue;
        settings.keyColor = {0.16, 0.31, 0.71};
        settings.smoothBG = false;
        settings.skinHue = skinHue;
        settings.blueHue = neighbourHue;
        const auto frame = Render(Plain(subject));
        std::uint16_t keyed[4];
        Key(settings, 1, 1, frame.data(), keyed);
        return keyed[3];
    };
    for (const Color& kept : kSubjects) EXPECT_EQ(matteOf(kept, 0, 0), 65535) << HexText(kept);
    EXPECT_EQ(matteOf(kHair, 0, 0), 65535);
    const Color magenta{0.6, 0.2, 0.5}, cyan{0.15, 0.55, 0.6};
    EXPECT_LT(matteOf(magenta, -50, 0), 65535);
    EXPECT_EQ(matteOf(magenta, 50, 0), 65535);
    EXPECT_EQ(matteOf(magenta, -50, -50), matteOf(magenta, -50, 50));
    EXPECT_LT(matteOf(cyan, 0, 50), 65535);
    EXPECT_EQ(matteOf(cyan, 0, -50), 65535);
    EXPECT_EQ(matteOf(cyan, -50, 50), matteOf(cyan, 50, 50));
}

}  // namespace
}  // namespace veltrane
