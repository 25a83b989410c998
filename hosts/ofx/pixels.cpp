#include "hosts/ofx/pixels.h"

#include <algorithm>

#include "hosts/ofx/pixel_rows.h"
#include "imaging/float_frame.h"
#include "imaging/sample.h"

namespace veltrane::ofx {

namespace {

/// Premultiplied rows are taken in so many pixels at a time; most such runs are solid or empty
/// throughout and need no division.
constexpr int kRun = 64;

/// Blue and red change places, which is its own inverse.
template <class Sample>
void PlainIn(const Sample* rgba, bool solid, Sample* bgra, int width) {
    const Sample alpha = solid ? kFullScale<Sample> : 0;
    for (int i = 0; i < width * kElements; i += kElements) {
        bgra[i] = rgba[i + 2];
        bgra[i + 1] = rgba[i + 1];
        bgra[i + 2] = rgba[i];
        bgra[i + kAlpha] = rgba[i + kAlpha] | alpha;
    }
}

template <class Sample>
void PlainOut(const Sample* bgra, Sample* rgba, int width) {
    PlainIn(bgra, false, rgba, width);
}

/// round(value * alpha / full scale), exactly.
template <class Sample>
Sample Multiply(Sample value, Sample alpha) {
    constexpr int kBits = 8 * sizeof(Sample);
    const std::uint32_t product = std::uint32_t{value} * alpha + (std::uint32_t{1} << (kBits - 1));
    return static_cast<Sample>((product + (product >> kBits)) >> kBits);
}

template <class Sample>
void PlainMultiplied(const Sample* bgra, Sample* rgba, int width) {
    for (int i = 0; i < width * kElements; i += kElements) {
        const Sample alpha = bgra[i + kAlpha];
        for (int e = 0; e < kAlpha; ++e) rgba[i + e] = Multiply(bgra[i + 2 - e], alpha);
        rgba[i + kAlpha] = alpha;
    }
}

void PlainFloatsMultiplied(const std::uint16_t* bgra, float* rgba, int width) {
    FrameRowToFloat(bgra, FloatLayout::kRgba, rgba, width);
    for (int i = 0; i < width * kElements; i += kElements)
        for (int e = 0; e < kAlpha; ++e) rgba[i + e] *= rgba[i + kAlpha];
}

constexpr PixelRows kPlainRows{
    PlainIn, PlainIn, PlainOut, PlainOut, PlainMultiplied, PlainMultiplied, PlainFloatsMultiplied};

const PixelRows& Rows() {
#ifdef VELTRANE_SIMD
    if (const PixelRows* rows = SimdPixelRows()) return *rows;
#endif
    return kPlainRows;
}

void Reorder(const std::uint8_t* rgba, bool solid, std::uint8_t* bgra, int width) {
    Rows().bytesIn(rgba, solid, bgra, width);
}

void Reorder(const std::uint16_t* rgba, bool solid, std::uint16_t* bgra, int width) {
    Rows().shortsIn(rgba, solid, bgra, width);
}

/// In runs when alpha is set as well, while they are in the cache.
void Reorder(const float* rgba, bool solid, std::uint16_t* bgra, int width) {
    if (!solid) return FloatRowToFrame(rgba, FloatLayout::kRgba, bgra, width);
    for (int x = 0; x < width; x += kRun) {
        const int end = std::min(x + kRun, width);
        FloatRowToFrame(rgba + x * kElements, FloatLayout::kRgba, bgra + x * kElements, end - x);
        for (int i = x * kElements + kAlpha; i < end * kElements; i += kElements) bgra[i] = 65535;
    }
}

/// The nearest whole number to value * full scale / alpha, halves up, at most full scale. Without
/// the quarter, whole quotients could come out below themselves; with it all others still stay
/// below the next whole number, as value * full scale + alpha / 2 is a multiple of a half.
template <class Sample>
Sample Divide(Sample value, Sample alpha, double inverse) {
    constexpr double kFull = kFullScale<Sample>;
    const double quotient = (value * kFull + alpha * 0.5 + 0.25) * inverse;
    return static_cast<Sample>(std::min(quotient, kFull));
}

template <class Sample>
void DivideColor(const Sample* from, Sample* to, int width) {
    for (int i = 0; i < width * kElements; i += kElements) {
        const Sample alpha = from[i + kAlpha];
        const double inverse = alpha == 0 ? 0.0 : 1.0 / alpha;
        for (int e = 0; e < kAlpha; ++e) to[i + e] = Divide(from[i + e], alpha, inverse);
        to[i + kAlpha] = alpha;
    }
}

void DivideColor(const float* from, float* to, int width) {
    for (int i = 0; i < width * kElements; i += kElements) {
        const float alpha = from[i + kAlpha];
        for (int e = 0; e < kAlpha; ++e) to[i + e] = alpha > 0 ? from[i + e] / alpha : 0;
        to[i + kAlpha] = alpha;
    }
}

template <class Sample>
bool IsSolid(const Sample* rgba, int width) {
    Sample all = kFullScale<Sample>;
    for (int i = 0; i < width * kElements; i += kElements) all &= rgba[i + kAlpha];
    return all == kFullScale<Sample>;
}

bool IsSolid(const float* rgba, int width) {
    bool solid = true;
    for (int i = 0; i < width * kElements; i += kElements) solid &= rgba[i + kAlpha] == 1;
    return solid;
}

/// Whether alpha is exactly 0 throughout.
template <class Host>
bool IsEmpty(const Host* rgba, int width) {
    bool empty = true;
    for (int i = 0; i < width * kElements; i += kElements) empty &= rgba[i + kAlpha] == 0;
    return empty;
}

template <class Host, class Sample>
void Read(const Host* pixels, Alpha alpha, Sample* row, int width) {
    if (alpha != Alpha::kPremultiplied || IsSolid(pixels, width))
        return Reorder(pixels, alpha == Alpha::kOpaque, row, width);
    for (int x = 0; x < width; x += kRun) {
        const int count = std::min(kRun, width - x);
        const Host* const run = pixels + x * kElements;
        Sample* const to = row + x * kElements;
        if (IsEmpty(run, count)) {
            std::fill_n(to, count * kElements, Sample{0});
        } else if (IsSolid(run, count)) {
            Reorder(run, false, to, count);
        } else {
            Host straight[kRun * kElements];
            DivideColor(run, straight, count);
            Reorder(straight, false, to, count);
        }
    }
}

}  // namespace

void ReadRow(const std::uint8_t* pixels, Alpha alpha, std::uint8_t* row, int width) {
    Read(pixels, alpha, row, width);
}

void ReadRow(const std::uint16_t* pixels, Alpha alpha, std::uint16_t* row, int width) {
    Read(pixels, alpha, row, width);
}

void ReadRow(const float* pixels, Alpha alpha, std::uint16_t* row, int width) {
    Read(pixels, alpha, row, width);
}

void WriteRow(const std::uint8_t* row, bool premultiply, std::uint8_t* pixels, int width) {
    (premultiply ? Rows().bytesMultiplied : Rows().bytesOut)(row, pixels, width);
}

void WriteRow(const std::uint16_t* row, bool premultiply, std::uint16_t* pixels, int width) {
    (premultiply ? Rows().shortsMultiplied : Rows().shortsOut)(row, pixels, width);
}

void WriteRow(const std::uint16_t* row, bool premultiply, float* pixels, int width) {
    if (premultiply) return Rows().floatsMultiplied(row, pixels, width);
    FrameRowToFloat(row, FloatLayout::kRgba, pixels, width);
}

void WidenRow(const std::uint8_t* row, std::uint16_t* wide, int width) {
    for (int i = 0; i < width * kElements; ++i) wide[i] = static_cast<std::uint16_t>(row[i] * 257);
}

}  // namespace veltrane::ofx
