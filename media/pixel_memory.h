#ifndef VELTRANE_MEDIA_PIXEL_MEMORY_H
#define VELTRANE_MEDIA_PIXEL_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

namespace veltrane::media {

/// Asks the system to give memory in pages of 2 MB where it can, before it is written for the first
/// time: given 4 kB at a time it takes longer than many a step of the work that is done there.
void PreferLargePages(void* memory, std::size_t bytes);

/// Leaves what a vector is made or resized with unset: the threads that set it take its memory, and
/// nobody writes zeros that are written over.
template <class Value>
struct UnsetAllocator : std::allocator<Value> {
    template <class Other>
    struct rebind {
        using other = UnsetAllocator<Other>;
    };
    Value* allocate(std::size_t count) {
        Value* const memory = std::allocator<Value>::allocate(count);
        PreferLargePages(memory, count * sizeof(Value));
        return memory;
    }
    template <class Other>
    void construct(Other* value) {
        ::new (static_cast<void*>(value)) Other;
    }
};

template <class Value>
using UnsetVector = std::vector<Value, UnsetAllocator<Value>>;

/// Samples of a frame, four a pixel.
using Pixels = UnsetVector<std::uint16_t>;
/// Red, green and blue of a frame's pixels as floats, three a pixel.
using Colors = UnsetVector<float>;

}  // namespace veltrane::media

#endif
