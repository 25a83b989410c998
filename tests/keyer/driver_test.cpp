#include <gtest/gtest.h>

#include "tests/keyer/records.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

struct Range {
    unsigned short* field;
    int low;
    int high;
};

/// Of all but the hues.
template <class R>
std::vector<Range> CommonRanges(R& record) {
    return {{record.screenGain, 0, 30},          {record.shadow, 0, 100},
            {record.despillGray, 0, 100},        {record.despillSkin, 0, 50},
            {&record.contractThreshold, 0, 255}, {&record.maskBlurValue, 0, 100}};
}

template <class T>
std::vector<Range> RangesOf(Record<T>& record) {
    auto ranges = CommonRanges(record);
    ranges.push_back({record.skinHue, 120, 170});
    ranges.push_back({record.blueHue, 250, 330});
    ranges.push_back({record.despillBlue, 0, 50});
    return ranges;
}

template <class T>
std::vector<Range> RangesOf(BlueRecord<T>& record) {
    auto ranges = CommonRanges(record);
    ranges.push_back({record.skinHue, 70, 150});
    ranges.push_back({record.greenHue, 220, 300});
    ranges.push_back({record.despillGreen, 0, 50});
    return ranges;
}

template <class T, class R>
void ExpectTheDriverToRefuse(const R& valid, std::vector<T>& target) {
    const auto held = target;
    auto record = valid;
    for (const auto& [field, low, high] : RangesOf<T>(record)) {
        for (int value : {0, std::max(low - 1, 0), low, high, high + 1, 65535}) {
            for (unsigned interlaced : {0u, 1u}) {
                record = valid;
                *field = static_cast<unsigned short>(value);
                target = held;
                const bool accepted = value >= low && value <= high;
                SCOPED_TRACE(::testing::PrintToString(record));
                EXPECT_EQ(Drive<T>(record, interlaced), accepted ? 0u : 2u);
                EXPECT_EQ(target != held, accepted);
            }
        }
    }
    record = valid;
    record.src = nullptr;
    EXPECT_EQ(Drive<T>(record), 2u);
    record = valid;
    record.dst = nullptr;
    EXPECT_EQ(Drive<T>(record), 2u);
    for (unsigned smoothBG : {0u, 1u}) {  // an empty frame is left to the stage to refuse
        record = valid;
        record.height = 0;
        record.smoothBG = smoothBG;
        EXPECT_EQ(Drive<T>(record), 2 * smoothBG);
        EXPECT_EQ(Drive<T>(record, 1), 2 * smoothBG);
    }
}

TYPED_TEST(BothDepths, DriversRefuseRecordsOutsideTheirRanges) {
    const std::vector<TypeParam> source(4, 50);
    std::vector<TypeParam> target(4, 99);
    ExpectTheDriverToRefuse(DefaultRecord(source, target, 1, 1), target);
    ExpectTheDriverToRefuse(DefaultBlueRecord(source, target, 1, 1), target);
    auto record = DefaultRecord(source, target, 1, 1);
    record.skinHue[0] = 170;
    record.blueHue[0] = 250;
    EXPECT_EQ(Drive<TypeParam>(record), 0u);
    EXPECT_EQ(VELTRANE_MakeMaskBlueBack64bit(nullptr, nullptr, 0), 2u);
    EXPECT_EQ(VELTRANE_MakeMaskBlueBack32bit(nullptr, nullptr, 0), 2u);
}

TYPED_TEST(BothDepths, CopyTakesEverythingBehindThePointers) {
    Random random(51);
    std::vector<TypeParam> a(4), b(4), c(4), d(4);
    auto source = RandomRecord(random, a, c, 700, 900);
    source.reservedPtr = &source;
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
