#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>

#include "command.h"
#include "settings/tune/tune.h"

namespace veltrane {
namespace {

using nlohmann::json;

class TuneCommandTest : public CommandTest {
protected:
    /// How far a keyed sample's matte lies from its true coverage, 0..1 in the mean.
    static double ErrorOf(const std::string& keyed, const std::string& sample) {
        const media::Pixels matte = media::ReadFrame(keyed, 1).pixels;
        const media::Pixels truth =
            media::ReadFrame("../samples/" + sample + "-matte.png", 1).pixels;
        double sum = 0;
        for (std::size_t i = 0; i < matte.size(); i += 4)
            sum += std::abs(matte[i + 3] - double(truth[i]));
        return sum / 65535 / double(matte.size() / 4);
    }

    /// How far two keys' colours lie apart where the subject is solid, 0..1 in the mean.
    static double ColorsApart(const std::string& one, const std::string& other,
                              const std::string& sample) {
        const media::Pixels a = media::ReadFrame(one, 1).pixels;
        const media::Pixels b = media::ReadFrame(other, 1).pixels;
        const media::Pixels truth =
            media::ReadFrame("../samples/" + sample + "-matte.png", 1).pixels;
        double sum = 0, count = 0;
        for (std::size_t i = 0; i < a.size(); ++i) {
            if (i % 4 == 3 || truth[i] != 65535) continue;
            sum += std::abs(a[i] - double(b[i]));
            ++count;
        }
        return sum / 65535 / count;
    }

    /// What the library finds in these frames.
    static Settings Found(const std::vector<media::Frame>& frames,
                          const TuneRequest& request = {}) {
        ShotTuner tuner(frames[0].width, frames[0].height, request);
        for (const media::Frame& frame : frames) tuner.Look(frame.pixels.data());
        return tuner.Find().settings;
    }

    static Settings SettingsIn(const json& summary) {
        return FromJson(summary["settings"].dump(), "summary");
    }
};

TEST_F(TuneCommandTest, PresetsFoundKeyTheSamplesBetterThanNone) {
    for (const std::string sample : {"green", "blue"}) {
        SCOPED_TRACE(sample);
        const std::string file = "../samples/" + sample + ".png";
        const json told = Json("tune " + file + " --save-preset found.json");
        Run("key " + file + " plain.png --defaults");
        Run("key " + file + " tuned.png");
        EXPECT_LT(ErrorOf("tuned.png", sample), 0.9 * ErrorOf("plain.png", sample));
        EXPECT_LT(ColorsApart("tuned.png", "plain.png", sample), 0.005);
        EXPECT_LT(told["error-after"], told["error-before"]);
        EXPECT_NEAR(told["screen"].get<double>() + told["subject"].get<double>() +
                        told["unknown"].get<double>(),
                    1, 1e-9);
        const json key{{"key-color", told["settings"]["key-color"]}, {"screen", sample}};
        json expected = json::parse(ToJson(FromJson(key.dump(), "")));
        for (const auto& [name, slider] : told["sliders"].items()) {
            EXPECT_EQ(expected[name], slider["from"]);
            expected[name] = slider["to"];
        }
        const Settings found = FromJson(expected.dump(), "");
        EXPECT_EQ(SettingsIn(told), found);
        EXPECT_EQ(ReadPreset("found.json"), found);
    }
}

TEST_F(TuneCommandTest, LooksAllOverTheShotWhateverItIsStoredIn) {
    WriteFrames(12);
    const json told = Json("tune f.#.png --threads 1");
    EXPECT_EQ(told["frames"], json({1, 3, 6, 9, 12}));
    EXPECT_EQ(SettingsIn(told),
              Found({Picture(1), Picture(3), Picture(6), Picture(9), Picture(12)}));
    EXPECT_EQ(Run("tune f.#.png --threads 1 --json").out,
              Run("tune f.#.png --threads 3 --json").out);
    EXPECT_EQ(Json("tune f.#.png --frames-to-look-at 1")["frames"], json({1}));
    EXPECT_EQ(Json("tune f.#.png --frames-to-look-at 20")["frames"].size(), 12);
    // Frames that lie apart in a long video are gone to.
    WriteFrames(260);
    Run("key f.#.png f.mov --view source");
    EXPECT_EQ(SettingsIn(Json("tune f.mov --frames-to-look-at 3")),
              Found({media::ReadFrame("f.mov", 1), media::ReadFrame("f.mov", 130),
                     media::ReadFrame("f.mov", 260)}));
    for (int i = 13; i <= 260; ++i) fs::remove("f." + std::to_string(i) + ".png");
    // Matroska does not tell how many frames there are.
    Run("key f.#.png f.mkv --view source");
    for (const int most : {1, 2, 3, 5, 12}) {
        const std::vector<int> frames =
            Json("tune f.mkv --frames-to-look-at " + std::to_string(most))["frames"];
        ASSERT_EQ(frames.size(), most);
        EXPECT_EQ(frames[0], 1);
        EXPECT_TRUE(std::ranges::is_sorted(frames, std::less_equal()));
        if (most > 1) {
            EXPECT_GE(frames.back(), 8);
        }
    }
}

TEST_F(TuneCommandTest, SaysWhatAShotDoesNotTell) {
    media::Frame black = Picture(3), empty = Picture(1);
    for (std::size_t i = 0; i < black.pixels.size(); ++i) black.pixels[i] = i % 4 == 3 ? 65535 : 0;
    for (int i = 0; i < 64 * 48; ++i)
        std::copy_n(&empty.pixels[i % 8 * 4], 4, &empty.pixels[i * 4]);
    Write("black.png", black);
    Write("empty.png", empty);
    WriteFrames(5);
    Write("f.3.png", black);
    EXPECT_EQ(Json("tune f.#.png")["frames-apart"], json({3}));
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "less than the others: 3\n",
                        Run("tune f.#.png").error);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "no subject", Run("tune empty.png").error);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "no subject",
                        Json("tune empty.png")["warnings"][0].get<std::string>());
    ExpectRefused(1, "tune black.png --save-preset p.json", {"black.png", "no green or blue"});
    ExpectRefused(1, "tune in.png --screen blue", {"in.png", "no blue screen"});
    ExpectRefused(1, "tune none.mov", {"none.mov", "no such file"});
    ExpectRefused(2, "tune in.png --frames-to-look-at 0", {"frames-to-look-at", "1", "100"});
    ExpectRefused(2, "tune in.png --save-preset in.png", {"in.png"});
}

