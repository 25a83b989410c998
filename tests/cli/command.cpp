#include "command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace veltrane {

namespace {

std::string Contents(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void Redirect(int descriptor, const fs::path& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(file, descriptor);
}

/// Beside the test's folder, so that the folder holds only what the command makes.
fs::path Log(const fs::path& folder, pid_t child, const char* stream) {
    return folder.string() + '.' + std::to_string(child) + '.' + stream;
}

}  // namespace

CommandTest::CommandTest() {
    std::string pattern = fs::path(testing::TempDir()) / "veltrane-cli-XXXXXX";
    folder_ = mkdtemp(pattern.data());
}

CommandTest::~CommandTest() {
    fs::remove_all(folder_);
}

pid_t CommandTest::Start(const Arguments& arguments) const {
    const pid_t child = fork();
    if (child != 0) return child;
    Redirect(STDOUT_FILENO, Log(folder_, getpid(), "out"));
    Redirect(STDERR_FILENO, Log(folder_, getpid(), "error"));
    Arguments all{VELTRANE_COMMAND};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> raw;
    for (std::string& argument : all) raw.push_back(argument.data());
    raw.push_back(nullptr);
    execv(VELTRANE_COMMAND, raw.data());
    _exit(127);
}

Outcome CommandTest::Wait(pid_t child) const {
    int status = 0;
    waitpid(child, &status, 0);
    const fs::path out = Log(folder_, child, "out");
    const fs::path error = Log(folder_, child, "error");
    const Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                          Contents(out), Contents(error)};
    fs::remove(out);
    fs::remove(error);
    return outcome;
}

Outcome CommandTest::Succeed(const Arguments& arguments) const {
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    return outcome;
}

void CommandTest::ExpectRefusal(int status, const std::string& text,
                                const Arguments& arguments) const {
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.status, status) << text;
    EXPECT_NE(outcome.error.find(text), std::string::npos)
        << "expected: " << text << "\ngot: " << outcome.error;
    EXPECT_TRUE(outcome.error.starts_with("veltrane: ")) << outcome.error;
    EXPECT_EQ(std::count(outcome.error.begin(), outcome.error.end(), '\n'), 1) << outcome.error;
    EXPECT_EQ(outcome.out, "");
}

std::vector<std::string> CommandTest::Files(const std::string& subfolder) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_ / subfolder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

media::Frame Picture(int width, int height, std::int64_t number) {
    media::Frame frame;
    frame.width = width;
    frame.height = height;
    frame.number = number;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const bool subject = std::abs(x - width / 2) < width / 5 && y > height / 3;
            const int light = 256 - 60 * x / width - (x * 7 + y * 13 + int(number)) % 5;
            const std::vector<int> bgr =
                subject ? std::vector{0x70, 0x90, 0xd0} : std::vector{0x38, 0xb8, 0x40};
            for (const int channel : bgr)
                frame.pixels.push_back(static_cast<std::uint16_t>(channel * light));
            frame.pixels.push_back(65535);
        }
    return frame;
}

void Write(const std::string& path, const media::Frame& frame) {
    media::Info info;
    info.width = frame.width;
    info.height = frame.height;
    info.firstFrame = frame.number;
    info.frameCount = 1;
    media::WriteOptions options;
    options.opaque = true;
    const auto writer = media::Create(path, options, info);
    writer->Append(*writer->Encode(frame, frame));
    writer->Finish();
}

media::Frame KeyedByLibrary(const Settings& settings, const media::Frame& source) {
    media::Frame result = source;
    Key(settings, source.width, source.height, source.pixels.data(), result.pixels.data());
    return result;
}

}  // namespace veltrane
