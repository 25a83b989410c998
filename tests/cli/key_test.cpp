#include <OpenImageIO/imageio.h>

#include <cmath>

#include "command.h"
#include "settings/presets.h"
#include "settings/screen_color.h"

namespace veltrane {
namespace {

class KeyTest : public CommandTest {
protected:
    KeyTest() : source_(Picture(64, 48)) { Write(input_, source_); }

    Outcome KeyStill(Arguments more) const {
        more.insert(more.begin(), {"key", input_, output_});
        return Succeed(more);
    }

    media::Frame source_;
    std::string input_ = Path("in.png");
    std::string output_ = Path("out.png");
};

TEST_F(KeyTest, WritesWhatTheLibraryMakes) {
    Settings settings;
    settings.keyColor = FindScreenColor(64, 48, source_.pixels.data())->color;
    const Outcome found = KeyStill({"--json"});
    EXPECT_EQ(media::ReadFrame(output_, 1).pixels, KeyedByLibrary(settings, source_).pixels);
    EXPECT_NE(found.error.find("key colour " + HexText(settings.keyColor) + " found on "),
              std::string::npos);
    const nlohmann::json summary = found.json();
    EXPECT_EQ(summary["frames"], 1);
    EXPECT_EQ(summary["key-color"], HexText(settings.keyColor));
    EXPECT_GT(summary["screen-coverage"], 0.5);
    EXPECT_EQ(FromJson(summary["settings"].dump(), ""), settings);

    settings.view = View::Matte;
    settings.shadow = 40;
    settings.edgeBlur = true;
    settings.maskBlurRadius = 5;
    settings.skinHue = -20;
    KeyStill({"--view", "matte", "--shadow", "40", "--edge-blur", "--mask-blur-radius", "5",
              "--skin-hue", "-20"});
    EXPECT_EQ(media::ReadFrame(output_, 1).pixels, KeyedByLibrary(settings, source_).pixels);

    const Outcome quiet = KeyStill({"--view", "source", "--quiet"});
    EXPECT_EQ(media::ReadFrame(output_, 1).pixels, source_.pixels);
    EXPECT_EQ(quiet.error + quiet.out, "");
}

// No two options are given the same value, so that none can stand in for another.
TEST_F(KeyTest, EveryOptionReachesItsSetting) {
    const Arguments sets[] = {
        {"--view", "matte", "--no-smooth-bg", "--shadow", "61", "--clip-black", "7", "--clip-white",
         "93", "--deblocking", "--deblock-value", "4", "--edge-contract", "--contract-mask", "3",
         "--contract-threshold", "17"},
        {"--view",      "source",
         "--smooth-bg", "--no-deblocking",
         "--edge-blur", "--mask-blur-radius",
         "23",          "--mask-blur-value",
         "81",          "--skin-hue",
         "-50",         "--blue-hue",
         "49",          "--despill-gray",
         "11",          "--despill-skin",
         "12",          "--despill-blue",
         "13",          "--screen-gain",
         "99"}};
    for (const Arguments& given : sets) {
        Settings expected;
        expected.keyColor = ParseHexColor("#40b838").value();
        for (std::size_t i = 0; i < given.size(); ++i) {
            const bool off = given[i].starts_with("--no-");
            const Parameter* row = FindParameter(given[i].substr(off ? 5 : 2));
            ASSERT_NE(row, nullptr) << given[i];
            int value = off ? 0 : 1;
            if (row->kind == ParameterKind::Integer) value = std::stoi(given[++i]);
            if (row->kind == ParameterKind::Choice) value = given[++i] == "matte" ? 1 : 0;
            SetValue(expected, *row, value);
        }
        Arguments more{"--key-color", "#40b838", "--save-preset", Path("look.json")};
        more.insert(more.end(), given.begin(), given.end());
        KeyStill(more);
        EXPECT_EQ(ReadPreset(Path("look.json")), expected);
    }
}

TEST_F(KeyTest, OptionsOverrideThePreset) {
    Settings preset;
    preset.shadow = 30;
    preset.despillBlue = 70;
    preset.edgeContract = true;
    preset.keyColor = ParseHexColor("#22c044").value();
    WritePreset(Path("a.json"), preset);
    const auto keyedWith = [&](Arguments more) {
        more.insert(more.end(), {"--preset", Path("a.json"), "--json"});
        return FromJson(KeyStill(more).json()["settings"].dump(), "");
    };
    EXPECT_EQ(keyedWith({}), preset);
    preset.shadow = 90;
    preset.contractMask = 3;
    preset.keyColor = ParseHexColor("#00ff00").value();
    EXPECT_EQ(keyedWith({"--shadow", "90", "--contract-mask", "3", "--key-color", "#00ff00"}),
              preset);
    EXPECT_NE(keyedWith({"--key-color", "auto"}).keyColor, preset.keyColor);
}

TEST_F(KeyTest, TakesEveryFormOfKeyColor) {
    const auto keyColor = [&](const std::string& text) {
        return KeyStill({"--key-color", text, "--json"}).json()["key-color"];
    };
    EXPECT_EQ(keyColor("#22BB44"), "#22bb44");
    EXPECT_EQ(keyColor("0.2,0.8,0.002"), "#33cc01");
    const Color spot = AverageColor(64, 48, source_.pixels.data(), 8, 10, 9);
    EXPECT_EQ(keyColor("8,10@1"), HexText(spot));
    EXPECT_EQ(keyColor("8,10"), HexText(spot));
    const Color corner = AverageColor(64, 48, source_.pixels.data(), 63, 0, 9);
    EXPECT_EQ(keyColor("63,0@1"), HexText(corner));
}

TEST_F(KeyTest, TakesTheColourFromAnotherFrame) {
    media::Frame other = source_;
    for (std::size_t i = 0; i < other.pixels.size(); i += 4) other.pixels[i] = 257 * 20;
    Write(Path("s.0007.png"), source_);
    other.number = 8;
    Write(Path("s.0008.png"), other);
    const Outcome outcome = Succeed({"key", Path("s.####.png"), Path("o.%04d.png"), "--frames", "7",
                                     "--key-color", "8,10@8", "--json"});
    EXPECT_EQ(outcome.json()["key-color"],
              HexText(AverageColor(64, 48, other.pixels.data(), 8, 10, 9)));
    EXPECT_TRUE(fs::exists(Path("o.0007.png")));
    EXPECT_FALSE(fs::exists(Path("o.0008.png")));
}

// Expected values in long double, rounded once.
TEST_F(KeyTest, CompositesExactly) {
    const media::Frame background = Picture(64, 48, 3);
    Write(Path("back.png"), background);
    KeyStill({"--key-color", "#40b838"});
    const media::Frame result = media::ReadFrame(output_, 1);
    const Color plain{0x10 / 255.0, 0x20 / 255.0, 0xf0 / 255.0};
    for (const std::string& behind : {Path("back.png"), std::string("#1020f0")}) {
        KeyStill({"--key-color", "#40b838", "--background", behind});
        const media::Frame over = media::ReadFrame(output_, 1);
        ASSERT_EQ(over.pixels.size(), result.pixels.size());
        const long double colour[3] = {plain.blue * 65535, plain.green * 65535, plain.red * 65535};
        for (std::size_t i = 0; i < over.pixels.size(); ++i) {
            if (i % 4 == 3) {
                ASSERT_EQ(over.pixels[i], 65535);
                continue;
            }
            const long double alpha = result.pixels[i / 4 * 4 + 3] / 65535.0L;
            const long double back = behind[0] == '#' ? colour[i % 4] : background.pixels[i];
            const long double exact = result.pixels[i] * alpha + back * (1 - alpha);
            ASSERT_EQ(over.pixels[i], std::floor(exact + 0.5L)) << "element " << i;
        }
    }
}

/// Red, green and blue of the pixel in the middle of a float picture.
std::vector<float> Middle(const std::string& path) {
    const auto file = OIIO::ImageInput::open(path);
    const int channels = file->spec().nchannels;
    std::vector<float> all(std::size_t(file->spec().width) * file->spec().height * channels);
    file->read_image(0, 0, 0, channels, OIIO::TypeDesc::FLOAT, all.data());
    const auto middle = all.begin() + std::ptrdiff_t(all.size() / channels / 2 * channels);
    return {middle, middle + 3};
}

TEST_F(KeyTest, HighlightsComeBackInTheResultOnly) {
    constexpr int kSide = 33;
    std::vector<float> pixels;
    for (int i = 0; i < kSide * kSide; ++i)
        pixels.insert(pixels.end(), i == kSide * kSide / 2
                                        ? std::initializer_list<float>{6, 5, 4}
                                        : std::initializer_list<float>{0, .4f, 0});
    const auto file = OIIO::ImageOutput::create("exr");
    file->open(Path("lamp.exr"), OIIO::ImageSpec(kSide, kSide, 3, OIIO::TypeDesc::FLOAT));
    file->write_image(OIIO::TypeDesc::FLOAT, pixels.data());
    file->close();
    const Arguments key{"key", Path("lamp.exr"), Path("out.exr")};
    Succeed(key);
    EXPECT_EQ(Middle(Path("out.exr")), (std::vector<float>{6, 5, 4}));
    Arguments matte = key;
    matte.insert(matte.end(), {"--view", "matte"});
    Succeed(matte);
    EXPECT_EQ(Middle(Path("out.exr")), (std::vector<float>{1, 1, 1}));
}

TEST_F(KeyTest, AnyThreadCountGivesTheSameFiles) {
    for (const std::string threads : {"1", "3"}) {
        fs::create_directory(Path(threads));
        Succeed({"key", Sample("clip.mp4"), Path(threads + "/f.%02d.png"), "--frames", "5-9",
                 "--threads", threads});
    }
    ASSERT_EQ(Files("1").size(), 5u);
    EXPECT_EQ(Files("1"), Files("3"));
    for (int number = 5; number <= 9; ++number) {
        const std::string name = "/f.0" + std::to_string(number) + ".png";
        EXPECT_EQ(media::ReadFrame(Path("1" + name), 1).pixels,
                  media::ReadFrame(Path("3" + name), 1).pixels)
            << name;
    }
}

TEST_F(KeyTest, VideoComesOutWholeWithItsAlpha) {
    Settings settings;
    settings.keyColor = ParseHexColor("#30b030").value();
    Succeed(
        {"key", Sample("clip.mp4"), Path("out.mkv"), "--frames", "2-4", "--key-color", "#30b030"});
    const auto sourceReader = media::Open(Sample("clip.mp4"), {.frames = media::FrameRange{2, 4}});
    const auto resultReader = media::Open(Path("out.mkv"));
    EXPECT_EQ(resultReader->info().frameRate.num, 24 * resultReader->info().frameRate.den);
    int frames = 0;
    while (const auto fetched = resultReader->Fetch()) {
        const media::Frame expected =
            KeyedByLibrary(settings, sourceReader->Decode(*sourceReader->Fetch()));
        EXPECT_EQ(resultReader->Decode(*fetched).pixels, expected.pixels) << "frame " << frames;
        ++frames;
    }
    EXPECT_EQ(frames, 3);
    EXPECT_EQ(Files(""), (std::vector<std::string>{"in.png", "out.mkv"}));
}

}  // namespace
}  // namespace veltrane
