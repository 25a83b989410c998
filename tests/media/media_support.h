#ifndef VELTRANE_TESTS_MEDIA_SUPPORT_H
#define VELTRANE_TESTS_MEDIA_SUPPORT_H

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <future>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "media/media.h"
#include "tests/support/folder.h"
#include "tests/support/threads.h"

namespace veltrane::media {

using OIIO::ImageSpec;
using OIIO::TypeDesc;
using ::testing::IsSubstring;
using testing::Lent;
using Numbers = std::vector<std::int64_t>;

/// The frame that tests write, another one for each number: smooth but for its lowest bits, with an
/// alpha that is half a ramp and half a hard edge between 0 and 65535.
inline Frame MakeFrame(int width, int height, std::int64_t number = 1) {
    std::mt19937 random{unsigned(number)};
    Frame frame;
    frame.width = width;
    frame.height = height;
    frame.number = number;
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width, y = i / width, across = 65500 * x / width;
        const int edge = x < width / 2 ? 0 : 65535, alpha = y < height / 2 ? across : edge;
        for (int level : {int(number % 7 * 9000), 65500 * y / height, across})
            frame.pixels.push_back(std::uint16_t(level + random() % 32));
        frame.pixels.push_back(std::uint16_t(alpha));
    }
    return frame;
}

inline Info InfoFor(const Frame& first, std::size_t count = 1) {
    Info info;
    info.kind = count == 1 ? Kind::Still : Kind::Sequence;
    info.width = first.width;
    info.height = first.height;
    info.firstFrame = first.number;
    info.frameCount = std::int64_t(count);
    return info;
}

/// How a file is converted: what is done to each frame between reading and writing, and whether to
/// all at once.
struct Conversion {
    ReadOptions read = {};
    WriteOptions write = {};
    std::function<void(Frame&)> change = [](Frame&) {};
    std::launch launch = std::launch::deferred;
};

/// A folder of its own for each test; names are those of files in it.
class MediaTest : public ::testing::Test {
protected:
    std::string Path(const std::string& name) const { return folder_.path / name; }
    std::string Bytes(const std::string& name) const { return Contents(Path(name)); }

    std::size_t FileCount() const {
        const std::filesystem::directory_iterator files(folder_.path);
        return std::size_t(std::distance(begin(files), end(files)));
    }

    void Cut(const std::string& name, double share) const {
        const auto size = double(std::filesystem::file_size(Path(name)));
        std::filesystem::resize_file(Path(name), static_cast<std::uintmax_t>(size * share));
    }

    void Overwrite(const std::string& name, std::streamoff at, const std::string& bytes) const {
        std::fstream(Path(name), std::ios::in | std::ios::out | std::ios::binary).seekp(at)
            << bytes;
    }

    /// Runs a command in the folder; it must succeed.
    void Run(const std::string& command) const {
        const std::string whole = "cd '" + folder_.path.string() + "' && " + command;
        ASSERT_EQ(std::system(whole.c_str()), 0) << whole;
    }

    void Ffmpeg(const std::string& arguments) const {
        Run("ffmpeg -nostdin -v error -y " + arguments);
    }

    /// By several threads, which must not show.
    std::vector<Frame> Read(const std::string& name, const ReadOptions& options = {}) const {
        const auto reader = Open(Path(name), options);
        std::vector<Frame> frames;
        while (const auto fetched = reader->Fetch()) {
            frames.push_back(reader->Decode(*fetched, Lent(3)));
            EXPECT_EQ(frames.back().pixels, reader->Decode(*fetched).pixels) << name;
        }
        return frames;
    }

    void Write(const std::string& name, const std::vector<Frame>& frames,
               const WriteOptions& options = {}) const {
        const auto writer = Create(Path(name), options, InfoFor(frames.front(), frames.size()));
        for (const Frame& frame : frames) writer->Append(*writer->Encode(frame, frame));
        writer->Finish();
    }

    /// Carries a file's frames into another, as a program that changes them on the way does.
    void Convert(const std::string& from, const std::string& to, const Conversion& how = {}) const {
        const auto reader = Open(Path(from), how.read);
        const auto writer = Create(Path(to), how.write, reader->info());
        std::vector<std::future<std::shared_ptr<Encoded>>> encoded;
        while (const auto fetched = reader->Fetch())
            encoded.push_back(std::async(how.launch, [&, fetched] {
                const Frame source = reader->Decode(*fetched);
                Frame result = source;
                how.change(result);
                return writer->Encode(result, source);
            }));
        for (auto& frame : encoded) writer->Append(*frame.get());
        writer->Finish();
    }

    /// The Error that the action throws, which must be one line that begins with a file of the
    /// folder, without the folder's name; empty when there is none.
    std::string ErrorOf(const std::function<void()>& action) const {
        try {
            action();
        } catch (const Error& error) {
            const std::string line = error.what();
            EXPECT_TRUE(line.starts_with(Path("")) && line.find('\n') == line.npos) << line;
            return line.substr(Path("").size());
        }
        return {};
    }
    std::string ReadError(const std::string& name, const ReadOptions& options = {}) const {
        return ErrorOf([&] { Read(name, options); });
    }

private:
    TemporaryFolder folder_;
};

/// Files of the image library.
class ImagesTest : public MediaTest {
protected:
    /// Writes a file by the image library alone, so that what it holds is known.
    template <typename Sample>
    void Store(const std::string& name, const ImageSpec& spec, const std::vector<Sample>& samples) {
        const auto output = OIIO::ImageOutput::create(name);
        ASSERT_TRUE(output && output->open(Path(name), spec)) << OIIO::geterror();
        ASSERT_TRUE(output->write_image(OIIO::BaseTypeFromC<Sample>::value, samples.data()));
        ASSERT_TRUE(output->close());
    }

    ImageSpec SpecOf(const std::string& name) { return OIIO::ImageInput::open(Path(name))->spec(); }

    /// Reads one by the image library alone.
    std::vector<float> Stored(const std::string& name) {
        ImageSpec asStored;
        asStored.attribute("oiio:UnassociatedAlpha", 1);
        const auto input = OIIO::ImageInput::open(Path(name), &asStored);
        std::vector<float> samples(input->spec().image_pixels() * input->spec().nchannels);
        EXPECT_TRUE(input->read_image(0, 0, 0, -1, TypeDesc::FLOAT, samples.data()));
        return samples;
    }

    /// Every sample must be what the image library finds in the file.
    void ExpectAsStored(const std::string& name, const Pixels& pixels) {
        const std::vector<float> stored = Stored(name);
        const std::size_t channels = stored.size() / (pixels.size() / 4);
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            const float* pixel = &stored[i / 4 * channels];
            const float alpha = channels % 2 == 0 ? pixel[channels - 1] : 1;
            const float expected = i % 4 == 3 ? alpha : pixel[channels < 3 ? 0 : 2 - i % 4];
            ASSERT_EQ(pixels[i], std::lround(expected * 65535)) << name << i;
        }
    }
};

}  // namespace veltrane::media

#endif