TEST_F(TuneCommandTest, KeyFindsWhatIsNotGiven) {
    WriteFrames(9);
    const Settings whole = SettingsIn(Json("tune f.#.png"));
    const json some = Json("key f.#.png out.#.png --frames 4-5");
    EXPECT_EQ(SettingsIn(some), whole);
    EXPECT_EQ(some["found"]["frames"], json({1, 3, 5, 7, 9}));
    EXPECT_EQ(media::ReadFrame("out.#.png", 4).pixels, Keyed(whole, Picture(4)));
    Run("key f.#.png part.#.png --chunk 2/3");
    EXPECT_EQ(media::ReadFrame("part.#.png", 5).pixels, Keyed(whole, Picture(5)));

    TuneRequest request;
    request.settings = green_;
    request.settings.screenGain = 70;
    request.fixed = {ParameterId::ScreenGain};
    const std::string rest = "key in.png out.png --key-color #40b838 --screen-gain 70 --auto";
    const Outcome outcome = Run(rest + " --save-preset p.json");
    EXPECT_EQ(ReadPreset("p.json"), Found({source_}, request));
    EXPECT_EQ(ReadPreset("p.json").screenGain, 70);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "found from 1 frame:", outcome.error);
    EXPECT_EQ(Run(rest + " --quiet").error, "");
    ExpectRefused(2, "key in.png new.png --auto --key-color #000000 --quiet", {"--auto", "black"});
    ExpectRefused(2, "key in.png new.png --auto --clean-plate in.png", {"--auto", "--clean-plate"});
    ExpectRefused(2, "key in.png new.png --auto --defaults", {"--auto", "--defaults"});
}

TEST_F(TuneCommandTest, KeyFindsNothingBesideWhatIsGiven) {
    WritePreset("p.json", green_);
    for (const char* own : {"--defaults", "--shadow 100", "--smooth-bg", "--preset p.json",
                            "--key-color #40b838", "--clean-plate in.png", "--view source"})
        EXPECT_FALSE(Json(std::string("key in.png out.png ") + own).contains("found")) << own;
    const Settings found = Found({source_});
    Settings told = SettingsIn(
        Json("key in.png out.exr --key-color auto --screen green --view matte --matte-light auto "
             "--core-color source --threads 1"));
    EXPECT_NE(told, found);
    told.view = found.view;
    told.matteLight = found.matteLight;
    told.coreColor = found.coreColor;
    EXPECT_EQ(told, found);
}

// What cannot be found keeps nobody from keying.
TEST_F(TuneCommandTest, KeyGoesOnWhereNothingIsFound) {
    WriteFrames(5);
    std::ofstream("f.5.png") << "no picture";
    const Outcome outcome = Run("key f.#.png out.#.png --frames 2-3");
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "f.5.png: ", outcome.error);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "defaults\n", outcome.error);
    Run("key f.#.png plain.#.png --frames 2-3 --defaults");
    for (const int number : {2, 3})
        EXPECT_EQ(media::ReadFrame("out.#.png", number).pixels,
                  media::ReadFrame("plain.#.png", number).pixels);
    Run("key f.#.png out.#.png --frames 2-3 --auto", 1);
}

}  // namespace
}  // namespace veltrane
