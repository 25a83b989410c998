#include "keyer/light/linear_matte.h"

#include <algorithm>

#include "imaging/convert/light_curve.h"
#include "imaging/cpu/in_use.h"
#include "imaging/sample.h"
#include "keyer/light/linear_matte_rows.h"

namespace veltrane {
namespace {

using Vector = float[kAlpha];

float Dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// A matte of 0..1 moved towards the coverage that mixes foreground and plate to source; both are
/// seen from the plate.
float Moved(float matte, const Vector& source, const Vector& foreground) {
    const float square = Dot(foreground, foreground);
    if (!(square > kLeastSquare)) return matte;
    const float cover = Clamp(Dot(source, foreground) / square, 0.0f, 1.0f);
    Vector rest;
    for (int e = 0; e < kAlpha; ++e) rest[e] = source[e] - cover * foreground[e];
    const float trust = square / (square + kDoubt * Dot(rest, rest));
    const float move = Clamp(cover - matte, -kFarthestMove, kFarthestMove);
    const float fade = std::min(kFadeIn * std::min(matte, 1.0f - matte), 1.0f);
    return matte + move * trust * fade;
}

template <class Sample>
bool IsBlack(const Sample* pixel) {
    return pixel[0] == 0 && pixel[1] == 0 && pixel[2] == 0;
}

template <class Sample>
void ApplyPlainly(const float* light, const Sample* source, const Sample* plate, Sample* row,
                  int width) {
    constexpr int kFull = kFullScale<Sample>;
    constexpr int kStep = 65535 / kFull;
    for (int x = 0; x < width; ++x, source += kElements, plate += kElements, row += kElements) {
        const int matte = row[kAlpha];
        if (matte == 0 || matte == kFull || IsBlack(row)) continue;
        Vector toSource, toForeground;
        for (int e = 0; e < kAlpha; ++e) {
            const float behind = light[plate[e] * kStep];
            toSource[e] = light[source[e] * kStep] - behind;
            toForeground[e] = light[row[e] * kStep] - behind;
        }
        const float moved = Moved(matte / float{kFull}, toSource, toForeground);
        // Neither end is reached, as what is out or solid has another colour.
        row[kAlpha] = static_cast<Sample>(Clamp(RoundHalfUp(moved * kFull), 1, kFull - 1));
    }
}

template <class Sample>
constexpr LinearMatteRows<Sample> kPlainRows{ApplyPlainly<Sample>};

}  // namespace

template <class Sample>
LinearMatte<Sample>::LinearMatte()
    : light_(LightCurve::For(Light::kLinear).StoredValues()),
      rows_(InUse<SimdLinearMatteRows<Sample>>(kPlainRows<Sample>)) {}

template <class Sample>
void LinearMatte<Sample>::operator()(const Sample* source, const Sample* plate, Sample* row,
                                     int width) const {
    rows_.apply(light_, source, plate, row, width);
}

template class LinearMatte<unsigned short>;
template class LinearMatte<unsigned char>;

}  // namespace veltrane
