#include <algorithm>
#include <fstream>
#include <map>
#include <tuple>

#include "command.h"

namespace veltrane {
namespace {

class BatchTest : public CommandTest {
protected:
    static nlohmann::json Report() { return nlohmann::json::parse(Contents("out/batch.json")); }
};

TEST_F(BatchTest, KeysEveryShotOfAFolderWithItsOwnPresetAndGoesOnAfterAFailedOne) {
    fs::create_directory("in");
    Write("in/still.png", source_);
    for (int i = 8; i <= 11; ++i) {
        Write("in/a" + std::to_string(i) + ".png", Picture(i));
        Write("in/b.00" + std::to_string(80 + i) + ".png", Picture(i));
    }
    Run("key in/b.%04d.png in/clip.mkv --view source --quiet");
    std::ofstream("in/broken.mov") << "no video";
    Settings preset = green_;
    preset.shadow = 40;
    WritePreset("in/b.veltrane.json", preset);
    const std::string batch = "batch in out --preset look.json";
    WritePreset("look.json", green_);
    const Outcome outcome = Run(batch, 1);
    EXPECT_TRUE(outcome.error.ends_with("veltrane: 1 of 5 shots failed; the others are done\n"));
    EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 6) << outcome.error;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "broken.mov: failed (1): in/broken.mov",
                        outcome.error);
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 5) << outcome.out;
    EXPECT_EQ(media::ReadFrame("out/still.png", 1).pixels, Keyed(green_, source_));
    for (const auto& [file, number, settings] :
         {std::tuple{"out/a/a.0009.png", 9, green_}, {"out/b/b.0089.png", 9, preset}})
        EXPECT_EQ(media::ReadFrame(file, 1).pixels, Keyed(settings, Picture(number))) << file;
    EXPECT_EQ(media::Open("out/clip.mov")->info().frameCount, 4);
    EXPECT_EQ(Report().size(), 5u);

    // Once more: what is whole stays, but for shots that have changed, or whose presets have.
    fs::remove("in/broken.mov");
    fs::remove("out/a/a.0009.png");
    preset.shadow = 50;
    WritePreset("in/b.veltrane.json", preset);
    const auto soon = fs::file_time_type::clock::now() + std::chrono::seconds(2);
    for (const char* file : {"in/b.veltrane.json", "in/still.png"}) fs::last_write_time(file, soon);
    Run(batch);
    std::map<std::string, int> written;
    for (const auto& shot : Report())
        written[shot["output"]] = shot.contains("key") ? shot["key"]["frames"].get<int>() : 0;
    const std::map<std::string, int> expected{{"out/a/a.%04d.png", 1},
                                              {"out/b/b.%04d.png", 4},
                                              {"out/clip.mov", 0},
                                              {"out/still.png", 1}};
    EXPECT_EQ(written, expected);
    EXPECT_EQ(media::ReadFrame("out/b/b.0089.png", 1).pixels, Keyed(preset, Picture(9)));
}

TEST_F(BatchTest, AListNamesInputsAndOutputs) {
    fs::create_directory("elsewhere");
    Write("elsewhere/in.png", source_);
    std::ofstream("list.txt") << "# two shots\nin.png\nelsewhere/in.png\telsewhere/keyed.exr\n";
    EXPECT_PRED_FORMAT2(testing::IsSubstring, ", sliders found\n",
                        Run("batch list.txt out --key=--view --key=matte").out);
    EXPECT_TRUE(fs::exists("out/in.png") && fs::exists("elsewhere/keyed.exr"));
    std::ofstream("list.txt") << "in.png\nelsewhere/in.png\n";
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "would both become out/in.png",
                        Run("batch list.txt out", 2).error);
    std::ofstream("list.txt") << "# none\n";
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "list.txt: holds no shots",
                        Run("batch list.txt out", 1).error);
}

// What no scheduler at hand can take is at least what it says.
TEST_F(BatchTest, FarmsGetTheirTasksInTheirOwnForm) {
    WriteFrames(10);
    Run("farm submit f.#.png out.#.exr --kubernetes --chunks 4 --volume shots:/shots --job k");
    const auto list = nlohmann::json::parse(Contents("k/kubernetes.json"));
    const auto& spec = list["items"][0]["spec"];
    EXPECT_EQ(spec["completions"], 4);
    EXPECT_EQ(spec["completionMode"], "Indexed");
    const auto& rule = spec["podFailurePolicy"]["rules"][0];
    EXPECT_EQ(rule["action"], "FailIndex");
    EXPECT_EQ(rule["onExitCodes"]["values"], (std::vector<int>{1, 2}));
    EXPECT_GT(spec["backoffLimitPerIndex"], 0);
    Run("farm submit f.#.png out.#.exr --opencue --frames-per-chunk 4 --job o");
    const std::string cue = Contents("o/opencue.xml");
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "001.sh' #IFRAME#</cmd>", cue);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "<range>1-3</range>", cue);
    Run("farm submit f.#.png out.#.exr --slurm --dry-run --job s");
    EXPECT_TRUE(fs::exists("s/task.slurm") && fs::exists("s/001.sh"));
    EXPECT_EQ(Json("farm status k")["shots"][0]["waiting"], "1-4");
    Run("farm submit f.#.png out.#.exr --slurm --dry-run --job s", 2);
    Run("farm submit f.#.png out.mp4 --parallel", 2);
    Run("farm status nowhere", 1);
}

}  // namespace
}  // namespace veltrane
