#ifndef VELTRANE_TESTS_MEDIA_SUPPORT_H
#define VELTRANE_TESTS_MEDIA_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "media/media.h"

namespace veltrane::media {

/// A folder of its own for each test.
class MediaTest : public ::testing::Test {
protected:
    MediaTest() {
        std::string name = (std::filesystem::temp_directory_path() / "veltrane-XXXXXX").string();
        folder_ = ::mkdtemp(name.data());
    }
    ~MediaTest() override { std::filesystem::remove_all(folder_); }

    std::string Path(const std::string& name) const { return (folder_ / name).string(); }

    std::size_t FileCount() const {
        const std::filesystem::directory_iterator files(folder_);
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    /// Runs the ffmpeg program in the folder; it must succeed.
    void Ffmpeg(const std::string& arguments) const {
        const std::string command =
            "cd '" + folder_.string() + "' && ffmpeg -nostdin -v error -y " + arguments;
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }

    /// What ffprobe says of a file, such as "stream=color_space,r_frame_rate".
    std::string Probe(const std::string& name, const std::string& entries) const {
        const std::string command = "ffprobe -v error -of compact=p=0 -show_entries " + entries +
                                    " '" + Path(name) + "' > '" + Path("probe") + "'";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        std::ifstream file(Path("probe"));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    void Cut(const std::string& name, double share) const {
        const auto size = static_cast<double>(std::filesystem::file_size(Path(name)));
        std::filesystem::resize_file(Path(name), static_cast<std::uintmax_t>(size * share));
    }

    std::filesystem::path folder_;
};

/// Full of extremes: colour under alpha 0, opaque pixels, neighbours of both ends.
inline Frame RandomFrame(int width, int height, unsigned seed, std::int64_t number = 1) {
    std::mt19937 random(seed);
    const std::uint16_t ends[] = {0, 1, 2, 65533, 65534, 65535};
    Frame frame;
    frame.width = width;
    frame.height = height;
    frame.number = number;
    for (int i = 0; i < width * height * 4; ++i) {
        const auto any = static_cast<std::uint16_t>(random());
        frame.pixels.push_back(random() % 3 == 0 ? ends[random() % 6] : any);
    }
    return frame;
}

inline Info InfoFor(const Frame& frame, std::int64_t count = 1) {
    Info info;
    info.kind = count == 1 ? Kind::Still : Kind::Sequence;
    info.width = frame.width;
    info.height = frame.height;
    info.firstFrame = frame.number;
    info.frameCount = count;
    return info;
}

inline void Write(const std::string& path, const Frame& frame, WriteOptions options = {}) {
    const auto writer = Create(path, options, InfoFor(frame));
    writer->Append(*writer->Encode(frame, frame));
    writer->Finish();
}

inline std::vector<Frame> ReadAll(const std::string& path, const ReadOptions& options = {}) {
    const auto reader = Open(path, options);
    std::vector<Frame> frames;
    while (const auto fetched = reader->Fetch()) frames.push_back(reader->Decode(*fetched));
    return frames;
}

/// The message of the Error that the action throws; empty when it throws none.
inline std::string ErrorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Error& error) {
        return error.what();
    }
    return {};
}

inline int MaxDifference(const Frame& a, const Frame& b, int firstChannel, int lastChannel) {
    EXPECT_EQ(a.pixels.size(), b.pixels.size());
    int most = 0;
    for (std::size_t i = 0; i < std::min(a.pixels.size(), b.pixels.size()); ++i) {
        const int channel = static_cast<int>(i % 4);
        if (channel < firstChannel || channel > lastChannel) continue;
        most = std::max(most, std::abs(int{a.pixels[i]} - int{b.pixels[i]}));
    }
    return most;
}

}  // namespace veltrane::media

#endif
