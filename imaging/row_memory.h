#ifndef VELTRANE_IMAGING_ROW_MEMORY_H
#define VELTRANE_IMAGING_ROW_MEMORY_H

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace veltrane {

/// Memory that will be used soon.
struct Stretch {
    const char* begin = nullptr;
    std::size_t size = 0;  ///< bytes
};

/// Where the rows of a frame lie, so that they can be fetched before they are used.
struct RowMemory {
    const void* first = nullptr;  ///< the top row; null where that is not known
    std::ptrdiff_t pitch = 0;     ///< bytes from a row to the one below it
    std::size_t size = 0;         ///< bytes of a row
    int count = 0;

    /// The rows from..to - 1 as far as there are any; nothing where they lie far apart.
    Stretch Rows(int from, int to) const {
        to = std::min(to, count);
        const auto step = static_cast<std::size_t>(std::abs(pitch));
        if (first == nullptr || from >= to || step > 2 * size) return {};
        const int lowest = pitch < 0 ? to - 1 : from;
        return {static_cast<const char*>(first) + lowest * pitch, (to - from - 1) * step + size};
    }
};

/// Has a stretch of memory fetched into the second cache in so many portions, between which the
/// processor is busy with something else.
class Fetcher {
public:
    Fetcher(Stretch stretch, std::size_t portions)
        : at_(stretch.begin), left_(stretch.size), portion_(stretch.size / portions + kLine) {}

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
