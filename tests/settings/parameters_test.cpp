#include "settings/parameters.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace veltrane {
namespace {

struct Expected {
    ParameterKind kind;
    const char* label;
    int value, minimum, maximum;
    int group, governor;
};

constexpr auto G = ParameterKind::Group;
constexpr auto S = ParameterKind::Switch;
constexpr auto N = ParameterKind::Integer;

// Ids are the positions, counted from 1.
constexpr Expected kExpected[] = {
    {G, "Basic", 0, 0, 0, 0, 0},
    {ParameterKind::Choice, "View", 2, 0, 2, 1, 0},
    {ParameterKind::Color, "Key Color", 0, 0, 1, 1, 0},
    {S, "Smooth BG", 1, 0, 1, 1, 0},
    {N, "Shadow", 100, 0, 100, 1, 0},
    {N, "Clip Black", 0, 0, 100, 1, 0},
    {N, "Clip White", 100, 0, 100, 1, 0},
    {G, "DeBlocking Group", 0, 0, 0, 1, 0},
    {S, "DeBlocking", 0, 0, 1, 8, 0},
    {N, "DeBlock Value", 1, 1, 10, 8, 9},
    {G, "Edge Contract Group", 0, 0, 0, 1, 0},
    {S, "Edge Contract", 0, 0, 1, 11, 0},
    {N, "Contract Mask", 2, 1, 10, 11, 12},
    {N, "Contract Threshold", 10, 0, 50, 11, 12},
    {G, "Edge Blur Group", 0, 0, 0, 1, 0},
    {S, "Edge Blur", 0, 0, 1, 15, 0},
    {N, "Mask Blur Radius (pixel)", 2, 1, 100, 15, 16},
    {N, "Mask Blur Value", 50, 0, 100, 15, 16},
    {G, "Hue", 0, 0, 0, 1, 0},
    {N, "skin, hair color Hue", 0, -50, 50, 19, 0},
    {N, "blue Hue", 0, -50, 50, 19, 0},
    {G, "Advanced", 0, 0, 0, 0, 0},
    {G, "Despill", 0, 0, 0, 22, 0},
    {N, "white, gray", 20, 0, 100, 23, 0},
    {N, "skin, hair color", 20, 0, 100, 23, 0},
    {N, "blue", 0, 0, 100, 23, 0},
    {N, "Screen Gain", 33, 0, 100, 22, 0},
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
        EXPECT_EQ(FindParameter(row.name), row.kind == G ? nullptr : &row);
        EXPECT_STRNE(row.help, "");
    }
    const Parameter& view = Row(ParameterId::View);
    EXPECT_EQ(ChoiceNames(view), (std::vector<std::string>{"source", "matte", "result"}));
    EXPECT_STREQ(ChoiceKeys(view)[1], "VeltraneGreen::Matte");
}

std::string ReadmeValues(const Parameter& row) {
    switch (row.kind) {
        case ParameterKind::Switch:
            return std::string("on, off | ") + (row.defaultValue != 0 ? "on" : "off");
        case ParameterKind::Integer:
            return std::to_string(row.minimum) + " to " + std::to_string(row.maximum) + " | " +
                   std::to_string(row.defaultValue);
        case ParameterKind::Choice:
            return "source, matte, result | " + ChoiceNames(row)[row.defaultValue];
        default:
            return "a colour | the screen's";
    }
}

TEST(Parameters, StandInTheReadmeAsTheyAre) {
    std::ifstream file(VELTRANE_SAMPLES "/../README.md");
    const std::string readme{std::istreambuf_iterator<char>(file), {}};
    for (const Parameter& row : Parameters()) {
        if (row.kind == ParameterKind::Group) continue;
        const std::string line =
            "\n| `" + std::string(row.name) + "` | " + ReadmeValues(row) + " | ";
        EXPECT_NE(readme.find(line), std::string::npos) << line;
    }
}

}  // namespace
}  // namespace veltrane
