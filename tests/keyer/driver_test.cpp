#include <gtest/gtest.h>

#include <cstring>

#include "tests/keyer/records.h"

namespace veltrane::testing {
namespace {

const Stages stages;

template <typename T>
class Driver : public ::testing::Test {};
TYPED_TEST_SUITE(Driver, Depths);

/// The options of a frame in their order, from the single stages.
template <typename T>
void PlainKey(Record<T>& record) {
    if (record.smoothBG != 0) {
        stages.Model(&record);
    } else {
        if (record.deblockValue != 0) stages.Deblock(&record);
        stages.Direct(&record);
    }
}

template <typename T>
void PlainPasses(Record<T>& record) {
    if (record.contractMask != 0) stages.Contract(&record);
    if (record.maskBlurRadius != 0) stages.Soften(&record);
}

TYPED_TEST(Driver, CopiesEverythingBehindThePointers) {
    Random random(51);
    const std::vector<TypeParam> a(4), b(4);
    std::vector<TypeParam> c(4), d(4);
    auto source = DefaultRecord(a, c, 1, 1), target = DefaultRecord(b, d, 1, 1);
    auto* bytes = reinterpret_cast<unsigned char*>(&source.width);
    const size_t tail = sizeof source - (bytes - reinterpret_cast<unsigned char*>(&source));
    for (size_t i = 0; i < tail; ++i) bytes[i] = static_cast<unsigned char>(random(1, 255));
    EXPECT_EQ(stages.CopyParamVeltraneGreen(&source, &target), 1);
    EXPECT_EQ(Values(source), Values(target));
    EXPECT_TRUE(target.src == b.data() && target.dst == d.data() && !target.reservedPtr);
    const auto before = target;
    const Record<TypeParam>* none = nullptr;
    EXPECT_EQ(stages.CopyParamVeltraneGreen(none, &target), 0);
    EXPECT_EQ(stages.CopyParamVeltraneGreen(&source, const_cast<Record<TypeParam>*>(none)), 0);
    EXPECT_EQ(std::memcmp(&before, &target, sizeof before), 0);
}

TYPED_TEST(Driver, RefusesARecordOutsideItsRanges) {
    using R = Record<TypeParam>;
    struct Range {
        const char* name;
        unsigned short& (*field)(R&);
        int low;
        int high;
    };
    const Range ranges[] = {{"screenGain", [](R & r) -> auto& {return r.screenGain[0];
}
, 0, 30
}  // namespace
, {"shadow", [](R& r) -> auto& {return r.shadow[0];
}  // namespace veltrane::testing
, 0, 100
}
, {"skinHue", [](R& r) -> auto& {return r.skinHue[0];
}
, 120, 170
}
, {"blueHue", [](R& r) -> auto& {return r.blueHue[0];
}
, 250, 330
}
, {"despillGray", [](R& r) -> auto& {return r.despillGray[0];
}
, 0, 100
}
, {"despillSkin", [](R& r) -> auto& {return r.despillSkin[0];
}
, 0, 50
}
, {"despillBlue", [](R& r) -> auto& {return r.despillBlue[0];
}
, 0, 50
}
, {"contractThreshold", [](R& r) -> auto& {return r.contractThreshold;
}
, 0, 255
}
, {
    "maskBlurValue", [](R & r) -> auto& {
        return r.maskBlurValue;
    }
    , 0, 100
}
}
;
const std::vector<TypeParam> source(4, 50);
for (const Range& range : ranges) {
    for (int value : {0, range.low - 1, range.low, range.high, range.high + 1, 65535}) {
        for (unsigned interlaced : {0u, 1u}) {
            std::vector<TypeParam> target(4, 99);
            auto record = DefaultRecord(source, target, 1, 1);
            range.field(record) = static_cast<unsigned short>(std::max(value, 0));
            const bool valid = range.field(record) >= range.low && value <= range.high;
            EXPECT_EQ(Drive(&record, interlaced), valid ? 0u : 2u) << range.name << " " << value;
            EXPECT_EQ(target == std::vector<TypeParam>(4, 99), !valid) << range.name;
        }
    }
}
std::vector<TypeParam> target(4, 99);
auto record = DefaultRecord(source, target, 1, 1);
record.skinHue[0] = 170;
record.blueHue[0] = 250;
EXPECT_EQ(Drive(&record), 0u);
record.src = nullptr;
EXPECT_EQ(Drive(&record), 2u);
record.src = source.data();
record.dst = nullptr;
EXPECT_EQ(Drive(&record), 2u);
}

TYPED_TEST(Driver, RunsTheStagesInOrder) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        Random random(seed);
        const int width = random.Biased(1, 70), height = random.Biased(1, 50);
        auto source = seed % 2 ? StudioFrame<TypeParam>(random, width, height, kScreen)
                               : CalmFrame<TypeParam>(random, width, height, kScreen);
        auto plainSource = source;
        std::vector<TypeParam> target(source.size(), 3), expected = target;
        auto record = DefaultRecord(source, target, width, height);
        RandomizeKey(random, record);
        RandomizeOptions(random, record);
        auto plain = record;
        plain.src = plainSource.data();
        plain.dst = expected.data();
        PlainKey<TypeParam>(plain);
        PlainPasses<TypeParam>(plain);
        record.screenGain[1] = record.skinHue[1] = 65535;  // second elements are never looked at
        record.keyG[1] = 0;
        const auto before = Values(record);
        SCOPED_TRACE(::testing::PrintToString(before) + " seed " + std::to_string(seed));
        EXPECT_EQ(Drive(&record), 0u);
        ASSERT_TRUE(Same(expected, target, width));
        ASSERT_TRUE(Same(plainSource, source, width)) << "in the source";
        EXPECT_EQ(Values(record), before);
    }
}

