#include <cstdint>
#include <cstring>

#include "imaging/box_filter.h"
#include "imaging/imaging.h"
#include "imaging/plate_rows.h"
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
class RowTotals {
public:
    explicit RowTotals(const ClippedWindow& axis)
        : reach_(static_cast<std::size_t>(std::min(axis.radius, axis.size)) * kElements),
          columns_(static_cast<int>(axis.size > axis.radius ? axis.size : axis.size - 1)),
          totals_(axis.size * kElements + 2 * reach_ + kElements, 0) {}

    void Slide(const PlateRows& steps, const std::uint8_t* entering, const std::uint8_t* leaving) {
        std::uint32_t* totals = totals_.data() + reach_ + kElements;
        steps.slide(entering, leaving, totals, columns_);
        for (auto at = reach_ + (columns_ + std::size_t{1}) * kElements; at < totals_.size();
             ++at) {
            totals_[at] = totals_[at - kElements];
        }
    }

    const std::uint32_t* Begins() const { return totals_.data(); }
    const std::uint32_t* Ends() const { return totals_.data() + 2 * reach_ + kElements; }

private:
    std::size_t reach_;
    int columns_;
    std::vector<std::uint32_t> totals_;
};

}  // namespace

void CImagingORV::AverageBlurCore32bit6(unsigned char* frame, int width, int height, int pitch,
                                        int radius) const {
    if (radius < 0 || width < 1 || height < 1) return;
    const PlateRows& steps = PlateRowsInUse();
    const ClippedWindow acrossAxis{width, radius};
    const ClippedWindow downAxis{height, radius};
    const std::vector<float> across = ElementWeights(acrossAxis);
    const std::vector<float> down = downAxis.Weights();
    const std::size_t size = static_cast<std::size_t>(pitch) * height;
    const auto source = MakeBuffer<unsigned char>(size);
    std::memcpy(source.get(), frame, size);
    const std::vector<unsigned char> none(across.size(), 0);
    const auto row = [&](std::int64_t y) { return y < 0 ? none.data() : source.get() + y * pitch; };
    RowTotals totals(acrossAxis);
    for (std::int64_t y = 0; y < height; ++y) {
        downAxis.Advance(y, [&](std::int64_t entering, std::int64_t leaving) {
            totals.Slide(steps, row(entering), row(leaving));
        });
        steps.average(totals.Ends(), totals.Begins(), across.data(), down[y], frame + y * pitch,
                      across.size());
    }
}
