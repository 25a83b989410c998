#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <cmath>

#include "command.h"
#include "settings/presets.h"
#include "settings/screen_color.h"

namespace veltrane {
namespace {

Settings SettingsIn(const nlohmann::json& summary) {
    return FromJson(summary["settings"].dump(), "summary");
}

TEST_F(CommandTest, KeysAsTheLibraryDoesWithTheColourFound) {
    Settings settings;
    settings.keyColor = FindScreenColor(64, 48, source_.pixels.data())->color;
    const nlohmann::json summary = Json("key in.png out.png");
    EXPECT_EQ(media::ReadFrame("out.png", 1).pixels, Keyed(settings, source_));
    EXPECT_EQ(summary["frames"], 1);
    EXPECT_EQ(summary["key-color"], HexText(settings.keyColor));
    EXPECT_GT(summary["screen-coverage"], 0.5);
    EXPECT_EQ(SettingsIn(summary), settings);
    const Outcome quiet = Run("key in.png out.png --view source --quiet");
    EXPECT_EQ(media::ReadFrame("out.png", 1).pixels, source_.pixels);
    EXPECT_EQ(quiet.error + quiet.out, "");
}

// Every value differs from the others and from its default, so that none can stand in for another.
TEST_F(CommandTest, OptionsReachTheirSettingsAndOverrideThePreset) {
    const auto look = nlohmann::json::parse(
        R"({"view": "matte", "key-color": "#40b838", "smooth-bg": false, "shadow": 61,
            "clip-black": 7, "clip-white": 93, "deblocking": true, "deblock-value": 4,
            "edge-contract": true, "contract-mask": 3, "contract-threshold": 17, "edge-blur": true,
            "mask-blur-radius": 23, "mask-blur-value": 81, "skin-hue": -50, "blue-hue": 49,
            "despill-gray": 11, "despill-skin": 12, "despill-blue": 13, "screen-gain": 99})");
    Settings expected = FromJson(look.dump(), "look");
    std::string options;
    for (const auto& [name, value] : look.items()) {
        options += value == false ? " --no-" + name : " --" + name;
        if (value.is_string()) options += ' ' + value.get<std::string>();
        if (value.is_number()) options += ' ' + value.dump();
    }
    Run("key in.png out.png --save-preset look.json" + options);
    EXPECT_EQ(ReadPreset("look.json"), expected);
    EXPECT_EQ(media::ReadFrame("out.png", 1).pixels, Keyed(expected, source_));
    expected.shadow = 90;
    expected.contractMask = 5;
    expected.smoothBG = true;
    const std::string key = "key in.png out.png --preset look.json ";
    EXPECT_EQ(SettingsIn(Json(key + "--shadow 90 --contract-mask 5 --smooth-bg")), expected);
    EXPECT_NE(Json(key + "--key-color auto")["key-color"], "#40b838");
}

TEST_F(CommandTest, TakesEveryFormOfKeyColor) {
    Write("s.7.png", source_);
    media::Frame grey = Picture(8);
    std::fill(grey.pixels.begin(), grey.pixels.end(), 257 * 0x75);
    Write("s.8.png", grey);
    const Color spot = AverageColor(64, 48, source_.pixels.data(), 8, 10, 9);
    const std::string key = "key s.#.png o.%04d.png --frames 7 --key-color ";
    EXPECT_EQ(Json(key + "0.2,0.8,0.002")["key-color"], "#33cc01");
    EXPECT_EQ(Json(key + "8,10")["key-color"], HexText(spot));
    EXPECT_EQ(Json(key + "8,10@8")["key-color"], "#757575");
    EXPECT_TRUE(fs::exists("o.0007.png"));
    EXPECT_FALSE(fs::exists("o.0008.png"));
}

// Expected values in long double, rounded once.
TEST_F(CommandTest, CompositesExactly) {
    Write("back.png", Picture(3));
    Settings settings;
    settings.keyColor = ParseHexColor("#40b838").value();
    const std::vector<std::uint16_t> result = Keyed(settings, source_);
    std::vector<std::uint16_t> plain;
    for (int i = 0; i < 64 * 48; ++i) plain.insert(plain.end(), {61680, 8224, 4112, 65535});
    for (const auto& [behind, back] :
         {std::pair{"back.png", Picture(3).pixels}, {"#1020f0", plain}}) {
        Run("key in.png over.png --key-color #40b838 --background " + std::string(behind));
        EXPECT_FALSE(media::Open("over.png")->info().hasAlpha);
        const std::vector<std::uint16_t> over = media::ReadFrame("over.png", 1).pixels;
        ASSERT_EQ(over.size(), result.size());
        for (std::size_t i = 0; i < over.size(); ++i) {
            const long double alpha = i % 4 == 3 ? 0 : result[i / 4 * 4 + 3] / 65535.0L;
            const long double exact = result[i] * alpha + back[i] * (1 - alpha);
            ASSERT_EQ(over[i], std::floor(exact + 0.5L)) << behind << " element " << i;
        }
    }
}

TEST_F(CommandTest, HighlightsComeBackInTheResultOnly) {
    OIIO::ImageBuf lamp(OIIO::ImageSpec(33, 33, 3, OIIO::TypeDesc::FLOAT));
    OIIO::ImageBufAlgo::fill(lamp, {0, 0.4f, 0});
    lamp.setpixel(16, 16, {6, 5, 4});
    ASSERT_TRUE(lamp.write("lamp.exr"));
    for (const auto& [view, expected] :
         {std::pair{"result", std::vector<float>{6, 5, 4}}, {"matte", {1, 1, 1}}}) {
        const std::string output = view + std::string(".exr");
        Run("key lamp.exr " + output + " --view " + view);
        std::vector<float> middle(3);
        OIIO::ImageBuf(output).getpixel(16, 16, 0, middle.data(), 3);
        EXPECT_EQ(middle, expected);
    }
}

TEST_F(CommandTest, VideoComesOutInOrderForAnyThreadCount) {
    Settings settings;
    settings.keyColor = ParseHexColor("#30b030").value();
    for (const std::string threads : {"1", "3"}) {
        Run("key ../samples/clip.mp4 out.mkv --key-color #30b030 --frames 20-23 --threads " +
            threads);
        const auto out = media::Open("out.mkv");
        EXPECT_EQ(out->info().frameRate.num, 24 * out->info().frameRate.den);
        const auto source =
            media::Open("../samples/clip.mp4", {.frames = media::FrameRange{20, 23}});
        while (const auto fetched = source->Fetch()) {
            const auto keyed = out->Fetch();
            ASSERT_NE(keyed, nullptr);
            EXPECT_EQ(out->Decode(*keyed).pixels, Keyed(settings, source->Decode(*fetched)));
        }
        EXPECT_EQ(out->Fetch(), nullptr);
    }
    EXPECT_EQ(Files("."), (std::set<fs::path>{"./in.png", "./out.mkv"}));
}

}  // namespace
}  // namespace veltrane
