#include <gtest/gtest.h>

#include "tests/keyer/naive_key.h"

namespace veltrane::testing {
namespace {

template <typename T>
class Matte : public ::testing::Test {};
TYPED_TEST_SUITE(Matte, Depths);

/// A plate that wanders around the screen colour, with some pixels of no chroma and some arbitrary.
template <typename T>
std::vector<T> WanderingPlate(Random& random, size_t size) {
    auto plate = RandomSamples<T>(random, size);
    for (size_t i = 0; i < size; i += 4) {
        const int kind = random(0, 19);
        for (int e = 0; e < 3 && kind > 0; ++e)
            plate[i + e] = kind == 1 ? plate[i + 3]
                                     : static_cast<T>((kScreen[e] + random(-30, 30)) * kUnit<T>);
    }
    return plate;
}

TYPED_TEST(Matte, MatchesTheNaiveKeyBitForBit) {
    constexpr int kWidth = 64, kHeight = 12;
    Visits plateVisits, directVisits;
    for (unsigned seed = 0; seed < 250; ++seed) {
        Random random(seed);
        const auto source = StudioFrame<TypeParam>(random, kWidth, kHeight);
        auto plate = WanderingPlate<TypeParam>(random, source.size());
        std::vector<TypeParam> target(source.size(), 77);
        auto record = RandomRecord(random, source, target, kWidth, kHeight);
        SCOPED_TRACE(::testing::Message()
                     << "seed " << seed << " record " << ::testing::PrintToString(Values(record)));
        EXPECT_EQ((stages.*kPlateKey<TypeParam>)(&record, plate.data()), 0u);
        ASSERT_TRUE(Same(NaiveKey(record, plate.data(), plateVisits), target, kWidth)) << "plate";
        EXPECT_EQ((stages.*kDirect<TypeParam>)(&record), 0u);
        const TypeParam* none = nullptr;
        ASSERT_TRUE(Same(NaiveKey(record, none, directVisits), target, kWidth)) << "direct";
    }
    for (const char* way :
         {"foreground", "open screen", "shadow", "blue inner", "blue middle", "blue middle beyond",
          "blue outer", "skin inner", "skin middle", "skin middle beyond", "skin outer",
          "skin bright", "linear luma", "power luma", "mixed clear", "mixed partial", "mixed full"})
        EXPECT_GT(std::min(plateVisits[way], directVisits[way]), 20) << way;
}

TYPED_TEST(Matte, ScreenWithoutChromaLeavesEveryPixelForeground) {
    Random random(3);
    auto source = RandomSamples<TypeParam>(random, 8 * 8 * 4);
    std::vector<TypeParam> target(source.size()), plate(source.size(), 127 * kUnit<TypeParam>);
    auto record = DefaultRecord(source, target, 8, 8);
    for (auto* pair : {&record.keyR, &record.keyG, &record.keyB}) SetPair(*pair, plate[0]);
    (stages.*kPlateKey<TypeParam>)(&record, plate.data());
    const auto keyed = target;
    (stages.*kDirect<TypeParam>)(&record);
    for (size_t i = 3; i < source.size(); i += 4) source[i] = kFull<TypeParam>;
    EXPECT_TRUE(Same(source, keyed, 8));
    EXPECT_TRUE(Same(source, target, 8));
}

TYPED_TEST(Matte, WorkedScreenPixels) {
    constexpr TypeParam kGrey = 160 * kUnit<TypeParam>;
    std::vector<TypeParam> source(4, 5), target(4);
    for (int e = 0; e < 3; ++e) source[e] = static_cast<TypeParam>(kScreen[e] * kUnit<TypeParam>);
    auto plate = source;
    auto record = DefaultRecord(source, target, 1, 1);
    (stages.*kDirect<TypeParam>)(&record);
    EXPECT_EQ(target, (std::vector<TypeParam>{kGrey, kGrey, kGrey, 0}));
    // The plate's margin makes the same pixel a shadow of 1.5 / (Y + 51.5), over a gain of 0.8;
    // shadow 0 squares it.
    const double luma = 0.299 * kScreen[2] + 0.587 * kScreen[1] + 0.114 * kScreen[0];
    const int alpha = int(1.5 / (luma + 51.5) / 0.8 * kFull<TypeParam>);
    const int squared = int(double(alpha) * alpha / kFull<TypeParam> + 0.499);
    for (auto [shadow, expected] : {std::pair{100, alpha}, {0, squared}}) {
        SetPair(record.shadow, shadow);
        (stages.*kPlateKey<TypeParam>)(&record, plate.data());
        const TypeParam colour = expected == 0 ? kGrey : 0;
        EXPECT_EQ(target, (std::vector<TypeParam>{colour, colour, colour, TypeParam(expected)}));
    }
}

TYPED_TEST(Matte, RefusesNoRecordAndAcceptsAnEmptyFrame) {
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

}  // namespace
}  // namespace veltrane::testing
