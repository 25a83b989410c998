#ifndef VELTRANE_IMAGING_CONVERT_CONVERT_H
#define VELTRANE_IMAGING_CONVERT_CONVERT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace veltrane {

// Between the pixels of hosts and files and those that are keyed, which hold blue, green, red and
// straight alpha in 8 or 16 bits.
//
// Full scale is 255, 65535 or 1. Whole numbers are divided by alpha, and multiplied by it, to the
// nearest value, quotients with halves up and at most full scale. Colour is not divided by an alpha
// of 0: it stays as it is. A float v becomes v * 65535, rounded, within 0..65535; not a number
// becomes 0, the infinities become the bounds. A sample s becomes the float nearest to s / 65535.

/// Order of a pixel's four components in memory.
enum class PixelOrder { kBgra, kRgba, kArgb };

/// How colour stands to alpha. An opaque pixel is read with full alpha, whatever it holds, and
/// written as a straight one, as it has been keyed.
enum class AlphaState { kStraight, kPremultiplied, kOpaque };

/// Which whole number a float becomes. To the nearest, halves up, every sample comes back from its
/// float; down, some come back a step lower.
enum class FloatRounding { kNearest, kDown };

/// What stored colour is: display-referred, as it is keyed, or linear light, of which the sRGB
/// curve makes that. Bytes of linear light are too coarse to come back as they were.
enum class Light { kDisplay, kLinear };

struct PixelFormat {
    PixelOrder order;
    AlphaState alpha = AlphaState::kStraight;
    FloatRounding rounding = FloatRounding::kNearest;  ///< of floats of kDisplay that are read
    Light light = Light::kDisplay;
};

/// What a component is keyed as: bytes in 8 bits, 16-bit ones and floats in 16.
template <class Component>
using SampleFor =
    std::conditional_t<std::is_same_v<Component, std::uint8_t>, std::uint8_t, std::uint16_t>;

/// Converts rows of width pixels to those that are keyed, in place where both lie alike. Made once
/// a frame, which settles how; any number of threads may call it.
template <class Component>
class PixelReader {
public:
    using Form = void (*)(const Component* pixels, const PixelFormat& format,
                          SampleFor<Component>* row, std::ptrdiff_t width);

    explicit PixelReader(const PixelFormat& format);

    void operator()(const Component* pixels, SampleFor<Component>* row,
                    std::ptrdiff_t width) const {
        form_(pixels, format_, row, width);
    }

private:
    PixelFormat format_;
    Form form_;
};

/// Converts rows back.
template <class Component>
class PixelWriter {
public:
    using Form = void (*)(const SampleFor<Component>* row, const PixelFormat& format,
                          Component* pixels, std::ptrdiff_t width);

    explicit PixelWriter(const PixelFormat& format);

    void operator()(const SampleFor<Component>* row, Component* pixels,
                    std::ptrdiff_t width) const {
        form_(row, format_, pixels, width);
    }

private:
    PixelFormat format_;
    Form form_;
};

/// Converts rows that were keyed from floats back to floats, which hold more than what is keyed. An
/// opaque pixel whose colour came out as it went in gets the source's floats. Where else the matte
/// is not 0, colour gets what the source's straight colour lies above 1 or below 0, so that the
/// excess stands in proportion to the matte once colour is multiplied by it. Made once a frame; any
/// number of threads may call it.
class FloatRestorer {
public:
    /// Both formats hold the same light.
    struct Formats {
        PixelFormat source;
        PixelFormat target;
    };
    using Form = void (*)(const Formats& formats, const float* source, const std::uint16_t* row,
                          float* pixels, std::ptrdiff_t width);

    explicit FloatRestorer(const Formats& formats);

    /// source and pixels may be the same.
    void operator()(const float* source, const std::uint16_t* row, float* pixels,
                    std::ptrdiff_t width) const {
        form_(formats_, source, row, pixels, width);
    }

private:
    Formats formats_;
    Form form_;
};

/// Converts a row to floats of which alpha is raised to the power 2.2 and colour multiplied by it,
/// for hosts that composite display-referred frames in linear light.
void WriteLinearPremultiplied(const std::uint16_t* row, PixelOrder order, float* pixels,
                              std::ptrdiff_t width);

/// Converts a row of either depth to 16 bits.
template <class Sample>
void WidenRow(const Sample* row, std::uint16_t* wide, std::ptrdiff_t width);

/// Back to either depth, to the nearest values.
template <class Sample>
void NarrowRow(const std::uint16_t* wide, Sample* row, std::ptrdiff_t width);

// The same of single values.
inline float Unpremultiplied(float color, float alpha) {
    return alpha > 0 ? color / alpha : color;
}
inline float Premultiplied(float color, float alpha) {
    return color * alpha;
}
inline float ToFloat(std::uint16_t sample) {
    return static_cast<float>(sample) / 65535.0f;
}
/// How far a value lies above 1 or, negative, below 0.
inline float Excess(float value) {
    return value > 1 ? value - 1 : value < 0 ? value : 0;
}
std::uint16_t ToSample(float value, FloatRounding rounding = FloatRounding::kNearest);

}  // namespace veltrane

#endif
