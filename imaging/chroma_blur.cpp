#include <cstdint>
#include <cstring>

#include "imaging/box_filter.h"
#include "imaging/chroma_smooth.h"
#include "imaging/imaging.h"
#include "imaging/sample.h"

namespace {

using namespace veltrane;

/// Where the two depths place colourless chroma. The offset back lies half a step lower, and the
/// way back is scaled by full / (full + 1): the round trip is not exact, and is defined that way.
template <class Sample>
struct ChromaScale;

template <>
struct ChromaScale<unsigned short> {
    static constexpr float kOffset = 32768.0f;
    static constexpr float kOffsetBack = 32767.5f;
    static constexpr float kScaleBack = 0.9999847412109375f;
};

template <>
struct ChromaScale<unsigned char> {
    static constexpr float kOffset = 128.0f;
    static constexpr float kOffsetBack = 127.5f;
    static constexpr float kScaleBack = 0.99609375f;
};

template <class Sample>
Sample ToSample(float value) {
    return static_cast<Sample>(Clamp(TruncateToInt(value), 0, kFullScale<Sample>));
}

/// Blue, green, red to Y, Cb, Cr with the BT.601 weights, in place.
template <class Sample>
void ToYCbCr(Sample* pixels, std::size_t count) {
    constexpr float kOffset = ChromaScale<Sample>::kOffset;
    for (Sample* p = pixels; p != pixels + count * kElements; p += kElements) {
        const float b = p[0];
        const float g = p[1];
        const float r = p[2];
        p[0] = ToSample<Sample>(b * 0.114f + (r * 0.299f + g * 0.587f) + 0.5f);
        p[1] = ToSample<Sample>(r * -0.1687f + g * -0.3313f + b * 0.5f + kOffset);
        p[2] = ToSample<Sample>(b * -0.0813f + (g * -0.4187f + r * 0.5f) + kOffset);
    }
}

template <class Sample>
void FromYCbCr(Sample* pixels, std::size_t count) {
    constexpr float kOffset = ChromaScale<Sample>::kOffsetBack;
    constexpr float kScale = ChromaScale<Sample>::kScaleBack;
    for (Sample* p = pixels; p != pixels + count * kElements; p += kElements) {
        const float y = p[0];
        const float cb = p[1] - kOffset;
        const float cr = p[2] - kOffset;
        p[0] = ToSample<Sample>((cb * 1.772f + y) * kScale + 0.5f);
        p[1] = ToSample<Sample>((cr * -0.71414f + (cb * -0.34414f + y)) * kScale + 0.5f);
        p[2] = ToSample<Sample>((cr * 1.402f + y) * kScale + 0.5f);
    }
}

/// The running sums are 64 bits wide, so that every radius averages right.
template <class Sample>
void BlurChroma(int width, int height, Sample* frame, Sample* work, int radius) {
    if (radius < 1 || width < 1 || height < 1) return;
    const ClippedWindow across{width, radius};
    const ClippedWindow down{height, radius};
    const std::size_t rowElements = static_cast<std::size_t>(width) * kElements;
    BoxSums<Sample, ElementRange<kElements, 1, 2>, std::uint32_t, std::int64_t> box(
        frame, width, height, static_cast<std::ptrdiff_t>(rowElements), radius);
    for (int y = 0; y < height; ++y) {
        const Sample* from = frame + y * rowElements;
        Sample* to = work + y * rowElements;
        const std::int64_t rows = down.Count(y);
        box.EnterRow(y);
        box.ForEachWindow([&](int x, const auto& sums) {
            const std::size_t pixel = static_cast<std::size_t>(x) * kElements;
            const std::int64_t count = rows * across.Count(x);
            to[pixel] = from[pixel];
            to[pixel + 1] = static_cast<Sample>(sums[0] / count);
            to[pixel + 2] = static_cast<Sample>(sums[1] / count);
            to[pixel + kAlpha] = from[pixel + kAlpha];
        });
    }
    std::memcpy(frame, work, rowElements * height * sizeof(Sample));
}

template <class Sample>
void SmoothChroma(int width, int height, Sample* frame, Sample* work, int radius) {
    if (width < 1 || height < 1) return;
    const std::size_t count = static_cast<std::size_t>(width) * height;
    ToYCbCr(frame, count);
    BlurChroma(width, height, frame, work, radius);
    FromYCbCr(frame, count);
}

}  // namespace

namespace veltrane {

template <class Sample>
void SmoothChroma(int width, int height, Sample* frame, int radius) {
    const auto work = MakeBuffer<Sample>(static_cast<std::size_t>(width) * height * kElements);
    ::SmoothChroma(width, height, frame, work.get(), radius);
}

template void SmoothChroma(int, int, unsigned short*, int);
template void SmoothChroma(int, int, unsigned char*, int);

}  // namespace veltrane

void CImagingORV::ChromaBlur64bit(int width, int height, unsigned short* frame,
                                  unsigned short* work, int radius) const {
    ::SmoothChroma(width, height, frame, work, radius);
}

void CImagingORV::ChromaBlur32bit(int width, int height, unsigned char* frame, unsigned char* work,
                                  int radius) const {
    ::SmoothChroma(width, height, frame, work, radius);
}

void CImagingORV::ChromaBlurCore3_64bit(int width, int height, unsigned short* frame,
                                        unsigned short* work, int radius) const {
    BlurChroma(width, height, frame, work, radius);
}

void CImagingORV::ChromaBlurCore3_32bit(int width, int height, unsigned char* frame,
                                        unsigned char* work, int radius) const {
    BlurChroma(width, height, frame, work, radius);
}
