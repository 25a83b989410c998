#include <gtest/gtest.h>

#include <cmath>

#include "imaging/chroma/chroma_blur.h"
#include "keyer/mattes/given_mattes.h"
#include "settings/frame_keyer.h"
#include "tests/imaging/frames.h"
#include "tests/imaging/levels.h"
#include "tests/support/threads.h"

namespace veltrane::testing {
namespace {

constexpr int kWidth = 61, kHeight = 47;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;

using Levels = std::vector<std::uint16_t>;

/// Calm stretches of out and in, and soft ones between.
Levels RandomLevels(Random& random) {
    Levels levels(kPixels);
    for (std::size_t i = 0; i < kPixels; ++i) {
        const bool starts = i == 0 || random.OneIn(9);
        levels[i] =
            starts ? std::uint16_t(random.OneIn(3) ? 0 : random.Biased(0, 65535)) : levels[i - 1];
    }
    return levels;
}

/// A look in which everything is done to the keyed matte that can be.
constexpr Settings kEverything{.keyColor = {60 / 255.0, 180 / 255.0, 70 / 255.0},
                               .clipBlack = 20,
                               .clipWhite = 70,
                               .deBlocking = true,
                               .edgeContract = true,
                               .edgeBlur = true};

template <class T>
std::vector<T> Cut(const Settings& s, const std::vector<T>& source, const KeyInputs<T>& inputs = {},
                   const Threads& threads = {}) {
    std::vector<T> result(source.size());
    Key<T>(s, kWidth, kHeight, {source.data()}, {result.data()}, threads, inputs);
    return result;
}

TYPED_TEST_SUITE(BothDepths, Depths);

TYPED_TEST(BothDepths, MattesGiveTheSameBitsInEveryFormAndSplit) {
    using T = TypeParam;
    Random random(91);
    const auto source = StudioFrame<T>(random, kWidth, kHeight);
    const Levels garbage = RandomLevels(random), core = RandomLevels(random);
    const auto byRow = [&](int y, std::uint16_t* row) {
        std::copy_n(&core[std::size_t(y) * kWidth], kWidth, row);
    };
    const KeyInputs<T> inputs{.garbage = {garbage.data()}, .core = {nullptr, byRow}};
    for (const CoreColor color : {CoreColor::Despilled, CoreColor::Source}) {
        Settings s = kEverything;
        s.coreColor = color;
        s.edgeBlur = color == CoreColor::Source;
        const auto expected = Plainly([&] { return Cut(s, source, inputs); });
        ForEachLevel([&] { EXPECT_TRUE(Same(expected, Cut(s, source, inputs), kWidth)); });
        EXPECT_TRUE(Same(expected, Cut(s, source, inputs, Lent(3)), kWidth));
    }
}

// Expected values in double, rounded once.
TYPED_TEST(BothDepths, MattesMixAfterEverythingElseAndGarbageWins) {
    using T = TypeParam;
    Random random(92);
    const auto source = StudioFrame<T>(random, kWidth, kHeight);
    const Levels garbage = RandomLevels(random), core = RandomLevels(random);
    Settings s = kEverything;
    s.deBlocking = false;
    s.coreColor = CoreColor::Source;
    const auto keyed = Cut(s, source);
    const auto mixed = Cut<T>(s, source, {{}, {garbage.data()}, {core.data()}});
    for (std::size_t i = 0; i < kPixels; ++i) {
        const T* before = &keyed[4 * i];
        const T* after = &mixed[4 * i];
        const double in = core[i] / 65535.0, out = garbage[i] / 65535.0;
        const double solid = std::max(before[3], source[4 * i + 3]);
        const double matte = std::floor(before[3] + (solid - before[3]) * in + 0.5);
        ASSERT_EQ(after[3], std::floor(matte * (1 - out) + 0.5)) << i;
        const double weight = in * solid + (1 - in) * before[3];
        for (int e = 0; e < 3; ++e) {
            const double share = weight > 0 ? in * solid / weight : 0;
            const double color = before[e] + (source[4 * i + e] - before[e]) * share;
            const double expected = garbage[i] == 65535 ? Depth<T>::kTransparentGray : color;
            ASSERT_NEAR(after[e], expected, 0.51) << i;
        }
    }
    const auto shown = [&](View view, int element) {
        s.view = view;
        return Cut<T>(s, source, {{}, {garbage.data()}, {core.data()}})[element];
    };
    for (int i = 0; i < 4 * int(kPixels); i += 397) {
        const int pixel = i / 4 * 4;
        ASSERT_EQ(shown(View::Matte, i), i % 4 == 3 ? kFull<T> : mixed[pixel + 3]) << i;
        ASSERT_EQ(shown(View::Foreground, i), i % 4 == 3 ? kFull<T> : mixed[i]) << i;
    }

    // The source's colour is the one that is keyed.
    const Levels all(kPixels, 65535);
    s = {.keyColor = s.keyColor, .deBlocking = true, .coreColor = CoreColor::Source};
    auto smooth = source;
    SmoothChroma(kWidth, kHeight, smooth.data(), 1);
    const auto solid = Cut<T>(s, source, {{}, {}, {all.data()}});
    for (std::size_t i = 0; i < kPixels; ++i) {
        if (source[4 * i + 3] == 0) continue;
        ASSERT_TRUE(std::equal(&smooth[4 * i], &smooth[4 * i] + 4, &solid[4 * i])) << i;
    }
}

TYPED_TEST(BothDepths, EmptyMattesChangeNothingAndUnkeyedFramesAreCutToo) {
    using T = TypeParam;
    Random random(93);
    const auto source = StudioFrame<T>(random, kWidth, kHeight);
    const Levels none(kPixels), all(kPixels, 65535);
    const auto empty = KeyInputs<T>{{}, {none.data()}, {none.data()}};
    const Settings s = kEverything;
    EXPECT_TRUE(Same(Cut(s, source), Cut(s, source, empty), kWidth));
    Settings unkeyed;
    EXPECT_TRUE(Same(Cut(unkeyed, source), Cut(unkeyed, source, empty), kWidth));
    const auto gone = Cut<T>(unkeyed, source, {{}, {all.data()}, {all.data()}});
    for (std::size_t i = 0; i < kPixels; ++i) ASSERT_EQ(gone[4 * i + 3], 0) << i;
    unkeyed.view = View::Source;
    EXPECT_TRUE(Same(source, Cut<T>(unkeyed, source, {{}, {all.data()}, {}}), kWidth));
}

// A core is despilled to colours that hold none of the screen's hue, at the brightness they had;
// what the key left alone stays.
TYPED_TEST(BothDepths, DespilledCoresLoseTheScreensHueAndKeepTheirLuma) {
    using T = TypeParam;
    Random random(94);
    const auto source = StudioFrame<T>(random, kWidth, kHeight);
    const Levels all(kPixels, 65535);
    const Settings s{.keyColor = kEverything.keyColor};
    const auto keyed = Cut(s, source);
    const auto solid = Cut<T>(s, source, {{}, {}, {all.data()}});
    const auto luma = [](const T* p) { return 0.299 * p[2] + 0.587 * p[1] + 0.114 * p[0]; };
    const auto green = [](const T* p) { return p[1] - std::max(p[0], p[2]); };
    int changed = 0;
    double excess = 0, left = 0;
    for (std::size_t i = 0; i < 4 * kPixels; i += 4) {
        const T *given = &source[i], *after = &solid[i];
        ASSERT_EQ(after[3], given[3]) << i;
        if (std::equal(given, given + 3, &keyed[i])) {
            ASSERT_TRUE(std::equal(given, given + 3, after)) << i;
        } else if (given[3] != 0 && luma(given) > 20 * kUnit<T> && luma(given) < 160 * kUnit<T>) {
            ASSERT_NEAR(luma(after), luma(given), 2 * kUnit<T>) << i;
            ASSERT_LE(green(after), std::max(8 * kUnit<T>, green(given))) << i;
            excess += std::max(green(given), 0);
            left += std::max(green(after), 0);
            ++changed;
        }
    }
    EXPECT_GT(changed, 500);
    EXPECT_LT(left, excess / 20);
}

}  // namespace
}  // namespace veltrane::testing
