#ifndef VELTRANE_TESTS_CLI_COMMAND_H
#define VELTRANE_TESTS_CLI_COMMAND_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <thread>

#include "cli/start_process.h"
#include "media/media.h"
#include "settings/presets.h"
#include "tests/support/folder.h"

namespace veltrane {

namespace fs = std::filesystem;

inline std::set<fs::path> Files(const fs::path& folder) {
    return {fs::directory_iterator(folder), {}};
}

/// A small green screen, darker to the right and lightly grained, with a skin-coloured subject.
inline media::Frame Picture(std::int64_t number = 1, int width = 64, int height = 48) {
    media::Frame frame{width, height, number, {}, nullptr};
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width, y = i / width;
        const int light = 256 - 60 * x / width - (x * 7 + y * 13 + int(number)) % 5;
        const bool subject = std::abs(x - width / 2) < width / 5 && y > height / 3;
        for (const int channel : {subject ? 112 : 56, subject ? 144 : 184, subject ? 208 : 64})
            frame.pixels.push_back(channel * light);
        frame.pixels.push_back(65535);
    }
    return frame;
}

/// One opaque still, or one frame of a sequence.
inline void Write(const std::string& path, const media::Frame& frame) {
    media::Info info;
    info.width = frame.width;
    info.height = frame.height;
    info.firstFrame = frame.number;
    info.frameCount = 1;
    const auto writer = media::Create(path, {.opaque = true}, info);
    writer->Append(*writer->Encode(frame, frame));
    writer->Finish();
}

/// Pictures 1 to last as the sequence f.#.png.
inline void WriteFrames(int last) {
    for (int i = 1; i <= last; ++i) Write("f." + std::to_string(i) + ".png", Picture(i));
}

/// The pixels that the library makes of the frame.
inline media::Pixels Keyed(const Settings& settings, const media::Frame& source) {
    media::Pixels result(source.pixels.size());
    Key(settings, source.width, source.height, source.pixels.data(), result.data());
    return result;
}

/// Runs the built command in a folder that holds in.png; the samples are in ../samples.
class CommandTest : public testing::Test {
protected:
    CommandTest() {
        fs::current_path(folder_.path);
        fs::create_directory_symlink(VELTRANE_SAMPLES, "samples");
        fs::create_directory("work");
        fs::current_path("work");
        Write("in.png", source_);
    }

    ~CommandTest() override { fs::current_path("/"); }

    struct Outcome {
        std::string out, error;
    };

    /// Runs with arguments that are parted by blanks, expecting this exit status; meanwhile is
    /// called when the command has started.
    Outcome Run(const std::string& arguments, int status = 0,
                const std::function<void(pid_t)>& meanwhile = nullptr) const {
        const pid_t child = Start(arguments);
        if (meanwhile) meanwhile(child);
        int ended = 0;
        waitpid(child, &ended, 0);
        const Outcome outcome{Contents("../out"), Contents("../error")};
        EXPECT_EQ(WIFEXITED(ended) ? WEXITSTATUS(ended) : -1, status) << arguments << outcome.error;
        return outcome;
    }

    /// Runs what has to fail with this status and one line that holds all of these words, without a
    /// file more or less.
    void ExpectRefused(int status, const std::string& arguments,
                       const std::vector<std::string>& words) const {
        SCOPED_TRACE(arguments);
        const std::set<fs::path> before = Files(".");
        const Outcome outcome = Run(arguments, status);
        for (const std::string& word : words)
            EXPECT_PRED_FORMAT2(testing::IsSubstring, word, outcome.error);
        EXPECT_EQ(outcome.error.find("veltrane"), 0) << outcome.error;
        EXPECT_EQ(outcome.error.find('\n'), outcome.error.size() - 1) << outcome.error;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(Files("."), before);
    }

    /// The process of a command that runs beside the test, and no longer than it.
    pid_t Start(const std::string& arguments) const {
        std::istringstream text("veltrane " + arguments);
        const std::vector<std::string> words{std::istream_iterator<std::string>(text), {}};
        const auto create = [](const char* path) {
            return open(path, O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
        };
        const cli::ProcessPlan plan{.out = create("../out"), .error = create("../error")};
        const pid_t child = cli::StartProcess(command_.c_str(), words, plan);
        for (const int file : {plan.out, plan.error}) close(file);
        return child;
    }

    nlohmann::json Json(const std::string& arguments) const {
        return nlohmann::json::parse(Run(arguments + " --json").out);
    }

    std::string command_ = VELTRANE_COMMAND;
    const Settings green_ = FromJson(R"({"key-color": "#40b838"})", "");
    const media::Frame source_ = Picture();  ///< what in.png holds

    /// A sequence s.%04d.jpg that is far more work than a test waits for.
    static void LinkManyStills() {
        for (int number = 1000; number < 1400; ++number)
            fs::create_symlink("../samples/still.jpg", "s." + std::to_string(number) + ".jpg");
    }

    /// Waits until something is true, or the command has ended.
    template <class Condition>
    static void WaitUntil(pid_t command, Condition condition) {
        siginfo_t ended{};
        const auto waits = [&] {
            waitid(P_PID, id_t(command), &ended, WEXITED | WNOHANG | WNOWAIT);
            return ended.si_pid == 0 && !condition();
        };
        while (waits()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

private:
    const TemporaryFolder folder_;
};

}  // namespace veltrane

#endif
