#include "imaging/convert/levels.h"

#include "imaging/sample.h"

namespace veltrane {
namespace {

// The weights of Rec. 709 in 65536ths, whose sum is exact.
constexpr std::uint32_t kRed = 13933;
constexpr std::uint32_t kGreen = 46871;
constexpr std::uint32_t kBlue = 4732;
static_assert(kRed + kGreen + kBlue == 65536);

}  // namespace

void LumaLevels(const std::uint16_t* pixels, std::uint16_t* levels, std::ptrdiff_t width) {
    for (std::ptrdiff_t x = 0; x < width; ++x, pixels += kElements) {
        const std::uint32_t sum = kBlue * pixels[0] + kGreen * pixels[1] + kRed * pixels[2];
        levels[x] = static_cast<std::uint16_t>((sum + 32768) >> 16);
    }
}

void AlphaLevels(const std::uint16_t* pixels, std::uint16_t* levels, std::ptrdiff_t width) {
    for (std::ptrdiff_t x = 0; x < width; ++x) levels[x] = pixels[x * kElements + kAlpha];
}

bool ShowsThrough(const std::uint16_t* pixels, std::ptrdiff_t width) {
    for (std::ptrdiff_t x = 0; x < width; ++x)
        if (pixels[x * kElements + kAlpha] != kFullScale<std::uint16_t>) return true;
    return false;
}

}  // namespace veltrane
