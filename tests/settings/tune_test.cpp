// Settings found for scenes whose coverage is known, against the table's defaults.

#include "settings/tune/tune.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <stdexcept>

#include "imaging/convert/light_curve.h"
#include "settings/tune/cells.h"
#include "tests/support/threads.h"

namespace veltrane {
namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 180;

struct Scene {
    std::vector<std::uint16_t> frame;
    std::vector<double> coverage;
};

/// Balls with soft rims, lit from above, that reflect some of the screen: skin, red, grey, black
/// and yellow, mixed with the screen in linear light, under grain.
Scene Balls(Color screen, int moved = 0, bool withSubject = true, double reflected = 1.0 / 8) {
    constexpr Color kPaints[] = {
        {0.8, 0.6, 0.5}, {0.7, 0.2, 0.2}, {0.5, 0.5, 0.5}, {0.1, 0.1, 0.1}, {0.9, 0.8, 0.3}};
    std::mt19937 random(moved + 1);
    std::normal_distribution<double> grain(0, 0.006);
    Scene scene;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            const double far = std::hypot((x + 320 - moved) % 64 - 32, y - 90);
            const double part = withSubject ? std::clamp((26 - far) / 7, 0.0, 1.0) : 0;
            const Color paint = kPaints[(x + 320 - moved) / 64 % 5];
            const double shade = 1.1 - y / 180.0, light = 1.15 - 0.3 * x / kWidth;
            for (double Color::*c : {&Color::blue, &Color::green, &Color::red}) {
                const double behind = LinearFromSrgb(screen.*c) * light;
                const double before = LinearFromSrgb(paint.*c) * shade + behind * reflected;
                const double seen = SrgbFromLinear(behind + (before - behind) * part);
                scene.frame.push_back(
                    std::lround(65535 * std::clamp(seen + grain(random), 0.0, 1.0)));
            }
            scene.frame.push_back(65535);
            scene.coverage.push_back(part);
        }
    return scene;
}

struct Errors {
    double all = 0;
    double edges = 0;
    double colors = 0;  ///< of what is solid, against the frame
};

Errors ErrorsOf(const Scene& scene, const Settings& settings) {
    std::vector<std::uint16_t> keyed(scene.frame.size());
    Key(settings, kWidth, kHeight, scene.frame.data(), keyed.data());
    Errors errors;
    int edges = 0, solid = 0;
    for (std::size_t i = 0; i < scene.coverage.size(); ++i) {
        const double error = std::abs(keyed[4 * i + 3] / 65535.0 - scene.coverage[i]);
        errors.all += error / static_cast<double>(scene.coverage.size());
        if (scene.coverage[i] == 1) {
            for (std::size_t c = 4 * i; c < 4 * i + 3; ++c)
                errors.colors += std::abs(keyed[c] - scene.frame[c]) / (3 * 65535.0);
            ++solid;
        }
        if (scene.coverage[i] < 0.02 || scene.coverage[i] > 0.98) continue;
        errors.edges += error;
        ++edges;
    }
    errors.edges /= edges;
    errors.colors /= solid;
    return errors;
}

constexpr Color kGreen{0.25, 0.7, 0.28};
constexpr Color kDullGreen{0.3, 0.56, 0.27};
constexpr Color kBlue{0.16, 0.31, 0.74};

TuneRequest Asked(Color screen) {
    TuneRequest request;
    request.settings.keyColor = SnapToByteSteps(screen);
    request.settings.screen = screen.blue > screen.green ? Screen::Blue : Screen::Green;
    return request;
}

// What is found from the picture alone must serve the truth, which it does not know.
TEST(Tune, BringsMattesNearerToTheTruth) {
    for (const Color& screen : {kGreen, kDullGreen, kBlue}) {
        const Scene scene = Balls(screen);
        const std::uint16_t* frames[] = {scene.frame.data()};
        const TunedSettings tuned = Tune(frames, kWidth, kHeight);
        EXPECT_EQ(tuned.kind, ShotKind::Usual);
        Settings plain;
        plain.keyColor = tuned.settings.keyColor;
        plain.screen = tuned.settings.screen;
        const Errors before = ErrorsOf(scene, plain);
        const Errors after = ErrorsOf(scene, tuned.settings);
        EXPECT_LT(after.all, 0.85 * before.all) << HexText(screen);
        // Rims of black bodies pay for the others: to the key they are shadows.
        EXPECT_LT(after.edges, 1.13 * before.edges) << HexText(screen);
        EXPECT_LT(tuned.errorAfter, tuned.errorBefore);
        EXPECT_NEAR(tuned.screen + tuned.subject + tuned.unknown, 1, 1e-9);
        EXPECT_NEAR(tuned.screen, 0.77, 0.08);
        // Each slider that was moved earned its place.
        for (const TunedSlider& slider : tuned.sliders) EXPECT_GT(slider.gain.value_or(0), -0.001);
        EXPECT_TRUE(tuned.settings.edgeBlur);
    }
}

