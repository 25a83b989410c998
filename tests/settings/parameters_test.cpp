#include "settings/parameters.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace veltrane {
namespace {

using enum ParameterKind;

struct Expected {
    ParameterKind kind;
    const char* label;
    int value, minimum, maximum;
    int group, governor;
};

// Ids are the positions, counted from 1.
constexpr Expected kExpected[] = {
    {Group, "Basic", 0, 0, 0, 0, 0},
    {Choice, "View", 2, 0, 2, 1, 0},
    {Color, "Key Color", 0, 0, 1, 1, 0},
    {Switch, "Smooth BG", 1, 0, 1, 1, 0},
    {Integer, "Shadow", 100, 0, 100, 1, 0},
    {Integer, "Clip Black", 0, 0, 100, 1, 0},
    {Integer, "Clip White", 100, 0, 100, 1, 0},
    {Group, "DeBlocking Group", 0, 0, 0, 1, 0},
    {Switch, "DeBlocking", 0, 0, 1, 8, 0},
    {Integer, "DeBlock Value", 1, 1, 10, 8, 9},
    {Group, "Edge Contract Group", 0, 0, 0, 1, 0},
    {Switch, "Edge Contract", 0, 0, 1, 11, 0},
    {Integer, "Contract Mask", 2, 1, 10, 11, 12},
    {Integer, "Contract Threshold", 10, 0, 50, 11, 12},
    {Group, "Edge Blur Group", 0, 0, 0, 1, 0},
    {Switch, "Edge Blur", 0, 0, 1, 15, 0},
    {Integer, "Mask Blur Radius (pixel)", 2, 1, 100, 15, 16},
    {Integer, "Mask Blur Value", 50, 0, 100, 15, 16},
    {Group, "Hue", 0, 0, 0, 1, 0},
    {Integer, "skin, hair color Hue", 0, -50, 50, 19, 0},
    {Integer, "blue Hue", 0, -50, 50, 19, 0},
    {Group, "Advanced", 0, 0, 0, 0, 0},
    {Group, "Despill", 0, 0, 0, 22, 0},
    {Integer, "white, gray", 20, 0, 100, 23, 0},
    {Integer, "skin, hair color", 20, 0, 100, 23, 0},
    {Integer, "blue", 0, 0, 100, 23, 0},
    {Integer, "Screen Gain", 33, 0, 100, 22, 0},
};

TEST(Parameters, HoldTheKnownFigures) {
    ASSERT_EQ(Parameters().size(), std::size(kExpected));
    for (std::size_t i = 0; i < std::size(kExpected); ++i) {
        const Parameter& row = Parameters()[i];
        const Expected& expected = kExpected[i];
        SCOPED_TRACE(expected.label);
        EXPECT_EQ(row.id, static_cast<int>(i) + 1);
        EXPECT_EQ(row.kind, expected.kind);
        EXPECT_EQ(row.key, std::string("VeltraneGreen::") + expected.label);
        EXPECT_EQ(row.defaultValue, expected.value);
        EXPECT_EQ(row.minimum, expected.minimum);
        EXPECT_EQ(row.maximum, expected.maximum);
        EXPECT_EQ(row.flags, expected.governor != 0 ? 4u : 0u);
        EXPECT_EQ(row.group, expected.group);
        EXPECT_EQ(row.governor, expected.governor);
        EXPECT_EQ(FindParameter(row.name), row.kind == Group ? nullptr : &row);
        EXPECT_STRNE(row.help, "");
    }
    const Parameter& view = Row(ParameterId::View);
    EXPECT_EQ(ChoiceNames(view), (std::vector<std::string>{"source", "matte", "result"}));
    EXPECT_STREQ(ChoiceKeys(view)[1], "VeltraneGreen::Matte");
}

std::string ReadmeValues(const Parameter& row) {
    if (row.kind == Color) return "a colour | the screen's";
    if (row.kind == Switch) return row.defaultValue != 0 ? "on, off | on" : "on, off | off";
    if (row.kind == Choice) return "source, matte, result | " + ChoiceNames(row)[row.defaultValue];
    return std::to_string(row.minimum) + " to " + std::to_string(row.maximum) + " | " +
           std::to_string(row.defaultValue);
}

TEST(Parameters, StandInTheReadmeAsTheyAre) {
    std::ifstream file(VELTRANE_SAMPLES "/../README.md");
    const std::string readme{std::istreambuf_iterator<char>(file), {}};
    for (const Parameter& row : Parameters()) {
        if (row.kind == Group) continue;
        const std::string line =
            "\n| `" + std::string(row.name) + "` | " + ReadmeValues(row) + " | ";
        EXPECT_NE(readme.find(line), std::string::npos) << line;
    }
}

}  // namespace
}  // namespace veltrane
