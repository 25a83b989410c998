#include "hosts/ofx/frame_pool.h"

#include <algorithm>
#include <utility>

namespace veltrane::ofx {

namespace {

constexpr std::size_t kMostIdleBytes = std::size_t{256} << 20;

}  // namespace

FramePool::Buffer FramePool::Take(std::size_t size) {
    {
        const std::lock_guard lock(mutex_);
        const auto found = std::find_if(idle_.begin(), idle_.end(),
                                        [&](const Buffer& b) { return b.size == size; });
        if (found != idle_.end()) {
            Buffer buffer = std::move(*found);
            idle_.erase(found);
            return buffer;
        }
    }
    return {std::make_unique_for_overwrite<unsigned char[]>(size), size};
}

void FramePool::Give(Buffer buffer) noexcept {
    const std::lock_guard lock(mutex_);
    std::size_t total = buffer.size;
    for (const Buffer& idle : idle_) total += idle.size;
    auto kept = idle_.begin();
    for (; kept != idle_.end() && total > kMostIdleBytes; ++kept) total -= kept->size;
    idle_.erase(idle_.begin(), kept);
    if (total > kMostIdleBytes) return;
    try {
        idle_.push_back(std::move(buffer));
    } catch (...) {
        // Without room to remember it the buffer is simply freed.
    }
}

void FramePool::Clear() {
    const std::lock_guard lock(mutex_);
    idle_.clear();
}

FramePool& Frames() {
    static FramePool pool;
    return pool;
}

}  // namespace veltrane::ofx
