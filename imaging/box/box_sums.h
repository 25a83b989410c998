#ifndef VELTRANE_IMAGING_BOX_BOX_SUMS_H
#define VELTRANE_IMAGING_BOX_BOX_SUMS_H

#include <cstdint>
#include <type_traits>
#include <vector>

#include "imaging/box/box_filter.h"
#include "imaging/box/box_rows.h"
#include "imaging/cpu/in_use.h"
#include "imaging/sample.h"

namespace veltrane {

/// The window sums of one row: at element x, end[x] - begin[x].
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

/// Sums over the clipped windows of a plane, or of a frame whose elements are summed apart, for one
/// row of them at a time.
///
/// What is kept is, for every column, the total of the window's rows from the left up to there: a
/// window's sum is the difference of two totals. The totals may wrap around, since the difference
/// is right as long as it fits a Sum itself.
template <class Sample, class Sum, int channels = 1>
class BoxSums {
public:
    using Slide = void (*)(const Sample* entering, const Sample* leaving, Sum* totals, int count);

    /// The plain form of the step from row to row.
    static void SlidePlainly(const Sample* entering, const Sample* leaving, Sum* totals,
                             int count) {
        Sum change[channels] = {};
        for (int x = 0; x < count; ++x) {
            for (int c = 0; c < channels; ++c) {
                change[c] += *entering++;
                change[c] -= *leaving++;
                *totals++ += change[c];
            }
        }
    }

    BoxSums(const ClippedWindow& across, Slide slide)
        : slide_(slide),
          reach_(static_cast<std::size_t>(std::min(across.radius, across.size)) * channels),
          columns_(static_cast<int>(across.size > across.radius ? across.size : across.size - 1)),
          totals_(static_cast<std::size_t>(across.size + 1) * channels + 2 * reach_, 0) {}

    /// Moves the windows' rows: one of them enters, one leaves.
    void Move(const Sample* entering, const Sample* leaving) {
        Sum* totals = totals_.data() + reach_ + channels;
        slide_(entering, leaving, totals, columns_);
        for (auto at = reach_ + (columns_ + std::size_t{1}) * channels; at < totals_.size(); ++at)
            totals_[at] = totals_[at - channels];
    }

    WindowSums<Sum> Row() const { return {totals_.data() + 2 * reach_ + channels, totals_.data()}; }

private:
    Slide slide_;
    std::size_t reach_;
    int columns_;
    /// Zeros left of the plane, the columns' totals, the whole total right of it: every window
    /// finds both its ends.
    std::vector<Sum> totals_;
};

/// The step in use for a plane.
template <class Sample, class Sum>
typename BoxSums<Sample, Sum>::Slide SlideInUse() {
    if constexpr (std::is_same_v<Sum, std::uint32_t>) {
        static constexpr BoxRows<Sample> kPlain{BoxSums<Sample, Sum>::SlidePlainly};
        return InUse<SimdBoxRows<Sample>>(kPlain).slide;
    } else {
        return BoxSums<Sample, Sum>::SlidePlainly;
    }
}

}  // namespace veltrane

#endif
