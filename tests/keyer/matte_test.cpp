#include <gtest/gtest.h>

#include "tests/keyer/naive_key.h"

namespace veltrane::testing {
namespace {

const Stages stages;

template <typename T>
class Matte : public ::testing::Test {};
TYPED_TEST_SUITE(Matte, Depths);

/// A plate that wanders around the screen colour, with some pixels of no chroma and some arbitrary.
template <typename T>
std::vector<T> WanderingPlate(Random& random, int width, int height) {
    std::vector<T> plate(size_t(width) * height * 4);
    for (size_t i = 0; i < plate.size(); i += 4) {
        const int kind = random(0, 19), grey = random.Biased(0, kFull<T>);
        for (int e = 0; e < 4; ++e) {
            const int screen = (kScreen[e % 3] + random(-30, 30)) * kUnit<T>;
            plate[i + e] = static_cast<T>(kind == 0   ? grey
                                          : kind == 1 ? random.Biased(0, kFull<T>)
                                                      : screen);
        }
    }
    return plate;
}

void ExpectEveryWayTaken(const Visits& visits) {
    for (const char* way :
         {"foreground", "open screen", "shadow", "blue inner", "blue middle", "blue middle beyond",
          "blue outer", "skin inner", "skin middle", "skin middle beyond", "skin outer",
          "skin bright", "linear luma", "power luma", "mixed clear", "mixed partial", "mixed full"})
        EXPECT_GT(visits.contains(way) ? visits.at(way) : 0, 20) << way;
}

TYPED_TEST(Matte, MatchesTheNaiveKeyBitForBit) {
    constexpr int kWidth = 64, kHeight = 12;
    Visits plateVisits, directVisits;
    for (unsigned seed = 0; seed < 250; ++seed) {
        Random random(seed);
        const auto source = StudioFrame<TypeParam>(random, kWidth, kHeight, kScreen);
        auto plate = WanderingPlate<TypeParam>(random, kWidth, kHeight);
        std::vector<TypeParam> target(source.size(), 77);
        auto record = DefaultRecord(source, target, kWidth, kHeight);
        RandomizeKey(random, record);
        SCOPED_TRACE(::testing::Message()
                     << "seed " << seed << " record " << ::testing::PrintToString(Values(record)));
        EXPECT_EQ(stages.Plate(&record, plate.data()), 0u);
        ASSERT_TRUE(Same(NaiveKey(record, plate.data(), plateVisits), target, kWidth)) << "plate";
        EXPECT_EQ(stages.Direct(&record), 0u);
        const TypeParam* none = nullptr;
        ASSERT_TRUE(Same(NaiveKey(record, none, directVisits), target, kWidth)) << "direct";
    }
    ExpectEveryWayTaken(plateVisits);
    ExpectEveryWayTaken(directVisits);
}

TYPED_TEST(Matte, ScreenWithoutChromaLeavesEveryPixelForeground) {
    Random random(3);
    const auto source = RandomSamples<TypeParam>(random, 8 * 8 * 4);
    std::vector<TypeParam> target(source.size()), plate(source.size(), 127 * kUnit<TypeParam>);
    auto record = DefaultRecord(source, target, 8, 8);
    auto expected = source;
    for (size_t i = 3; i < expected.size(); i += 4) expected[i] = kFull<TypeParam>;
    stages.Plate(&record, plate.data());
    EXPECT_TRUE(Same(expected, target, 8));
    for (auto* pair : {&record.keyR, &record.keyG, &record.keyB})
        SetPair(*pair, 127 * kUnit<TypeParam>);
    stages.Direct(&record);
    EXPECT_TRUE(Same(expected, target, 8));
}

TYPED_TEST(Matte, WorkedScreenPixels) {
    constexpr int kGrey = 160 * kUnit<TypeParam>;
    std::vector<TypeParam> source, target(4);
    for (int level : kScreen) source.push_back(static_cast<TypeParam>(level * kUnit<TypeParam>));
    source.push_back(5);
    auto plate = source;
    auto record = DefaultRecord(source, target, 1, 1);
    stages.Direct(&record);
    EXPECT_EQ(target, (std::vector<TypeParam>{kGrey, kGrey, kGrey, 0}));
    // The plate's margin makes the same pixel a shadow of 1.5 / (Y + 51.5), over a matte gain of
    // 0.8.
    stages.Plate(&record, plate.data());
    const double luma = 0.299 * kScreen[2] + 0.587 * kScreen[1] + 0.114 * kScreen[0];
    const int alpha = int(1.5 / (luma + 51.5) / 0.8 * kFull<TypeParam>);
    EXPECT_EQ(target, (std::vector<TypeParam>{0, 0, 0, TypeParam(alpha)}));
    SetPair(record.shadow, 0);  // squares it
    stages.Plate(&record, plate.data());
    const int squared = int(double(alpha) * alpha / kFull<TypeParam> + 0.499);
    const int colour = squared == 0 ? kGrey : 0;
    EXPECT_EQ(target, (std::vector<TypeParam>{TypeParam(colour), TypeParam(colour),
                                              TypeParam(colour), TypeParam(squared)}));
}

TYPED_TEST(Matte, RefusesNoRecordAndAcceptsAnEmptyFrame) {
    std::vector<TypeParam> frame(4, 9);
    auto record = DefaultRecord(frame, frame, 0, 1);
    Record<TypeParam>* none = nullptr;
    EXPECT_EQ(stages.Plate(none, frame.data()), 2u);
    EXPECT_EQ(stages.Direct(none), 2u);
    EXPECT_EQ(stages.Model(none), 2u);
    EXPECT_EQ(stages.Plate(&record, frame.data()), 0u);
    EXPECT_EQ(stages.Direct(&record), 0u);
    EXPECT_EQ(stages.Model(&record), 2u);
    EXPECT_EQ(frame, std::vector<TypeParam>(4, 9));
}

}  // namespace
}  // namespace veltrane::testing
