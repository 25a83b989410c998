#include <OpenImageIO/imagebuf.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

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
        for (const char* to : {" > /dev/full", " >&-"}) {
            EXPECT_EQ(Shell(command + to), 1);
            ExpectOneLine("standard output: cannot be written");
        }
    }
    // No file that is written may stand where a closed stream was.
    EXPECT_EQ(Shell("key in.png o.png --key-color '#40b838' <&- >&- 2>&-"), 0);
    EXPECT_EQ(media::ReadFrame("o.png", 1).pixels, Keyed(green_, source_));
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

// Opening a pipe that nobody writes to never ends.
TEST_F(TroubleTest, TheFirstSignalEndsAnyWait) {
    mkfifo("wait.json", 0600);
    using Clock = std::chrono::steady_clock;
    for (const int signal : {SIGINT, SIGTERM}) {
        Clock::time_point sent;
        const auto stop = [&](pid_t child) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            sent = Clock::now();
            kill(child, signal);
        };
        EXPECT_EQ(Run("key in.png out.png --preset wait.json", 130, stop).error,
                  "veltrane: interrupted\n");
        EXPECT_LT(Clock::now() - sent, std::chrono::milliseconds(1500));
    }
}

}  // namespace
}  // namespace veltrane
