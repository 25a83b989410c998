#include <fstream>

#include "command.h"

namespace veltrane {
namespace {

class RefusalTest : public CommandTest {
protected:
    RefusalTest() { Write(input_, Picture(64, 48)); }

    void ExpectKeyRefusal(int status, const std::string& text, Arguments more) const {
        more.insert(more.begin(), {"key", input_, Path("out.png")});
        ExpectRefusal(status, text, more);
        EXPECT_EQ(Files(""), (std::vector<std::string>{"in.png"}));
    }

    std::string input_ = Path("in.png");
};

TEST_F(RefusalTest, WrongUsageExitsWithTwo) {
    ExpectRefusal(2, "name what to do", {});
    ExpectRefusal(2, "INPUT", {"key"});
    ExpectRefusal(2, "--shadwo", {"key", input_, Path("o.png"), "--shadwo", "1"});
    ExpectRefusal(2, "paint", {"paint"});
    ExpectKeyRefusal(2, "shadow must be 0 to 100, not 140", {"--shadow", "140"});
    ExpectKeyRefusal(2, "shadow must be a whole number from 0 to 100, not 1.5",
                     {"--shadow", "1.5"});
    ExpectKeyRefusal(2, "skin-hue must be -50 to 50, not -51", {"--skin-hue", "-51"});
    ExpectKeyRefusal(2, "view must be source|matte|result, not alpha", {"--view", "alpha"});
    ExpectKeyRefusal(2, "--mask-blur-radius has no effect without --edge-blur",
                     {"--mask-blur-radius", "4"});
    ExpectKeyRefusal(2, "threads must be 1 to 512, not 0", {"--threads", "0"});
    ExpectKeyRefusal(2, "transfer must be auto|linear|none, not log", {"--transfer", "log"});
    ExpectKeyRefusal(2, "frames must be a number or a range such as 10-50, not 3-x",
                     {"--frames", "3-x"});
    ExpectKeyRefusal(2, "frames must not end before they begin: 9-3", {"--frames", "9-3"});
    ExpectKeyRefusal(2, "fps must be above 0 and at most 1000, not 0", {"--fps", "0"});
    ExpectKeyRefusal(2, "background must be an image or #rrggbb, not #12", {"--background", "#12"});
    ExpectKeyRefusal(2, "--resume is for sequences", {"--resume"});
    ExpectRefusal(2, "in.png is the input itself", {"key", input_, input_});
    ExpectRefusal(2, "f.%04d.png is the input itself",
                  {"key", Path("f.####.png"), Path("x/../f.%04d.png")});
}

TEST_F(RefusalTest, KeyColoursThatAreNone) {
    for (const char* text : {"green", "#12345", "0.1,0.2", "0.1,0.2,x", "4,4@", "1,1,1,1"})
        ExpectKeyRefusal(2, "key-color must be auto, #rrggbb", {"--key-color", text});
    ExpectKeyRefusal(2, "key-color red must be 0 to 1, not 1.5", {"--key-color", "1.5,0,0"});
    ExpectKeyRefusal(2, "key-color blue must be 0 to 1, not nan", {"--key-color", "0,0,nan"});
    ExpectKeyRefusal(2, "point 64,0 lies outside the frame of 64 x 48", {"--key-color", "64,0@1"});
    media::Frame grey = Picture(64, 48);
    std::fill(grey.pixels.begin(), grey.pixels.end(), 30000);
    Write(input_, grey);
    ExpectKeyRefusal(1, "no green screen found in frame 1; give its colour with --key-color", {});
}

TEST_F(RefusalTest, PresetsThatDoNotHold) {
    const std::string preset = folder_.string() + ".json";
    std::ofstream(preset) << R"({"shadow": 140})";
    ExpectKeyRefusal(2, ".json: shadow must be a whole number from 0 to 100, not 140",
                     {"--preset", preset});
    fs::remove(preset);
    ExpectKeyRefusal(1, ".json: cannot be read", {"--preset", preset});
}

TEST_F(RefusalTest, OutputsThatCannotHoldTheResult) {
    for (const char* name : {"o.jpg", "o.mp4"}) {
        SCOPED_TRACE(name);
        ExpectRefusal(1, "cannot hold alpha", {"key", input_, Path(name)});
        EXPECT_FALSE(fs::exists(Path(name)));
        Succeed({"key", input_, Path(name), "--view", "matte"});
        EXPECT_TRUE(fs::exists(Path(name)));
    }
    Succeed({"key", input_, Path("over.jpg"), "--background", "#336699"});
    ExpectRefusal(1, "o.gif", {"key", input_, Path("o.gif")});
    ExpectRefusal(1, "missing/o.png", {"key", input_, Path("missing/o.png")});
    ExpectRefusal(1, "none.png", {"key", Path("none.png"), Path("o.png")});
    std::ofstream(Path("text.png")) << "no picture";
    ExpectRefusal(1, "text.png", {"key", Path("text.png"), Path("o.png")});
    ExpectRefusal(2, "--fps is for stills",
                  {"key", Sample("clip.mp4"), Path("o.mov"), "--fps", "25"});
}

}  // namespace
}  // namespace veltrane
