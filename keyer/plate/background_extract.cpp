#include <algorithm>
#include <cmath>

#include "imaging/color/color_math.h"
#include "imaging/cpu/in_use.h"
#include "keyer/pipeline.h"
#include "keyer/plate/background_stages.h"
#include "keyer/plate/screen_rows.h"

namespace {

using namespace veltrane;

constexpr int kLumaSteps = ScreenLook::kLumaSteps;
constexpr int kDarkeningSteps = 10000;
constexpr float kUnreached = -999.0f;
constexpr int kDarkestTrusted = 80;               ///< darker screen takes the chroma predicted here
constexpr float kToeLevel = 60.0f;                ///< below it the tone curve is a straight line
constexpr double kBase = 0.029999999329447746;    ///< linear light that the curve starts from
constexpr double kBaseLevel = 7.649999618530273;  ///< the same x 255
constexpr double kCurveRange = 34.33333407839141;  ///< white over the base
constexpr int kScreenDistance = 20;  ///< greatest chroma distance from the expected screen
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
    double Linear(int component) const {
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

/// A component of the key as the light comes back in kDarkeningSteps steps. It only ever rises, so
/// that the steps at which it does are all there is to know.
class RisingComponent {
public:
    RisingComponent(const ToneCurve& curve, unsigned char component)
        : curve_(curve), linear_(curve.Linear(component)) {
        Enter(0);
    }

    unsigned char Value() const { return value_; }
    /// The first step at which the value is another one.
    int End() const { return end_; }

    void Enter(int step) {
        value_ = At(step);
        // Where the curve reaches the next value; rounding may put the step a little to either
        // side.
        const double light = curve_.Linear(value_ + 1) / linear_;
        end_ = std::clamp(static_cast<int>(light * kLastStep) + 1, step + 1, kDarkeningSteps);
        while (end_ < kDarkeningSteps && At(end_) == value_) ++end_;
        while (At(end_ - 1) != value_) --end_;
    }

private:
    static constexpr float kLastStep = kDarkeningSteps - 1;

    unsigned char At(int step) const {
        return curve_.Darkened(linear_, static_cast<float>(step) / kLastStep);
    }

    const ToneCurve& curve_;
    double linear_;
    unsigned char value_ = 0;
    int end_ = 0;
};

/// Of the line through a hue, in the mirror where turn is -1.
float SlopeOf(int hue, float turn) {
    const YIQ color = CImagingORV().HLStoYIQ({static_cast<float>(hue), kHueLuma, kHueChroma});
    return turn * (color.Q / color.I);
}

/// The chroma predicted for the screen is in whole numbers.
ScreenLook LookOf(Screen screen, const ByteKey& key, int skinHue, int neighbourHue) {
    const CVELTRANE keyer;
    const float turn = static_cast<float>(KindOf(screen).turn);
    ScreenLook look{SlopeOf(skinHue, turn),           SlopeOf(neighbourHue, turn), turn, {}, {},
                    kScreenDistance * kScreenDistance};
    float tableI[kLumaSteps];
    float tableQ[kLumaSteps];
    keyer.MakeBCCorrect(key.red, key.green, key.blue, keyer.RGBtoYIQ(key.red, key.green, key.blue),
                        tableI, tableQ);
    std::transform(tableI, tableI + kLumaSteps, look.i, [](float i) { return TruncateToInt(i); });
    std::transform(tableQ, tableQ + kLumaSteps, look.q, [](float q) { return TruncateToInt(q); });
    return look;
}

bool IsOutside(const ScreenLook& look, const FixedYiq& color) {
    const float i = static_cast<float>(color.i);
    const float q = static_cast<float>(color.q) * look.turn;
    return i * look.skinSlope <= q || i * look.neighbourSlope <= q;
}

bool IsFar(const ScreenLook& look, const FixedYiq& color) {
    const int di = color.i - look.i[color.y];
    const int dq = color.q - look.q[color.y];
    return dq * dq + di * di > look.squaredDistance;
}

void Extract(const ScreenLook& look, unsigned char* pixel, unsigned char* marks, int width) {
    for (int x = 0; x < width; ++x, pixel += kElements) {
        const FixedYiq color = RgbToFixedYiq(pixel[2], pixel[1], pixel[0]);
        const bool outside = IsOutside(look, color);
        const bool foreign = !outside && IsFar(look, color);
        marks[x] = foreign ? 255 : 0;
        if (outside || foreign) pixel[0] = pixel[1] = pixel[2] = 0;
    }
}

constexpr ScreenRows kPlainRows{Extract};

const ScreenRows& Rows() {
    return InUse<SimdScreenRows>(kPlainRows);
}

}  // namespace

void veltrane::ExtractScreen(Screen screen, const ReducedImage& image, unsigned char* map,
                             const ByteKey& key, int skinHue, int neighbourHue) {
    const ScreenLook look = LookOf(screen, key, skinHue, neighbourHue);
    const ScreenRows& rows = Rows();
    const int mapPitch = CVELTRANE().Align8(image.width);
    for (int y = 0; y < image.height; ++y) {
        rows.extract(look, image.Row(y), map + static_cast<std::ptrdiff_t>(y) * mapPitch,
                     image.width);
    }
}

unsigned int CVELTRANE::MakeBCCorrect(unsigned char keyR, unsigned char keyG, unsigned char keyB,
                                      YIQ key, float* tableI, float* tableQ) const {
    if (tableI == nullptr || tableQ == nullptr) return 0;
    std::fill_n(tableI, kLumaSteps, kUnreached);
    std::fill_n(tableQ, kLumaSteps, kUnreached);
    const ToneCurve curve;
    RisingComponent rgb[] = {{curve, keyR}, {curve, keyG}, {curve, keyB}};
    for (int step = 0; step < kDarkeningSteps;) {
        const YIQ color = RGBtoYIQ(rgb[0].Value(), rgb[1].Value(), rgb[2].Value());
        const int luma = TruncateToInt(color.Y);
        tableI[luma] = color.I;
        tableQ[luma] = color.Q;
        step = std::min({rgb[0].End(), rgb[1].End(), rgb[2].End()});
        for (RisingComponent& component : rgb) {
            if (step == component.End() && step < kDarkeningSteps) component.Enter(step);
        }
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
    ExtractScreen(Screen::Green, {image, width, height, pitch}, map, {keyR, keyG, keyB}, lowerHue,
                  upperHue);
    return 1;
}
