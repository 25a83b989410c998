#include "media/pixel_memory.h"

#include <sys/mman.h>

namespace veltrane::media {

/// What lies at the ends of such pages is left to whoever else has it.
void PreferLargePages(void* memory, std::size_t bytes) {
    constexpr std::size_t kPage = std::size_t{1} << 21, kLeast = 2 * kPage;
    if (bytes < kLeast) return;
    std::align(kPage, kPage, memory, bytes);
    // Where the system has none, it is as it was.
    ::madvise(memory, bytes / kPage * kPage, MADV_HUGEPAGE);
}

}  // namespace veltrane::media
