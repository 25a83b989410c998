#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "command.h"

namespace veltrane {
namespace {

class RecoveryTest : public CommandTest {
protected:
    RecoveryTest() {
        fs::create_directory(Path("in"));
        fs::create_directory(Path("out"));
    }

    std::string InFrame(int number) const {
        return Path("in/f." + std::to_string(number) + ".png");
    }

    void WriteFrames(int first, int last) const {
        for (int number = first; number <= last; ++number)
            Write(InFrame(number), Picture(64, 48, number));
    }

    /// Work that lasts far longer than a test waits: the large still, many times over.
    void LinkManyFrames() const {
        for (int number = 1000; number < 1400; ++number)
            fs::create_symlink(Sample("still.jpg"),
                               Path("in/f." + std::to_string(number) + ".jpg"));
    }

    static bool Running(pid_t child) {
        siginfo_t ended = {};
        waitid(P_PID, child, &ended, WEXITED | WNOHANG | WNOWAIT);
        return ended.si_pid == 0;
    }

    /// Starts the work, waits until something appears in the output folder, and stops it.
    Outcome Stop(int signal, const std::string& output) const {
        const pid_t child = Start(
            {"key", Path("in/f.%04d.jpg"), output, "--threads", "2", "--key-color", "#30b040"});
        while (Files("out").empty() && Running(child))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        kill(child, signal);
        return Wait(child);
    }

    const std::string in_ = Path("in/f.#.png");
    const std::string out_ = Path("out/f.#.png");
};

TEST_F(RecoveryTest, MissingFramesAreNamedBeforeWorkBegins) {
    WriteFrames(7, 12);
    fs::remove(InFrame(9));
    fs::remove(InFrame(11));
    ExpectRefusal(1, "frames are missing: 9, 11", {"key", in_, out_});
    EXPECT_TRUE(Files("out").empty());
    Succeed({"key", in_, out_, "--frames", "7-8"});
    EXPECT_EQ(Files("out"), (std::vector<std::string>{"f.7.png", "f.8.png"}));
}

TEST_F(RecoveryTest, ABadFrameLeavesTheFinishedOnes) {
    WriteFrames(1, 6);
    Write(InFrame(5), Picture(32, 48, 5));
    const Outcome outcome = Run({"key", in_, out_, "--threads", "1", "--key-color", "#40b838"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.error.find("32"), std::string::npos) << outcome.error;
    EXPECT_NE(outcome.error.find("; frames whole before it: 4"), std::string::npos)
        << outcome.error;
    for (int number = 1; number <= 4; ++number)
        EXPECT_EQ(media::ReadFrame(Path("out/f." + std::to_string(number) + ".png"), 1).width, 64);
    EXPECT_FALSE(fs::exists(Path("out/f.5.png")));
}

TEST_F(RecoveryTest, ResumeKeysOnlyWhatIsNotWhole) {
    WriteFrames(1, 4);
    const Arguments key{"key", in_, out_, "--json", "--resume"};
    EXPECT_EQ(Succeed(key).json()["frames"], 4);
    const media::Frame second = media::ReadFrame(Path("out/f.2.png"), 1);
    const media::Frame third = media::ReadFrame(Path("out/f.3.png"), 1);
    const auto time = fs::last_write_time(Path("out/f.1.png")) - std::chrono::hours(1);
    fs::last_write_time(Path("out/f.1.png"), time);
    fs::remove(Path("out/f.2.png"));
    fs::resize_file(Path("out/f.3.png"), fs::file_size(Path("out/f.3.png")) / 2);
    const nlohmann::json summary = Succeed(key).json();
    EXPECT_EQ(summary["frames"], 2);
    EXPECT_EQ(summary["kept"], 2);
    EXPECT_EQ(fs::last_write_time(Path("out/f.1.png")), time);
    EXPECT_EQ(media::ReadFrame(Path("out/f.2.png"), 1).pixels, second.pixels);
    EXPECT_EQ(media::ReadFrame(Path("out/f.3.png"), 1).pixels, third.pixels);
}

TEST_F(RecoveryTest, ATruncatedVideoLeavesNoHalfVideo) {
    WriteFrames(1, 8);
    Succeed({"key", in_, Path("in/whole.mkv"), "--background", "#00a020", "--fps", "25"});
    fs::resize_file(Path("in/whole.mkv"), fs::file_size(Path("in/whole.mkv")) * 6 / 10);
    const Arguments key{"key", Path("in/whole.mkv"), Path("out/o.mkv"), "--key-color", "#00a020"};
    const Outcome outcome = Run(key);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.error.find("whole.mkv"), std::string::npos) << outcome.error;
    EXPECT_NE(outcome.error.find("o.mkv was not written"), std::string::npos) << outcome.error;
    EXPECT_TRUE(Files("out").empty());
}

TEST_F(RecoveryTest, AnInterruptLeavesNothingHalfWritten) {
    LinkManyFrames();
    const Outcome video = Stop(SIGINT, Path("out/o.mov"));
    EXPECT_EQ(video.status, 130);
    EXPECT_NE(video.error.find("veltrane: interrupted\n"), std::string::npos) << video.error;
    EXPECT_TRUE(Files("out").empty());

    const Outcome sequence = Stop(SIGTERM, Path("out/o.%04d.tif"));
    EXPECT_EQ(sequence.status, 130) << sequence.error;
    for (const std::string& name : Files("out")) {
        EXPECT_TRUE(name.ends_with(".tif")) << name;
        EXPECT_EQ(media::ReadFrame(Path("out/" + name), 1).width, 1920);
    }
}

}  // namespace
}  // namespace veltrane
