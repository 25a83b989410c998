#include <gtest/gtest.h>

#include "keyer/core/matte_rows.h"
#include "tests/imaging/levels.h"
#include "tests/keyer/records.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

TYPED_TEST(BothDepths, RefusesNoRecordAndAcceptsAnEmptyFrame) {
    std::vector<TypeParam> frame(4, 9);
    auto record = DefaultRecord(frame, frame, 0, 1);
    EXPECT_EQ((stages.*kPlateKey<TypeParam>)(nullptr, frame.data()), 2u);
    EXPECT_EQ((stages.*kDirect<TypeParam>)(nullptr), 2u);
    EXPECT_EQ((stages.*kModel<TypeParam>)(nullptr), 2u);
    EXPECT_EQ((stages.*kPlateKey<TypeParam>)(&record, frame.data()), 0u);
    EXPECT_EQ((stages.*kDirect<TypeParam>)(&record), 0u);
    EXPECT_EQ((stages.*kModel<TypeParam>)(&record), 2u);
    EXPECT_EQ(frame, std::vector<TypeParam>(4, 9));
}

TEST(Stages, RefuseWhatIsMissing) {
    unsigned char pixel[] = {1, 2, 3, 4}, mark = 7;
    float table[256];
    EXPECT_EQ(stages.MakeBCCorrect(9, 9, 9, {}, nullptr, table), 0u);
    EXPECT_EQ(stages.MakeBCCorrect(9, 9, 9, {}, table, nullptr), 0u);
    EXPECT_EQ(stages.ExtractBack32bit(nullptr, &mark, 1, 1, 4, 0, 9, 0, 120, 250), 0u);
    EXPECT_EQ(stages.ExtractBack32bit(pixel, nullptr, 1, 1, 4, 0, 9, 0, 120, 250), 0u);
    EXPECT_EQ(stages.ExtractBack32bit(pixel, &mark, 0, 1, 4, 0, 9, 0, 120, 250), 1u);
    EXPECT_EQ(stages.ExpandBack32bit8(nullptr, 1, 1, 4, 0, 0, 0), 0u);
    EXPECT_EQ(stages.ContGray7_64(3, 3, nullptr, 1, 0), 0);
    EXPECT_EQ(stages.ContGray7(3, 3, nullptr, 1, 0), 0);
    EXPECT_EQ(pixel[0], 1);
}

TYPED_TEST(BothDepths, MatteCurvesAreTheLibrarysForEveryShadow) {
    using T = TypeParam;
    std::vector<T> unused(1);
    auto record = DefaultRecord<T>(unused, unused, 1, 1);
    // The last ones are beyond what the driver accepts.
    for (const int shadow : {101, 200, 201, 1000}) {
        SetPair(record.shadow, shadow);
        EXPECT_EQ(KeyLook<T>(record).curve, Plainly([&] { return KeyLook<T>(record).curve; }));
    }
    for (int shadow = 0; shadow < 100; ++shadow) {
        SetPair(record.shadow, shadow);
        const auto expected = Plainly([&] { return KeyLook<T>(record).curve; });
        ASSERT_EQ(expected.size(), size_t(kFull<T>) + 1);
        ForEachLevel([&] { ASSERT_EQ(KeyLook<T>(record).curve, expected) << shadow; });
    }
}

// What the vectors rely on.
TEST(MattePowers, OfAFullMatteLeavesTheLuma) {
    Random random(23);
    for (int n = 0; n < 100'000; ++n) {
        const auto any = [&] { return static_cast<unsigned short>(random.Biased(0, 65535)); };
        const float luma = SampleToYiq(any(), any(), any()).Y;
        const float screenLuma = luma + static_cast<float>(random(0, 1000)) / 7.0f;
        ASSERT_EQ(UnmixedDarkLuma(luma, screenLuma, 1.0f), luma);
    }
}

}  // namespace
}  // namespace veltrane::testing
