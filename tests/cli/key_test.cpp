#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <chrono>
#include <cmath>
#include <thread>
#include <tuple>

#include "command.h"
#include "imaging/cpu/cpu.h"
#include "settings/screen_color.h"
#include "tests/settings/unusual_look.h"

namespace veltrane {
namespace {

Settings SettingsIn(const nlohmann::json& summary) {
    return FromJson(summary["settings"].dump(), "summary");
}

TEST_F(CommandTest, KeysAsTheLibraryDoesWithTheColourFound) {
    Settings settings;
    settings.keyColor = FindScreenColor(64, 48, source_.pixels.data())->color;
    const nlohmann::json summary = Json("key in.png out.png --defaults");
    EXPECT_EQ(media::ReadFrame("out.png", 1).pixels, Keyed(settings, source_));
    EXPECT_EQ(summary["frames"], 1);
    EXPECT_GT(summary["screen-coverage"], 0.5);
    double total = 0;
    for (const char* step : {"fetch", "decode", "key", "encode", "append"})
        total += summary["seconds-by-step"][step].get<double>();
    EXPECT_GT(summary["seconds-by-step"]["key"], 0);
    EXPECT_LE(total, summary["seconds"].get<double>() * std::thread::hardware_concurrency());
    EXPECT_EQ(SettingsIn(summary), settings);
    const Outcome quiet = Run("key in.png out.png --view source --quiet");
    EXPECT_EQ(media::ReadFrame("out.png", 1).pixels, source_.pixels);
    EXPECT_EQ(quiet.error + quiet.out, "");
}

TEST_F(CommandTest, OptionsReachTheirSettingsAndOverrideThePreset) {
    Settings expected = UnusualLook();
    expected.view = View::Matte;
    expected.smoothBG = false;
    const auto look = nlohmann::json::parse(ToJson(expected));
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
    EXPECT_NE(Json(key + "--key-color auto")["key-color"], look["key-color"]);
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
    EXPECT_EQ(Json("pick s.#.png --frame 8 --at 8,10")["key-color"], "#757575");
    EXPECT_TRUE(fs::exists("o.0007.png"));
    EXPECT_FALSE(fs::exists("o.0008.png"));
}

TEST_F(CommandTest, GoesByTheScreenThatItFinds) {
    const auto exchange = [](media::Pixels& pixels) {
        for (std::size_t i = 0; i < pixels.size(); i += 4) std::swap(pixels[i], pixels[i + 1]);
    };
    media::Frame blue = source_;
    exchange(blue.pixels);
    Write("blue.png", blue);
    const auto found = FindScreenColor(64, 48, blue.pixels.data()).value();
    Settings settings;
    settings.keyColor = found.color;
    settings.screen = Screen::Blue;
    const Outcome outcome = Run("key blue.png out.png --defaults --save-preset blue.json");
    EXPECT_EQ(media::ReadFrame("out.png", 1).pixels, Keyed(settings, blue));
    EXPECT_PRED_FORMAT2(testing::IsSubstring, HexText(found.color) + " of a blue screen, found on",
                        outcome.error);
    EXPECT_EQ(ReadPreset("blue.json"), settings);
    EXPECT_EQ(Json("pick blue.png")["screen"], "blue");
    EXPECT_EQ(Json("pick in.png --screen green")["screen"], "green");
    // A preset's screen, the hue of a key colour, and the option, each before the one before it;
    // a hue between the two says nothing.
    const auto screenOf = [&](const std::string& options) {
        return SettingsIn(Json("key blue.png o.png --quiet " + options)).screen;
    };
    EXPECT_EQ(screenOf("--key-color #20c8c8"), Screen::Green);
    EXPECT_EQ(screenOf("--preset blue.json --key-color #20c8c8"), Screen::Blue);
    EXPECT_EQ(screenOf("--preset blue.json --key-color #20c840"), Screen::Green);
    EXPECT_EQ(screenOf("--preset blue.json --key-color #20c8c8 --screen green"), Screen::Green);
    EXPECT_EQ(screenOf("--preset blue.json --key-color auto"), Screen::Blue);
    Run("key in.png out.png --preset blue.json --key-color auto", 1);
    Run("key in.png out.png --preset blue.json --key-color auto --screen auto");
    EXPECT_EQ(screenOf("--view source --screen blue"), Screen::Blue);
    std::ofstream("look.json") << R"({"shadow": 80})";
    EXPECT_EQ(screenOf("--preset look.json"), Screen::Blue);
}

// Expected values in long double, rounded once.
TEST_F(CommandTest, CompositesExactly) {
    Write("back.png", Picture(3));
    const media::Pixels result = Keyed(green_, source_);
    media::Pixels plain;
    for (int i = 0; i < 64 * 48; ++i) plain.insert(plain.end(), {61680, 8224, 4112, 65535});
    for (const auto& [behind, back] :
         {std::pair{"back.png", Picture(3).pixels}, {"#1020f0", plain}}) {
        media::Pixels over;
        for (std::size_t i = 0; i < back.size(); ++i) {
            const long double alpha = i % 4 == 3 ? 0 : result[i / 4 * 4 + 3] / 65535.0L;
            over.push_back(std::floor(result[i] * alpha + back[i] * (1 - alpha) + 0.5L));
        }
        Run("key in.png over.png --key-color #40b838 --background " + std::string(behind));
        EXPECT_EQ(media::ReadFrame("over.png", 1).pixels, over) << behind;
        EXPECT_FALSE(media::Open("over.png")->info().hasAlpha);
    }
}

TEST_F(CommandTest, FillAndMatteGoToFilesOfTheirOwn) {
    WriteFrames(3);
    const std::string key = "key f.#.png fill.#.png --matte-to matte.#.png --key-color #40b838";
    EXPECT_EQ(Json(key)["matte"], "matte.#.png");
    for (int i = 1; i <= 3; ++i) {
        auto fill = Keyed(green_, Picture(i)), matte = fill;
        for (std::size_t p = 0; p < fill.size(); p += 4) {
            std::fill_n(&matte[p], 3, fill[p + 3]);
            fill[p + 3] = matte[p + 3] = 65535;
        }
        EXPECT_EQ(media::ReadFrame("fill.#.png", i).pixels, fill);
        EXPECT_EQ(media::ReadFrame("matte.#.png", i).pixels, matte);
    }
    EXPECT_FALSE(media::Open("fill.1.png")->info().hasAlpha);
    Run(key + " --alpha premultiplied");
    const auto keyedFirst = Keyed(green_, Picture(1));
    const auto multiplied = media::ReadFrame("fill.#.png", 1).pixels;
    for (std::size_t p = 0; p < keyedFirst.size(); ++p)
        if (p % 4 != 3) {
            const double product = 1.0 * keyedFirst[p] * keyedFirst[p | 3] / 65535;
            ASSERT_EQ(multiplied[p], std::floor(product + 0.5));
        }
    fs::remove("matte.2.png");
    const nlohmann::json resumed = Json(key + " --resume");
    EXPECT_EQ(std::tuple(resumed["frames"], resumed["kept"]), std::tuple(1, 2));
    Run("key f.#.png fill.mp4 --matte-to matte.mp4");
    for (const char* video : {"fill.mp4", "matte.mp4"})
        EXPECT_EQ(media::ReadFrame(video, 3).width, 64) << video;
    // A matte is no colour that a curve belongs to.
    Run("key f.1.png fill.exr --matte-to matte.exr --key-color #40b838");
    OIIO::ImageBuf matte("matte.exr");
    const auto keyed = Keyed(green_, Picture(1));
    for (int x = 0; x < 64; ++x)
        EXPECT_EQ(matte.getchannel(x, 20, 0, 0), keyed[(20 * 64 + x) * 4 + 3] / 65535.0F) << x;
}

TEST_F(CommandTest, HighlightsComeBackInTheResultOnly) {
    OIIO::ImageBuf lamp(OIIO::ImageSpec(33, 33, 3, OIIO::TypeDesc::FLOAT));
    OIIO::ImageBufAlgo::fill(lamp, {0, 0.4f, 0});
    lamp.setpixel(16, 16, {6, 5, 4});
    ASSERT_TRUE(lamp.write("lamp.exr"));
    for (const auto& [view, expected] :
         {std::pair{"result", std::vector<float>{6, 5, 4}}, {"matte", {1, 1, 1}}}) {
        const std::string output = std::string("lamp-") + view + ".exr";
        Run("key lamp.exr " + output + " --view " + view);
        std::vector<float> middle(3);
        OIIO::ImageBuf(output).getpixel(16, 16, 0, middle.data(), 3);
        EXPECT_EQ(middle, expected);
    }
}

TEST_F(CommandTest, MattesAreRightInTheLightOfTheOutput) {
    media::Frame soft = source_;  // something dark grey, ever more of it to the right
    for (std::size_t i = 0; i < soft.pixels.size(); ++i)
        if (i % 4 != 3 && i / 4 > 64 * 20) soft.pixels[i] -= soft.pixels[i] / 90 * (i / 4 % 64);
    Write("soft.png", soft);
    Settings linear = green_;
    linear.matteLight = MatteLight::Linear;
    const auto display = Keyed(green_, soft), forLight = Keyed(linear, soft);
    EXPECT_NE(display, forLight);
    for (const auto& [output, expected] : {std::pair{"o.exr --matte-light auto", forLight},
                                           {"o.png --matte-light auto", display},
                                           {"o.exr", display},
                                           {"o.exr --matte-light auto --transfer none", display},
                                           {"o.png --matte-light linear", forLight}}) {
        Run(std::string("key soft.png --key-color #40b838 ") + output);
        const media::Frame keyed = media::ReadFrame(std::string(output, 5), 1);
        for (std::size_t i = 3; i < expected.size(); i += 4)
            ASSERT_EQ(keyed.pixels[i], expected[i]) << output << i;
    }
    // The command itself composites display-referred values.
    Run("key soft.png over.exr --key-color #40b838 --background #808080 --matte-light auto");
    Run("key soft.png same.exr --key-color #40b838 --background #808080");
    EXPECT_EQ(media::ReadFrame("over.exr", 1).pixels, media::ReadFrame("same.exr", 1).pixels);
}

TEST_F(CommandTest, VideoComesOutInOrderForAnyThreadCount) {
    WriteFrames(40);
    for (const std::string threads : {"1", "4"}) {
        Run("key f.#.png out.mkv --frames 3-39 --key-color #40b838 --threads " + threads);
        for (int i = 1; i <= 37; ++i)
            EXPECT_EQ(media::ReadFrame("out.mkv", i).pixels, Keyed(green_, Picture(2 + i)));
        EXPECT_THROW(media::ReadFrame("out.mkv", 38), media::Error);
    }
}

TEST_F(CommandTest, EveryInstructionSetWritesTheSameFile) {
    Write("large.png", Picture(1, 203, 117));
    const auto key = [&](const std::string& options) {
        const nlohmann::json summary = Json("key large.png out.mov " + options);
        return std::pair{summary["cpu"].get<std::string>(), Contents("out.mov")};
    };
    const auto [best, expected] = key("");
    EXPECT_EQ(best, CpuLevelName(CpuLevels().back()));
    for (const CpuLevel level : CpuLevels()) {
        const std::string name(CpuLevelName(level));
        const auto [used, file] = key("--cpu " + name);
        EXPECT_EQ(used, name);
        EXPECT_TRUE(file == expected) << name;
    }
    setenv("VELTRANE_CPU", "plain", 1);
    EXPECT_EQ(key("").first, "plain");
    EXPECT_EQ(key("--cpu " + best).first, best);
    setenv("VELTRANE_CPU", "486", 1);
    ExpectRefused(2, "key in.png out.png", {"cpu must be plain"});
    Run("params");
    unsetenv("VELTRANE_CPU");
}

// Exit status, what the one line says, arguments.
constexpr std::tuple<int, const char*, const char*> kRefusals[] = {
    {2, "name what to do", ""},
    {2, "OUTPUT is required", "key in.png"},
    {2, "--shadwo", "key in.png o.png --shadwo 1"},
    {2, "shadow must be 0 to 100, not 140", "key in.png o.png --shadow 140"},
    {2, "shadow must be a whole number from 0 to 100, not 1.5", "key in.png o.png --shadow 1.5"},
    {2, "view must be source|matte|result", "key in.png o.png --view alpha"},
    {2, "has no effect without --edge-blur", "key in.png o.png --mask-blur-value 4"},
    {2, "threads must be 1 to 512, not 0", "key in.png o.png --threads 0"},
    {2, "transfer must be auto|linear|none, not log", "key in.png o.png --transfer log"},
    {2, "compression must be none|rle|zips|zip|piz|dwaa[:LEVEL]|dwab[:LEVEL]|lzw, not gzip",
     "key in.png o.exr --compression gzip"},
    {2, "compression has levels of 1 to 1000 for dwaa and dwab alone, not zip:4",
     "key in.png o.exr --compression zip:4"},
    {1, "o.png: cannot be compressed by piz; its format leaves no choice",
     "key in.png o.png --compression piz"},
    {2, "frames must be a number or a range such as 10-50", "key in.png o.png --frames 3-x"},
    {2, "chunk must be I/N with I from 1 to N and N up to 9999, not 3/2",
     "key in.png o.%d.png --chunk 3/2"},
    {2, "chunk auto needs VELTRANE_CHUNK, a task of a Slurm array",
     "key in.png o.%d.png --chunk auto"},
    {2, "--chunk is for sequences and videos, and o.png is one picture",
     "key in.png o.png --chunk 1/1"},
    {2, "o.webm cannot be put together from chunks", "key in.png o.webm --chunk 1/1"},
    {2, "o.mp4 is neither a sequence nor mov or mkv", "merge o.mp4"},
    {1, "o.mov.parts/shot.json: no such file: no chunk of o.mov was begun", "merge o.mov"},
    {75, "none.png: cannot be seen from this machine", "key none.png o.mov --chunk 1/2"},
    {75, "missing/o.mov: its folder cannot be seen", "key in.png missing/o.mov --chunk 1/2"},
    {2, "frames must not end before they begin: 9-3", "key in.png o.png --frames 9-3"},
    {2, "fps must be above 0 and at most 1000, not 0", "key in.png o.png --fps 0"},
    {2, "--fps is for stills", "key ../samples/clip.mp4 o.mov --fps 25"},
    {2, "background must be an image or #rrggbb, not #12", "key in.png o.png --background #12"},
    {2, "--resume is for sequences", "key in.png o.png --resume"},
    {2, "key-color must be auto, #rrggbb", "key in.png o.png --key-color green"},
    {2, "key-color must be auto, #rrggbb", "key in.png o.png --key-color 4,4@"},
    {2, "key-color blue must be 0 to 1, not 1.5", "key in.png o.png --key-color 0,0,1.5"},
    {2, "64,0 lies outside the frame of 64 x 48", "key in.png o.png --key-color 64,0@1"},
    {2, "not 486", "key in.png o.png --cpu 486"},
    {2, "bad.json: unknown setting \"shadwo\"", "key in.png o.png --preset bad.json"},
    {1, "none.json: cannot be read", "key in.png o.png --preset none.json"},
    {1, "missing/o.json: cannot be written",
     "key in.png o.png --quiet --save-preset missing/o.json"},
    {1, "grey.png: no green or blue screen found in frame 1", "key grey.png o.png"},
    {1, "in.png: no blue screen found in frame 1", "key in.png o.png --screen blue"},
    {2, "screen must be auto|green|blue, not red", "key in.png o.png --screen red"},
    {2, "key-color #2040c0 is that of a blue screen, but --screen is green",
     "key in.png o.png --key-color #2040c0 --screen green"},
    {2, "of a green screen, but --screen is blue", "pick in.png --at 4,4 --screen blue"},
    {1, "o.jpg: jpg cannot hold alpha", "key in.png o.jpg"},
    {1, "o.mp4: mp4 (H.264) cannot hold alpha", "key in.png o.mp4"},
    {1, "o.gif", "key in.png o.gif"},
    {1, "missing/o.png", "key in.png missing/o.png"},
    {1, "none.png", "key none.png o.png"},
    {1, "text.png", "key text.png o.png"},
    {1, "cut.mkv: truncated after frame 3; o.mkv was not written",
     "key cut.mkv o.mkv --key-color #00a020 --quiet"},
    {1, "f.#.png: frames are missing: 3, 5", "key f.#.png o.%04d.png"},
    {1, "f.#.png: frames are missing: 3, 5", "demo d --sample f.#.png"},
    {1, "text.txt: is no image or video", "key text.txt o.png"},
    {1, "/dev/zero: is a pipe or a device", "info /dev/zero"},
    {1, ".: is a folder", "pick ."},
    {1, "garbage matte small.png: is 32 x 48, and the shot 64 x 48",
     "key in.png o.png --garbage small.png"},
    {1, "clean plate small.png: is 32 x 48, and the shot 64 x 48",
     "key in.png o.png --clean-plate small.png"},
    {1, "clean plate grey.png: shows no screen; 0.0 % of it looks like #40b838",
     "key in.png o.png --clean-plate grey.png --key-color #40b838 --quiet"},
    {1, "none.png", "key in.png o.png --core none.png"},
    {1, "none.svg", "key in.png o.png --core none.svg"},
    {2, "grey.png is a source of this call", "key in.png grey.png --core grey.png"},
    {2, "in.png is a source of this call", "key in.png o.png --save-plate in.png"},
    {2, "--no-smooth-bg", "key in.png o.png --no-smooth-bg --clean-plate in.png"},
    {2, "--save-plate", "key in.png o.png --save-plate p.png --clean-plate in.png"},
    {2, "--match-plate needs a --clean-plate", "key in.png o.png --match-plate"},
    {2, "--match-shade needs a --clean-plate", "key in.png o.png --match-shade"},
    {2, "o.png", "key in.png o.png --matte-to o.png"},
    {2, "in.png", "key in.png o.png --matte-to in.png"},
    {2, "--matte-to", "key in.png o.png --matte-to m.png --view matte"},
    {2, "--matte-to", "key in.png o.png --matte-to m.png --background #000000"},
    {2, "--resume", "key in.png o.%d.png --matte-to m.png --resume"},
};

TEST_F(CommandTest, RefusesInOneLineAndWritesNothing) {
    WriteFrames(6);
    Run("key f.#.png cut.mkv --background #00a020 --fps 29.97");
    EXPECT_EQ(media::Open("cut.mkv")->info().frameRate.den, 1001);
    fs::resize_file("cut.mkv", fs::file_size("cut.mkv") * 6 / 10);
    fs::remove("f.3.png");
    fs::remove("f.5.png");
    std::ofstream("text.png") << "no picture";
    std::ofstream("text.txt") << std::string(100000, 'x');
    std::ofstream("bad.json") << R"({"shadwo": 1})";
    media::Frame grey = source_;
    std::fill(grey.pixels.begin(), grey.pixels.end(), 30000);
    Write("grey.png", grey);
    Write("small.png", Picture(1, 32, 48));
    for (const auto& [status, message, arguments] : kRefusals)
        ExpectRefused(status, arguments, {message});
}

TEST_F(CommandTest, ABadFrameLeavesTheFinishedOnesAndResumeDoesTheRest) {
    WriteFrames(6);
    Write("f.5.png", Picture(5, 32));
    const std::string key = "key f.#.png o.#.png --key-color #40b838";
    const std::string error = Run(key + " --threads 1", 1).error;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "f.5.png: is 32x48", error);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "; frames whole before it: 4\n", error);
    EXPECT_FALSE(fs::exists("o.5.png"));

    Write("f.5.png", Picture(5));
    const auto time = fs::last_write_time("o.4.png") - std::chrono::hours(1);
    fs::last_write_time("o.4.png", time);
    fs::remove("o.2.png");
    fs::resize_file("o.3.png", fs::file_size("o.3.png") / 2);
    const nlohmann::json summary = Json(key + " --resume --frames 2-");
    EXPECT_EQ(summary["frames"], 4);
    EXPECT_EQ(summary["kept"], 1);
    EXPECT_EQ(fs::last_write_time("o.4.png"), time);
    for (int i = 1; i <= 6; ++i)
        EXPECT_EQ(media::ReadFrame("o." + std::to_string(i) + ".png", 1).pixels,
                  Keyed(green_, Picture(i)));
}

}  // namespace
}  // namespace veltrane
