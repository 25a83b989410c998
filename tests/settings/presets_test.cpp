#include "settings/presets.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace veltrane {
namespace {

Settings Unusual() {
    Settings settings;
    settings.view = View::Matte;
    settings.keyColor = {34 / 255.0, 187 / 255.0, 68 / 255.0};
    settings.smoothBG = false;
    settings.edgeBlur = true;
    settings.maskBlurRadius = 7;
    settings.skinHue = -50;
    return settings;
}

std::string Refusal(const std::string& text) {
    try {
        FromJson(text, "look.json");
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "accepted";
}

TEST(Presets, RoundTripAndDefaults) {
    EXPECT_EQ(FromJson(ToJson(Unusual()), "a"), Unusual());
    EXPECT_EQ(FromJson("{}", "a"), Settings());
    Settings expected;
    expected.shadow = 80;
    expected.keyColor = {0, 1, 0};
    EXPECT_EQ(FromJson(R"({"shadow": 80, "key-color": "#00ff00"})", "a"), expected);
    Settings bad;
    bad.shadow = 101;
    EXPECT_THROW(ToJson(bad), std::invalid_argument);
}

TEST(Presets, RefuseWithTheMemberAndTheRange) {
    EXPECT_EQ(Refusal("{\n\"shadow\": ,}"), "look.json: not valid JSON in line 2");
    EXPECT_EQ(Refusal("[]"), "look.json: a preset must be one JSON object of settings by name");
    EXPECT_EQ(Refusal(R"({"shadwo": 1})"), "look.json: unknown setting \"shadwo\"");
    const std::string shadow = "look.json: shadow must be a whole number from 0 to 100, not ";
    for (const char* value : {"140", "-1", "12.5", "1e3", "true", "\"80\"", "null", "[1]",
                              "99999999999999999999", "18446744073709551615"})
        EXPECT_TRUE(Refusal("{\"shadow\": " + std::string(value) + "}").starts_with(shadow))
            << value;
    EXPECT_EQ(Refusal(R"({"edge-blur": 1})"), "look.json: edge-blur must be true or false, not 1");
    EXPECT_EQ(Refusal(R"({"key-color": "green"})"),
              "look.json: key-color must be a colour such as \"#22bb44\", not \"green\"");
    EXPECT_EQ(Refusal(R"({"view": 2})"),
              "look.json: view must be one of [\"source\",\"matte\",\"result\"], not 2");
    EXPECT_EQ(Refusal(""), "look.json: not valid JSON in line 1");
}

TEST(Presets, FilesAppearWholeOrNotAtAll) {
    const std::filesystem::path folder =
        std::filesystem::path(testing::TempDir()) / "veltrane-presets";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    const std::string path = folder / "look.json";
    WritePreset(path, Settings());
    WritePreset(path, Unusual());
    EXPECT_EQ(ReadPreset(path), Unusual());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
    EXPECT_THROW(WritePreset(folder / "missing/look.json", Settings()), std::runtime_error);
    EXPECT_THROW(ReadPreset(folder / "other.json"), std::runtime_error);
    EXPECT_THROW(ReadPreset(folder), std::runtime_error);
    std::filesystem::create_directory(folder / "taken.json");
    EXPECT_THROW(WritePreset(folder / "taken.json", Settings()), std::runtime_error);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2);
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace veltrane
