#include "media/media.h"

#include <filesystem>

#include "media/backends.h"
#include "media/converted.h"
#include "media/file_kind.h"
#include "media/pixels.h"
#include "media/sequence_path.h"
#include "media/source_details.h"
#include "media/transfer.h"

namespace veltrane::media {
namespace {

/// The reader's next frame. Throws Error when there is none.
Frame FirstOf(Reader& reader) {
    const std::shared_ptr<Fetched> fetched = reader.Fetch();
    if (!fetched) Fail(reader.info().path, "holds no such frame");
    return reader.Decode(*fetched);
}

}  // namespace

std::unique_ptr<Reader> Open(const std::string& path, const ReadOptions& options) {
    if (options.conversion) {
        ReadOptions stored = options;
        stored.conversion = nullptr;
        stored.transfer = Transfer::None;
        return ConvertedReader(Open(path, stored), options.conversion);
    }
    CheckRange(path, options.frames);
    std::error_code error;
    if (!std::filesystem::exists(path, error) && SequencePath::Parse(path)) {
        return OpenSequence(path, options);
    }
    RequireFile(path);
    return ImageFormatOf(path).empty() ? OpenVideo(path, options) : OpenStill(path, options);
}

Frame ReadFrame(const std::string& path, std::int64_t number, const ReadOptions& options) {
    ReadOptions one = options;
    one.frames = FrameRange{number, number};
    const std::unique_ptr<Reader> reader = Open(path, one);
    return FirstOf(*reader);
}

Frame ReadBackground(const std::string& path, int width, int height,
                     std::shared_ptr<const ColorConversion> conversion) {
    CheckSize(path, width, height);
    ReadOptions options;
    options.conversion = std::move(conversion);
    const std::unique_ptr<Reader> reader = Open(path, options);
    Frame picture = FirstOf(*reader);
    Premultiply(picture.pixels);
    for (std::size_t i = 3; i < picture.pixels.size(); i += 4) picture.pixels[i] = 65535;
    return ScaledToFill(path, picture, width, height);
}

std::unique_ptr<Writer> Create(const std::string& path, const WriteOptions& options,
                               const Info& source) {
    if (options.conversion) {
        WriteOptions stored = options;
        stored.conversion = nullptr;
        stored.transfer = Transfer::None;
        return ConvertedWriter(Create(path, stored, source), options.conversion);
    }
    if (!IsVideoName(path)) return CreateImages(path, options, source);
    const Compression::Method method = options.compression.method;
    if (method != Compression::Method::Automatic) {
        Fail(path, std::string("cannot be compressed by ") + CompressionName(method) +
                       ", which is for images");
    }
    return CreateVideo(path, options, source);
}

}  // namespace veltrane::media
