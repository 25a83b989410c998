#ifndef VELTRANE_IMAGING_ALIGNED_BUFFER_H
#define VELTRANE_IMAGING_ALIGNED_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace veltrane {

/// An array of zeros that begins with a cache line, so that its whole vectors do not straddle two.
template <class T>
class AlignedBuffer {
public:
    explicit AlignedBuffer(std::size_t size)
        : size_(size), storage_(size + kLine / sizeof(T)), data_(storage_.data()) {
        const std::size_t beyond = reinterpret_cast<std::uintptr_t>(data_) % kLine;
        if (beyond != 0) data_ += (kLine - beyond) / sizeof(T);
    }
    AlignedBuffer(AlignedBuffer&&) noexcept = default;

    T* data() { return data_; }
    const T* data() const { return data_; }
    std::size_t size() const { return size_; }

private:
    static constexpr std::size_t kLine = 64;

    std::size_t size_;
    std::vector<T> storage_;
    T* data_;
};

}  // namespace veltrane

#endif
