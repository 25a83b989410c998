#include <cmath>
#include <cstdint>

#include "imaging/color/color_math.h"
#include "imaging/imaging.h"

namespace {

using veltrane::Ramp;
using veltrane::RgbToYiq;
using veltrane::SampleToYiq;
using veltrane::TruncateToInt;
using veltrane::YiqToRgb;

constexpr double kPi = 3.141592653589793;

HLS ToHls(float r, float g, float b) {
    const float luma = 0.114f * b + (0.299f * r + 0.587f * g);
    const float u = r - luma;
    const float v = b - luma;
    const float angle = static_cast<float>(std::atan2(static_cast<double>(u), v));
    float hue = angle * 180.0f / 3.1415927f;
    if (hue < 0) hue += 360.0f;
    return {hue, luma, std::sqrt(u * u + v * v)};
}

/// What no int can hold wraps around.
int AlignUp(std::int64_t n) {
    return static_cast<int>(n % 4 == 0 ? n : n - n % 4 + 4);
}

}  // namespace

YIQ CImagingORV::RGBtoYIQ(unsigned char R, unsigned char G, unsigned char B) const {
    const veltrane::FixedYiq color = veltrane::RgbToFixedYiq(R, G, B);
    return {static_cast<float>(color.y), static_cast<float>(color.i), static_cast<float>(color.q)};
}

YIQ CImagingORV::RGBtoYIQ2(unsigned char R, unsigned char G, unsigned char B) const {
    return SampleToYiq(R, G, B);
}

YIQ CImagingORV::RGBtoYIQ2(RGB color) const {
    return RgbToYiq(static_cast<float>(color.R), static_cast<float>(color.G),
                    static_cast<float>(color.B));
}

YIQ CImagingORV::RGBtoYIQ2_16bit(unsigned short R, unsigned short G, unsigned short B) const {
    return SampleToYiq(R, G, B);
}

RGB CImagingORV::YIQtoRGB2(YIQ color) const {
    return YiqToRgb(color, 1.0f);
}

RGB CImagingORV::YIQtoRGB2_16bit(YIQ color) const {
    return YiqToRgb(color, 257.0f);
}

HLS CImagingORV::RGBtoHLS(unsigned char R, unsigned char G, unsigned char B) const {
    return ToHls(R, G, B);
}

HLS CImagingORV::RGBtoHLS_16bit(unsigned short R, unsigned short G, unsigned short B) const {
    return ToHls(R / 257.0f, G / 257.0f, B / 257.0f);
}

YIQ CImagingORV::HLStoYIQ(HLS color) const {
    float hue = color.H - static_cast<float>(TruncateToInt(color.H / 360.0f)) * 360.0f;
    if (hue > 180.0f) {
        hue -= 360.0f;
    } else if (hue < -180.0f) {
        hue += 360.0f;
    }
    const double angle = static_cast<float>(hue * kPi / 180.0);
    const float c = static_cast<float>(std::cos(angle) * color.S);
    const float s = static_cast<float>(std::sin(angle) * color.S);
    const float r = color.L + s;
    const float b = color.L + c;
    const float g = static_cast<float>(color.L + (0.299 * s + 0.114 * c) / -0.587);
    return RgbToYiq<double>(r, g, b);
}

float CImagingORV::LinerInter(int x, int x0, int x1, float y0, float y1) const {
    if (x <= x0) return y0;
    if (x >= x1) return y1;
    const float run = static_cast<float>(static_cast<std::int64_t>(x) - x0);
    return y0 + run * ((y1 - y0) / static_cast<float>(static_cast<std::int64_t>(x1) - x0));
}

float CImagingORV::LinerInter(float x, float x0, float x1, float y0, float y1) const {
    return Ramp(x, x0, x1, y0, y1);
}

int CImagingORV::LinerInter(int x, int x0, int x1, int y0, int y1) const {
    if (x <= x0) return y0;
    if (x >= x1) return y1;
    const float run = static_cast<float>(static_cast<std::int64_t>(x) - x0);
    const float rise = static_cast<float>(static_cast<std::int64_t>(y1) - y0);
    const float length = static_cast<float>(static_cast<std::int64_t>(x1) - x0);
    return TruncateToInt(static_cast<float>(y0) + run * (rise / length));
}

int CImagingORV::LinerInter2(int x, int x0, int x1, int y0, int y1) const {
    if (x <= x0) return y0;
    if (x >= x1) return y1;
    const std::int64_t run = static_cast<std::int64_t>(x) - x0;
    const std::int64_t length = static_cast<std::int64_t>(x1) - x0;
    const std::int64_t rise = static_cast<std::int64_t>(y1) - y0;
    return static_cast<int>(((rise * (run * 255 / length + 1)) >> 8) + y0);
}

int CImagingORV::Align8(int n) const {
    return AlignUp(n);
}

int CImagingORV::AlignX(int n) const {
    return AlignUp(std::int64_t{3} * n);
}

int CImagingORV::Align(int n) const {
    return AlignX(n);
}
