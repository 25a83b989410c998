#include "imaging/pitch/row_padding.h"

#include <cstddef>
#include <cstdlib>
#include <initializer_list>

namespace veltrane {
namespace {

int Green(std::uint32_t pixel) {
    return static_cast<int>(pixel >> 8 & 0xFF);
}

/// The mean difference of pixels that lie a pitch apart, of 255.
double StepDown(const std::uint32_t* pixels, std::size_t count, std::size_t pitch) {
    constexpr std::size_t kStride = 3;
    std::uint64_t sum = 0, pairs = 0;
    for (std::size_t i = 0; i + pitch < count; i += kStride, ++pairs)
        sum += static_cast<unsigned>(std::abs(Green(pixels[i]) - Green(pixels[i + pitch])));
    return pairs == 0 ? 0 : static_cast<double>(sum) / static_cast<double>(pairs);
}

}  // namespace

bool SeemsPadded(const std::uint32_t* pixels, int width, int height) {
    constexpr double kLeast = 2;    // of 255; flatter pictures tell nothing
    constexpr double kClearly = 2;  // times as much as with padding
    constexpr std::size_t kFewestRows = 16;
    const auto packed = static_cast<std::size_t>(width);
    const std::size_t count = packed * static_cast<std::size_t>(height);
    for (const std::size_t multiple : {8, 16}) {
        const std::size_t padded = (packed + multiple - 1) / multiple * multiple;
        if (padded == packed || count < kFewestRows * padded) continue;
        const double step = StepDown(pixels, count, packed);
        if (step > kLeast && step > kClearly * StepDown(pixels, count, padded)) return true;
    }
    return false;
}

}  // namespace veltrane
