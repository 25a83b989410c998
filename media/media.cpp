#include "media/media.h"

#include <algorithm>
#include <filesystem>

#include "media/backends.h"
#include "media/file_kind.h"
#include "media/sequence_path.h"
#include "media/source_details.h"
#include "media/transfer.h"

namespace veltrane::media {

std::unique_ptr<Reader> Open(const std::string& path, const ReadOptions& options) {
    CheckRange(path, options.frames);
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        if (SequencePath::Parse(path)) return OpenSequence(path, options);
        Fail(path, "no such file");
    }
    if (std::filesystem::is_directory(status)) {
        Fail(path, "is a folder; name a sequence in it such as frame.%04d.png");
    }
    return ImageFormatOf(path).empty() ? OpenVideo(path, options) : OpenStill(path, options);
}

Frame ReadFrame(const std::string& path, std::int64_t number, const ReadOptions& options) {
    ReadOptions one = options;
    one.frames = FrameRange{number, number};
    const std::unique_ptr<Reader> reader = Open(path, one);
    return reader->Decode(*reader->Fetch());
}

Frame ReadBackground(const std::string& path, int width, int height) {
    CheckSize(path, width, height);
    const std::unique_ptr<Reader> reader = Open(path);
    Frame picture = reader->Decode(*reader->Fetch());
    for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
        for (std::size_t c = i; c < i + 3; ++c) {
            picture.pixels[c] = Premultiply(picture.pixels[c], picture.pixels[i + 3]);
        }
        picture.pixels[i + 3] = 65535;
    }
    return ScaledToFill(path, picture, width, height);
}

std::unique_ptr<Writer> Create(const std::string& path, const WriteOptions& options,
                               const Info& source) {
    constexpr const char* kVideos[] = {".mov", ".mkv", ".webm", ".mp4"};
    const bool video =
        std::find(std::begin(kVideos), std::end(kVideos), Extension(path)) != std::end(kVideos);
    return video ? CreateVideo(path, options, source) : CreateImages(path, options, source);
}

}  // namespace veltrane::media
