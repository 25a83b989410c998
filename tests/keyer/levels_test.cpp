#include <gtest/gtest.h>

#include "tests/imaging/levels.h"
#include "tests/keyer/entry_call.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

/// Noise, studio shots, calm shots, one colour, and runs of extremes.
template <typename T>
std::vector<T> AnyFrame(Random& random, int width, int height) {
    const int kind = random(0, 4);
    if (kind == 0) return RandomSamples<T>(random, size_t(width) * height * 4);
    auto frame =
        kind == 1 ? StudioFrame<T>(random, width, height) : CalmFrame<T>(random, width, height);
    const auto colors = RandomSamples<T>(random, 4 * 9);
    for (size_t i = 0; i < frame.size() && kind > 2; ++i)
        frame[i] = colors[kind == 3 ? i % 4 : i / 4 / 7 % 9 * 4 + i % 4];
    for (size_t i = 0; i < frame.size() && random.OneIn(2); i += 4)
        if (i / 4 % 11 < 3) frame[i | 3] = static_cast<T>(random.Biased(0, kFull<T>));
    return frame;
}

/// What a call leaves in its input and, behind it, in its output.
template <typename T>
std::vector<T> Outcome(const Settings& call, std::vector<T> input, std::vector<T> output, int width,
                       int height) {
    Enter(call, output.data(), width, height, input.data(), width, height);
    input.insert(input.end(), output.begin(), output.end());
    return input;
}

TYPED_TEST(BothDepths, EntryGivesTheSameBitsAtEveryLevel) {
    using T = TypeParam;
    for (unsigned seed = 0; seed < 214; ++seed) {
        Random random(seed);
        // Every odd width around the vectors' lengths; some frames whose plate is enlarged.
        const bool large = seed >= 210;
        const int width = large ? random(321, 700) : 1 + static_cast<int>(seed) % 70;
        const int height = large ? random(200, 400) : random(1, 40);
        const Settings call = AnySettings(random);
        const auto input = AnyFrame<T>(random, width, height);
        // The rows behind the output are guards.
        const auto output = RandomSamples<T>(random, size_t(width) * (height + 2) * 4);
        SCOPED_TRACE("seed " + std::to_string(seed) + " " + ::testing::PrintToString(call));
        const auto expected = Plainly([&] { return Outcome(call, input, output, width, height); });
        ForEachLevel([&] {
            ASSERT_TRUE(Same(expected, Outcome(call, input, output, width, height), width));
        });
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST(CpuLevels, StartWithThePlainOneAndRefuseOthers) {
    const auto levels = CpuLevels();
    ASSERT_FALSE(levels.empty());
    EXPECT_EQ(levels.front(), CpuLevel::Plain);
    EXPECT_EQ(CurrentCpuLevel(), levels.back());
    for (int i = 0; i < kCpuLevels; ++i) {
        const auto level = static_cast<CpuLevel>(i);
        if (std::find(levels.begin(), levels.end(), level) != levels.end()) continue;
        EXPECT_FALSE(UseCpuLevel(level)) << CpuLevelName(level);
        EXPECT_EQ(CurrentCpuLevel(), levels.back());
    }
}

}  // namespace
}  // namespace veltrane::testing
