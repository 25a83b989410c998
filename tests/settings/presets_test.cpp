#include "settings/presets.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace veltrane {
namespace {

TEST(Presets, RoundTripAndDefaults) {
    Settings settings;
    settings.keyColor = {34 / 255.0, 187 / 255.0, 68 / 255.0};
    for (const Parameter& row : Parameters())
        if (row.kind != ParameterKind::Group && row.kind != ParameterKind::Color)
            SetValue(settings, row, row.defaultValue == row.minimum ? row.maximum : row.minimum);
    EXPECT_EQ(FromJson(ToJson(settings), ""), settings);
    settings = {};
    settings.shadow = 80;
    settings.keyColor = {0, 1, 0};
    EXPECT_EQ(FromJson(R"({"shadow": 80, "key-color": "#00ff00"})", ""), settings);
    settings.shadow = 101;
    EXPECT_THROW(ToJson(settings), std::invalid_argument);
}

std::string ViewNames() {
    std::string names;
    for (const ChoiceEntry& entry : ParameterOf(ParameterId::View).entries)
        names += std::string(",\"") + entry.name + '"';
    return '[' + names.substr(1) + ']';
}

TEST(Presets, RefuseWithTheMemberAndTheRange) {
    std::vector<std::pair<std::string, std::string>> refusals{
        {"{\n\"shadow\": ,}", "not valid JSON in line 2"},
        {"[]", "a preset must be one JSON object of settings by name"},
        {R"({"shadwo": 1})", "unknown setting \"shadwo\""},
        {R"({"edge-blur": 1})", "edge-blur must be true or false, not 1"},
        {R"({"key-color": "green"})",
         "key-color must be a colour such as \"#22bb44\", not \"green\""},
        {R"({"shadow": 1e400})", "the number of \"shadow\" is larger than any can be"},
        {"[1e400]", "the number is larger than any can be"},
        {"{\"shadow\": " + std::string(100'000, '[') + std::string(100'000, ']') + '}',
         "shadow must be a whole number from 0 to 100, not a list"},
        {"{\"" + std::string(100, 's') + "\": 1}",
         "unknown setting \"" + std::string(59, 's') + "..."},
        {std::string(1'000'001, ' '), "is larger than a preset can be, 1000000 bytes"},
        {R"({"view": 2})", "view must be one of " + ViewNames() + ", not 2"}};
    for (const char* value :
         {"101", "-1", "12.5", "true", "\"80\"", "null", "18446744073709551615"})
        refusals.push_back(
            {std::string("{\"shadow\": ") + value + '}',
             std::string("shadow must be a whole number from 0 to 100, not ") + value});
    for (const auto& [text, problem] : refusals) {
        try {
            FromJson(text, "look.json");
            ADD_FAILURE() << "accepted: " << text;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), "look.json: " + problem);
        }
    }
}

}  // namespace
}  // namespace veltrane
