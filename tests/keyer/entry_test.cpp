#include <gtest/gtest.h>

#include "tests/keyer/entry_call.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

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
    direct.view = View::Matte;
    const std::vector<unsigned short> wide(65536 * 4, 65535);
    std::vector<unsigned short> output(wide.size(), 7), finished = output;
    for (size_t i = 3; i < finished.size(); i += 4) finished[i] = 65535;
    Enter(direct, output.data(), 65536, 1, wide.data(), 65536, 1);
    EXPECT_EQ(output, finished) << "finished though not keyed";
    Enter(direct, output.data(), 65535, 1, wide.data(), 65535, 1);
    EXPECT_NE(output, finished);
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
