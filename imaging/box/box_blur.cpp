#include <cstdint>
#include <cstring>

#include "imaging/box/box_filter.h"
#include "imaging/box/plate_rows.h"
#include "imaging/imaging.h"
#include "imaging/sample.h"

namespace {

using namespace veltrane;

/// The same weight for every element of a pixel.
std::vector<float> ElementWeights(const ClippedWindow& axis) {
    std::vector<float> weights;
    weights.reserve(static_cast<std::size_t>(axis.size) * kElements);
    for (const float weight : axis.Weights()) weights.insert(weights.end(), kElements, weight);
    return weights;
}

/// For every pixel of a row the totals of the windows' rows from the left up to it: zeros before
/// the row and the whole total behind it, so that every window finds both its ends.
template <class Sum>
class RowTotals {
public:
    explicit RowTotals(const ClippedWindow& axis)
        : reach_(static_cast<std::size_t>(std::min(axis.radius, axis.size)) * kElements),
          columns_(static_cast<int>(axis.size > axis.radius ? axis.size : axis.size - 1)),
          totals_(axis.size * kElements + 2 * reach_ + kElements, 0) {}

    template <class SlideRow>
    void Slide(SlideRow slide, const std::uint8_t* entering, const std::uint8_t* leaving) {
        slide(entering, leaving, totals_.data() + reach_ + kElements, columns_);
        for (auto at = reach_ + (columns_ + std::size_t{1}) * kElements; at < totals_.size();
             ++at) {
            totals_[at] = totals_[at - kElements];
        }
    }

    const Sum* Begins() const { return totals_.data(); }
    const Sum* Ends() const { return totals_.data() + 2 * reach_ + kElements; }

private:
    std::size_t reach_;
    int columns_;
    std::vector<Sum> totals_;
};

/// The rows of a frame without what lies between them.
std::unique_ptr<unsigned char[]> CopyRows(const unsigned char* frame, std::size_t size, int height,
                                          std::ptrdiff_t pitch) {
    auto rows = MakeBuffer<unsigned char>(size * height);
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        std::memcpy(rows.get() + y * size, frame + y * pitch, size);
    }
    return rows;
}

template <class Sum, class SlideRow, class AverageRow>
void Blur(unsigned char* frame, std::ptrdiff_t pitch, const ClippedWindow& acrossAxis,
          const ClippedWindow& downAxis, SlideRow slide, AverageRow average) {
    const std::vector<float> across = ElementWeights(acrossAxis);
    const std::vector<float> down = downAxis.Weights();
    const std::size_t size = across.size();
    const auto source = CopyRows(frame, size, static_cast<int>(downAxis.size), pitch);
    const std::vector<unsigned char> none(size, 0);
    const auto row = [&](std::int64_t y) { return y < 0 ? none.data() : source.get() + y * size; };
    RowTotals<Sum> totals(acrossAxis);
    for (std::int64_t y = 0; y < downAxis.size; ++y) {
        downAxis.Advance(y, [&](std::int64_t entering, std::int64_t leaving) {
            totals.Slide(slide, row(entering), row(leaving));
        });
        average(totals.Ends(), totals.Begins(), across.data(), down[y], frame + y * pitch, size);
    }
}

}  // namespace

void CImagingORV::AverageBlurCore32bit6(unsigned char* frame, int width, int height, int pitch,
                                        int radius) const {
    if (radius < 0 || width < 1 || height < 1) return;
    const ClippedWindow across{width, radius};
    const ClippedWindow down{height, radius};
    if (MostSamples(across, down) <= INT32_MAX / kFullScale<unsigned char>) {
        const PlateRows& steps = PlateRowsInUse();
        Blur<std::uint32_t>(frame, pitch, across, down, steps.slide, steps.average);
    } else {
        Blur<std::uint64_t>(frame, pitch, across, down, SlideTotals<std::uint64_t>,
                            AverageTotals<std::uint64_t>);
    }
}
