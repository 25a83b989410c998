#include "command.h"

namespace veltrane {
namespace {

TEST_F(CommandTest, ParamsAndHelpShowTheWholeTable) {
    const nlohmann::json rows = Json("params");
    const std::string table = Run("params").out;
    const std::string help = Run("key --help").out;
    ASSERT_EQ(rows.size(), Parameters().size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Parameter& row = Parameters()[i];
        const nlohmann::json& json = rows[i];
        EXPECT_EQ(json["id"], row.id);
        EXPECT_EQ(json["key"], row.key);
        EXPECT_EQ(json["group"], row.group);
        EXPECT_EQ(json["governor"], row.governor);
        EXPECT_EQ(json.value("default", 0), row.defaultValue);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, row.name, table);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, row.name, help);
    }
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "-50 to 50", table);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "-50..50", help);
}

// The libraries for files take longer to load than help takes to read, so they come with the files.
TEST_F(CommandTest, NeedsItsModulesForFilesOnly) {
    fs::copy_file(command_, "veltrane");
    command_ = "./veltrane";
    Run("--help");
    Run("params");
    Run("key in.png out.png --shadow 101", 2);
    for (const auto& [file, module] :
         {std::pair{"in.png", "images"}, {"../samples/clip.mp4", "video"}}) {
        const Outcome outcome = Run(std::string("info ") + file, 1);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, std::string("veltrane-") + module + ".so",
                            outcome.error);
        EXPECT_EQ(outcome.error.find('\n'), outcome.error.size() - 1) << outcome.error;
    }
}

// OpenImageIO takes a fifth of a second to load, so it is left alone by pictures of common kinds.
TEST_F(CommandTest, LoadsTheImageLibraryForUncommonPicturesOnly) {
    Write("in.jpg", source_);
    ::setenv("LD_DEBUG", "files", 1);
    const auto loads = [&](const std::string& files) {
        const std::string told = Run("key " + files + " --key-color #40b838").error;
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "veltrane-images.so", told);
        return told.find("libOpenImageIO.so") != told.npos;
    };
    EXPECT_FALSE(loads("in.png a.png"));
    EXPECT_FALSE(loads("a.png b.tif"));
    EXPECT_FALSE(loads("b.tif c.tif"));
    EXPECT_TRUE(loads("in.jpg a.png"));
    ::unsetenv("LD_DEBUG");
}

TEST_F(CommandTest, InfoAndPickDescribeTheSample) {
    const nlohmann::json info = Json("info ../samples/clip.mp4");
    EXPECT_EQ(info["kind"], "video");
    EXPECT_EQ(info["frames"], 24);
    EXPECT_EQ(info["alpha"], false);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "64 x 48", Run("info in.png").out);
    // The screen as it was made: red 0.20-0.33, green 0.70-0.82, blue 0.22-0.29, less in shadows.
    const nlohmann::json pick = Json("pick ../samples/clip.mp4");
    EXPECT_NEAR(pick["components"][0], 0.24, 0.09);
    EXPECT_NEAR(pick["components"][1], 0.71, 0.11);
    EXPECT_NEAR(pick["components"][2], 0.25, 0.05);
    EXPECT_GT(pick["screen-coverage"], 0.5);
}

TEST_F(CommandTest, DemoLeavesEverythingItNames) {
    WriteFrames(5);
    Run("key f.#.png clip.mov --view source");
    const Outcome outcome = Run("demo show/here --sample clip.mov --strip strip.png");
    EXPECT_EQ(Files("show/here").size(), 8u);
    for (const char* name : {"contact-sheet.png", "matte.mp4", "matte.png", "over-background.mp4",
                             "over-background.png", "result.mov", "result.png", "source.png"}) {
        EXPECT_PRED_FORMAT2(testing::IsSubstring, name, outcome.out);
        const media::Info info = media::Open(std::string("show/here/") + name)->info();
        EXPECT_EQ(info.hasAlpha, std::string(name).starts_with("result")) << name;
        // Pictures of 64 x 48, or a sheet of five columns with gaps of 8.
        EXPECT_EQ(info.width, name[0] == 'c' ? 5 * 64 + 6 * 8 : 64) << name;
    }
    EXPECT_EQ(media::Open("strip.png")->info().width, 3 * 64 + 4 * 8);
    EXPECT_EQ(media::ReadFrame("show/here/source.png", 1).pixels,
              media::ReadFrame("clip.mov", 3).pixels);
    const media::Frame matte = media::ReadFrame("show/here/matte.png", 1);
    const std::uint16_t alpha = media::ReadFrame("show/here/result.png", 1).pixels[3];
    for (int channel = 0; channel < 3; ++channel) EXPECT_EQ(matte.pixels[channel], alpha);
}

}  // namespace
}  // namespace veltrane
