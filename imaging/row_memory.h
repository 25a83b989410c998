#ifndef VELTRANE_IMAGING_ROW_MEMORY_H
#define VELTRANE_IMAGING_ROW_MEMORY_H

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace veltrane {

/// Where rows lie, so that the next ones can be fetched while others are worked on; nothing where
/// first is null.
struct RowMemory {
    const void* first = nullptr;  ///< the top row
    std::ptrdiff_t pitch = 0;     ///< bytes from a row to the one below it
    std::size_t size = 0;         ///< bytes of a row
};

/// Some rows of it, from row y down; nothing where they lie far apart.
struct RowStretch {
    const char* begin = nullptr;
    std::size_t size = 0;

    RowStretch() = default;
    RowStretch(const RowMemory& memory, int y, int rows = 1) {
        const auto step = static_cast<std::size_t>(std::abs(memory.pitch));
        if (memory.first == nullptr || rows < 1 || (rows > 1 && step > 2 * memory.size)) return;
        const int lowest = memory.pitch < 0 ? y + rows - 1 : y;
        begin = static_cast<const char*>(memory.first) + lowest * memory.pitch;
        size = (rows - 1) * step + memory.size;
    }
};

/// What is to be fetched while a row is keyed.
struct Ahead {
    RowStretch read;     ///< what will be read for the next row
    RowStretch written;  ///< where the keyed row will be written
};

/// Has rows fetched into the second cache in so many portions, between which the processor is busy
/// with something else.
class Fetcher {
public:
    Fetcher(RowStretch rows, std::size_t portions)
        : at_(rows.begin), left_(rows.size), portion_(rows.size / portions + kLine) {}

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
