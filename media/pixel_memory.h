#ifndef VELTRANE_MEDIA_PIXEL_MEMORY_H
#define VELTRANE_MEDIA_PIXEL_MEMORY_H

#include <cstdint>
#include <memory>
#include <new>
#include <vector>

namespace veltrane::media {

/// Leaves what a vector is made or resized with unset: the threads that set it take its memory, and
/// nobody writes zeros that are written over.
template <class Value>
struct UnsetAllocator : std::allocator<Value> {
    template <class Other>
    struct rebind {
        using other = UnsetAllocator<Other>;
    };
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
