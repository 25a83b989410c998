#include <gtest/gtest.h>

#include "tests/keyer/records.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

TYPED_TEST(BothDepths, DriverRefusesARecordOutsideItsRanges) {
    const std::vector<TypeParam> source(4, 50), held(4, 99);
    auto target = held;
    const auto valid = DefaultRecord(source, target, 1, 1);
    auto record = valid;
    struct Range {
        unsigned short* field;
        int low;
        int high;
    };
    for (const auto& [field, low, high] :
         {Range{record.screenGain, 0, 30}, Range{record.shadow, 0, 100},
          Range{record.skinHue, 120, 170}, Range{record.blueHue, 250, 330},
          Range{record.despillGray, 0, 100}, Range{record.despillSkin, 0, 50},
          Range{record.despillBlue, 0, 50}, Range{&record.contractThreshold, 0, 255},
          Range{&record.maskBlurValue, 0, 100}}) {
        for (int value : {0, std::max(low - 1, 0), low, high, high + 1, 65535}) {
            for (unsigned interlaced : {0u, 1u}) {
                record = valid;
                *field = static_cast<unsigned short>(value);
                target = held;
                const bool accepted = value >= low && value <= high;
                SCOPED_TRACE(::testing::PrintToString(record));
                EXPECT_EQ(Drive<TypeParam>(record, interlaced), accepted ? 0u : 2u);
                EXPECT_EQ(target != held, accepted);
            }
        }
    }
    record = valid;
    record.skinHue[0] = 170;
    record.blueHue[0] = 250;
    EXPECT_EQ(Drive<TypeParam>(record), 0u);
    record.src = nullptr;
    EXPECT_EQ(Drive<TypeParam>(record), 2u);
    record = valid;
    record.dst = nullptr;
    EXPECT_EQ(Drive<TypeParam>(record), 2u);
    for (unsigned smoothBG : {0u, 1u}) {  // an empty frame is left to the stage to refuse
        record = valid;
        record.height = 0;
        record.smoothBG = smoothBG;
        EXPECT_EQ(Drive<TypeParam>(record), 2 * smoothBG);
        EXPECT_EQ(Drive<TypeParam>(record, 1), 2 * smoothBG);
    }
}

TYPED_TEST(BothDepths, CopyTakesEverythingBehindThePointers) {
    Random random(51);
    std::vector<TypeParam> a(4), b(4), c(4), d(4);
    const auto source = RandomRecord(random, a, c, 700, 900);
    auto target = DefaultRecord(b, d, 1, 1);
    Record<TypeParam>* none = nullptr;
    const auto before = Values(target);
    EXPECT_EQ(stages.CopyParamVeltraneGreen(none, &target), 0);
    EXPECT_EQ(stages.CopyParamVeltraneGreen(&source, none), 0);
    EXPECT_EQ(Values(target), before);
    EXPECT_EQ(stages.CopyParamVeltraneGreen(&source, &target), 1);
    EXPECT_EQ(Values(source), Values(target));
    EXPECT_TRUE(target.src == b.data() && target.dst == d.data() && !target.reservedPtr);
}

}  // namespace
}  // namespace veltrane::testing
