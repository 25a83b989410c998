#ifndef VELTRANE_IMAGING_BOX_FILTER_H
#define VELTRANE_IMAGING_BOX_FILTER_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace veltrane {

/// The windows [i - radius, i + radius] of one axis, cut off at its ends.
struct ClippedWindow {
    std::int64_t size;
    std::int64_t radius;

    /// One past the last sample of the window, counted from i.
    std::int64_t High(std::int64_t i) const { return std::min(radius + 1, size - i); }
    /// Samples in the window.
    std::int64_t Count(std::int64_t i) const { return High(i) + std::min(radius, i); }
};

/// Which elements of an interleaved frame are summed: count of them from first on.
template <int stride, int first, int count>
struct ElementRange {
    static constexpr int kStride = stride;
    static constexpr int kFirst = first;
    static constexpr int kCount = count;
};

/// Column sums over the rows of the clipped window around one row, and their sliding sum along it.
///
/// A side that is not longer than the radius never takes its last sample into the sums, while the
/// count still includes it: the sums start one short of the first window, and the sample that would
/// complete it lies outside.
template <class Sample, class Range, class ColumnSum, class RunningSum>
class BoxSums {
public:
    using Sums = std::array<RunningSum, Range::kCount>;

    BoxSums(const Sample* source, int width, int height, std::ptrdiff_t pitch, int radius)
        : source_(source),
          pitch_(pitch),
          columnAxis_{width, radius},
          rowAxis_{height, radius},
          columns_(static_cast<std::size_t>(width) * Range::kCount, 0) {
        for (std::int64_t y = 0; y < rowAxis_.High(0) - 1; ++y) Add(y);
    }

    /// Moves the window down to row y; rows are taken in order from 0.
    void EnterRow(std::int64_t y) {
        if (y > rowAxis_.radius) Subtract(y - rowAxis_.radius - 1);
        if (y + rowAxis_.radius < rowAxis_.size) Add(y + rowAxis_.radius);
    }

    /// Calls emit(x, sums) for every window of the current row.
    template <class Emit>
    void ForEachWindow(Emit emit) const {
        const std::int64_t radius = columnAxis_.radius;
        Sums sums{};
        for (std::int64_t x = 0; x < columnAxis_.High(0) - 1; ++x) Slide<1>(sums, x);
        for (std::int64_t x = 0; x < columnAxis_.size; ++x) {
            if (x > radius) Slide<-1>(sums, x - radius - 1);
            if (x + radius < columnAxis_.size) Slide<1>(sums, x + radius);
            emit(static_cast<int>(x), sums);
        }
    }

private:
    void Add(std::int64_t y) {
        ForEachSample(y, [](ColumnSum& sum, Sample sample) { sum += sample; });
    }

    void Subtract(std::int64_t y) {
        ForEachSample(y, [](ColumnSum& sum, Sample sample) { sum -= sample; });
    }

    template <class Apply>
    void ForEachSample(std::int64_t y, Apply apply) {
        const Sample* pixel = source_ + y * pitch_ + Range::kFirst;
        ColumnSum* sum = columns_.data();
        for (std::int64_t x = 0; x < columnAxis_.size; ++x, pixel += Range::kStride) {
            for (int e = 0; e < Range::kCount; ++e) apply(*sum++, pixel[e]);
        }
    }

    template <int sign>
    void Slide(Sums& sums, std::int64_t x) const {
        const ColumnSum* column = columns_.data() + x * Range::kCount;
        for (int e = 0; e < Range::kCount; ++e) {
            const RunningSum value = static_cast<RunningSum>(column[e]);
            sums[e] = sign > 0 ? sums[e] + value : sums[e] - value;
        }
    }

    const Sample* source_;
    std::ptrdiff_t pitch_;
    ClippedWindow columnAxis_;
    ClippedWindow rowAxis_;
    std::vector<ColumnSum> columns_;
};

}  // namespace veltrane

#endif
