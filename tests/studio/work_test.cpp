#include "tests/studio/studio.h"

namespace veltrane {
namespace {

const Value kWork = Value::parse(R"({"version": 1,
    "settings": {"shadow": 40, "key-color": "auto"},
    "inputs": {"garbageFile": "rigs/rig.png", "matchPlate": false},
    "range": [1, 1], "snapshots": [{"name": "A", "settings": {"shadow": 7}}], "view": {"frame": 1}})");

TEST_F(StudioTest, KeepsWorkBesideItsShot) {
    fs::create_directory("shots");
    fs::rename("in.png", "shots/in.png");
    Open("--root .");
    const auto open = [&] { return Asked("/api/open", {{"path", "shots/in.png"}}); };
    EXPECT_TRUE(open()["work"].is_null());
    Value save{{"shot", "shots/in.png"}, {"work", kWork}, {"revision", 0}, {"client", "a"}};
    save["work"]["inputs"]["garbageFile"] = "rigs/rig.png";
    EXPECT_EQ(Asked("/api/work", save)["revision"], 1);
    EXPECT_EQ(open()["work"], save["work"]);
    // Another page that knows an earlier state is told, and overwrites nothing.
    const Reply late = Post("/api/work", save);
    ExpectRefused(late, 409, "another page");
    EXPECT_EQ(late.AsJson()["revision"], 1);
    EXPECT_EQ(late.AsJson()["work"], save["work"]);
    save["revision"] = 1;
    EXPECT_EQ(Asked("/api/work", save)["revision"], 2);
    // It is found again from another root, with names as seen from there.
    Close();
    fs::create_directory("shots/rigs");
    Open("--root shots");
    const Value again = Asked("/api/open", {{"path", "in.png"}});
    EXPECT_EQ(again["revision"], 2);
    EXPECT_EQ(again["work"]["inputs"]["garbageFile"], "../rigs/rig.png");
}

TEST_F(StudioTest, OpensAShotWithWhatIsFoundForIt) {
    const Value told = Json("tune in.png");
    Open();
    const auto open = [&] { return Asked("/api/open", {{"path", "in.png"}}); };
    Value expected = told["settings"];
    expected.erase("screen");
    expected.erase("view");
    expected["key-color"] = "auto";
    EXPECT_EQ(open()["tuned"], expected);
    EXPECT_EQ(Got("/api/session")["shot"]["tuneReport"].size(), 1 + told["warnings"].size());
    // Nothing is looked for, nor told, where there is work; what was found once is still there.
    Asked("/api/work", {{"shot", "in.png"}, {"work", kWork}, {"revision", 0}, {"client", "a"}});
    EXPECT_EQ(open()["tuned"], expected);
    EXPECT_EQ(open()["tuneReport"], Value::array());
    Close();
    Open();
    EXPECT_TRUE(open()["tuned"].is_null());
    Close();
    WritePreset("p.json", green_);
    Open("in.png --preset p.json");
    EXPECT_EQ(open()["tuned"], open()["preset"]);
}

TEST_F(StudioTest, RefusesWorkThatItDoesNotKnow) {
    Open();
    const auto refused = [&](const char* name, const Value& value, const std::string& text) {
        Value work = kWork;
        work[name] = value;
        ExpectRefused(Post("/api/work", {{"shot", "in.png"}, {"work", work}, {"revision", 0}}), 400,
                      text);
        EXPECT_FALSE(fs::exists("in.png.veltrane.json"));
    };
    refused("version", 2, "version must be a whole number from 1 to 1, not 2");
    refused("glow", 1, "has no \"glow\"");
    refused("settings", {{"shadow", 400}}, "shadow must be");
    refused("inputs", {{"glow", 1}}, "inputs has no \"glow\"");
    refused("range", {1}, "range must be two frame numbers");
    refused("snapshots", {{{"name", "A"}, {"settings", {{"glow", 1}}}}}, "unknown setting");
    refused("view", {{"notes", std::string(70000, 'x')}}, "at most 65536");
    // What another version left is neither taken for this one's nor replaced.
    const std::string other = R"({"version": 2, "revision": 4, "curves": []})";
    std::ofstream("in.png.veltrane.json") << other;
    const Value opened = Asked("/api/open", {{"path", "in.png"}});
    EXPECT_TRUE(opened["work"].is_null());
    EXPECT_NE(opened["problems"][0].get<std::string>().find("left alone"), std::string::npos);
    ExpectRefused(Post("/api/work", {{"shot", "in.png"}, {"work", kWork}, {"revision", 0}}), 400,
                  "left alone");
    EXPECT_EQ(Contents("in.png.veltrane.json"), other);
}

TEST_F(StudioTest, LoadsAndSavesPresetsMattesAndPlates) {
    Open();
    const Value shot{{"shot", "in.png"}};
    const auto ask = [&](const char* path, Value body) {
        body.update(shot);
        return Post(path, body);
    };
    const Value settings{{"shadow", 33}, {"key-color", "#40b838"}, {"screen", "green"}};
    EXPECT_EQ(ask("/api/preset/save", {{"path", "p.json"}, {"settings", settings}}).status, 200);
    EXPECT_EQ(ReadPreset("p.json").shadow, 33);
    EXPECT_EQ(ask("/api/preset/load", {{"path", "p.json"}}).AsJson()["settings"]["shadow"], 33);
    ExpectRefused(ask("/api/preset/save", {{"path", "in.png"}, {"settings", settings}}), 400,
                  "must end in .json");
    const std::string svg =
        R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 64 48"><rect width="9" height="9"/></svg>)";
    EXPECT_EQ(ask("/api/matte/save", {{"path", "m.svg"}, {"svg", svg}}).status, 200);
    EXPECT_EQ(ask("/api/matte/load", {{"path", "m.svg"}}).AsJson()["svg"], svg);
    ExpectRefused(ask("/api/matte/save", {{"path", "n.svg"}, {"svg", "<svg><script/></svg>"}}), 400,
                  "the drawing: ");
    EXPECT_FALSE(fs::exists("n.svg"));
    const Value plate{{"path", "plate.png"}, {"frame", 1}, {"settings", settings}};
    EXPECT_EQ(ask("/api/plate/save", plate).status, 200);
    Settings model = green_;
    model.view = View::CleanPlate;
    EXPECT_EQ(media::ReadFrame("plate.png", 1).pixels, Keyed(model, source_));
    Value over = plate;
    over["path"] = "in.png";
    ExpectRefused(ask("/api/plate/save", over), 400, "is a source");
}

TEST_F(StudioTest, ListsSequencesAsOne) {
    WriteFrames(11);
    fs::create_directory("folder");
    std::ofstream("notes.txt") << "x";
    std::ofstream("p.json") << "{}";
    std::ofstream("p.png.veltrane.json") << "{}";  // work on a shot, which is no preset
    Open();
    const auto names = [&](const std::string& query) {
        std::vector<std::string> found;
        const Value answer = Got("/api/files" + query);
        for (const Value& entry : answer["entries"])
            found.push_back(entry["name"].get<std::string>() + ' ' +
                            entry["kind"].get<std::string>());
        return found;
    };
    const std::vector<std::string> shots{"folder folder", "f.%d.png sequence", "in.png still"};
    EXPECT_EQ(names(""), shots);
    const std::vector<std::string> presets{"folder folder", "f.%d.png sequence", "in.png still",
                                           "p.json preset"};
    EXPECT_EQ(names("?also=.json"), presets);
    EXPECT_EQ(Got("/api/files")["entries"][1]["frames"], 11);
}

}  // namespace
}  // namespace veltrane
