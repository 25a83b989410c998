#include <gtest/gtest.h>

#include <cmath>

#include "tests/keyer/entry_call.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

/// The top left width x height pixels; at 8 bits with the elements of each turned round (between
/// the host's order alpha, red, green, blue and the working order).
template <typename T>
std::vector<T> Crop(const std::vector<T>& frame, int frameWidth, int width, int height) {
    std::vector<T> cropped;
    for (int i = 0; i < width * height * 4; ++i)
        cropped.push_back(frame[(i / (width * 4) * frameWidth + i / 4 % width) * 4 +
                                (sizeof(T) == 2 ? i % 4 : 3 - i % 4)]);
    return cropped;
}

TYPED_TEST(BothDepths, EntryLeavesFramesWithoutPixelsAlone) {
    std::vector<TypeParam> frame(8, 43), output(8, 12);
    for (const auto& [width, height] : {std::pair{0, 2}, {2, 0}, {-1, 2}, {2, -1}, {-2, -2}}) {
        Settings call = kAllOn;
        for (const View view : {View::Source, View::Matte, View::Result}) {
            call.view = view;
            Enter(call, output.data(), width, height, frame.data(), 2, 1);
            if (sizeof(TypeParam) == 1)
                Enter(call, output.data(), 2, 1, frame.data(), width, height);
        }
    }
    EXPECT_EQ(output, std::vector<TypeParam>(8, 12));
    EXPECT_EQ(frame, std::vector<TypeParam>(8, 43));
}

TEST(Entry, RefusesFramesThatARecordCannotDescribe) {
    Settings direct;  // would key a width of 65536 as one of 0, and call that done
    direct.keyColor = {0, 1, 0};
    direct.smoothBG = false;
    const std::vector<unsigned short> wide(65536 * 4, 65535);
    auto output = std::vector<unsigned short>(wide.size(), 7);
    const auto untouched = output;
    Enter(direct, output.data(), 65536, 1, wide.data(), 65536, 1);
    EXPECT_EQ(output, untouched);
    Enter(direct, output.data(), 65535, 1, wide.data(), 65535, 1);
    EXPECT_NE(output, untouched);
}

TEST(Entry, BothDepthsAgree) {
    // Without de-blocking, contraction and blur the two see the same numbers up to the last step,
    // where the matte and the colour are cut to their own scales. Where the 8-bit matte is cut to
    // 0, its colour may be the grey of the open screen while the 16-bit one is a shadow's black.
    constexpr int kWidth = 90, kHeight = 50;
    for (unsigned seed = 0; seed < 40; ++seed) {
        Random random(seed);
        const auto working = CalmFrame<unsigned char>(random, kWidth, kHeight);
        const auto input = Crop(working, kWidth, kWidth, kHeight);
        std::vector<unsigned short> wide(working.begin(), working.end()), wideOutput(wide.size());
        for (auto& sample : wide) sample *= 257;
        Settings call = AnySettings(random);
        call.view = View::Result;
        call.keyColor = {random(0, 90) / 255.0, random(120, 255) / 255.0, random(0, 90) / 255.0};
        call.deBlocking = call.edgeContract = call.edgeBlur = false;
        call.clipBlack = 0;
        call.clipWhite = call.shadow = 100;
        std::vector<unsigned char> output(input.size());
        Enter(call, output.data(), kWidth, kHeight, input.data(), kWidth, kHeight);
        Enter(call, wideOutput.data(), kWidth, kHeight, wide.data(), kWidth, kHeight);
        const auto narrow = Crop(output, kWidth, kWidth, kHeight);
        for (size_t i = 0; i < narrow.size(); ++i) {
            const bool comparable = i % 4 == 3 || narrow[i | 3] > 0;
            ASSERT_LE(comparable ? std::abs(narrow[i] * 257 - wideOutput[i]) : 0, 257)
                << "seed " << seed << " sample " << i;
        }
    }
}

TEST(Scaling, InversesBringEveryPercentageBack) {
    for (int percent = 0; percent <= 100; ++percent) {
        EXPECT_NEAR(toParcentage(30, 0, toValue(30, 0, percent)), percent, 1e-9);
        EXPECT_NEAR(toParcentage2(170, 120, toValue2(170, 120, percent - 50)), percent - 50, 1e-9);
    }
    EXPECT_DOUBLE_EQ(toParcentage(170, 120, 145), 50);
    EXPECT_DOUBLE_EQ(toParcentage2(330, 250, 330), 50);
}

}  // namespace
}  // namespace veltrane::testing
