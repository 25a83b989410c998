#ifndef VELTRANE_HOSTS_OFX_FRAME_POOL_H
#define VELTRANE_HOSTS_OFX_FRAME_POOL_H

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

namespace veltrane::ofx {

/// Working frames kept for the next render: memory that is new to the process costs more time than
/// every conversion around the keyer. Shared by all instances; safe from several threads.
class FramePool {
public:
    struct Buffer {
        std::unique_ptr<unsigned char[]> bytes;
        std::size_t size = 0;
    };

    /// A buffer of exactly this size, its content left over from any use. Throws std::bad_alloc.
    Buffer Take(std::size_t size);

    /// Takes the buffer back; while too much lies idle, the oldest go.
    void Give(Buffer buffer) noexcept;

    void Clear();

private:
    std::mutex mutex_;
    std::vector<Buffer> idle_;
};

FramePool& Frames();

/// A working frame of the pool, for the length of a scope.
template <class Sample>
class WorkingFrame {
public:
    explicit WorkingFrame(std::size_t samples) : buffer_(Frames().Take(samples * sizeof(Sample))) {}
    ~WorkingFrame() { Frames().Give(std::move(buffer_)); }
    WorkingFrame(const WorkingFrame&) = delete;
    WorkingFrame& operator=(const WorkingFrame&) = delete;

    Sample* samples() const { return reinterpret_cast<Sample*>(buffer_.bytes.get()); }

private:
    FramePool::Buffer buffer_;
};

}  // namespace veltrane::ofx

#endif
