#include "media/module_loading.h"

#include <dlfcn.h>
#include <sys/mman.h>

#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

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

}  // namespace

const void* LoadModule(const std::string& path, const char* file, const char* name,
                       std::size_t megabytes) {
    RequireRoom(path, megabytes << 20);
    RequireThreads(path);
    void* module = dlopen(file, RTLD_LAZY | RTLD_LOCAL);
    const void* shown = module ? dlsym(module, name) : nullptr;
    if (!shown) throw Error(std::string("a part of the program cannot be loaded: ") + dlerror());
    return shown;
}

}  // namespace veltrane::media
