#include <gtest/gtest.h>

#include "tests/keyer/records.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

template <typename T>
void PlainKey(Record<T>& record) {
    if (record.smoothBG == 0 && record.deblockValue != 0) (stages.*kDeblock<T>)(&record);
    (stages.*(record.smoothBG == 0 ? kDirect<T> : kModel<T>))(&record);
}

template <typename T>
void PlainPasses(Record<T>& r) {
    if (r.contractMask != 0)
        (stages.*kContract<T>)(r.width, r.height, r.dst, r.contractMask, r.contractThreshold);
    if (r.maskBlurRadius != 0)
        (stages.*kMaskBlur<T>)(r.width, r.height, r.dst, r.maskBlurRadius, r.maskBlurValue,
                               r.maskBlurMode);
}

/// Keys the rows from first in steps of step as a frame of their own.
template <typename T>
void PlainField(const Record<T>& record, int first, int step, std::vector<T>& source,
                std::vector<T>& target) {
    const size_t row = size_t(record.width) * 4;
    std::vector<T> field;
    for (int y = first; y < record.height; y += step)
        field.insert(field.end(), &source[y * row], &source[y * row] + row);
    std::vector<T> keyed(field.size());
    auto plain = record;
    plain.src = field.data();
    plain.dst = keyed.data();
    plain.height = static_cast<unsigned short>(field.size() / row);
    if (plain.height > 0) PlainKey<T>(plain);
    for (int y = first; y < record.height; y += step)
        std::copy_n(&keyed[y / step * row], row, &target[y * row]);
    if (step == 1) source = field;  // only a whole frame is de-blocked where it lies
}

TYPED_TEST(BothDepths, DriverRunsTheStagesInOrderOnFramesAndFields) {
    for (unsigned seed = 0; seed < 160; ++seed) {
        Random random(seed);
        const bool interlaced = seed % 2;
        const int length = seed < 4 ? 65535 : random(300, 4000);
        const bool thin = seed < 20, tall = seed % 4 < 2;
        const int width = thin ? (tall ? 1 : length) : random.Biased(1, 70);
        const int height = thin        ? (tall ? length : 1)
                           : seed < 32 ? int(seed) / 4 - 4
                                       : random.Biased(1, 50);
        auto source = seed % 3 ? StudioFrame<TypeParam>(random, width, height)
                               : CalmFrame<TypeParam>(random, width, height);
        auto plainSource = source;
        std::vector<TypeParam> target(source.size() + 16, 3), expected = target;  // with a guard
        auto record = RandomRecord(random, source, target, width, height);
        for (int parity = 0; parity <= int(interlaced); ++parity)
            PlainField<TypeParam>(record, parity, 1 + interlaced, plainSource, expected);
        auto passes = record;
        passes.dst = expected.data();
        PlainPasses<TypeParam>(passes);
        record.screenGain[1] = record.skinHue[1] = 65535;  // second elements are never looked at
        record.keyG[1] = 0;
        const auto before = Values(record);
        SCOPED_TRACE(::testing::PrintToString(record) + " seed " + std::to_string(seed));
        EXPECT_EQ(Drive<TypeParam>(record, interlaced ? seed : 0), 0u);
        ASSERT_TRUE(Same(expected, target, width));
        ASSERT_TRUE(Same(plainSource, source, width)) << "in the source";
        EXPECT_EQ(Values(record), before);
    }
}

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
