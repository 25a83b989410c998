#include <gtest/gtest.h>

#include <algorithm>

#include "imaging/cpu/cpu.h"

namespace veltrane::testing {
namespace {

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
