#ifndef VELTRANE_IMAGING_ROW_MEMORY_H
#define VELTRANE_IMAGING_ROW_MEMORY_H

#include <algorithm>
#include <cstddef>

namespace veltrane {

/// Where a host's rows lie that are converted on their way, so that the key can fetch the next one
/// while it computes; nothing where first is null.
struct RowMemory {
    const void* first = nullptr;  ///< the top row
    std::ptrdiff_t pitch = 0;     ///< bytes from a row to the one below it
    std::size_t size = 0;         ///< bytes of a row
};

/// One row of it.
struct RowStretch {
    const char* begin = nullptr;
    std::size_t size = 0;

    RowStretch() = default;
    RowStretch(const RowMemory& memory, int y)
        : begin(memory.first == nullptr
                    ? nullptr
                    : static_cast<const char*>(memory.first) + y * memory.pitch),
          size(memory.first == nullptr ? 0 : memory.size) {}
};

/// What is to be fetched while a row is keyed.
struct Ahead {
    RowStretch read;     ///< what will be read for the next row
    RowStretch written;  ///< where the keyed row will be written
};

/// Has a row fetched into the second cache in so many portions, between which the processor is busy
/// with something else.
class Fetcher {
public:
    Fetcher(RowStretch row, std::size_t portions)
        : at_(row.begin), left_(row.size), portion_(row.size / portions + kLine) {}

    void Fetch() {
        const std::size_t size = std::min(portion_, left_);
        for (std::size_t i = 0; i < size; i += kLine) __builtin_prefetch(at_ + i, 0, 2);
        at_ += size;
        left_ -= size;
    }

private:
    static constexpr std::size_t kLine = 64;

    const char* at_;
    std::size_t left_;
    std::size_t portion_;
};

}  // namespace veltrane

#endif
