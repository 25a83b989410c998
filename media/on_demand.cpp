#include <string>

#include "media/backends.h"
#include "media/module_loading.h"

namespace veltrane::media {
namespace {

template <typename Backend>
const Backend& Loaded(const std::string& path, const char* file, const char* name,
                      std::size_t megabytes) {
    const auto& functions = *static_cast<const Backend*>(LoadModule(path, file, name, megabytes));
    functions.shareUnfinished(files::Unfinished::Here());
    return functions;
}

// The modules with their libraries take 30 and 180 MB of addresses, and their threads more.
const ImageBackend& Images(const std::string& path) {
    static const auto& backend =
        Loaded<ImageBackend>(path, "veltrane-images.so", "veltraneImages", 64);
    return backend;
}

const VideoBackend& Video(const std::string& path) {
    static const auto& backend =
        Loaded<VideoBackend>(path, "veltrane-video.so", "veltraneVideo", 256);
    return backend;
}

}  // namespace

std::shared_ptr<const ColorConversion> OpenColorSpaces(const ColorSpaces& spaces) {
    constexpr std::size_t kMegabytes = 64;  // it takes 20
    static const auto& backend = *static_cast<const ColorBackend*>(
        LoadModule(spaces.config, "veltrane-color.so", "veltraneColor", kMegabytes));
    return backend.open(spaces);
}

std::unique_ptr<Reader> OpenStill(const std::string& path, const ReadOptions& options) {
    return Images(path).openStill(path, options);
}

std::unique_ptr<Reader> OpenSequence(const std::string& pattern, const ReadOptions& options) {
    return Images(pattern).openSequence(pattern, options);
}

std::unique_ptr<Writer> CreateImages(const std::string& path, const WriteOptions& options,
                                     const Info& source) {
    return Images(path).createImages(path, options, source);
}

Frame ScaledToFill(const std::string& path, const Frame& picture, int width, int height) {
    return Images(path).scaledToFill(path, picture, width, height);
}

std::unique_ptr<Reader> OpenVideo(const std::string& path, const ReadOptions& options) {
    return Video(path).openVideo(path, options);
}

std::unique_ptr<Writer> CreateVideo(const std::string& path, const WriteOptions& options,
                                    const Info& source) {
    return Video(path).createVideo(path, options, source);
}

std::vector<DamagedPart> JoinVideo(const std::string& path, const WriteOptions& options,
                                   const Info& source, std::int64_t firstStamp,
                                   const std::vector<PartFile>& parts) {
    return Video(path).joinVideo(path, options, source, firstStamp, parts);
}

std::int64_t CountFrames(const std::string& path) {
    return Video(path).countFrames(path);
}

std::int64_t EntryFrameNear(const std::string& path, std::int64_t number, std::int64_t within) {
    return Video(path).entryFrameNear(path, number, within);
}

}  // namespace veltrane::media
