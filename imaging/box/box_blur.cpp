#include <cstdint>
#include <cstring>

#include "imaging/box/box_sums.h"
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

template <class Sum>
void Average(const Sum* ends, const Sum* begins, const float* across, float down, std::uint8_t* row,
             std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        const auto sum =
            static_cast<float>(static_cast<std::make_signed_t<Sum>>(ends[i] - begins[i]));
        row[i] = static_cast<std::uint8_t>(static_cast<int>(sum * across[i] * down + 0.5f));
    }
}

template <class Sum>
using PixelSums = BoxSums<std::uint8_t, Sum, kElements>;

constexpr PixelBoxRows kPlainRows{PixelSums<std::uint32_t>::SlidePlainly, Average<std::uint32_t>};

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
    PixelSums<Sum> sums(acrossAxis, slide);
    for (std::int64_t y = 0; y < downAxis.size; ++y) {
        downAxis.Advance(y, [&](std::int64_t entering, std::int64_t leaving) {
            sums.Move(row(entering), row(leaving));
        });
        const WindowSums<Sum> windows = sums.Row();
        average(windows.end, windows.begin, across.data(), down[y], frame + y * pitch, size);
    }
}

}  // namespace

void CImagingORV::AverageBlurCore32bit6(unsigned char* frame, int width, int height, int pitch,
                                        int radius) const {
    if (radius < 0 || width < 1 || height < 1) return;
    const ClippedWindow across{width, radius};
    const ClippedWindow down{height, radius};
    if (MostSamples(across, down) <= INT32_MAX / kFullScale<unsigned char>) {
        const PixelBoxRows& rows = InUse<SimdPixelBoxRows>(kPlainRows);
        Blur<std::uint32_t>(frame, pitch, across, down, rows.slide, rows.average);
    } else {
        Blur<std::uint64_t>(frame, pitch, across, down, PixelSums<std::uint64_t>::SlidePlainly,
                            Average<std::uint64_t>);
    }
}
