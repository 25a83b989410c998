#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "keyer/frame_cut.h"
#include "settings/frame_keyer.h"
#include "tests/golden/shot.h"
#include "tests/imaging/levels.h"
#include "tests/keyer/records.h"

namespace veltrane::testing {
namespace {

constexpr int kWidth = 163, kHeight = 91;

TYPED_TEST_SUITE(BothDepths, Depths);

/// With opaque, half transparent and clear pixels.
template <class T>
std::vector<T> Shown() {
    std::vector<T> frame;
    for (const int sample : MakeShot(Shot::kStudio, kWidth, kHeight, 5))
        frame.push_back(T(sample / (65535 / kFull<T>)));
    return frame;
}

template <class T>
std::vector<T> Seen(Settings settings, View view, const std::vector<T>& source) {
    settings.view = view;
    std::vector<T> output(source.size());
    const FrameKeyer<T> keyer(settings, kWidth, kHeight, {source.data()});
    for (const Band band : {Band{40, kHeight}, Band{0, 40}}) keyer.Key(band, {output.data()});
    return output;
}

constexpr Settings kLook{
    .keyColor = {60 / 255.0, 180 / 255.0, 70 / 255.0}, .clipBlack = 5, .edgeBlur = true};

template <class T>
void ExpectViewsOfTheResult() {
    const auto source = Shown<T>();
    const auto see = [&](View view) { return Seen(kLook, view, source); };
    const auto result = see(View::Result), matte = see(View::Matte), status = see(View::Status),
               foreground = see(View::Foreground), spill = see(View::Spill);
    bool soft = false, spilled = false;
    for (std::size_t i = 0; i < source.size(); ++i) {
        const int m = result[i | 3];
        if (i % 4 == 3) {
            for (const auto* view : {&matte, &status, &foreground, &spill})
                ASSERT_EQ((*view)[i], kFull<T>);
            continue;
        }
        const double taken = std::max(source[i] - result[i], 0) * double(m) / kFull<T>;
        const bool between = m != 0 && m != kFull<T>;
        ASSERT_EQ(matte[i], m);
        ASSERT_EQ(foreground[i], result[i]);
        ASSERT_EQ(spill[i], std::floor(taken + 0.5));
        ASSERT_TRUE(between || status[i] == m);
        soft |= between;
        spilled |= spill[i] > kFull<T> / 100;
    }
    EXPECT_TRUE(soft && spilled);
}

TYPED_TEST(BothDepths, ViewsShowWhatTheResultHolds) {
    AtEveryLevel(ExpectViewsOfTheResult<TypeParam>);
}

TYPED_TEST(BothDepths, StatusTellsHeightsOfTheMatteByColor) {
    using T = TypeParam;
    // Without a key the source's alpha is the matte.
    std::vector<T> ramp(std::size_t{4} * (kFull<T> + 1));
    for (int m = 0; m <= kFull<T>; ++m) ramp[m * 4 + 3] = T(m);
    const auto show = [&] {
        std::vector<T> seen(ramp.size());
        Settings settings;
        settings.view = View::Status;
        FrameCut<T>(settings, 256, (kFull<T> + 1) / 256, {ramp.data()})
            .Key({0, (kFull<T> + 1) / 256}, {seen.data()});
        return seen;
    };
    const auto seen = Plainly(show);
    ForEachLevel([&] { EXPECT_EQ(show(), seen); });
    const auto luma = [&](int m) {
        return 0.0722 * seen[m * 4] + 0.7152 * seen[m * 4 + 1] + 0.2126 * seen[m * 4 + 2];
    };
    const auto spread = [&](int m) {
        const auto [least, most] = std::minmax({seen[m * 4], seen[m * 4 + 1], seen[m * 4 + 2]});
        return most - least;
    };
    for (int m = 1; m < kFull<T>; ++m) {
        ASSERT_GT(spread(m), kFull<T> * 2 / 5) << "a colour, unlike black and white, at " << m;
        ASSERT_GE(luma(m), luma(std::max(m - 1, 1)) - kFull<T> * 0.005) << m;
    }
}

TYPED_TEST(BothDepths, TheScreenIsShownThatFramesAreKeyedAgainst) {
    using T = TypeParam;
    Settings settings{.keyColor = kLook.keyColor};
    auto source = Shown<T>();
    for (std::size_t i = 3; i < source.size(); i += 4) source[i] = kFull<T>;
    const auto result = Seen(settings, View::Result, source);
    auto plate = Seen(settings, View::CleanPlate, source);
    auto record = MakeRecord<T>(settings, kWidth, kHeight);
    std::vector<T> keyed(source.size());
    record.src = source.data();
    record.dst = keyed.data();
    ASSERT_EQ((stages.*kPlateKey<T>)(&record, plate.data()), 0u);
    EXPECT_EQ(keyed, result);
    settings.smoothBG = false;
    const auto key = Seen(settings, View::CleanPlate, source);
    const T color[] = {70 * kUnit<T>, 180 * kUnit<T>, 60 * kUnit<T>, kFull<T>};
    for (std::size_t i = 0; i < key.size(); ++i) ASSERT_EQ(key[i], color[i % 4]);
}

}  // namespace
}  // namespace veltrane::testing
