#include "imaging/convert/convert.h"

#include <algorithm>
#include <cmath>

#include "imaging/convert/convert_rows.h"
#include "imaging/convert/light_curve.h"
#include "imaging/cpu/in_use.h"

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

std::uint8_t Narrowed(std::uint16_t sample) {
    return static_cast<std::uint8_t>((sample + 128) / 257);
}

/// A component of linear light as it is keyed.
template <class Component>
SampleFor<Component> Encoded(const LightCurve& curve, Component value) {
    if constexpr (std::is_same_v<Component, float>) {
        return curve.ToWorking(value);
    } else if constexpr (sizeof(Component) == 2) {
        return curve.ToWorking(ToFloat(value));
    } else {
        return Narrowed(curve.ToWorking(static_cast<float>(value) / 255.0f));
    }
}

template <class Component>
Component Decoded(const LightCurve& curve, SampleFor<Component> sample) {
    if constexpr (std::is_same_v<Component, float>) {
        return curve.ToStored(sample);
    } else if constexpr (sizeof(Component) == 2) {
        return ToSample(curve.ToStored(sample));
    } else {
        return Narrowed(ToSample(curve.ToStored(static_cast<std::uint16_t>(sample * 257))));
    }
}

/// As from display-referred pixels, but for the curve between alpha and the samples.
template <class Component>
void ReadLinear(const Component* pixels, const PixelFormat& format, SampleFor<Component>* row,
                std::ptrdiff_t width) {
    const LightCurve& curve = LightCurve::For(Light::kLinear);
    const PixelPlaces& places = PlacesOf(format.order);
    for (; width > 0; --width, pixels += kElements, row += kElements) {
        Component pixel[kElements];
        for (int e = 0; e < kElements; ++e) pixel[e] = pixels[places[e]];
        if (format.alpha == AlphaState::kPremultiplied)
            for (int e = 0; e < kAlpha; ++e) pixel[e] = Unpremultiplied(pixel[e], pixel[kAlpha]);
        for (int e = 0; e < kAlpha; ++e) row[e] = Encoded<Component>(curve, pixel[e]);
        row[kAlpha] = ToSample(pixel[kAlpha], FloatRounding::kNearest);
        if (format.alpha == AlphaState::kOpaque) row[kAlpha] = kFullScale<SampleFor<Component>>;
    }
}

template <class Component>
void WriteLinear(const SampleFor<Component>* row, const PixelFormat& format, Component* pixels,
                 std::ptrdiff_t width) {
    const LightCurve& curve = LightCurve::For(Light::kLinear);
    const PixelPlaces& places = PlacesOf(format.order);
    for (; width > 0; --width, pixels += kElements, row += kElements) {
        Component pixel[kElements];
        for (int e = 0; e < kAlpha; ++e) pixel[e] = Decoded<Component>(curve, row[e]);
        pixel[kAlpha] = ToComponent<Component>(row[kAlpha]);
        if (format.alpha == AlphaState::kPremultiplied)
            for (int e = 0; e < kAlpha; ++e) pixel[e] = Premultiplied(pixel[e], pixel[kAlpha]);
        for (int e = 0; e < kElements; ++e) pixels[places[e]] = pixel[e];
    }
}

/// A float pixel of a source in the keyer's order, straight; not a number counts as 0.
std::array<float, kElements> StraightFloats(const float* pixel, const PixelFormat& format) {
    const PixelPlaces& places = PlacesOf(format.order);
    std::array<float, kElements> straight;
    for (int e = 0; e < kElements; ++e) straight[e] = pixel[places[e]];
    if (format.alpha == AlphaState::kPremultiplied)
        for (int e = 0; e < kAlpha; ++e)
            straight[e] = Unpremultiplied(straight[e], straight[kAlpha]);
    for (float& value : straight) value = value == value ? value : 0.0f;
    return straight;
}

template <Light light>
void Restore(const FloatRestorer::Formats& formats, const float* source, const std::uint16_t* row,
             float* pixels, std::ptrdiff_t width) {
    const LightCurve* curve = light == Light::kLinear ? &LightCurve::For(light) : nullptr;
    const auto sample = [&](float value) {
        return curve ? curve->ToWorking(value) : ToSample(value);
    };
    const auto stored = [&](std::uint16_t value) {
        return curve ? curve->ToStored(value) : ToFloat(value);
    };
    const PixelPlaces& places = PlacesOf(formats.target.order);
    for (; width > 0; --width, source += kElements, row += kElements, pixels += kElements) {
        const auto given = StraightFloats(source, formats.source);
        bool same = row[kAlpha] == 65535;
        for (int e = 0; e < kAlpha; ++e) same = same && sample(given[e]) == row[e];
        const float alpha = ToFloat(row[kAlpha]);
        for (int e = 0; e < kAlpha; ++e) {
            const float excess = row[kAlpha] != 0 ? Excess(given[e]) : 0.0f;
            float value = same ? given[e] : stored(row[e]) + excess;
            if (formats.target.alpha == AlphaState::kPremultiplied)
                value = Premultiplied(value, alpha);
            pixels[places[e]] = value;
        }
        pixels[places[kAlpha]] = alpha;
    }
}

template <class Component>
const ConvertRows<Component>& Rows() {
    static constexpr ConvertRows<Component> kPlainRows{
        [](const PixelFormat&) { return &ReadPlainly<Component>; },
        [](const PixelFormat&) { return &WritePlainly<Component>; }};
    return InUse<SimdConvertRows<Component>>(kPlainRows);
}

FloatRestorer::Form RestorerFor(const FloatRestorer::Formats& formats) {
    static constexpr RestoreRows kPlainRows{
        [](const FloatRestorer::Formats&) { return &Restore<Light::kDisplay>; }};
    if (formats.source.light == Light::kLinear) return Restore<Light::kLinear>;
    return InUse<SimdRestoreRows>(kPlainRows).restorer(formats);
}

}  // namespace

template <class Component>
PixelReader<Component>::PixelReader(const PixelFormat& format)
    : format_(format),
      form_(format.light == Light::kLinear ? &ReadLinear<Component>
                                           : Rows<Component>().reader(format)) {}

template <class Component>
PixelWriter<Component>::PixelWriter(const PixelFormat& format)
    : format_(format),
      form_(format.light == Light::kLinear ? &WriteLinear<Component>
                                           : Rows<Component>().writer(format)) {}

FloatRestorer::FloatRestorer(const Formats& formats)
    : formats_(formats), form_(RestorerFor(formats)) {}

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

template <class Sample>
void NarrowRow(const std::uint16_t* wide, Sample* row, std::ptrdiff_t width) {
    std::transform(wide, wide + width * kElements, row, [](std::uint16_t sample) -> Sample {
        if constexpr (sizeof(Sample) == 1) return Narrowed(sample);
        return static_cast<Sample>(sample);
    });
}

template void NarrowRow(const std::uint16_t*, std::uint8_t*, std::ptrdiff_t);
template void NarrowRow(const std::uint16_t*, std::uint16_t*, std::ptrdiff_t);

}  // namespace veltrane
