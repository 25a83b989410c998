#include "imaging/convert/float_frame.h"

#include <array>
#include <cmath>

#include "imaging/convert/float_frame_rows.h"
#include "imaging/sample.h"

namespace veltrane {
namespace {

constexpr double kFull = 65535.0;

/// Where blue, green, red and alpha lie in a float pixel.
std::array<int, kElements> Positions(FloatLayout layout) {
    if (layout == FloatLayout::kArgb) return {3, 2, 1, 0};
    return {2, 1, 0, 3};
}

/// The product has at most 40 bits, so neither it nor the sum is rounded where that shows.
std::uint16_t ToSample(float value, double half) {
    const double scaled = std::floor(value * kFull + half);
    if (!(scaled > 0)) return 0;
    return scaled >= kFull ? 65535 : static_cast<std::uint16_t>(scaled);
}

float ToFloat(std::uint16_t sample) {
    return static_cast<float>(sample) / 65535.0f;
}

void PlainToFrame(const float* pixels, FloatLayout layout, FloatRounding rounding, bool opaque,
                  std::uint16_t* row, int width) {
    const auto positions = Positions(layout);
    const double half = rounding == FloatRounding::kNearest ? 0.5 : 0;
    for (int x = 0; x < width; ++x, pixels += kElements, row += kElements) {
        for (int e = 0; e < kElements; ++e) row[e] = ToSample(pixels[positions[e]], half);
        if (opaque) row[kAlpha] = kFullScale<std::uint16_t>;
    }
}

void PlainToFloat(const std::uint16_t* row, FloatLayout layout, float* pixels, int width) {
    const auto positions = Positions(layout);
    for (int x = 0; x < width; ++x, pixels += kElements, row += kElements) {
        for (int e = 0; e < kElements; ++e) pixels[positions[e]] = ToFloat(row[e]);
    }
}

constexpr FloatFrameRows kPlainRows{PlainToFrame, PlainToFloat};

const FloatFrameRows& Rows() {
#ifdef VELTRANE_SIMD
    if (const FloatFrameRows* rows = SimdFloatFrameRows()) return *rows;
#endif
    return kPlainRows;
}

}  // namespace

void FloatRowToFrame(const float* pixels, FloatLayout layout, FloatRounding rounding,
                     std::uint16_t* row, int width, bool opaque) {
    Rows().toFrame(pixels, layout, rounding, opaque, row, width);
}

void FrameRowToFloat(const std::uint16_t* row, FloatLayout layout, float* pixels, int width) {
    Rows().toFloat(row, layout, pixels, width);
}

void FrameRowToLinearPremultiplied(const std::uint16_t* row, FloatLayout layout, float* pixels,
                                   int width) {
    const auto positions = Positions(layout);
    for (int x = 0; x < width; ++x, pixels += kElements, row += kElements) {
        const float alpha = static_cast<float>(std::pow(ToFloat(row[kAlpha]), 2.2));
        for (int e = 0; e < kAlpha; ++e) pixels[positions[e]] = ToFloat(row[e]) * alpha;
        pixels[positions[kAlpha]] = alpha;
    }
}

}  // namespace veltrane
