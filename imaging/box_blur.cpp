#include <cstdint>
#include <cstring>

#include "imaging/box_filter.h"
#include "imaging/imaging.h"
#include "imaging/sample.h"

namespace {

using namespace veltrane;

/// A sum for each element of a pixel.
using Sums = std::array<std::uint32_t, kElements>;

std::vector<float> Reciprocals(const ClippedWindow& axis) {
    std::vector<float> weights(static_cast<std::size_t>(axis.size));
    for (std::int64_t i = 0; i < axis.size; ++i) {
        weights[i] = 1.0f / static_cast<float>(axis.Count(i));
    }
    return weights;
}

void Add(Sums& sums, const Sums& more) {
    for (int e = 0; e < kElements; ++e) sums[e] += more[e];
}

void Subtract(Sums& sums, const Sums& less) {
    for (int e = 0; e < kElements; ++e) sums[e] -= less[e];
}

void AddRow(const unsigned char* row, std::vector<Sums>& columns) {
    for (Sums& sums : columns) {
        for (int e = 0; e < kElements; ++e) sums[e] += *row++;
    }
}

void SubtractRow(const unsigned char* row, std::vector<Sums>& columns) {
    for (Sums& sums : columns) {
        for (int e = 0; e < kElements; ++e) sums[e] -= *row++;
    }
}

/// Slides the window along a row of column sums.
void AverageRow(const std::vector<Sums>& columns, const ClippedWindow& axis,
                const std::vector<float>& across, float down, unsigned char* row) {
    Sums sums{};
    for (std::int64_t x = 0; x < axis.High(0) - 1; ++x) Add(sums, columns[x]);
    for (std::int64_t x = 0; x < axis.size; ++x, row += kElements) {
        if (x > axis.radius) Subtract(sums, columns[x - axis.radius - 1]);
        if (x + axis.radius < axis.size) Add(sums, columns[x + axis.radius]);
        for (int e = 0; e < kElements; ++e) {
            const float sum = static_cast<float>(static_cast<std::int32_t>(sums[e]));
            row[e] = static_cast<unsigned char>(static_cast<int>(sum * across[x] * down + 0.5f));
        }
    }
}

}  // namespace

void CImagingORV::AverageBlurCore32bit6(unsigned char* frame, int width, int height, int pitch,
                                        int radius) const {
    if (radius < 0 || width < 1 || height < 1) return;
    const ClippedWindow acrossAxis{width, radius};
    const ClippedWindow downAxis{height, radius};
    const std::vector<float> across = Reciprocals(acrossAxis);
    const std::vector<float> down = Reciprocals(downAxis);
    const std::size_t size = static_cast<std::size_t>(pitch) * height;
    const auto source = MakeBuffer<unsigned char>(size);
    std::memcpy(source.get(), frame, size);
    std::vector<Sums> columns(static_cast<std::size_t>(width), Sums{});
    const auto row = [&](std::int64_t y) { return source.get() + y * pitch; };
    for (std::int64_t y = 0; y < downAxis.High(0) - 1; ++y) AddRow(row(y), columns);
    for (std::int64_t y = 0; y < height; ++y) {
        if (y > radius) SubtractRow(row(y - radius - 1), columns);
        if (y + radius < height) AddRow(row(y + radius), columns);
        AverageRow(columns, acrossAxis, across, down[y], frame + y * pitch);
    }
}
