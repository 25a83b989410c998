#include "settings/clean_plate.h"

#include <gtest/gtest.h>

#include "settings/frame_keyer.h"
#include "settings/plate_shade.h"
#include "tests/imaging/frames.h"

namespace veltrane {
namespace {

using testing::BothDepths;
using testing::Random;
using testing::Same;
using Words = std::vector<std::uint16_t>;

constexpr int kWidth = 200, kHeight = 120;
constexpr Color kGreen{60 / 255.0, 180 / 255.0, 70 / 255.0};
constexpr Color kBlue{40 / 255.0, 70 / 255.0, 190 / 255.0};

TYPED_TEST_SUITE(BothDepths, testing::Depths);

TYPED_TEST(BothDepths, TheModelledPlateGivenBackMakesTheSameKey) {
    using T = TypeParam;
    Random random(71);
    const auto source = testing::CalmFrame<T>(random, kWidth, kHeight);
    const auto key = [&](const Settings& s, const T* plate) {
        std::vector<T> keyed(source.size());
        Key<T>(s, kWidth, kHeight, {source.data()}, {keyed.data()}, {}, {.cleanPlate = {plate}});
        return keyed;
    };
    Settings s{.keyColor = kGreen};
    for (const bool everything : {false, true}) {
        s.edgeContract = s.edgeBlur = everything;
        Settings view = s;
        view.view = View::CleanPlate;
        const auto plate = key(view, nullptr);
        EXPECT_TRUE(Same(plate, key(view, plate.data()), kWidth));
        EXPECT_TRUE(Same(key(s, nullptr), key(s, plate.data()), kWidth));
    }
    s.smoothBG = false;
    EXPECT_TRUE(Same(key(s, nullptr), key(s, std::vector<T>(source.size()).data()), kWidth));
}

/// A screen of this colour that falls off to the right, with grain of its own.
Words EmptySet(const Color& color, int seed) {
    Random random(seed);
    Words frame;
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const double light = 1.2 - 0.5 * (i % kWidth) / kWidth + 0.1 * (i / kWidth) / kHeight;
        for (const double channel : {color.blue, color.green, color.red})
            frame.push_back(std::uint16_t(65535 * channel * light * 0.8 + random(-600, 600) + 600));
        frame.push_back(65535);
    }
    return frame;
}

/// What such a set gives in another exposure, with a subject and its shadow before it.
Words Shot(const Color& color, const PlateFit& exposure) {
    Words shot = EmptySet(color, 9);
    CorrectPlate(exposure, Words(shot).data(), shot.data(), kWidth * kHeight);
    for (int i = 0; i < kWidth * kHeight; ++i) {
        const int x = i % kWidth, y = i / kWidth;
        if (x > 70 && x < 120 && y > 30) std::fill_n(&shot[4 * i], 3, std::uint16_t{40000});
        if (x >= 120 && x < 150 && y > 60)
            for (int e = 0; e < 3; ++e) shot[4 * i + e] = shot[4 * i + e] * 6 / 10;
    }
    return shot;
}

TEST(CleanPlates, AreBroughtToTheShotsExposure) {
    const PlateFit exposure{{0.9, 0.02}, {1.12, -0.015}, {1.05, 0.01}};
    for (const Color& color : {kGreen, kBlue}) {
        const Words plate = EmptySet(color, 8), shot = Shot(color, exposure);
        const auto fit = FitPlate(kWidth, kHeight, shot.data(), plate.data(), color);
        ASSERT_TRUE(fit);
        Words matched(plate.size()), truth(plate.size());
        CorrectPlate(*fit, plate.data(), matched.data(), kWidth * kHeight);
        CorrectPlate(exposure, plate.data(), truth.data(), kWidth * kHeight);
        for (std::size_t i = 0; i < plate.size(); ++i)
            ASSERT_NEAR(matched[i], truth[i], 65535 * 0.006) << i;
        // Where all of the screen is dark or hidden, nothing is compared.
        const Words black(plate.size());
        EXPECT_FALSE(FitPlate(kWidth, kHeight, black.data(), plate.data(), color));
    }
}

// Light that falls off towards the subject, and a camera that opens: the shade is followed, and
// what is fine on the set, such as its grain and seams, stays the plate's.
TEST(CleanPlates, FollowTheSubjectsShade) {
    for (const Color& color : {kGreen, kBlue}) {
        const Words plate = EmptySet(color, 8);
        Words truth(plate), shot(plate.size());
        for (int i = 0; i < kWidth * kHeight; ++i) {
            const double off = (i % kWidth - 95) / 100.0, light = 1.1 - 0.25 / (1 + 2 * off * off);
            for (int e = 0; e < 3; ++e)
                truth[4 * i + e] = static_cast<std::uint16_t>(plate[4 * i + e] * light + 0.5);
        }
        shot = truth;
        for (int i = 0; i < kWidth * kHeight; ++i)
            if (std::abs(i % kWidth - 95) < 25 && i / kWidth > 30)
                std::fill_n(&shot[4 * i], 3, std::uint16_t{40000});
        const auto shade = PlateShade::Between(kWidth, kHeight, shot.data(), plate.data(), color);
        const auto fit = FitPlate(kWidth, kHeight, shot.data(), plate.data(), color);
        ASSERT_TRUE(shade && fit);
        double shadeError = 0, fitError = 0;
        Words followed(4 * kWidth), exposed(4 * kWidth);
        for (int y = 0; y < kHeight; ++y) {
            const std::size_t row = std::size_t{4} * kWidth * y;
            shade->Correct(y, &plate[row], followed.data());
            CorrectPlate(*fit, &plate[row], exposed.data(), kWidth);
            for (std::size_t i = 0; i < followed.size(); ++i) {
                shadeError += std::abs(followed[i] - truth[row + i]) / 65535.0;
                fitError += std::abs(exposed[i] - truth[row + i]) / 65535.0;
            }
        }
        EXPECT_LT(shadeError / plate.size(), 0.006);
        EXPECT_EQ(followed[3], 65535);
        EXPECT_LT(shadeError, fitError / 2);
        const Words black(plate.size());
        EXPECT_FALSE(PlateShade::Between(kWidth, kHeight, black.data(), plate.data(), color));
    }
}

TEST(CleanPlates, KeepAChannelThatIsZero) {
    Words plate = EmptySet(kGreen, 8);
    for (std::size_t i = 2; i < plate.size(); i += 4) plate[i] = 0;
    const auto fit = FitPlate(kWidth, kHeight, plate.data(), plate.data(), kGreen);
    ASSERT_TRUE(fit);
    EXPECT_EQ(fit->red.gain, 1);
    EXPECT_EQ(fit->red.offset, 0);
    Words matched(plate.size());
    CorrectPlate(*fit, plate.data(), matched.data(), kWidth * kHeight);
    for (std::size_t i = 2; i < matched.size(); i += 4) ASSERT_EQ(matched[i], 0);
    const auto shade = PlateShade::Between(kWidth, kHeight, plate.data(), plate.data(),
                                           {0, kGreen.green, kGreen.blue});
    ASSERT_TRUE(shade);
    shade->Correct(5, &plate[4 * 5 * kWidth], matched.data());
    for (int i = 0; i < 4 * kWidth; ++i) ASSERT_EQ(matched[i], plate[4 * 5 * kWidth + i]);
}

TEST(CleanPlates, AreToldFromOtherPicturesByTheKeysHue) {
    const Words green = EmptySet(kGreen, 8), blue = EmptySet(kBlue, 8);
    const auto share = [](const Words& frame, const Color& color) {
        return ScreenShare(kWidth, kHeight, frame.data(), color);
    };
    EXPECT_GT(share(green, kGreen), 0.99);
    EXPECT_GT(share(blue, kBlue), 0.99);
    EXPECT_LT(share(green, kBlue), 0.01);
    EXPECT_LT(share(blue, kGreen), 0.01);
    EXPECT_EQ(share(Words(green.size(), 30000), kGreen), 0);
    Words night = green;  // of the right hue
    for (std::uint16_t& sample : night) sample /= 40;
    EXPECT_EQ(share(night, kGreen), 0);
    EXPECT_EQ(share(green, {0.5, 0.5, 0.5}), 0);
}

}  // namespace
}  // namespace veltrane
