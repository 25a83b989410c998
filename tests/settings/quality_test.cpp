// How well known scenes are keyed: mixtures whose coverage and foreground are known, before screens
// of both kinds.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "settings/screen_color.h"
#include "settings/settings.h"

namespace veltrane {
namespace {

constexpr int kWidth = 384;
constexpr int kHeight = 216;
constexpr unsigned kSeed = 11;

struct Layer {
    Color color;
    double coverage;
};

Color Mix(Color a, Color b, double part) {
    return {a.red + (b.red - a.red) * part, a.green + (b.green - a.green) * part,
            a.blue + (b.blue - a.blue) * part};
}

Color Exchanged(Color c) {
    return {c.red, c.blue, c.green};
}

/// Balls with soft rims in the colours that stand before a blue screen, and strands of hair down to
/// a third of a pixel.
Layer SubjectAt(int x, int y) {
    constexpr Color kBalls[] = {{0.78, 0.57, 0.45}, {0.5, 0.5, 0.5},   {0.92, 0.93, 0.91},
                                {0.7, 0.2, 0.18},   {0.2, 0.52, 0.24}, {0.85, 0.7, 0.2}};
    constexpr Color kHair{0.25, 0.16, 0.1};
    if (y >= 108) {
        const double far = std::hypot(x % 64 - 32, y - 160);
        return {kBalls[x / 64], std::clamp((26 - far) / 8, 0.0, 1.0)};
    }
    const double strand = std::abs(std::fmod(x + 0.4 * y, 24) - 12);
    const double width = 0.3 + (108 - y) * 0.02;
    return {kHair, y < 20 ? 0.0 : std::clamp(width - strand + 0.5, 0.0, std::min(width, 1.0))};
}

/// Lit from the left, with grain that is stronger in the blue.
class Scene {
public:
    explicit Scene(Screen screen, Color paint = {0.16, 0.31, 0.71}) : screen_(screen) {
        std::mt19937 random(kSeed);
        std::normal_distribution<double> grain(0, 0.006);
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                const double light = 1.1 - 0.4 * x / kWidth;
                const Layer subject = SubjectAt(x, y);
                const Color bare = Mix({0, 0, 0}, paint, light);
                Color seen = Mix(bare, subject.color, subject.coverage);
                seen = {seen.red + grain(random), seen.green + grain(random),
                        seen.blue + 1.8 * grain(random)};
                Add(screen == Screen::Blue ? seen : Exchanged(seen));
            }
    }

    /// The mean absolute errors of the matte, of the matte where coverage is partial, and of the
    /// result over grey.
    struct Errors {
        double matte = 0;
        double edges = 0;
        double color = 0;
    };

    Errors KeyedBy(const Settings& settings) const {
        std::vector<std::uint16_t> keyed(frame_.size());
        Key(settings, kWidth, kHeight, frame_.data(), keyed.data());
        Errors errors;
        int edges = 0;
        for (int i = 0; i < kWidth * kHeight; ++i) {
            const Layer truth = SubjectAt(i % kWidth, i / kWidth);
            const double matte = keyed[4 * i + 3] / 65535.0;
            const double error = std::abs(matte - truth.coverage);
            errors.matte += error;
            if (truth.coverage > 0.02 && truth.coverage < 0.98) {
                errors.edges += error;
                ++edges;
            }
            Color shown{keyed[4 * i + 2] / 65535.0, keyed[4 * i + 1] / 65535.0,
                        keyed[4 * i] / 65535.0};
            if (screen_ == Screen::Green) shown = Exchanged(shown);
            errors.color +=
                Distance(Mix(kGrey, shown, matte), Mix(kGrey, truth.color, truth.coverage));
        }
        errors.matte /= kWidth * kHeight;
        errors.color /= kWidth * kHeight;
        errors.edges /= edges;
        return errors;
    }

    /// With the colour found and all else at its default.
    Errors Keyed() const {
        const auto found = FindScreenColor(kWidth, kHeight, frame_.data()).value();
        EXPECT_EQ(found.screen, screen_);
        Settings settings;
        settings.keyColor = found.color;
        settings.screen = found.screen;
        return KeyedBy(settings);
    }

private:
    static constexpr Color kGrey{0.46, 0.46, 0.46};

    static double Distance(Color a, Color b) {
        return (std::abs(a.red - b.red) + std::abs(a.green - b.green) + std::abs(a.blue - b.blue)) /
               3;
    }

    void Add(Color c) {
        for (const double channel : {c.blue, c.green, c.red})
            frame_.push_back(
                static_cast<std::uint16_t>(std::lround(65535 * std::clamp(channel, 0.0, 1.0))));
        frame_.push_back(65535);
    }

    Screen screen_;
    std::vector<std::uint16_t> frame_;
};

// The scene with green and blue exchanged is keyed as a green screen, which the same subject
// colours mirrored do not make easier or harder by more than a fifth.
TEST(Quality, BlueScreensKeyAsWellAsGreenOnes) {
    const Scene::Errors blue = Scene(Screen::Blue).Keyed();
    const Scene::Errors green = Scene(Screen::Green).Keyed();
    constexpr double kMargin = 1.2;
    for (const auto& [a, b] : {std::pair(blue, green), {green, blue}}) {
        EXPECT_LT(a.matte, b.matte * kMargin);
        EXPECT_LT(a.edges, b.edges * kMargin);
        EXPECT_LT(a.color, b.color * kMargin);
    }
    EXPECT_LT(blue.matte, 0.0240);
    EXPECT_LT(blue.edges, 0.190);
    EXPECT_LT(blue.color, 0.0075);
}

// No part of a saturated blue screen holds red, which must not be taken for a hole.
TEST(Quality, BlueScreensNeedNoRed) {
    const Scene::Errors errors = Scene(Screen::Blue, {-0.05, 0.2, 0.7}).Keyed();
    EXPECT_LT(errors.matte, 0.0240);
    EXPECT_LT(errors.edges, 0.190);
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
        const auto sample = [](double v) { return static_cast<std::uint16_t>(65535 * v); };
        const std::uint16_t pixel[] = {sample(subject.blue), sample(subject.green),
                                       sample(subject.red), 65535};
        std::uint16_t keyed[4];
        Key(settings, 1, 1, pixel, keyed);
        return keyed[3];
    };
    for (const Color& kept : {Color{0.78, 0.57, 0.45},
                              {0.25, 0.16, 0.1},
                              {0.7, 0.2, 0.18},
                              {0.2, 0.52, 0.24},
                              {0.5, 0.5, 0.5},
                              {0.9, 0.8, 0.2}})
        EXPECT_EQ(matteOf(kept, 0, 0), 65535) << HexText(kept);
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
