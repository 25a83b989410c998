#include "command.h"
#include "settings/screen_color.h"

namespace veltrane {
namespace {

TEST_F(CommandTest, ParamsShowsTheWholeTable) {
    const nlohmann::json rows = Succeed({"params", "--json"}).json();
    ASSERT_EQ(rows.size(), 27u);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Parameter& row = Parameters()[i];
        EXPECT_EQ(rows[i]["id"], row.id);
        EXPECT_EQ(rows[i]["key"], row.key);
        EXPECT_EQ(rows[i]["group"], row.group);
        EXPECT_EQ(rows[i]["governor"], row.governor);
        if (row.kind == ParameterKind::Group) continue;
        EXPECT_EQ(rows[i]["default"], row.defaultValue);
    }
    const std::string table = Succeed({"params"}).out;
    EXPECT_NE(table.find("mask-blur-radius"), std::string::npos);
    EXPECT_NE(table.find("-50 to 50"), std::string::npos);
}

TEST_F(CommandTest, InfoDescribesTheSamples) {
    const nlohmann::json clip = Succeed({"info", Sample("clip.mp4"), "--json"}).json();
    EXPECT_EQ(clip["kind"], "video");
    EXPECT_EQ(clip["width"], 960);
    EXPECT_EQ(clip["height"], 540);
    EXPECT_EQ(clip["frames"], 24);
    EXPECT_EQ(clip["frame-rate"][0], 24 * clip["frame-rate"][1].get<int>());
    EXPECT_FALSE(clip["alpha"]);
    const std::string still = Succeed({"info", Sample("still.jpg")}).out;
    EXPECT_NE(still.find("1920 x 1080"), std::string::npos) << still;
    ExpectRefusal(1, "none.mov", {"info", Path("none.mov")});
}

TEST_F(CommandTest, PickFindsTheSamplesScreen) {
    // The screen as it was made: red 0.20-0.33, green 0.70-0.82, blue 0.22-0.29, less in shadows.
    for (const char* name : {"clip.mp4", "still.jpg"}) {
        const nlohmann::json pick = Succeed({"pick", Sample(name), "--json"}).json();
        const std::vector<double> c = pick["components"];
        EXPECT_TRUE(c[0] > 0.15 && c[0] < 0.33) << name << ' ' << pick["key-color"];
        EXPECT_TRUE(c[1] > 0.6 && c[1] < 0.82) << name << ' ' << pick["key-color"];
        EXPECT_TRUE(c[2] > 0.2 && c[2] < 0.31) << name << ' ' << pick["key-color"];
        EXPECT_GT(pick["screen-coverage"], 0.5) << name;
    }
    const media::Frame frame = media::ReadFrame(Sample("clip.mp4"), 3);
    const Color spot = AverageColor(960, 540, frame.pixels.data(), 100, 90, 9);
    EXPECT_TRUE(Succeed({"pick", Sample("clip.mp4"), "--frame", "3", "--at", "100,90"})
                    .out.starts_with(HexText(spot)));
    ExpectRefusal(1, "no green screen", {"pick", Sample("still-matte.png")});
}

TEST_F(CommandTest, HelpNamesEveryOption) {
    const std::string help = Succeed({"key", "--help"}).out;
    for (const Parameter& row : Parameters())
        EXPECT_NE(help.find(row.name), std::string::npos) << row.name;
    EXPECT_NE(help.find("-50..50"), std::string::npos);
    EXPECT_TRUE(Succeed({"--version"}).out.starts_with("veltrane "));
}

}  // namespace
}  // namespace veltrane
