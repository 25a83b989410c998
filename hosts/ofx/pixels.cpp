#include "hosts/ofx/pixels.h"

#include <algorithm>
#include <type_traits>

#include "hosts/ofx/pixel_rows.h"
#include "imaging/convert/float_frame.h"
#include "imaging/sample.h"

namespace veltrane::ofx {

namespace {

/// Pixels of a premultiplied row that are read or written at a time, by way of the stack. Those
/// read are fewer, as most such runs of a matted row are then solid or empty throughout and need no
/// division.
constexpr int kReadRun = 128;
constexpr int kWrittenRun = 512;

template <class Component>
constexpr Component kSolid = static_cast<Component>(-1);
template <>
constexpr float kSolid<float> = 1;

template <class Sample>
void PlainSwap(const Sample* from, bool opaque, Sample* to, int width) {
    const Sample alpha = opaque ? kFullScale<Sample> : 0;
    for (std::ptrdiff_t i = 0; i < width * kElements; i += kElements) {
        to[i] = from[i + 2];
        to[i + 1] = from[i + 1];
        to[i + 2] = from[i];
        to[i + kAlpha] = from[i + kAlpha] | alpha;
    }
}

template <class Component>
bool PlainIsAlpha(Component value, const Component* pixels, int width) {
    for (std::ptrdiff_t i = 0; i < width * kElements; i += kElements)
        if (pixels[i + kAlpha] != value) return false;
    return true;
}

template <class Sample>
Sample Divide(Sample value, Sample alpha) {
    constexpr std::uint64_t kFull = kFullScale<Sample>;
    if (alpha == 0) return 0;
    return static_cast<Sample>(std::min((2 * kFull * value + alpha) / (2 * alpha), kFull));
}

float Divide(float value, float alpha) {
    return alpha > 0 ? value / alpha : 0;
}

template <class Sample>
Sample Multiply(Sample value, Sample alpha) {
    constexpr std::uint32_t kFull = kFullScale<Sample>;
    return static_cast<Sample>((std::uint32_t{value} * alpha + kFull / 2) / kFull);
}

float Multiply(float value, float alpha) {
    return value * alpha;
}

template <class Component, Component combine(Component, Component)>
void PlainWithAlpha(const Component* from, Component* to, int width) {
    for (std::ptrdiff_t i = 0; i < width * kElements; i += kElements) {
        for (int e = 0; e < kAlpha; ++e) to[i + e] = combine(from[i + e], from[i + kAlpha]);
        to[i + kAlpha] = from[i + kAlpha];
    }
}

template <class Component>
constexpr auto kPlainSwap = PlainSwap<Component>;
template <>
constexpr std::nullptr_t kPlainSwap<float> = nullptr;

template <class Component>
constexpr PixelRows<Component> kPlainRows{kPlainSwap<Component>, PlainIsAlpha<Component>,
                                          PlainWithAlpha<Component, Divide>,
                                          PlainWithAlpha<Component, Multiply>};

template <class Component>
const PixelRows<Component>& Rows() {
#ifdef VELTRANE_SIMD
    if (const auto* rows = SimdPixelRows<Component>()) return *rows;
#endif
    return kPlainRows<Component>;
}

template <class Sample>
void ToKeyer(const Sample* pixels, bool opaque, Sample* row, int width) {
    Rows<Sample>().swap(pixels, opaque, row, width);
}

void ToKeyer(const float* pixels, bool opaque, std::uint16_t* row, int width) {
    FloatRowToFrame(pixels, FloatLayout::kRgba, FloatRounding::kNearest, row, width, opaque);
}

template <class Sample>
void ToHost(const Sample* row, Sample* pixels, int width) {
    Rows<Sample>().swap(row, false, pixels, width);
}

void ToHost(const std::uint16_t* row, float* pixels, int width) {
    FrameRowToFloat(row, FloatLayout::kRgba, pixels, width);
}

/// Calls work with the first element and the width of every run of a row.
template <int run, class Work>
void ForEachRun(int width, const Work& work) {
    for (std::ptrdiff_t x = 0; x < width; x += run) {
        work(x * kElements, static_cast<int>(std::min<std::ptrdiff_t>(run, width - x)));
    }
}

template <class Host, class Sample>
void Read(const Host* pixels, Alpha alpha, Sample* row, int width) {
    if (alpha != Alpha::kPremultiplied) return ToKeyer(pixels, alpha == Alpha::kOpaque, row, width);
    const PixelRows<Host>& rows = Rows<Host>();
    ForEachRun<kReadRun>(width, [&](int at, int count) {
        if (rows.isAlpha(kSolid<Host>, pixels + at, count)) {
            ToKeyer(pixels + at, false, row + at, count);
        } else if (rows.isAlpha(0, pixels + at, count)) {
            std::fill_n(row + at, count * kElements, Sample{0});
        } else {
            Host straight[kReadRun * kElements];
            rows.divide(pixels + at, straight, count);
            ToKeyer(straight, false, row + at, count);
        }
    });
}

template <class Sample, class Host>
void Write(const Sample* row, bool premultiply, Host* pixels, int width) {
    if (!premultiply) return ToHost(row, pixels, width);
    ForEachRun<kWrittenRun>(width, [&](int at, int count) {
        Host straight[kWrittenRun * kElements];
        ToHost(row + at, straight, count);
        Rows<Host>().multiply(straight, pixels + at, count);
    });
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

}  // namespace veltrane::ofx
