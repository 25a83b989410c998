#include <dlfcn.h>

#include <utility>

#include "media/backends.h"

namespace veltrane::media {
namespace {

/// The functions of a module, which lies where the program's run path leads. It stays loaded: what
/// it makes may live as long as the program.
template <typename Backend>
const Backend& Loaded(const char* file, const char* name) {
    void* module = dlopen(file, RTLD_LAZY | RTLD_LOCAL);
    const void* backend = module ? dlsym(module, name) : nullptr;
    if (!backend) throw Error(std::string("a part of the program cannot be loaded: ") + dlerror());
    return *static_cast<const Backend*>(backend);
}

const ImageBackend& Images() {
    static const auto& backend = Loaded<ImageBackend>("veltrane-images.so", "veltraneImages");
    return backend;
}

const VideoBackend& Video() {
    static const auto& backend = Loaded<VideoBackend>("veltrane-video.so", "veltraneVideo");
    return backend;
}

}  // namespace

std::unique_ptr<Reader> OpenStill(const std::string& path, const ReadOptions& options) {
    return Images().openStill(path, options);
}

std::unique_ptr<Reader> OpenSequence(const std::string& pattern, const ReadOptions& options) {
    return Images().openSequence(pattern, options);
}

std::unique_ptr<Writer> CreateImages(const std::string& path, const WriteOptions& options,
                                     const Info& source) {
    return Images().createImages(path, options, source);
}

Frame ScaledToFill(const std::string& path, Frame picture, int width, int height) {
    return Images().scaledToFill(path, std::move(picture), width, height);
}

std::unique_ptr<Reader> OpenVideo(const std::string& path, const ReadOptions& options) {
    return Video().openVideo(path, options);
}

std::unique_ptr<Writer> CreateVideo(const std::string& path, const WriteOptions& options,
                                    const Info& source) {
    return Video().createVideo(path, options, source);
}

}  // namespace veltrane::media
