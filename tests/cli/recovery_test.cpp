#include <chrono>
#include <csignal>
#include <thread>

#include "command.h"

namespace veltrane {
namespace {

struct Refusal {
    int status;
    const char* message;
    const char* arguments;
};

constexpr Refusal kRefusals[] = {
    {2, "name what to do", ""},
    {2, "OUTPUT is required", "key in.png"},
    {2, "paint", "paint"},
    {2, "--shadwo", "key in.png o.png --shadwo 1"},
    {2, "shadow must be 0 to 100, not 140", "key in.png o.png --shadow 140"},
    {2, "shadow must be a whole number from 0 to 100, not 1.5", "key in.png o.png --shadow 1.5"},
    {2, "view must be source|matte|result, not alpha", "key in.png o.png --view alpha"},
    {2, "--mask-blur-value has no effect without --edge-blur",
     "key in.png o.png --mask-blur-value 4"},
    {2, "threads must be 1 to 512, not 0", "key in.png o.png --threads 0"},
    {2, "transfer must be auto|linear|none, not log", "key in.png o.png --transfer log"},
    {2, "frames must be a number or a range such as 10-50", "key in.png o.png --frames 3-x"},
    {2, "frames must not end before they begin: 9-3", "key in.png o.png --frames 9-3"},
    {2, "fps must be above 0 and at most 1000, not 0", "key in.png o.png --fps 0"},
    {2, "--fps is for stills", "key ../samples/clip.mp4 o.mov --fps 25"},
    {2, "background must be an image or #rrggbb, not #12", "key in.png o.png --background #12"},
    {2, "--resume is for sequences", "key in.png o.png --resume"},
    {2, "in.png is the input itself", "key in.png in.png"},
    {2, "f.%04d.png is the input itself", "key f.####.png x/../f.%04d.png"},
    {2, "key-color must be auto, #rrggbb", "key in.png o.png --key-color green"},
    {2, "key-color must be auto, #rrggbb", "key in.png o.png --key-color 0.1,0.2,x"},
    {2, "key-color must be auto, #rrggbb", "key in.png o.png --key-color 4,4@"},
    {2, "key-color blue must be 0 to 1, not 1.5", "key in.png o.png --key-color 0,0,1.5"},
    {2, "64,0 lies outside the frame of 64 x 48", "key in.png o.png --key-color 64,0@1"},
    {2, "bad.json: unknown setting \"shadwo\"", "key in.png o.png --preset bad.json"},
    {1, "none.json: cannot be read", "key in.png o.png --preset none.json"},
    {1, "grey.png: no green screen found in frame 1", "key grey.png o.png"},
    {1, "o.jpg: jpg cannot hold alpha", "key in.png o.jpg"},
    {1, "o.mp4: mp4 (H.264) cannot hold alpha", "key in.png o.mp4"},
    {1, "o.gif", "key in.png o.gif"},
    {1, "missing/o.png", "key in.png missing/o.png"},
    {1, "none.png", "key none.png o.png"},
    {1, "text.png", "key text.png o.png"},
    {1, "cut.mkv: truncated after frame 3; o.mkv was not written",
     "key cut.mkv o.mkv --key-color #00a020 --quiet"},
    {1, "f.#.png: frames are missing: 3, 5", "key f.#.png o.%04d.png"},
};

TEST_F(CommandTest, RefusesInOneLineAndWritesNothing) {
    WriteFrames(6);
    Run("key f.#.png cut.mkv --background #00a020 --fps 29.97");
    const media::Rational rate = media::Open("cut.mkv")->info().frameRate;
    EXPECT_EQ(rate.num * 1001, rate.den * 30000);
    fs::resize_file("cut.mkv", fs::file_size("cut.mkv") * 6 / 10);
    fs::remove("f.3.png");
    fs::remove("f.5.png");
    std::ofstream("text.png") << "no picture";
    std::ofstream("bad.json") << R"({"shadwo": 1})";
    media::Frame grey = source_;
    std::fill(grey.pixels.begin(), grey.pixels.end(), 30000);
    Write("grey.png", grey);
    const std::set<fs::path> before = Files(".");
    for (const auto& [status, message, arguments] : kRefusals) {
        SCOPED_TRACE(arguments);
        const Outcome outcome = Run(arguments, status);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, message, outcome.error);
        EXPECT_EQ(outcome.error.find("veltrane: "), 0);
        EXPECT_EQ(outcome.error.find('\n'), outcome.error.size() - 1) << outcome.error;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(Files("."), before);
    }
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
    Settings settings;
    settings.keyColor = ParseHexColor("#40b838").value();
    for (int i = 1; i <= 6; ++i)
        EXPECT_EQ(media::ReadFrame("o." + std::to_string(i) + ".png", 1).pixels,
                  Keyed(settings, Picture(i)));
}

TEST_F(CommandTest, AnInterruptLeavesNothingHalfWritten) {
    fs::create_directory("out");
    // Far more work than the test waits for.
    for (int number = 1000; number < 1400; ++number)
        fs::create_symlink("../samples/still.jpg", "s." + std::to_string(number) + ".jpg");
    for (const auto& [signal, output] :
         {std::pair{SIGINT, "out/o.mov"}, {SIGTERM, "out/o.%04d.tif"}}) {
        const auto stop = [&](pid_t child) {
            for (int i = 0; i < 30000 && fs::is_empty("out"); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            kill(child, signal);
        };
        const Outcome outcome = Run(std::string("key s.%04d.jpg ") + output, 130, stop);
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "veltrane: interrupted\n", outcome.error);
        for (const fs::path& file : Files("out")) {
            ASSERT_EQ(file.extension(), ".tif") << file;
            EXPECT_EQ(media::ReadFrame(file, 1).width, 1920);
        }
    }
}

}  // namespace
}  // namespace veltrane
