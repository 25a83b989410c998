#include <OpenImageIO/imagebuf.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <tuple>

#include "command.h"

namespace veltrane {
namespace {

/// For what Run does not do: the exit status, and what was said in ../error.
class TroubleTest : public CommandTest {
protected:
    int Shell(const std::string& arguments, const std::string& before = "") const {
        const std::string line = before + "exec 2>../error; '" + command_ + "' " + arguments;
        const int ended = std::system(line.c_str());
        return WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
    }

    static void ExpectOneLine(const std::string& text) {
        const std::string error = Contents("../error");
        EXPECT_EQ(error.find("veltrane: "), 0) << error;
        EXPECT_EQ(error.find('\n'), error.size() - 1) << error;
        EXPECT_LT(error.size(), 1100u) << error;
        EXPECT_PRED_FORMAT2(testing::IsSubstring, text, error);
    }
};

TEST_F(TroubleTest, OutputThatIsLostFails) {
    for (const std::string command :
         {"info in.png", "pick in.png --json", "params", "key in.png o.png --json --quiet",
          "--help", "key --help", "--version"}) {
        SCOPED_TRACE(command);
        for (const auto& [to, status] : {std::pair{" > /dev/full", 75}, {" >&-", 1}}) {
            EXPECT_EQ(Shell(command + to), status);
            ExpectOneLine("standard output: cannot be written");
        }
    }
    // No file that is written may stand where a closed stream was.
    EXPECT_EQ(Shell("key in.png o.mkv --key-color '#40b838' --progress <&- >&- 2>&-"), 1);
    EXPECT_EQ(media::ReadFrame("o.mkv", 1).pixels, Keyed(green_, source_));
    EXPECT_EQ(Shell("params | head -n 1 > ../out"), 0);
    EXPECT_EQ(Contents("../error"), "");
}

TEST_F(TroubleTest, NothingGivenMayBeEmptyAndNothingEchoedLong) {
    for (const std::string empty :
         {"info ''", "pick ''", "key ''", "key in.png ''", "demo ''", "demo d --sample ''",
          "demo d --strip ''", "key in.png o.png --preset ''", "key in.png o.png --save-preset ''",
          "key in.png o.png --background ''", "key in.png o.png --frames ''"}) {
        EXPECT_EQ(Shell(empty), 2) << empty;
        ExpectOneLine("must not be empty");
    }
    const std::string many(20000, 'x');
    EXPECT_EQ(Shell("key in.png o.png --key-color " + many), 2);
    ExpectOneLine("key-color must be auto");
    EXPECT_EQ(Shell("key " + many + ".png o.png"), 1);
    ExpectOneLine("File name too long");
    OIIO::ImageBuf picture("in.png");
    picture.specmod().attribute("ImageDescription", "a\nb\033[2J" + many);
    ASSERT_TRUE(picture.write("described.png"));
    const std::string shown = Run("info described.png").out;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "ImageDescription a b [2Jxxx", shown);
    EXPECT_LT(shown.size(), 1500u);
}

// Libraries that find no memory as they are loaded end the process in their own way.
TEST_F(TroubleTest, TooLittleMemoryIsAnErrorOfTheFile) {
#ifdef VELTRANE_SANITIZED
    GTEST_SKIP() << "sanitizers need more addresses than any limit";
#endif
    Write("in.jpg", source_);
    const auto limit = [](int megabytes) {
        return "ulimit -v " + std::to_string(megabytes * 1024) + "; ";
    };
    for (int megabytes = 100; megabytes <= 500; megabytes += 40) {
        EXPECT_EQ(Shell("key in.jpg o.png", limit(megabytes)), 1) << megabytes;
        ExpectOneLine("in.jpg: needs more memory than there is");
    }
    for (int megabytes = 45; megabytes <= 65; megabytes += 10) {
        EXPECT_EQ(Shell("key in.png o.png", limit(megabytes)), 1) << megabytes;
        ExpectOneLine("in.png: needs more memory than there is");
    }
}

// Schedulers go by the status whether to try a piece of work again.
TEST_F(TroubleTest, AFullDiskIsWorthAnotherTry) {
    if (std::system("unshare -m true 2>../error") != 0) GTEST_SKIP() << "nothing can be mounted";
    fs::create_directory("small");
    const std::string before =
        "unshare -m sh -c 'exec 2>../error; mount -t tmpfs -o size=300k "
        "none small && \"$0\" \"$@\"; s=$?; ls -A small >&2; exit $s' ";
    for (const char* output :
         {"small/o.mov", "small/o.mkv", "small/o.%04d.png", "small/o.#.exr", "small/o.#.tif"}) {
        SCOPED_TRACE(output);
        const std::string line = before + command_ + " key ../samples/clip.mp4 " + output;
        EXPECT_EQ(WEXITSTATUS(std::system((line + " --quiet").c_str())), 75);
        const std::string error = Contents("../error");
        EXPECT_PRED_FORMAT2(testing::IsSubstring, "No space left on device; ", error);
        EXPECT_EQ(error.find(".part"), error.npos) << error;
    }
    // Of many shots, where none failed by its own fault.
    std::ofstream("broken.mov") << "no video";
    for (const auto& [shots, status] : {std::pair{"../samples/clip.mp4\tsmall/o.mov\n", 75},
                                        {"../samples/clip.mp4\tsmall/o.mov\nbroken.mov\n", 1}}) {
        std::ofstream("list.txt") << shots;
        const std::string line = before + command_ + " batch list.txt out > ../out";
        EXPECT_EQ(WEXITSTATUS(std::system(line.c_str())), status) << Contents("../error");
    }
}

TEST_F(TroubleTest, AFolderThatVanishesIsWorthAnotherTry) {
    for (const auto& [gone, told] : {std::pair{"out", "its folder is gone; frames whole"},
                                     {"in", "no such file; frames whole"}}) {
        fs::create_directory("out");
        fs::create_directory("in");
        for (int i = 1000; i < 1400; ++i) {
            const std::string name = std::to_string(i) + ".jpg";
            fs::create_symlink("../../samples/still.jpg", "in/" + name);
        }
        const auto remove = [folder = gone](pid_t child) {
            WaitUntil(child, [] { return Files("out").size() > 2; });
            fs::rename(folder, "elsewhere");
        };
        const std::string error = Run("key in/%d.jpg out/%d.tif --quiet", 75, remove).error;
        EXPECT_PRED_FORMAT2(testing::IsSubstring, told, error);
        for (const char* folder : {"in", "out", "elsewhere"}) fs::remove_all(folder);
    }
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "cannot be written: No such file or directory",
                        Run("key in.png never/o.png", 1).error);
}

