#include "hosts/ofx/pixels.h"

#include <algorithm>

#include "imaging/float_frame.h"
#include "imaging/sample.h"

namespace veltrane::ofx {

namespace {

/// Premultiplied rows are converted by so many pixels at a time. Most such runs are solid or empty
/// throughout and need no multiplication or division.
constexpr int kRun = 64;

// The plain loops below are left to the compiler, which turns them into vector code.

void Reorder(const std::uint8_t* rgba, std::uint8_t* argb, int width) {
    for (int i = 0; i < width * kElements; i += kElements) {
        argb[i] = rgba[i + 3];
        argb[i + 1] = rgba[i];
        argb[i + 2] = rgba[i + 1];
        argb[i + 3] = rgba[i + 2];
    }
}

void Restore(const std::uint8_t* argb, std::uint8_t* rgba, int width) {
    for (int i = 0; i < width * kElements; i += kElements) {
        rgba[i] = argb[i + 1];
        rgba[i + 1] = argb[i + 2];
        rgba[i + 2] = argb[i + 3];
        rgba[i + 3] = argb[i];
    }
}

void Reorder(const std::uint16_t* rgba, std::uint16_t* bgra, int width) {
    for (int i = 0; i < width * kElements; i += kElements) {
        bgra[i] = rgba[i + 2];
        bgra[i + 1] = rgba[i + 1];
        bgra[i + 2] = rgba[i];
        bgra[i + 3] = rgba[i + 3];
    }
}

void Restore(const std::uint16_t* bgra, std::uint16_t* rgba, int width) {
    Reorder(bgra, rgba, width);
}

void Reorder(const float* rgba, std::uint16_t* bgra, int width) {
    FloatRowToFrame(rgba, FloatLayout::kRgba, bgra, width);
}

void Restore(const std::uint16_t* bgra, float* rgba, int width) {
    FrameRowToFloat(bgra, FloatLayout::kRgba, rgba, width);
}

/// round(value * alpha / full scale), exactly.
template <class Sample>
Sample Multiply(Sample value, Sample alpha) {
    constexpr int kBits = 8 * sizeof(Sample);
    const std::uint32_t product = std::uint32_t{value} * alpha + (std::uint32_t{1} << (kBits - 1));
    return static_cast<Sample>((product + (product >> kBits)) >> kBits);
}

void RestoreMultiplied(const std::uint8_t* argb, std::uint8_t* rgba, int width) {
    for (int i = 0; i < width * kElements; i += kElements) {
        const std::uint8_t alpha = argb[i];
        rgba[i] = Multiply(argb[i + 1], alpha);
        rgba[i + 1] = Multiply(argb[i + 2], alpha);
        rgba[i + 2] = Multiply(argb[i + 3], alpha);
        rgba[i + 3] = alpha;
    }
}

void RestoreMultiplied(const std::uint16_t* bgra, std::uint16_t* rgba, int width) {
    for (int i = 0; i < width * kElements; i += kElements) {
        const std::uint16_t alpha = bgra[i + 3];
        rgba[i] = Multiply(bgra[i + 2], alpha);
        rgba[i + 1] = Multiply(bgra[i + 1], alpha);
        rgba[i + 2] = Multiply(bgra[i], alpha);
        rgba[i + 3] = alpha;
    }
}

void RestoreMultiplied(const std::uint16_t* bgra, float* rgba, int width) {
    Restore(bgra, rgba, width);
    for (int i = 0; i < width * kElements; i += kElements) {
        const float alpha = rgba[i + 3];
        rgba[i] *= alpha;
        rgba[i + 1] *= alpha;
        rgba[i + 2] *= alpha;
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

/// Where alpha lies in the keyer's pixels.
template <class Sample>
constexpr int kAlphaPlace = sizeof(Sample) == 1 ? 0 : kAlpha;

/// Whether the element at this place has this value in every pixel.
template <class Sample>
bool IsThroughout(const Sample* pixels, int place, int value, int width) {
    Sample different = 0;
    for (int i = 0; i < width * kElements; i += kElements)
        different |= static_cast<Sample>(pixels[i + place] ^ value);
    return different == 0;
}

template <class Sample>
bool IsSolid(const Sample* rgba, int width) {
    return IsThroughout(rgba, kAlpha, kFullScale<Sample>, width);
}

bool IsSolid(const float* rgba, int width) {
    bool solid = true;
    for (int i = 0; i < width * kElements; i += kElements) solid &= rgba[i + kAlpha] == 1;
    return solid;
}

template <class Host, class Sample>
void Read(const Host* pixels, Alpha alpha, Sample* row, int width) {
    if (alpha != Alpha::kPremultiplied) {
        Reorder(pixels, row, width);
        if (alpha == Alpha::kStraight) return;
        for (int i = kAlphaPlace<Sample>; i < width * kElements; i += kElements)
            row[i] = kFullScale<Sample>;
        return;
    }
    for (int x = 0; x < width; x += kRun) {
        const int count = std::min(kRun, width - x);
        const Host* run = pixels + x * kElements;
        Host straight[kRun * kElements];
        if (!IsSolid(run, count)) {
            DivideColor(run, straight, count);
            run = straight;
        }
        Reorder(run, row + x * kElements, count);
    }
}

template <class Sample, class Host>
void Write(const Sample* row, bool premultiply, Host* pixels, int width) {
    if (!premultiply) return Restore(row, pixels, width);
    for (int x = 0; x < width; x += kRun) {
        const int count = std::min(kRun, width - x);
        const Sample* run = row + x * kElements;
        Host* const to = pixels + x * kElements;
        if (IsThroughout(run, kAlphaPlace<Sample>, kFullScale<Sample>, count)) {
            Restore(run, to, count);
        } else if (IsThroughout(run, kAlphaPlace<Sample>, 0, count)) {
            std::fill_n(to, count * kElements, Host{});
        } else {
            RestoreMultiplied(run, to, count);
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
    Write(row, premultiply, pixels, width);
}

void WriteRow(const std::uint16_t* row, bool premultiply, std::uint16_t* pixels, int width) {
    Write(row, premultiply, pixels, width);
}

void WriteRow(const std::uint16_t* row, bool premultiply, float* pixels, int width) {
    Write(row, premultiply, pixels, width);
}

void WidenRow(const std::uint8_t* row, std::uint16_t* wide, int width) {
    for (int i = 0; i < width * kElements; i += kElements)
        for (int e = 0; e < kElements; ++e)
            wide[i + e] = static_cast<std::uint16_t>(row[i + kElements - 1 - e] * 257);
}

}  // namespace veltrane::ofx
