#include "imaging/convert/convert.h"

#include <algorithm>
#include <cmath>

#include "imaging/convert/convert_rows.h"

namespace veltrane {
namespace {

using veltrane::Premultiplied;  // of floats, as are the next two
using veltrane::ToSample;
using veltrane::Unpremultiplied;

const PixelPlaces& PlacesOf(PixelOrder order) {
    return kPlaces[static_cast<std::size_t>(order)];
}

template <class Sample>
Sample Unpremultiplied(Sample color, Sample alpha) {
    constexpr std::uint64_t kFull = kFullScale<Sample>;
    if (alpha == 0) return color;
    return static_cast<Sample>(std::min((2 * kFull * color + alpha) / (2 * alpha), kFull));
}

template <class Sample>
Sample Premultiplied(Sample color, Sample alpha) {
    constexpr std::uint32_t kFull = kFullScale<Sample>;
    return static_cast<Sample>((std::uint32_t{color} * alpha + kFull / 2) / kFull);
}

template <class Sample>
Sample ToSample(Sample value, FloatRounding) {
    return value;
}

template <class Component>
Component ToComponent(SampleFor<Component> sample) {
    if constexpr (std::is_same_v<Component, float>) {
        return ToFloat(sample);
    } else {
        return sample;
    }
}

template <class Component>
void ReadPlainly(const Component* pixels, const PixelFormat& format, SampleFor<Component>* row,
                 std::ptrdiff_t width) {
    const PixelPlaces& places = PlacesOf(format.order);
    for (; width > 0; --width, pixels += kElements, row += kElements) {
        Component pixel[kElements];
        for (int e = 0; e < kElements; ++e) pixel[e] = pixels[places[e]];
        if (format.alpha == AlphaState::kPremultiplied)
            for (int e = 0; e < kAlpha; ++e) pixel[e] = Unpremultiplied(pixel[e], pixel[kAlpha]);
        for (int e = 0; e < kElements; ++e) row[e] = ToSample(pixel[e], format.rounding);
        if (format.alpha == AlphaState::kOpaque) row[kAlpha] = kFullScale<SampleFor<Component>>;
    }
}

template <class Component>
void WritePlainly(const SampleFor<Component>* row, const PixelFormat& format, Component* pixels,
                  std::ptrdiff_t width) {
    const PixelPlaces& places = PlacesOf(format.order);
    for (; width > 0; --width, pixels += kElements, row += kElements) {
        Component pixel[kElements];
        for (int e = 0; e < kElements; ++e) pixel[e] = ToComponent<Component>(row[e]);
        if (format.alpha == AlphaState::kPremultiplied)
            for (int e = 0; e < kAlpha; ++e) pixel[e] = Premultiplied(pixel[e], pixel[kAlpha]);
        for (int e = 0; e < kElements; ++e) pixels[places[e]] = pixel[e];
    }
}

template <class Component>
const ConvertRows<Component>& Rows() {
#ifdef VELTRANE_SIMD
    if (const auto* rows = SimdConvertRows<Component>()) return *rows;
#endif
    static constexpr ConvertRows<Component> kPlainRows{
        [](const PixelFormat&) { return &ReadPlainly<Component>; },
        [](const PixelFormat&) { return &WritePlainly<Component>; }};
    return kPlainRows;
}

}  // namespace

template <class Component>
PixelReader<Component>::PixelReader(const PixelFormat& format)
    : format_(format), form_(Rows<Component>().reader(format)) {}

template <class Component>
PixelWriter<Component>::PixelWriter(const PixelFormat& format)
    : format_(format), form_(Rows<Component>().writer(format)) {}

/// The product has at most 40 bits, so neither it nor the sum is rounded where that shows.
std::uint16_t ToSample(float value, FloatRounding rounding) {
    constexpr double kFull = 65535;
    const double scaled =
        std::floor(value * kFull + (rounding == FloatRounding::kNearest ? 0.5 : 0));
    if (!(scaled > 0)) return 0;
    return scaled >= kFull ? 65535 : static_cast<std::uint16_t>(scaled);
}

template class PixelReader<std::uint8_t>;
template class PixelReader<std::uint16_t>;
template class PixelReader<float>;
template class PixelWriter<std::uint8_t>;
template class PixelWriter<std::uint16_t>;
template class PixelWriter<float>;

void WriteLinearPremultiplied(const std::uint16_t* row, PixelOrder order, float* pixels,
                              std::ptrdiff_t width) {
    const PixelPlaces& places = PlacesOf(order);
    for (; width > 0; --width, pixels += kElements, row += kElements) {
        const auto alpha = static_cast<float>(std::pow(ToFloat(row[kAlpha]), 2.2));
        for (int e = 0; e < kAlpha; ++e) pixels[places[e]] = Premultiplied(ToFloat(row[e]), alpha);
        pixels[places[kAlpha]] = alpha;
    }
}

template <class Sample>
void WidenRow(const Sample* row, std::uint16_t* wide, std::ptrdiff_t width) {
    std::transform(row, row + width * kElements, wide, [](Sample sample) {
        return static_cast<std::uint16_t>(sample * (65535 / kFullScale<Sample>));
    });
}

template void WidenRow(const std::uint8_t*, std::uint16_t*, std::ptrdiff_t);
template void WidenRow(const std::uint16_t*, std::uint16_t*, std::ptrdiff_t);

}  // namespace veltrane
