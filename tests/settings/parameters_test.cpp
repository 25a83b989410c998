#include "settings/parameters.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <tuple>

#include "settings/table_rules.h"

namespace veltrane {
namespace {

using enum ParameterKind;

TEST(Parameters, AreFoundByIdAndName) {
    for (const Parameter& row : Parameters()) {
        EXPECT_EQ(&ParameterOf(static_cast<ParameterId>(row.id)), &row);
        EXPECT_EQ(FindParameter(row.name), row.kind == Group ? nullptr : &row);
        EXPECT_STRNE(row.help, "");
    }
    EXPECT_THROW(ParameterOf(ParameterId{}), std::out_of_range);
}

TEST(Parameters, KeepWhatSavedProjectsHold) {
    // Those who pass frei0r's values by place, too, count on the first rows.
    const auto frei0r = Panel(Host::Frei0r), fxPlug = Panel(Host::FxPlug);
    EXPECT_TRUE(std::ranges::is_sorted(frei0r, {}, &Parameter::id));
    EXPECT_TRUE(std::ranges::equal(fxPlug, frei0r.first(fxPlug.size())));
    const std::tuple<std::string, int, double> views[] = {
        {"source", 0, 0}, {"matte", 1, 0.5}, {"result", 2, 1}};
    for (const auto& [name, number, share] : views) {
        const ChoiceEntry& entry = ParameterOf(ParameterId::View).entries[std::size_t(number)];
        EXPECT_EQ(std::tuple(entry.name, entry.number, entry.share),
                  std::tuple(name, number, share));
    }
}

using Table = std::vector<Parameter>;

Parameter& At(Table& rows, ParameterId id) {
    return *std::ranges::find(rows, int(id), &Parameter::id);
}

void MoveEntries(Parameter& row) {
    static constexpr ChoiceEntry kMoved[] = {{1, "k", "a", 0}, {0, "k", "b", 1}};
    row.entries = kMoved;
    row.maximum = row.defaultValue = 1;
}

TEST(Parameters, AreRefusedWhereTheyDoNotFit) {
    using enum ParameterId;
    const std::pair<bool (*)(Rows), void (*)(Table&)> cases[] = {
        {IdsAreUnique, [](Table& rows) { At(rows, KeyColor).id = 1; }},
        {GroupsPrecedeTheirRows,
         [](Table& rows) { std::swap(At(rows, HueGroup), At(rows, BlueHue)); }},
        {GroupsPrecedeTheirRows, [](Table& rows) { At(rows, HueGroup).hosts = {Host::OpenFx}; }},
        {GovernorsAreSwitches, [](Table& rows) { At(rows, SkinHue).governor = 5; }},
        {NamesAreUnique, [](Table& rows) { At(rows, Shadow).name = "skin-hue"; }},
        {NamesAreUnique, [](Table& rows) { At(rows, Shadow).name = ""; }},
        {ValuesFitTheirMembers, [](Table& rows) { At(rows, Shadow).member = &Settings::skinHue; }},
        {ValuesFitTheirMembers, [](Table& rows) { At(rows, Shadow).member = &Settings::edgeBlur; }},
        {ValuesFitTheirMembers, [](Table& rows) { At(rows, Shadow).maximum = 99; }},
        {EntriesKeepTheirNumbers, [](Table& rows) { MoveEntries(At(rows, ParameterId::View)); }},
        {FxPlugShowsItsPanel, [](Table& rows) { At(rows, Shadow).id = 1000; }},
        {FxPlugShowsItsPanel, [](Table& rows) { At(rows, Shadow).hosts = {Host::Frei0r}; }}};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const auto& [rule, change] = cases[i];
        Table rows(Parameters().begin(), Parameters().end());
        EXPECT_TRUE(rule(rows));
        change(rows);
        EXPECT_FALSE(rule(rows)) << "case " << i;
    }
}

TEST(Parameters, WhatTellsOfFramesIsNoSettingAndComesLast) {
    Table rows;
    for (const Parameter* row : Panel(Host::OpenFx)) rows.push_back(*row);
    const Parameter& light = ParameterOf(ParameterId::Light);
    EXPECT_EQ(rows.back().id, light.id) << "projects hold it after the settings";
    EXPECT_EQ(std::pair(std::string(light.entries[0].name), light.defaultValue),
              std::pair(std::string("display"), 0));
    EXPECT_EQ(FindParameter(light.name), nullptr) << "no option nor member of a preset";
    EXPECT_TRUE(RestTellsOfFrames(rows));
    for (const auto change : {+[](Table& table) { table.back().kind = Switch; },
                              +[](Table& table) { table.back().hosts = kEveryHost; },
                              +[](Table& table) { std::swap(table.back(), table[2]); }}) {
        Table changed = rows;
        change(changed);
        EXPECT_FALSE(RestTellsOfFrames(changed));
    }
}

std::string ReadmeValues(const Parameter& row) {
    if (row.kind == Color) return "a colour | the screen's";
    if (row.kind == Switch) return row.defaultValue != 0 ? "on, off | on" : "on, off | off";
    if (row.kind == Choice) {
        std::string names;
        for (const ChoiceEntry& entry : row.entries) names += std::string(", ") + entry.name;
        return names.substr(2) + " | " + row.entries[row.defaultValue].name;
    }
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
