#include <cstdint>
#include <cstring>

#include "imaging/box_filter.h"
#include "imaging/imaging.h"
#include "imaging/sample.h"

namespace {

using namespace veltrane;

/// The reciprocals of the windows' widths, each repeated for the elements of a pixel.
std::vector<float> Reciprocals(const ClippedWindow& axis, int elements) {
    std::vector<float> weights;
    weights.reserve(static_cast<std::size_t>(axis.size * elements));
    for (std::int64_t i = 0; i < axis.size; ++i) {
        weights.insert(weights.end(), elements, 1.0f / static_cast<float>(axis.Count(i)));
    }
    return weights;
}

void AddRow(const unsigned char* row, std::vector<std::uint32_t>& columns) {
    for (std::size_t i = 0; i < columns.size(); ++i) columns[i] += row[i];
}

void SubtractRow(const unsigned char* row, std::vector<std::uint32_t>& columns) {
    for (std::size_t i = 0; i < columns.size(); ++i) columns[i] -= row[i];
}

/// Slides the window along a row of column sums.
void SumRow(const std::vector<std::uint32_t>& columns, const ClippedWindow& axis,
            std::vector<std::int32_t>& windows) {
    const auto column = [&](std::int64_t x) { return columns.data() + x * kElements; };
    std::uint32_t sums[kElements] = {};
    for (std::int64_t x = 0; x < axis.High(0) - 1; ++x) {
        for (int e = 0; e < kElements; ++e) sums[e] += column(x)[e];
    }
    std::int32_t* window = windows.data();
    for (std::int64_t x = 0; x < axis.size; ++x, window += kElements) {
        if (x > axis.radius) {
            const std::uint32_t* left = column(x - axis.radius - 1);
            for (int e = 0; e < kElements; ++e) sums[e] -= left[e];
        }
        if (x + axis.radius < axis.size) {
            const std::uint32_t* right = column(x + axis.radius);
            for (int e = 0; e < kElements; ++e) sums[e] += right[e];
        }
        for (int e = 0; e < kElements; ++e) window[e] = static_cast<std::int32_t>(sums[e]);
    }
}

/// across holds the reciprocal of every element's window width.
void AverageRow(const std::vector<std::int32_t>& windows, const std::vector<float>& across,
                float down, unsigned char* row) {
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const float mean = static_cast<float>(windows[i]) * across[i] * down;
        row[i] = static_cast<unsigned char>(static_cast<int>(mean + 0.5f));
    }
}

}  // namespace

void CImagingORV::AverageBlurCore32bit6(unsigned char* frame, int width, int height, int pitch,
                                        int radius) const {
    if (radius < 0 || width < 1 || height < 1) return;
    const ClippedWindow acrossAxis{width, radius};
    const ClippedWindow downAxis{height, radius};
    const std::vector<float> across = Reciprocals(acrossAxis, kElements);
    const std::vector<float> down = Reciprocals(downAxis, 1);
    const std::size_t size = static_cast<std::size_t>(pitch) * height;
    const auto source = MakeBuffer<unsigned char>(size);
    std::memcpy(source.get(), frame, size);
    std::vector<std::uint32_t> columns(across.size(), 0);
    std::vector<std::int32_t> windows(across.size());
    const auto row = [&](std::int64_t y) { return source.get() + y * pitch; };
    for (std::int64_t y = 0; y < downAxis.High(0) - 1; ++y) AddRow(row(y), columns);
    for (std::int64_t y = 0; y < height; ++y) {
        if (y > radius) SubtractRow(row(y - radius - 1), columns);
        if (y + radius < height) AddRow(row(y + radius), columns);
        SumRow(columns, acrossAxis, windows);
        AverageRow(windows, across, down[y], frame + y * pitch);
    }
}
