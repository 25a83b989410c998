#include "others.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tests/support/folder.h"

namespace veltrane::bench {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

/// Runs a program, in a folder if one is given, and tells its exit status; 127 where there is none.
int Run(Words words, const fs::path& folder = ".") {
    std::vector<char*> raw;
    for (std::string& word : words) raw.push_back(word.data());
    raw.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        if (chdir(folder.c_str()) == 0) execvp(raw[0], raw.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

Words FfmpegCommand(const OtherInput& input) {
    const bool isBlue = input.screen.screen == Screen::Blue;
    const std::string filters = "chromakey=0x" + HexText(input.screen.color).substr(1) +
                                (input.settings.empty() ? "" : ":" + input.settings) +
                                ",despill=" + (isBlue ? "blue" : "green");
    return {"ffmpeg", "-nostdin", "-v",       "error",    "-i",      input.source,
            "-vf",    filters,    "-pix_fmt", "rgba64be", "%05d.png"};
}

Words GstreamerCommand(const OtherInput& input) {
    const auto target = [](const char* channel, double level) {
        return std::string("target-") + channel + "=" + std::to_string(std::lround(255 * level));
    };
    const Color& color = input.screen.color;
    Words words{"gst-launch-1.0", "-q", "filesrc", "location=frames.rgba", "!"};
    const auto append = [&](const Words& more) {
        words.insert(words.end(), more.begin(), more.end());
    };
    append({"rawvideoparse", "format=rgba", "width=" + std::to_string(input.width),
            "height=" + std::to_string(input.height), "!", "videoconvert", "!"});
    append({"alpha", "method=custom", target("r", color.red), target("g", color.green),
            target("b", color.blue)});
    std::istringstream properties(input.settings);
    for (std::string property; properties >> property;) words.push_back(property);
    append(
        {"!", "videoconvert", "!", "pngenc", "!", "multifilesink", "index=1", "location=%05d.png"});
    return words;
}

/// The shot's frames in 8 bits, red first.
void WriteRaw(const Shot& shot, const fs::path& path) {
    std::ofstream file(path, std::ios::binary);
    ForEachFrame(shot, [&](const media::Frame& frame, const Truth&) {
        for (std::size_t i = 0; i < frame.pixels.size(); i += 4)
            for (const std::size_t element : {2, 1, 0, 3})
                file.put(static_cast<char>((frame.pixels[i + element] + 128) / 257));
    });
}

}  // namespace

Other Ffmpeg(const std::string& settings) {
    return {"FFmpeg", "ffmpeg", FfmpegCommand, false, settings};
}

Other Gstreamer(const std::string& settings) {
    return {"GStreamer", "gst-launch-1.0", GstreamerCommand, true, settings};
}

bool IsInstalled(const Other& other) {
    return Run({other.program, other.program == "ffmpeg" ? "-version" : "--version"}) == 0;
}

Figures Measure(const Other& other, const Shot& shot, const ScreenColor& screen) {
    const TemporaryFolder folder;
    const media::Frame first = media::ReadFrame(shot.source, 1);
    if (other.readsRaw) WriteRaw(shot, folder.path / "frames.rgba");
    const Words command = other.command(
        {fs::absolute(shot.source), first.width, first.height, screen, other.settings});
    if (Run(command, folder.path) != 0)
        throw std::runtime_error(other.name + " could not key " + shot.source.string());
    const auto keyed = media::Open(folder.path / "%05d.png");
    Meter meter;
    ForEachFrame(shot, [&](const media::Frame&, const Truth& truth) {
        const auto fetched = keyed->Fetch();
        if (!fetched) throw std::runtime_error(other.name + " left out frames");
        meter.Add(keyed->Decode(*fetched), truth);
    });
    return meter.Result();
}

}  // namespace veltrane::bench
