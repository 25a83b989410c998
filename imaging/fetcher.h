#ifndef VELTRANE_IMAGING_FETCHER_H
#define VELTRANE_IMAGING_FETCHER_H

#include <algorithm>
#include <cstddef>

namespace veltrane {

/// Has a stretch of memory fetched into the second cache in so many portions, between which the
/// processor is busy with something else.
class Fetcher {
public:
    Fetcher(const void* begin, std::size_t size, std::size_t portions)
        : at_(static_cast<const char*>(begin)), left_(size), portion_(size / portions + kLine) {}

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