// Opening a pipe that nobody writes to never ends.
TEST_F(TroubleTest, TheFirstSignalEndsAnyWait) {
    mkfifo("wait.json", 0600);
    using Clock = std::chrono::steady_clock;
    for (const auto& [signal, status, line] : {std::tuple{SIGINT, 130, "veltrane: interrupted\n"},
                                               {SIGTERM, 75, "veltrane: stopped by SIGTERM\n"}}) {
        Clock::time_point sent;
        const auto stop = [&sent, number = signal](pid_t child) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            sent = Clock::now();
            kill(child, number);
        };
        EXPECT_EQ(Run("key in.png out.png --preset wait.json", status, stop).error, line);
        EXPECT_LT(Clock::now() - sent, std::chrono::milliseconds(1500));
    }
}

// A handler that a program inherits until it runs would take a signal for itself.
TEST(StartProcess, WhatIsStoppedAtOnceHasStopped) {
    struct sigaction before = {}, handled = {};
    handled.sa_handler = [](int) {};
    sigaction(SIGTERM, &handled, &before);
    for (int i = 0; i < 20; ++i) {
        const pid_t child = cli::StartProcess("sleep", {"sleep", "9"}, {});
        kill(child, SIGTERM);
        int ended = 0;
        waitpid(child, &ended, 0);
        EXPECT_EQ(cli::ExitStatusOf(ended), 128 + SIGTERM);
    }
    sigaction(SIGTERM, &before, nullptr);
}

}  // namespace
}  // namespace veltrane
