#include "media/pixel_memory.h"

#include <sys/mman.h>

namespace veltrane::media {

/// What lies at the ends of such pages is left to whoever else has it.
void PreferLargePages(void* memory, std::size_t bytes) {
    constexpr std::size_t kPage = std::size_t{1} << 21, kLeast = 2 * kPage;
    if (bytes < kLeast) return;
    const auto begin = reinterpret_cast<std::uintptr_t>(memory);
    const std::uintptr_t first = (begin + kPage - 1) / kPage * kPage;
    const std::uintptr_t end = (begin + bytes) / kPage * kPage;
    // Where the system has none, it is as it was.
    ::madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
}

}  // namespace veltrane::media
