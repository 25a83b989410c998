#ifndef VELTRANE_TESTS_CLI_COMMAND_H
#define VELTRANE_TESTS_CLI_COMMAND_H

#include <gtest/gtest.h>
#include <sys/types.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "media/media.h"
#include "settings/settings.h"

namespace veltrane {

namespace fs = std::filesystem;

struct Outcome {
    int status;  ///< exit status, or 128 + signal
    std::string out;
    std::string error;

    nlohmann::json json() const { return nlohmann::json::parse(out); }
};

using Arguments = std::vector<std::string>;

/// Runs tests in an empty folder of their own, with the built command at hand.
class CommandTest : public testing::Test {
protected:
    CommandTest();
    ~CommandTest() override;

    std::string Path(const std::string& name) const { return folder_ / name; }
    std::string Sample(const std::string& name) const { return fs::path(VELTRANE_SAMPLES) / name; }

    pid_t Start(const Arguments& arguments) const;
    Outcome Wait(pid_t child) const;
    Outcome Run(const Arguments& arguments) const { return Wait(Start(arguments)); }
    /// Runs and expects success.
    Outcome Succeed(const Arguments& arguments) const;
    /// Runs and expects this status with one line on standard error that holds the text.
    void ExpectRefusal(int status, const std::string& text, const Arguments& arguments) const;

    /// Names of all files in a subfolder, sorted.
    std::vector<std::string> Files(const std::string& subfolder) const;

    fs::path folder_;
};

/// A small green screen, darker to the right and lightly grained, with a skin-coloured subject.
media::Frame Picture(int width, int height, std::int64_t number = 1);

/// One opaque still, or one frame of a sequence.
void Write(const std::string& path, const media::Frame& frame);

/// What the library makes of the frame.
media::Frame KeyedByLibrary(const Settings& settings, const media::Frame& source);

}  // namespace veltrane

#endif
