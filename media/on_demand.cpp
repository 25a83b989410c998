#include <dlfcn.h>
#include <sys/mman.h>

#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "media/backends.h"
#include "media/fail.h"

namespace veltrane::media {
namespace {

// Some libraries crash or abort the program when they find no room for themselves, or cannot start
// their threads, as they are loaded, so that has to be known before.

/// Throws Error naming the path.
void RequireRoom(const std::string& path, std::size_t bytes) {
    void* room =
        mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (room == MAP_FAILED) Fail(path, kTooLittleMemory);
    munmap(room, bytes);
}

/// Throws Error naming the path.
void RequireThreads(const std::string& path) {
    constexpr int kStarted = 5;
    std::mutex busy;
    std::vector<std::jthread> threads;
    const std::lock_guard lock(busy);
    try {
        for (int i = 0; i < kStarted; ++i) {
            threads.emplace_back([&] { const std::lock_guard wait(busy); });
        }
    } catch (const std::system_error& error) {
        Fail(path, "threads cannot be started: " + error.code().message());
    }
}

/// The functions of a module, which lies where the program's run path leads. It stays loaded: what
/// it makes may live as long as the program.
template <typename Backend>
const Backend& Loaded(const std::string& path, const char* file, const char* name,
                      std::size_t megabytes) {
    RequireRoom(path, megabytes << 20);
    RequireThreads(path);
    void* module = dlopen(file, RTLD_LAZY | RTLD_LOCAL);
    const void* backend = module ? dlsym(module, name) : nullptr;
    if (!backend) throw Error(std::string("a part of the program cannot be loaded: ") + dlerror());
    const auto& functions = *static_cast<const Backend*>(backend);
    functions.shareUnfinished(files::Unfinished::Here());
    return functions;
}

// The modules with their libraries take 380 and 180 MB of addresses, and their threads more.
const ImageBackend& Images(const std::string& path) {
    static const auto& backend =
        Loaded<ImageBackend>(path, "veltrane-images.so", "veltraneImages", 512);
    return backend;
}

const VideoBackend& Video(const std::string& path) {
    static const auto& backend =
        Loaded<VideoBackend>(path, "veltrane-video.so", "veltraneVideo", 256);
    return backend;
}

}  // namespace

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

}  // namespace veltrane::media