TYPED_TEST(Driver, KeysTheFieldsApart) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        Random random(seed);
        const int width = random.Biased(1, 40), height = seed < 20 ? 1 + seed % 3 : random(1, 40);
        const auto source = StudioFrame<TypeParam>(random, width, height, kScreen);
        auto kept = source;
        std::vector<TypeParam> target(source.size(), 3), expected = target;
        auto record = DefaultRecord(kept, target, width, height);
        RandomizeKey(random, record);
        RandomizeOptions(random, record);
        const size_t row = size_t(width) * 4;
        for (int parity : {0, 1}) {
            std::vector<TypeParam> field, keyed;
            for (int y = parity; y < height; y += 2)
                field.insert(field.end(), &source[y * row], &source[y * row] + row);
            keyed.resize(field.size());
            auto plain = record;
            plain.src = field.data();
            plain.dst = keyed.data();
            plain.height = static_cast<unsigned short>((height + 1 - parity) / 2);
            if (plain.height > 0) PlainKey<TypeParam>(plain);
            for (int y = parity; y < height; y += 2)
                std::copy_n(&keyed[y / 2 * row], row, &expected[y * row]);
        }
        auto whole = record;
        whole.dst = expected.data();
        PlainPasses<TypeParam>(whole);
        SCOPED_TRACE(::testing::PrintToString(Values(record)) + " seed " + std::to_string(seed));
        EXPECT_EQ(Drive(&record, 1 + seed), 0u);
        ASSERT_TRUE(Same(expected, target, width));
        ASSERT_TRUE(Same(source, kept, width)) << "in the source";
    }
}

TYPED_TEST(Driver, ReportsTheStageStatusOfAnEmptyFrame) {
    std::vector<TypeParam> frame(4, 9);
    auto record = DefaultRecord(frame, frame, 1, 0);
    for (unsigned interlaced : {0u, 1u}) {
        record.smoothBG = 0;
        EXPECT_EQ(Drive(&record, interlaced), 0u);
        record.smoothBG = 1;
        EXPECT_EQ(Drive(&record, interlaced), 2u);
    }
    EXPECT_EQ(frame, std::vector<TypeParam>(4, 9));
}

}  // namespace
}  // namespace veltrane::testing
