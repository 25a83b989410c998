#ifndef VELTRANE_IMAGING_BOX_BOX_SUMS_H
#define VELTRANE_IMAGING_BOX_BOX_SUMS_H

#include <cstdint>
#include <type_traits>
#include <vector>

#include "imaging/box/box_filter.h"
#include "imaging/box/box_rows.h"
#include "imaging/sample.h"

namespace veltrane {

/// The window sums of one row: at x, end[x] - begin[x].
template <class Sum>
struct WindowSums {
    const Sum* end;
    const Sum* begin;

    Sum operator[](std::ptrdiff_t x) const { return end[x] - begin[x]; }
};

/// Whether the sum of every window of a plane fits 32 bits.
template <class Sample>
bool SumsAreNarrow(const ClippedWindow& across, const ClippedWindow& down) {
    return MostSamples(across, down) <= 0xFFFFFFFF / kFullScale<Sample>;
}

/// Sums over the clipped windows of a plane, for one row of them at a time.
///
/// What is kept is, for every column, the total of the window's rows from the left up to there: a
/// window's sum is the difference of two totals. The totals may wrap around, since the difference
/// is right as long as it fits a Sum itself.
template <class Sample, class Sum>
class BoxSums {
public:
    explicit BoxSums(const ClippedWindow& across)
        : radius_(std::min(across.radius, across.size)),
          columns_(across.size > across.radius ? across.size : across.size - 1),
          totals_(static_cast<std::size_t>(across.size + 2 * radius_ + 1), 0) {}

    /// Moves the windows' rows: one of them enters, one leaves.
    void Slide(const Sample* entering, const Sample* leaving) {
        Sum* totals = totals_.data() + radius_ + 1;
        slide_(entering, leaving, totals, static_cast<int>(columns_));
        std::fill(totals + columns_, totals_.data() + totals_.size(), totals[columns_ - 1]);
    }

    WindowSums<Sum> Row() const { return {totals_.data() + 2 * radius_ + 1, totals_.data()}; }

private:
    using SlideRow = void (*)(const Sample*, const Sample*, Sum*, int);

    static void PlainSlide(const Sample* entering, const Sample* leaving, Sum* totals, int count) {
        Sum change = 0;
        for (int x = 0; x < count; ++x) {
            change += entering[x];
            change -= leaving[x];
            totals[x] += change;
        }
    }

    static SlideRow SlideInUse() {
#ifdef VELTRANE_SIMD
        if constexpr (std::is_same_v<Sum, std::uint32_t>) {
            if (const BoxRows<Sample>* rows = SimdBoxRows<Sample>()) return rows->slide;
        }
#endif
        return PlainSlide;
    }

    SlideRow slide_ = SlideInUse();
    std::int64_t radius_;
    std::int64_t columns_;
    /// Zeros left of the plane, the columns' totals, the whole total right of it: every window
    /// finds both its ends.
    std::vector<Sum> totals_;
};

}  // namespace veltrane

#endif
