#ifndef VELTRANE_IMAGING_FRAME_ROWS_H
#define VELTRANE_IMAGING_FRAME_ROWS_H

#include <cstddef>
#include <functional>

#include "imaging/row_memory.h"
#include "imaging/sample.h"

namespace veltrane {

/// The rows of a frame of blue, green, red, alpha: packed in memory, or made when they are asked
/// for.
template <class Sample>
class FrameRows {
public:
    FrameRows(const Sample* packed, int width, int height)
        : packed_(packed), pitch_(static_cast<std::size_t>(width) * kElements) {
        const std::size_t bytes = pitch_ * sizeof(Sample);
        memory_ = {packed, static_cast<std::ptrdiff_t>(bytes), bytes, height};
    }
    /// make(y) gives row y, which stays until the next call; it reads that row of memory.
    FrameRows(std::function<const Sample*(int y)> make, const RowMemory& memory)
        : make_(std::move(make)), memory_(memory) {}

    /// Null where rows are made.
    const Sample* Packed() const { return packed_; }
    const RowMemory& Memory() const { return memory_; }

    const Sample* operator()(int y) const {
        return packed_ != nullptr ? packed_ + y * pitch_ : make_(y);
    }

private:
    const Sample* packed_ = nullptr;
    std::size_t pitch_ = 0;
    std::function<const Sample*(int y)> make_;
    RowMemory memory_;
};

/// Takes the rows of a frame that is being made from the top, each as soon as nothing will change
/// it any more.
template <class Sample>
struct RowSink {
    std::function<void(int y, Sample* row)> take;
    RowMemory memory{};  ///< where it puts the row that it takes
};

}  // namespace veltrane

#endif
