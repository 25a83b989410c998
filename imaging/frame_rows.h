#ifndef VELTRANE_IMAGING_FRAME_ROWS_H
#define VELTRANE_IMAGING_FRAME_ROWS_H

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "imaging/row_memory.h"
#include "imaging/sample.h"

namespace veltrane {

/// Rows from first up to, but without, end.
struct Band {
    int first;
    int end;

    int Height() const { return end - first; }
};

/// Where the rows of a frame of blue, green, red, alpha come from: packed memory, or a function of
/// the caller's that fills row y. Any number of threads may read at a time.
template <class Sample>
struct RowSource {
    const Sample* packed = nullptr;
    std::function<void(int y, Sample* row)> read{};  ///< where packed is null
    RowMemory memory{};                              ///< what it reads; may be left out

    explicit operator bool() const { return packed != nullptr || read; }

    /// Where rows of width pixels lie, if that is known.
    RowMemory Memory(int width) const {
        if (packed == nullptr) return memory;
        const std::size_t size = static_cast<std::size_t>(width) * kElements * sizeof(Sample);
        return {packed, static_cast<std::ptrdiff_t>(size), size};
    }
};

/// Where the rows of a keyed frame go: packed memory, or a function of the caller's that takes row
/// y; that is called once for every row, downwards within a band, and by several threads at a time
/// if several key.
template <class Sample>
struct RowSink {
    Sample* packed = nullptr;
    std::function<void(int y, const Sample* row)> write{};  ///< where packed is null
    RowMemory memory{};                                     ///< what it writes; may be left out
};

/// Reads the rows of a source for one thread.
template <class Sample>
class RowReader {
public:
    RowReader(const RowSource<Sample>& source, int width)
        : source_(source),
          memory_(source.Memory(width)),
          pitch_(static_cast<std::size_t>(width) * kElements),
          row_(source.packed != nullptr ? 0 : pitch_) {}

    /// Row y, which stays until another one is asked for.
    const Sample* operator()(int y) {
        if (source_.packed != nullptr) return source_.packed + y * pitch_;
        if (y != rowRead_) source_.read(rowRead_ = y, row_.data());
        return row_.data();
    }

    RowMemory Memory() const { return memory_; }

private:
    const RowSource<Sample>& source_;
    RowMemory memory_;
    std::size_t pitch_;
    std::vector<Sample> row_;
    int rowRead_ = -1;
};

}  // namespace veltrane

#endif
