#include "settings/frame_keyer_c.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "settings/frame_keyer.h"
#include "settings/screen_color.h"
#include "tests/imaging/frames.h"

namespace veltrane {
namespace {

constexpr int kSide = 48;
constexpr std::size_t kPixels = kSide * kSide;

using SettingsInC = std::unique_ptr<VeltraneSettings, decltype(&VeltraneFreeSettings)>;

SettingsInC NewSettings() {
    return {VeltraneNewSettings(), VeltraneFreeSettings};
}

template <class Sample>
std::vector<Sample> BlueFrame(int seed) {
    testing::Random random(static_cast<std::uint64_t>(seed));
    return testing::Exchanged(testing::StudioFrame<Sample>(random, kSide, kSide));
}

template <class Sample>
using InputsInC = std::conditional_t<sizeof(Sample) == 2, VeltraneInputs16bit, VeltraneInputs8bit>;

/// What the C functions make of the frame, in two bands; empty where they refuse.
template <class Sample>
std::vector<Sample> KeyedInC(const VeltraneSettings& settings, const std::vector<Sample>& frame,
                             const InputsInC<Sample>* inputs) {
    const auto create =
        testing::ByDepth<Sample>(VeltraneNewFrameKeyer16bit, VeltraneNewFrameKeyer8bit);
    const auto key = testing::ByDepth<Sample>(VeltraneKeyRows16bit, VeltraneKeyRows8bit);
    int status = -1;
    VeltraneFrameKeyer* keyer = create(&settings, kSide, kSide, frame.data(), inputs, &status);
    EXPECT_EQ(status, VELTRANE_DONE);
    std::vector<Sample> result(frame.size());
    EXPECT_EQ(key(keyer, 20, kSide, result.data()), VELTRANE_DONE);
    EXPECT_EQ(key(keyer, 0, 20, result.data()), VELTRANE_DONE);
    VeltraneFreeFrameKeyer(keyer);
    return result;
}

template <class Sample>
class FrameKeyerInC : public ::testing::Test {};
TYPED_TEST_SUITE(FrameKeyerInC, testing::Depths);

TYPED_TEST(FrameKeyerInC, KeysBlueScreensWithAllThatAShotBrings) {
    const auto frame = BlueFrame<TypeParam>(3);
    const auto plate = BlueFrame<TypeParam>(4);
    testing::Random random(5);
    const auto garbage = testing::RandomSamples<std::uint16_t>(random, kPixels);
    const auto core = testing::RandomSamples<std::uint16_t>(random, kPixels);
    Settings expected;
    expected.keyColor = {60 / 255.0, 70 / 255.0, 180 / 255.0};
    expected.screen = Screen::Blue;
    expected.coreColor = CoreColor::Source;
    const SettingsInC settings = NewSettings();
    EXPECT_EQ(VeltraneSetColor(settings.get(), "key-color", 60 / 255.0, 70 / 255.0, 180 / 255.0),
              VELTRANE_DONE);
    EXPECT_EQ(VeltraneSetNumber(settings.get(), "screen", 1), VELTRANE_DONE);
    EXPECT_EQ(VeltraneSetNumber(settings.get(), "core-color", 1), VELTRANE_DONE);
    std::vector<std::vector<TypeParam>> results;
    for (int brought = 0; brought < 8; ++brought) {
        InputsInC<TypeParam> inputs{};
        KeyInputs<TypeParam> rows;
        if (brought & 1) inputs.cleanPlate = rows.cleanPlate.packed = plate.data();
        if (brought & 2) inputs.garbage = rows.garbage.packed = garbage.data();
        if (brought & 4) inputs.core = rows.core.packed = core.data();
        std::vector<TypeParam> whole(frame.size());
        Key<TypeParam>(expected, kSide, kSide, {frame.data()}, {whole.data()}, {}, rows);
        EXPECT_EQ(KeyedInC(*settings, frame, &inputs), whole) << brought;
        EXPECT_EQ(std::count(results.begin(), results.end(), whole), 0) << brought;
        results.push_back(whole);
    }
    EXPECT_EQ(KeyedInC<TypeParam>(*settings, frame, nullptr), results[0]);
}

TYPED_TEST(FrameKeyerInC, FindsTheScreen) {
    const auto find = testing::ByDepth<TypeParam>(VeltraneFindScreen16bit, VeltraneFindScreen8bit);
    std::vector<TypeParam> frame, grey(kPixels * 4, testing::kFull<TypeParam> / 2);
    for (std::size_t i = 0; i < kPixels; ++i)
        for (const int part : {i % kSide < 12 ? 110 : 180, 60, i % kSide < 12 ? 190 : 50, 255})
            frame.push_back(static_cast<TypeParam>(part * testing::kUnit<TypeParam>));
    const SettingsInC settings = NewSettings(), given = NewSettings();
    EXPECT_EQ(find(settings.get(), kSide, kSide, grey.data()), VELTRANE_REFUSED);
    EXPECT_EQ(find(settings.get(), 0, kSide, frame.data()), VELTRANE_REFUSED);
    EXPECT_EQ(find(settings.get(), kSide, 65536, frame.data()), VELTRANE_REFUSED);
    EXPECT_EQ(find(nullptr, kSide, kSide, frame.data()), VELTRANE_REFUSED);
    EXPECT_EQ(KeyedInC<TypeParam>(*settings, frame, nullptr), frame) << "nothing was set";
    EXPECT_EQ(find(settings.get(), kSide, kSide, frame.data()), VELTRANE_DONE);
    VeltraneSetColor(given.get(), "key-color", 50 / 255.0, 60 / 255.0, 180 / 255.0);
    VeltraneSetNumber(given.get(), "screen", 1);
    EXPECT_EQ(KeyedInC<TypeParam>(*settings, frame, nullptr),
              KeyedInC<TypeParam>(*given, frame, nullptr));
}

}  // namespace
}  // namespace veltrane
