#include "settings/settings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>

#include "keyer/entry.h"

namespace veltrane {
namespace {

using Problem = std::vector<std::string>;

TEST(Settings, StartAtTheDefaults) {
    const Settings settings;
    EXPECT_EQ(settings.view, View::Result);
    EXPECT_EQ(settings.keyColor, (Color{0, 0, 0}));
    EXPECT_TRUE(settings.smoothBG);
    EXPECT_FALSE(settings.deBlocking || settings.edgeContract || settings.edgeBlur);
    EXPECT_EQ(settings.shadow, 100);
    EXPECT_EQ(settings.clipWhite, 100);
    EXPECT_EQ(settings.contractThreshold, 10);
    EXPECT_EQ(settings.despillBlue, 0);
    EXPECT_EQ(settings.screenGain, 33);
    EXPECT_TRUE(Problems(settings).empty());
}

TEST(Settings, EveryRowReachesItsOwnMember) {
    for (const Parameter& row : Parameters()) {
        Settings settings;
        if (row.kind == ParameterKind::Group || row.kind == ParameterKind::Color) {
            EXPECT_THROW(ValueOf(settings, row), std::invalid_argument);
            continue;
        }
        const int other = row.defaultValue == row.minimum ? row.maximum : row.minimum;
        SetValue(settings, row, other);
        for (const Parameter& each : Parameters()) {
            if (each.kind == ParameterKind::Group || each.kind == ParameterKind::Color) continue;
            EXPECT_EQ(ValueOf(settings, each), each.id == row.id ? other : each.defaultValue)
                << row.name << ' ' << each.name;
        }
        if (row.kind != ParameterKind::Integer) continue;
        for (const int bad : {row.minimum - 1, row.maximum + 1}) {
            SetValue(settings, row, bad);
            EXPECT_EQ(Problems(settings), Problem{ProblemWith(row, bad)});
        }
    }
}

TEST(Settings, ProblemsNameEveryBadValue) {
    Settings settings;
    settings.shadow = 140;
    settings.keyColor = {1.5, std::nan(""), -std::numeric_limits<double>::infinity()};
    EXPECT_EQ(Problems(settings),
              (Problem{"shadow must be 0 to 100, not 140", "key-color red must be 0 to 1, not 1.5",
                       "key-color green must be 0 to 1, not nan",
                       "key-color blue must be 0 to 1, not -inf"}));
    settings = {};
    settings.view = static_cast<View>(3);
    EXPECT_EQ(Problems(settings), Problem{"view must be 0 to 2, not 3"});
}

TEST(Settings, ColorsSnapAndReadAsHex) {
    const Color snapped = SnapToByteSteps({0.5, 0.0019, 1.0});
    EXPECT_EQ(snapped, (Color{128 / 255.0, 0, 1}));  // 127.5 rounds up, 0.48 down
    EXPECT_EQ(HexText({34 / 255.0, 1, 0.667}), "#22ffaa");
    EXPECT_EQ(HexText({std::nan(""), -7, 1e300}), "#0000ff");
    EXPECT_EQ(ParseHexColor("#22fFAa"), (Color{34 / 255.0, 1, 170 / 255.0}));
    for (const char* bad : {"", "22ffaa", "#22ffa", "#22ffaag", "#22ffaz", "#22ff a", "#-2ffaa"})
        EXPECT_EQ(ParseHexColor(bad), std::nullopt) << bad;
}

TEST(Key, RefusesBadSettingsAndSizes) {
    std::uint16_t frame[4] = {};
    std::uint8_t small[4] = {};
    Settings settings;
    EXPECT_THROW(Key(settings, 0, 1, frame, frame), std::invalid_argument);
    EXPECT_THROW(Key(settings, 1, 65536, frame, frame), std::invalid_argument);
    settings.shadow = -1;
    EXPECT_THROW(Key(settings, 1, 1, frame, frame), std::invalid_argument);
    EXPECT_THROW(Key(settings, 1, 1, small, small), std::invalid_argument);
}

// A 2 x 1 frame: bare screen and a solid red subject.
TEST(Key, KeysBothDepthsAndLeavesTheSource) {
    Settings settings;
    settings.keyColor = {0.201, 0.698, 0.199};  // a little off the byte steps 51, 178, 51
    settings.smoothBG = false;
    settings.deBlocking = true;
    settings.deBlockValue = 1;
    const std::vector<std::uint8_t> bytes{255, 51, 178, 51, 255, 200, 20, 20};
    std::vector<std::uint8_t> keyedBytes(8);
    Key(settings, 2, 1, bytes.data(), keyedBytes.data());
    const std::vector<std::uint16_t> words{13107, 45746, 13107, 65535, 5140, 5140, 51400, 65535};
    const std::vector<std::uint16_t> before = words;
    std::vector<std::uint16_t> keyed(8);
    Key(settings, 2, 1, words.data(), keyed.data());
    EXPECT_EQ(words, before);

    settings.deBlocking = false;
    Key(settings, 2, 1, bytes.data(), keyedBytes.data());
    EXPECT_EQ(keyedBytes, (std::vector<std::uint8_t>{0, 160, 160, 160, 255, 200, 20, 20}));
    Key(settings, 2, 1, words.data(), keyed.data());
    EXPECT_EQ(keyed,
              (std::vector<std::uint16_t>{41120, 41120, 41120, 0, 5140, 5140, 51400, 65535}));
    settings.view = View::Matte;
    Key(settings, 2, 1, words.data(), keyed.data());
    EXPECT_EQ(keyed, (std::vector<std::uint16_t>{0, 0, 0, 65535, 65535, 65535, 65535, 65535}));
    settings.view = View::Source;
    Key(settings, 2, 1, words.data(), keyed.data());
    EXPECT_EQ(keyed, words);
}

// Every value differs from its neighbours and from its default, so that none can stand in for
// another.
TEST(Key, HandsEveryValueToTheEntry) {
    constexpr int kSide = 48;
    std::mt19937 random(11);
    std::vector<std::uint16_t> source;
    for (int i = 0; i < kSide * kSide; ++i) {
        // Grainy screen on the left, anything on the right.
        const bool screen = i % kSide < kSide / 2;
        for (const int channel : {60, 180, 50})
            source.push_back(screen ? 257 * (channel + random() % 4) : random() % 65536);
        source.push_back(65535);
    }
    Settings s;
    s.view = View::Result;
    s.keyColor = {50 / 255.0, 180 / 255.0, 60 / 255.0};
    for (const bool plate : {true, false}) {
        s.smoothBG = plate;
        s.shadow = 61;
        s.clipBlack = 3;
        s.clipWhite = 88;
        s.deBlocking = s.edgeContract = s.edgeBlur = true;
        s.deBlockValue = 2;
        s.contractMask = 3;
        s.contractThreshold = 37;
        s.maskBlurRadius = 4;
        s.maskBlurValue = 29;
        s.skinHue = 17;
        s.blueHue = -23;
        s.despillGray = 31;
        s.despillSkin = 43;
        s.despillBlue = 53;
        s.screenGain = 9;
        std::vector<std::uint16_t> result(source.size());
        Key(s, kSide, kSide, source.data(), result.data());
        std::vector<std::uint16_t> input = source;
        std::vector<std::uint16_t> expected(source.size());
        VeltraneFinalCut16bit(expected.data(), input.data(), kSide, kSide, 0, 0, 2, 50 / 255.0,
                              180 / 255.0, 60 / 255.0, plate, 61, 3, 88, 1, 2, 1, 3, 37, 1, 4, 29,
                              17, -23, 31, 43, 53, 9);
        EXPECT_EQ(result, expected);
    }
}

}  // namespace
}  // namespace veltrane