// Before a yellowish green, the hue that saves most of the matte takes the colour of skin.
TEST(Tune, KeepsTheSubjectsColors) {
    constexpr Color kYellowGreen{0.6, 0.7, 0.1};
    const Scene scene = Balls(kYellowGreen, 0, true, 0);
    const std::uint16_t* frames[] = {scene.frame.data()};
    const TuneRequest request = Asked(kYellowGreen);
    const Settings tuned = Tune(frames, kWidth, kHeight, request).settings;
    EXPECT_LT(ErrorsOf(scene, tuned).colors, ErrorsOf(scene, request.settings).colors / 4);
}

TEST(Tune, IsTheSameByAnyNumberOfThreadsAndFrameByFrame) {
    std::vector<Scene> shot;
    for (const int moved : {0, 5, 11}) shot.push_back(Balls(kGreen, moved));
    std::vector<const std::uint16_t*> frames;
    for (const Scene& scene : shot) frames.push_back(scene.frame.data());
    const TunedSettings alone = Tune(frames, kWidth, kHeight);
    const TunedSettings lent = Tune(frames, kWidth, kHeight, {}, testing::Lent(3));
    EXPECT_EQ(alone.settings, lent.settings);
    EXPECT_EQ(alone.errorAfter, lent.errorAfter);
    EXPECT_TRUE(alone.odd.empty());
    EXPECT_FALSE(alone.settings == Settings());
}

TEST(Tune, LeavesWhatIsGiven) {
    const Scene scene = Balls(kGreen);
    const std::uint16_t* frames[] = {scene.frame.data()};
    TuneRequest request = Asked(kGreen);
    request.settings.clipBlack = 17;
    request.settings.skinHue = -3;
    request.settings.edgeBlur = true;
    request.fixed = {ParameterId::ClipBlack, ParameterId::SkinHue};
    const Settings tuned = Tune(frames, kWidth, kHeight, request).settings;
    EXPECT_EQ(tuned.clipBlack, 17);
    EXPECT_EQ(tuned.skinHue, -3);
    EXPECT_TRUE(tuned.edgeBlur);
    EXPECT_EQ(tuned.keyColor, request.settings.keyColor);
    EXPECT_NE(tuned.screenGain, Settings().screenGain);

    request.settings.edgeBlur = false;
    request.fixed = {ParameterId::ClipWhite};
    const Settings softened = Tune(frames, kWidth, kHeight, request).settings;
    EXPECT_TRUE(softened.edgeBlur);
    EXPECT_EQ(softened.clipWhite, 100);
    request.fixed.push_back(ParameterId::EdgeBlur);
    EXPECT_FALSE(Tune(frames, kWidth, kHeight, request).settings.edgeBlur);
}

TEST(Tune, SaysWhereTheShotDoesNotSayEnough) {
    const Scene plate = Balls(kGreen, 0, false);
    const std::vector<std::uint16_t> black(plate.frame.size());
    const std::uint16_t* empty[] = {plate.frame.data()};
    const TunedSettings cleaned = Tune(empty, kWidth, kHeight);
    EXPECT_EQ(cleaned.kind, ShotKind::NoSubject);
    EXPECT_EQ(cleaned.settings.skinHue, 0);
    EXPECT_LE(ErrorsOf(plate, cleaned.settings).all, 0.001);

    const std::uint16_t* dark[] = {black.data()};
    const TunedSettings unknown = Tune(dark, kWidth, kHeight);
    EXPECT_EQ(unknown.kind, ShotKind::NoScreen);
    EXPECT_EQ(unknown.settings, Settings());
    const TunedSettings full = Tune(dark, kWidth, kHeight, Asked(kGreen));
    EXPECT_EQ(full.kind, ShotKind::LittleScreen);
    EXPECT_EQ(full.settings, Asked(kGreen).settings);

    // A frame without screen among others is named and does not count.
    const Scene scene = Balls(kGreen);
    const std::uint16_t* both[] = {black.data(), scene.frame.data()};
    const TunedSettings rest = Tune(both, kWidth, kHeight);
    EXPECT_EQ(rest.odd, std::vector<std::size_t>{0});
    EXPECT_EQ(rest.settings, Tune(std::span(both).subspan(1), kWidth, kHeight).settings);
    EXPECT_THROW(ShotTuner(0, 5), std::invalid_argument);
}

TEST(Tune, FindsDistancesAndFillsGaps) {
    CellMask set(7, 5);
    set.At(1, 1) = set.At(6, 4) = 1;
    const Cells<int> distance = DistanceTo(set);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x) {
            const int first = std::max(std::abs(x - 1), std::abs(y - 1));
            const int second = std::max(std::abs(x - 6), std::abs(y - 4));
            EXPECT_EQ(distance.At(x, y), std::min(first, second)) << x << ',' << y;
        }
    Cells<LinearColor> colors(9, 6, {0.5f, 0.5f, 0.5f});
    Cells<float> weights(9, 6);
    colors.At(0, 0) = {1, 0, 0};
    colors.At(8, 5) = {0, 0, 1};
    weights.At(0, 0) = weights.At(8, 5) = 1;
    FillByWeight(colors, weights);
    EXPECT_EQ(colors.At(0, 0), (LinearColor{1, 0, 0}));
    EXPECT_GT(colors.At(1, 1)[0], colors.At(7, 4)[0]);
    for (const LinearColor& c : colors.values) EXPECT_NEAR(c[0] + c[2], 1, 1e-5);
}

}  // namespace
}  // namespace veltrane
