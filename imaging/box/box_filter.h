#ifndef VELTRANE_IMAGING_BOX_BOX_FILTER_H
#define VELTRANE_IMAGING_BOX_BOX_FILTER_H

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
    /// 1 / Count for every window.
    std::vector<float> Weights() const {
        std::vector<float> weights(static_cast<std::size_t>(size));
        for (std::int64_t i = 0; i < size; ++i) weights[i] = 1.0f / static_cast<float>(Count(i));
        return weights;
    }

    /// Moves the window to i, which goes up from 0, by calls of slide(entering, leaving); -1 stands
    /// for no sample. A side that is not longer than the radius never takes its last sample, while
    /// the count includes it: the first window starts one short, and the sample that would complete
    /// it lies outside.
    template <class Slide>
    void Advance(std::int64_t i, Slide slide) const {
        if (i == 0) {
            for (std::int64_t first = 0; first < High(0) - 1; ++first) slide(first, -1);
        }
        const std::int64_t entering = i + radius < size ? i + radius : -1;
        const std::int64_t leaving = i > radius ? i - radius - 1 : -1;
        if (entering >= 0 || leaving >= 0) slide(entering, leaving);
    }
};

/// Samples in the largest window of a plane.
inline std::int64_t MostSamples(const ClippedWindow& across, const ClippedWindow& down) {
    return std::min(2 * across.radius + 1, across.size) * std::min(2 * down.radius + 1, down.size);
}

}  // namespace veltrane

#endif
