#include "settings/settings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "keyer/entry.h"
#include "settings/frame_keyer.h"
#include "tests/imaging/frames.h"

namespace veltrane {
namespace {

using Problem = std::vector<std::string>;
using Words = std::vector<std::uint16_t>;
using Bytes = std::vector<std::uint8_t>;

TEST(Settings, AcceptBothEndsOfEveryRangeAndValuesOfTheirKind) {
    Settings settings;
    for (const bool highest : {false, true}) {
        for (const Parameter& row : Parameters())
            if (row.kind != ParameterKind::Group && row.kind != ParameterKind::Color)
                SetValue(settings, row, highest ? row.maximum : row.minimum);
        EXPECT_EQ(Problems(settings), Problem{});
    }
    EXPECT_THROW(SetValue(settings, ParameterOf(ParameterId::KeyColor), 1), std::invalid_argument);
    EXPECT_THROW(ColorOf(settings, ParameterOf(ParameterId::Shadow)), std::invalid_argument);
}

TEST(Settings, ProblemsNameEveryBadValue) {
    Settings settings;
    settings.view = View(-1);
    settings.shadow = 140;
    settings.skinHue = -51;
    settings.keyColor = {1.5, std::nan(""), -1};
    EXPECT_EQ(
        Problems(settings),
        (Problem{ProblemWith(ParameterOf(ParameterId::View), -1),
                 "key-color red must be 0 to 1, not 1.5", "key-color green must be 0 to 1, not nan",
                 "key-color blue must be 0 to 1, not -1", "shadow must be 0 to 100, not 140",
                 "skin-hue must be -50 to 50, not -51"}));
}

TEST(Settings, ColorsSnapAndReadAsHex) {
    // 127.5 rounds up, 0.48 down.
    EXPECT_EQ(SnapToByteSteps({0.5, 0.0019, 1.0}), (Color{128 / 255.0, 0, 1}));
    EXPECT_EQ(HexText({35 / 255.0, 1, 0.667}), "#23ffaa");
    EXPECT_EQ(HexText({std::nan(""), -7, 1e300}), "#0000ff");
    EXPECT_EQ(ParseHexColor("#22fFAa"), (Color{34 / 255.0, 1, 170 / 255.0}));
    for (const char* bad : {"", "22ffaa", "#22ffa", "#22ffaag", "#22ffaz", "#-2ffaa"})
        EXPECT_EQ(ParseHexColor(bad), std::nullopt) << bad;
}

TEST(Key, RefusesBadSettingsAndSizes) {
    std::uint16_t word[4] = {};
    std::uint8_t byte[4] = {};
    Settings bad;
    bad.shadow = -1;
    EXPECT_THROW(Key({}, 1, 65536, word, word), std::invalid_argument);
    EXPECT_THROW(Key(bad, 1, 1, word, word), std::invalid_argument);
    EXPECT_THROW(Key(bad, 1, 1, byte, byte), std::invalid_argument);
}

/// Nothing that the standard knows.
struct HostFailure {
    int row;
};

TEST(Key, PassesOnWhatRowFunctionsThrow) {
    constexpr int kSide = 20;
    for (const bool everything : {false, true})
        for (const int last : {0, 7, kSide - 1}) {
            Settings s;
            s.keyColor = {50 / 255.0, 180 / 255.0, 60 / 255.0};
            s.deBlocking = s.edgeContract = s.edgeBlur = s.smoothBG = everything;
            int written = 0;
            const auto key = [&](int lastRead, int lastWritten) {
                const auto read = [&](int y, std::uint16_t* row) {
                    if (y == lastRead) throw HostFailure{y};
                    std::fill_n(row, 4 * kSide, std::uint16_t(257 * y));
                };
                const auto write = [&](int y, const std::uint16_t*) {
                    if (y == lastWritten) throw HostFailure{y};
                    ++written;
                };
                Key<std::uint16_t>(s, kSide, kSide, {nullptr, read}, {nullptr, write});
            };
            EXPECT_THROW(key(last, kSide), HostFailure);
            written = 0;
            EXPECT_THROW(key(kSide, last), HostFailure);
            EXPECT_EQ(written, last);
        }
}

// Every value that the entries take differs from the others and from its default, one switch is on
// at a time and the key colour lies a little off its byte steps, so that nothing can stand in for
// anything else. The entries take any number but 0 as on and any view but source and matte as the
// result.
TEST(Key, HandsEveryValueToItsArgument) {
    constexpr int kSide = 48;
    testing::Random random(11);
    const Words words = testing::StudioFrame<std::uint16_t>(random, kSide, kSide);
    Bytes bytes = testing::StudioFrame<std::uint8_t>(random, kSide, kSide);
    std::reverse(bytes.begin(), bytes.end());  // alpha, red, green, blue
    Settings s;
    s.keyColor = {60.3 / 255, 179.8 / 255, 70.4 / 255};
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        const int view = round / 4, on = round % 4;
        s.view = View(view);
        const int number = view < 2 ? view : 3 * round - 25, yes = round - 20;
        const int values[] = {61, 3, 88, 2, 4, 37, 5, 29, 17, -23, 31, 43, 53, 77};
        int integers = 0, switches = 0;
        for (const Parameter* row : Panel(Host::FxPlug)) {
            if (row->kind == ParameterKind::Integer) SetValue(s, *row, values[integers++]);
            if (row->kind == ParameterKind::Switch) SetValue(s, *row, on == switches++);
        }
        const auto keyBy = [&](auto entry, auto... frames) {
            entry(frames..., 0, 0, number, 60 / 255.0, 180 / 255.0, 70 / 255.0, on == 0 ? yes : 0,
                  61, 3, 88, on == 1 ? yes : 0, 2, on == 2 ? yes : 0, 4, 37, on == 3 ? yes : 0, 5,
                  29, 17, -23, 31, 43, 53, 77);
        };
        Words input = words, result(words.size()), expected(words.size());
        Key(s, kSide, kSide, input.data(), result.data());
        EXPECT_EQ(input, words);
        keyBy(VeltraneFinalCut16bit, expected.data(), input.data(), kSide, kSide);
        EXPECT_EQ(result, expected);
        Bytes resultBytes(bytes.size()), expectedBytes(bytes.size());
        Key(s, kSide, kSide, bytes.data(), resultBytes.data());
        keyBy(VeltraneFinalCut, expectedBytes.data(), kSide, kSide, bytes.data(), kSide, kSide);
        EXPECT_EQ(resultBytes, expectedBytes);
    }
}

}  // namespace
}  // namespace veltrane
