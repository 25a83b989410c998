#include <algorithm>
#include <cmath>

#include "imaging/sample.h"
#include "keyer/pipeline.h"

namespace {

using namespace veltrane;

constexpr int kLumaSteps = 256;
constexpr int kDarkeningSteps = 10000;
constexpr float kUnreached = -999.0f;
constexpr int kDarkestTrusted = 80;               ///< darker screen takes the chroma predicted here
constexpr float kToeLevel = 60.0f;                ///< below it the tone curve is a straight line
constexpr double kBase = 0.029999999329447746;    ///< linear light that the curve starts from
constexpr double kBaseLevel = 7.649999618530273;  ///< the same x 255
constexpr double kCurveRange = 34.33333407839141;  ///< white over the base
constexpr float kScreenDistance = 20.0f;  ///< greatest chroma distance from the expected screen
constexpr float kHueLuma = 128.0f;
constexpr float kHueChroma = 50.0f;

/// A camera-like curve between linear light and 8-bit components: logarithmic with a linear toe.
class ToneCurve {
public:
    ToneCurve()
        : gain_(static_cast<float>(255.0 / std::log10(kCurveRange))),
          toeSlope_(
              static_cast<float>(65.0 / ((std::pow(10.0, 60.0 / gain_) - 1.0) * kBaseLevel))) {}

    /// Linear light of a component. Above the toe double precision is kept, without which not every
    /// component would come back.
    double Linear(unsigned char component) const {
        if (component >= kToeLevel) {
            return (std::pow(10.0, component / static_cast<double>(gain_)) - 1.0) * kBaseLevel;
        }
        return (component + 5.0f) / toeSlope_;
    }

    /// The component that shows when only a part f of the light is left.
    unsigned char Darkened(double linear, float f) const {
        const double light = linear * f / 255.0 + kBase;
        float value = static_cast<float>((std::log10(light) - std::log10(kBase)) * gain_);
        if (value < kToeLevel) value = toeSlope_ * static_cast<float>(linear) * f - 5.0f;
        return static_cast<unsigned char>(TruncateToInt(Clamp(value, 0.0f, 255.0f)));
    }

private:
    float gain_;
    float toeSlope_;
};

void Empty(unsigned char* pixel) {
    std::fill_n(pixel, 3, static_cast<unsigned char>(0));
}

/// The hues of a green screen lie below both of these lines through the origin of the chroma plane.
struct HueWedge {
    float lowerSlope;
    float upperSlope;

    HueWedge(int lowerHue, int upperHue)
        : lowerSlope(Slope(lowerHue)), upperSlope(Slope(upperHue)) {}

    bool Holds(YIQ color) const {
        return !(color.I * lowerSlope <= color.Q || color.I * upperSlope <= color.Q);
    }

private:
    static float Slope(int hue) {
        const YIQ color = CImagingORV().HLStoYIQ({static_cast<float>(hue), kHueLuma, kHueChroma});
        return color.Q / color.I;
    }
};

}  // namespace

unsigned int CVELTRANE::MakeBCCorrect(unsigned char keyR, unsigned char keyG, unsigned char keyB,
                                      YIQ key, float* tableI, float* tableQ) const {
    if (tableI == nullptr || tableQ == nullptr) return 0;
    std::fill_n(tableI, kLumaSteps, kUnreached);
    std::fill_n(tableQ, kLumaSteps, kUnreached);
    const ToneCurve curve;
    const double red = curve.Linear(keyR);
    const double green = curve.Linear(keyG);
    const double blue = curve.Linear(keyB);
    for (int t = 0; t < kDarkeningSteps; ++t) {
        const float f = static_cast<float>(t) / 9999.0f;
        const YIQ color =
            RGBtoYIQ(curve.Darkened(red, f), curve.Darkened(green, f), curve.Darkened(blue, f));
        const int luma = TruncateToInt(color.Y);
        tableI[luma] = color.I;
        tableQ[luma] = color.Q;
    }
    std::fill_n(tableI, kDarkestTrusted, tableI[kDarkestTrusted]);
    std::fill_n(tableQ, kDarkestTrusted, tableQ[kDarkestTrusted]);
    std::replace(tableI, tableI + kLumaSteps, kUnreached, key.I);
    std::replace(tableQ, tableQ + kLumaSteps, kUnreached, key.Q);
    return 1;
}

unsigned int CVELTRANE::ExtractBack32bit(unsigned char* image, unsigned char* map, int width,
                                         int height, int pitch, unsigned char keyR,
                                         unsigned char keyG, unsigned char keyB, int lowerHue,
                                         int upperHue) const {
    if (image == nullptr || map == nullptr) return 0;
    float expectedI[kLumaSteps];
    float expectedQ[kLumaSteps];
    MakeBCCorrect(keyR, keyG, keyB, RGBtoYIQ(keyR, keyG, keyB), expectedI, expectedQ);
    const HueWedge wedge(lowerHue, upperHue);
    const int mapPitch = Align8(width);
    for (int y = 0; y < height; ++y) {
        unsigned char* pixel = image + static_cast<std::ptrdiff_t>(y) * pitch;
        unsigned char* mark = map + static_cast<std::ptrdiff_t>(y) * mapPitch;
        for (int x = 0; x < width; ++x, pixel += kElements, ++mark) {
            const YIQ color = RGBtoYIQ(pixel[2], pixel[1], pixel[0]);
            *mark = 0;
            if (!wedge.Holds(color)) {
                Empty(pixel);
                continue;
            }
            const int luma = TruncateToInt(color.Y);
            const float dq = color.Q - expectedQ[luma];
            const float di = color.I - expectedI[luma];
            if (std::sqrt(dq * dq + di * di) > kScreenDistance) {
                Empty(pixel);
                *mark = 255;
            }
        }
    }
    return 1;
}
