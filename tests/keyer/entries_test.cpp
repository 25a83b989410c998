#include <gtest/gtest.h>

#include <tuple>

#include "keyer/core/matte_rows.h"
#include "tests/imaging/levels.h"
#include "tests/keyer/entry_call.h"

namespace veltrane::testing {
namespace {

TYPED_TEST_SUITE(BothDepths, Depths);

struct Range {
    unsigned short* field;
    int low;
    int high;
};

/// Of green records, or of blue ones.
template <class R>
std::vector<Range> RangesOf(R& r) {
    std::vector<Range> ranges{{r.screenGain, 0, 30},          {r.shadow, 0, 100},
                              {r.despillGray, 0, 100},        {r.despillSkin, 0, 50},
                              {&r.contractThreshold, 0, 255}, {&r.maskBlurValue, 0, 100}};
    const auto add = [&](const std::vector<Range>& more) {
        ranges.insert(ranges.end(), more.begin(), more.end());
    };
    if constexpr (requires { r.greenHue; })
        add({{r.skinHue, 70, 150}, {r.greenHue, 220, 300}, {r.despillGreen, 0, 50}});
    else
        add({{r.skinHue, 120, 170}, {r.blueHue, 250, 330}, {r.despillBlue, 0, 50}});
    return ranges;
}

template <class T, class R>
void ExpectTheDriverToRefuse(const R& valid, std::vector<T>& target) {
    const auto held = target;
    auto record = valid;
    for (const auto& [field, low, high] : RangesOf(record))
        for (int value : {0, std::max(low - 1, 0), low, high, high + 1, 65535})
            for (unsigned interlaced : {0u, 1u}) {
                record = valid;
                *field = static_cast<unsigned short>(value);
                target = held;
                const bool accepted = value >= low && value <= high;
                SCOPED_TRACE(::testing::PrintToString(record));
                EXPECT_EQ(Drive<T>(record, interlaced), accepted ? 0u : 2u);
                EXPECT_EQ(target != held, accepted);
            }
    auto unread = valid, unwritten = valid;
    unread.src = nullptr;
    unwritten.dst = nullptr;
    EXPECT_EQ(Drive<T>(unread) + Drive<T>(unwritten), 4u);
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

TYPED_TEST(BothDepths, RefusesNoRecordAndAcceptsAnEmptyFrame) {
    std::vector<TypeParam> frame(4, 9);
    auto record = DefaultRecord(frame, frame, 0, 1);
    const auto call = [&](auto* p) {
        return std::tuple((stages.*kPlateKey<TypeParam>)(p, frame.data()),
                          (stages.*kDirect<TypeParam>)(p), (stages.*kModel<TypeParam>)(p));
    };
    EXPECT_EQ(call(static_cast<Record<TypeParam>*>(nullptr)), std::tuple(2u, 2u, 2u));
    EXPECT_EQ(call(&record), std::tuple(0u, 0u, 2u));
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
        const float screenLuma = luma + float(random(0, 1000)) / 7.0f;
        ASSERT_EQ(UnmixedDarkLuma(luma, screenLuma, 1.0f), luma);
    }
}

}  // namespace
}  // namespace veltrane::testing
