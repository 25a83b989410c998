#include <gtest/gtest.h>

#include "tests/keyer/entry_call.h"

namespace veltrane::testing {
namespace {

template <typename T>
class Degenerate : public ::testing::Test {
protected:
    /// Keys one frame through the entry and through the driver both ways, with guards around it.
    static void Key(Random& random, int width, int height, const EntryCall& call) {
        constexpr size_t kGuard = 16;
        const size_t size = size_t(width) * height * 4;
        auto input = random.OneIn(3) ? StudioFrame<T>(random, width, height, kScreen)
                                     : RandomSamples<T>(random, size);
        std::vector<T> output(size + 2 * kGuard, 171);
        call(output.data() + kGuard, input.data(), width, height);
        for (unsigned interlaced : {0u, 1u}) {
            auto record = DefaultRecord(input, output, width, height);
            record.dst += kGuard;
            RandomizeKey(random, record);
            RandomizeOptions(random, record);
            EXPECT_EQ(Drive(&record, interlaced), 0u);
        }
        for (size_t i = 0; i < kGuard; ++i)
            EXPECT_TRUE(output[i] == 171 && output[size + kGuard + i] == 171) << "guard " << i;
    }
};
TYPED_TEST_SUITE(Degenerate, Depths);

TYPED_TEST(Degenerate, OnePixelWideOrHighWithAnySettings) {
    for (unsigned seed = 0; seed < 150; ++seed) {
        Random random(seed);
        const int length = random.OneIn(10) ? random(300, 4000) : random(1, 40);
        SCOPED_TRACE(::testing::Message() << "seed " << seed << " length " << length);
        this->Key(random, 1, 1, EntryCall::Any(random));
        this->Key(random, 1, length, EntryCall::Any(random));
        this->Key(random, length, 1, EntryCall::Any(random));
        this->Key(random, random(2, 3), random(2, 3), EntryCall::Any(random));
    }
}

TYPED_TEST(Degenerate, LongestSidesWithEveryOption) {
    Random random(7);
    this->Key(random, 65535, 1, EntryCall::Everything());
    this->Key(random, 1, 65535, EntryCall::Everything());
    EntryCall direct = EntryCall::Everything();
    direct.smoothBG = 0;
    direct.maskBlurRadius = 100;
    this->Key(random, 1, 65535, direct);
}

}  // namespace
}  // namespace veltrane::testing
