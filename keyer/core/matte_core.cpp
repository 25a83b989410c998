#include "keyer/core/matte_core.h"

#include <algorithm>
#include <cmath>

#include "imaging/cpu/in_use.h"
#include "keyer/core/matte_rows.h"
#include "keyer/status.h"

namespace veltrane {
namespace {

constexpr float kHueLuma = 128.0f;   ///< luma and chroma at which hue directions are taken;
constexpr float kHueChroma = 30.0f;  ///< only the direction matters

Chroma ChromaOf(YIQ color) {
    return {color.I, color.Q};
}
Chroma operator+(Chroma a, Chroma b) {
    return {a.i + b.i, a.q + b.q};
}
Chroma operator-(Chroma a, Chroma b) {
    return {a.i - b.i, a.q - b.q};
}
Chroma operator*(float s, Chroma a) {
    return {s * a.i, s * a.q};
}
float Dot(Chroma a, Chroma b) {
    return a.i * b.i + a.q * b.q;
}
float Length(Chroma a) {
    return std::sqrt(Dot(a, a));
}

Chroma Unit(Chroma a, float length) {
    return {a.i / length, a.q / length};
}

Chroma Rotate(Chroma a, double cosine, double sine) {
    return {static_cast<float>(a.i * cosine - a.q * sine),
            static_cast<float>(a.i * sine + a.q * cosine)};
}

Chroma RotateByDegrees(Chroma a, float degrees) {
    const double angle = static_cast<float>(degrees * kPi / 180.0);
    return Rotate(a, std::cos(angle), std::sin(angle));
}

Chroma HueDirection(float degrees) {
    const Chroma hue = ChromaOf(CImagingORV().HLStoYIQ({degrees, kHueLuma, kHueChroma}));
    return Unit(hue, Length(hue));
}

/// Weights b by w and the rest by a.
Chroma Blend(float w, Chroma b, Chroma a) {
    return w * b + (1.0f - w) * a;
}

/// Where a pixel lies relative to its screen colour.
struct Position {
    YIQ color;
    Chroma chroma;
    Chroma fromScreen;
    float across;  ///< signed distance from the key axis; above 0 on the neighbour's side
    float along;   ///< 0 at the screen colour, 1 level with neutral
};

Position Locate(YIQ color, const KeyAxis& axis) {
    const Chroma chroma = ChromaOf(color);
    const Chroma fromScreen = chroma - axis.screen;
    return {color, chroma, fromScreen, Dot(axis.normal, fromScreen),
            Dot(fromScreen, axis.direction) / axis.length};
}

bool WithinTruncated(float value, int limit) {
    const int whole = TruncateToInt(value);
    return -limit <= whole && whole <= limit;
}

template <class Sample>
bool IsForeground(const Position& at, const KeyLook<Sample>& look, const KeyMargins& margins) {
    if (at.across < 0 && Dot(look.skinNormal, at.chroma) > 0) return false;
    if (at.across >= 0 && Dot(look.neighbourNormal, at.chroma) > 0) return false;
    return !(WithinTruncated(at.across, margins.nearAxis) && at.along < 1);
}

/// The construction of foreground colours for one mixed pixel: a protection line runs through
/// neutral and is given by its normal.
struct MixedPixel {
    const KeyAxis& axis;
    const Position& at;
    Chroma toNeutral;  ///< from the pixel

    /// Level with neutral on the parallel to the key axis through the pixel.
    Chroma LevelWithNeutral() const {
        return at.chroma + Dot(toNeutral, axis.direction) * axis.direction;
    }
    /// Where the parallel to the key axis through the pixel meets the line.
    Chroma AlongAxis(Chroma normal) const {
        const float way = Dot(toNeutral, normal) / Dot(axis.direction, normal);
        return at.chroma + way * axis.direction;
    }
    /// Where the line from the screen colour through the pixel meets it.
    Chroma FromScreen(Chroma normal) const {
        const float way = Dot(axis.toNeutral, normal) / Dot(at.fromScreen, normal);
        return axis.screen + way * at.fromScreen;
    }
    /// The pixel's matte if its foreground had this chroma.
    float MatteFor(Chroma foreground) const {
        return 1.0f - Dot(foreground - at.chroma, axis.direction) / axis.length;
    }
};

/// The foreground chroma that decides the matte, and the one that is written.
struct Foreground {
    Chroma forMatte;
    Chroma forColor;
};

float BandWeight(float distance, const KeyMargins& margins) {
    return Ramp(distance, margins.bandLow, margins.bandHigh, 0, 1);
}

template <class Sample>
Foreground NeighbourSideForeground(const MixedPixel& mix, const KeyLook<Sample>& look,
                                   const KeyMargins& margins) {
    const float distance = std::fabs(mix.at.across);
    const Chroma level = mix.LevelWithNeutral();
    if (distance <= margins.bandLow) return {level, level};

    const Chroma tilted = mix.AlongAxis(look.tiltedNeighbourNormal);
    // The blend follows the tilted line's matte, unlike the skin side's.
    const Chroma color = Blend(mix.MatteFor(tilted), mix.FromScreen(look.neighbourNormal),
                               mix.AlongAxis(look.neighbourNormal));
    if (distance >= margins.bandHigh) return {tilted, color};

    const float w = BandWeight(distance, margins);
    const bool beyondLine = Dot(look.neighbourNormal, mix.at.chroma) < 0;
    return {Blend(w, tilted, level), Blend(w, beyondLine ? mix.at.chroma : color, level)};
}

template <class Sample>
Foreground SkinSideForeground(const MixedPixel& mix, const KeyLook<Sample>& look,
                              const KeyMargins& margins) {
    const float distance = std::fabs(mix.at.across);
    const Chroma level = mix.LevelWithNeutral();
    const Chroma onLine = mix.AlongAxis(look.skinNormal);
    if (distance <= margins.bandLow) return {level, onLine};

    const Chroma tilted =
        mix.AlongAxis(BrightSkinNormal(look.tiltedSkinNormal, look.turn, mix.at.color.Y));
    const Chroma color = Blend(mix.MatteFor(onLine), mix.FromScreen(look.skinNormal), onLine);
    if (distance >= margins.bandHigh) return {tilted, color};

    const float w = BandWeight(distance, margins);
    const bool beyondLine = Dot(look.skinNormal, mix.at.chroma) < 0;
    // Inside the line the colour is not blended towards neutral, unlike on the neighbour's side.
    return {Blend(w, tilted, level), beyondLine ? Blend(w, mix.at.chroma, level) : color};
}

/// Luma of a foreground that covers the screen by matte. Brighter than the screen it unmixes
/// linearly.
float ForegroundLuma(float luma, float screenLuma, float matte) {
    if (!(matte > 0)) {
        if (luma < screenLuma) return kLowestLuma;
        return luma > screenLuma ? kHighestLuma : luma;
    }
    const float unmixed = luma > screenLuma ? (luma - (1.0f - matte) * screenLuma) / matte
                                            : UnmixedDarkLuma(luma, screenLuma, matte);
    return Clamp(unmixed, kLowestLuma, kHighestLuma);
}

/// The matte as stored: scaled, and bent by the curve unless that is the identity.
template <class Sample>
Sample StoredMatte(float matte, const std::vector<Sample>& curve) {
    constexpr float kFull = kFullScale<Sample>;
    const int scaled = TruncateToInt(Clamp(matte * kFull, 0.0f, kFull));
    return curve.empty() ? static_cast<Sample>(scaled) : curve[scaled];
}

template <class Sample>
void Write(Sample* target, RGB color, Sample matte) {
    constexpr int kFull = kFullScale<Sample>;
    target[0] = static_cast<Sample>(Clamp(color.B, 0, kFull));
    target[1] = static_cast<Sample>(Clamp(color.G, 0, kFull));
    target[2] = static_cast<Sample>(Clamp(color.R, 0, kFull));
    target[kAlpha] = matte;
}

/// Open screen becomes transparent; a shadow on it becomes black with a matte that grows as it
/// darkens.
template <class Sample>
void WriteBackground(const KeyLook<Sample>& look, float luma, float screenLuma, Sample* target) {
    float shade = 0;
    if (!(luma >= screenLuma)) {
        const float darkening = (luma - screenLuma) / (kLowestLuma - screenLuma);
        shade = Ramp(darkening, 0, look.matteGain, 0, 1);
    }
    const Sample matte = StoredMatte(Ramp(shade, 0, 1, 0, 1), look.curve);
    const int gray = matte == 0 ? Depth<Sample>::kTransparentGray : 0;
    Write(target, {gray, gray, gray}, matte);
}

template <class Sample>
void WriteMixed(const KeyLook<Sample>& look, const KeyMargins& margins, const KeyAxis& axis,
                const Position& at, Sample* target) {
    const MixedPixel mix{axis, at, look.neutral - at.chroma};
    const Foreground chroma = at.across > 0 ? NeighbourSideForeground(mix, look, margins)
                                            : SkinSideForeground(mix, look, margins);
    const float luma = at.color.Y;
    const float cover =
        Clamp(Ramp(mix.MatteFor(chroma.forMatte), look.clipLevel, 1, 0, 1), 0.0f, 1.0f);
    const float foregroundLuma = ForegroundLuma(luma, axis.luma, cover);
    float matte = cover;
    if (foregroundLuma < axis.luma && luma != axis.luma) {
        matte = (luma - axis.luma) / (foregroundLuma - axis.luma);
    }
    matte = Ramp(Ramp(matte, 0, look.matteGain, 0, 1), 0, 1, 0, 1);

    YIQ color{kScreenGray, 0, 0};
    if (matte != 0) {
        const float kept = foregroundLuma < luma ? foregroundLuma : luma;
        color = {Clamp(kept, 0.0f, 255.0f), chroma.forColor.i, chroma.forColor.q};
    }
    Write(target, Depth<Sample>::ToRgb(color), StoredMatte(matte, look.curve));
}

template <class Sample>
YIQ PixelToYiq(const Sample* pixel) {
    return SampleToYiq(pixel[2], pixel[1], pixel[0]);
}

/// How far a solid pixel's chroma goes along the key axis until no screen light is left in it:
/// until it is level with neutral, or on the side of a protected colour until it meets that line.
template <class Sample>
float WayOutOfSpill(const MixedPixel& mix, const KeyLook<Sample>& look, const KeyMargins& margins) {
    const Chroma along = mix.axis.direction;
    const auto toLine = [&](Chroma normal) {
        return Dot(mix.toNeutral, normal) / Dot(along, normal);
    };
    const float level = Dot(mix.toNeutral, along);
    if (mix.at.across <= 0) return toLine(look.skinNormal);
    const float w = Clamp(BandWeight(mix.at.across, margins), 0.0f, 1.0f);
    return w * toLine(look.neighbourNormal) + (1.0f - w) * level;
}

template <class Sample>
void WriteDespilled(const KeyLook<Sample>& look, const KeyMargins& margins, const KeyAxis& axis,
                    const Sample* source, Sample* target) {
    const Position at = Locate(PixelToYiq(source), axis);
    std::copy_n(source, kElements, target);
    if (IsForeground(at, look, margins)) return;
    const float way = WayOutOfSpill({axis, at, look.neutral - at.chroma}, look, margins);
    if (!(way > 0)) return;
    const Chroma chroma = at.chroma + way * axis.direction;
    const YIQ color{Clamp(at.color.Y, 0.0f, 255.0f), chroma.i, chroma.q};
    Write(target, Depth<Sample>::ToRgb(color), source[kAlpha]);
}

template <class Sample>
void KeyPixel(const KeyLook<Sample>& look, const KeyMargins& margins, const KeyAxis& axis,
              const Sample* source, Sample* target) {
    const Position at = Locate(PixelToYiq(source), axis);
    if (IsForeground(at, look, margins)) {
        Write(target, {source[2], source[1], source[0]}, static_cast<Sample>(kFullScale<Sample>));
    } else if (WithinTruncated(at.across, margins.background) && at.along < look.clipLevel) {
        WriteBackground(look, at.color.Y, axis.luma, target);
    } else {
        WriteMixed(look, margins, axis, at, target);
    }
}

/// Keys a row against the colours that screenAt(x) gives.
template <class Sample, class ScreenAt>
void KeyRow(const KeyLook<Sample>& look, const Sample* source, ScreenAt screenAt, Sample* target,
            int width) {
    for (int x = 0; x < width; ++x, source += kElements, target += kElements) {
        const KeyAxis axis(screenAt(x), look.neutral, look.turn, kPlateMargins);
        KeyPixel(look, kPlateMargins, axis, source, target);
    }
}

template <class Sample>
void PlainAgainstPlate(const KeyLook<Sample>& look, const Sample* source, PlanarRow plate,
                       Sample* target, int width, const Ahead&) {
    const auto screenAt = [&](int x) {
        return SampleToYiq(plate.red[x], plate.green[x], plate.blue[x]);
    };
    KeyRow(look, source, screenAt, target, width);
}

template <class Sample>
void PlainAgainstPixels(const KeyLook<Sample>& look, const Sample* source, const Sample* plate,
                        Sample* target, int width, const Ahead&) {
    const auto screenAt = [&](std::size_t x) { return PixelToYiq(plate + x * kElements); };
    KeyRow(look, source, screenAt, target, width);
}

template <class Sample>
void PlainAgainstColor(const KeyLook<Sample>& look, const KeyAxis& axis, const Sample* source,
                       Sample* target, int width, const Ahead&) {
    for (const Sample* end = source + static_cast<std::size_t>(width) * kElements; source != end;
         source += kElements, target += kElements) {
        KeyPixel(look, kColorMargins, axis, source, target);
    }
}

template <class Sample>
void PlainMatteCurve(double exponent, Sample* curve) {
    constexpr int kFull = kFullScale<Sample>;
    for (int i = 0; i <= kFull; ++i) {
        const float scaled = MattePower<Sample>(i, exponent) * kFull + 0.499f;
        curve[i] = static_cast<Sample>(Clamp(TruncateToInt(scaled), 0, kFull));
    }
}

template <class Sample>
constexpr KeyRows<Sample> kPlainRows{PlainAgainstPlate<Sample>, PlainAgainstPixels<Sample>,
                                     PlainAgainstColor<Sample>, PlainMatteCurve<Sample>};

/// The vector form knows the exponents of valid records only.
template <class Sample>
std::vector<Sample> CurveOf(double exponent) {
    const bool usual = exponent >= 1 && exponent <= 2;
    std::vector<Sample> curve(kFullScale<Sample> + 1);
    (usual ? KeyRowsInUse<Sample>() : kPlainRows<Sample>).matteCurve(exponent, curve.data());
    return curve;
}

}  // namespace

float UnmixedDarkLuma(float luma, float screenLuma, float matte) {
    const double cover = matte;
    return static_cast<float>(
        std::pow((luma + 100.0) / std::pow(screenLuma + 100.0, 1 - cover), 1 / cover) - 100.0);
}

Chroma BrightSkinNormal(Chroma normal, double turn, float luma) {
    if (!(luma > 200.0f)) return normal;
    const float tilt = static_cast<float>(turn) * -30.0f;
    return RotateByDegrees(normal, tilt * Ramp(luma, 200.0f, 255.0f, 0, 1));
}

template <class Sample>
float MattePower(int matte, double exponent) {
    constexpr float kFull = kFullScale<Sample>;
    return static_cast<float>(std::pow(matte / kFull, exponent));
}

template float MattePower<unsigned short>(int, double);
template float MattePower<unsigned char>(int, double);

template <class Sample>
KeyLook<Sample>::KeyLook(const typename Depth<Sample>::Record& record, Screen screen)
    : clipLevel(record.screenGain[0] * 0.01f),
      matteGain(record.despillGray[0] * -0.01f + 1.0f),
      neutral(ChromaOf(CImagingORV().RGBtoYIQ2(127, 127, 127))),
      turn(KindOf(screen).turn),
      skinNormal(Rotate(HueDirection(record.skinHue[0]), kQuarterCos, turn * -kQuarterSin)),
      neighbourNormal(Rotate(HueDirection(record.blueHue[0]), kQuarterCos, turn * kQuarterSin)),
      tiltedSkinNormal(RotateByDegrees(
          skinNormal, static_cast<float>(turn) * -static_cast<float>(record.despillSkin[0]))),
      tiltedNeighbourNormal(
          RotateByDegrees(neighbourNormal, static_cast<float>(turn) * record.despillBlue[0])) {
    const float shadow = record.shadow[0] * 0.01f;
    if (shadow != 1.0f) curve = CurveOf<Sample>((1.0f - shadow) + 1.0f);
}

KeyAxis::KeyAxis(YIQ screenColor, Chroma neutral, double turn, const KeyMargins& margins)
    : screen(ChromaOf(screenColor)),
      toNeutral(neutral - screen),
      length(Length(toNeutral)),
      direction(Unit(toNeutral, length)),
      normal(Rotate(direction, kQuarterCos, turn * kQuarterSin)),
      luma(screenColor.Y + margins.luma) {}

template struct KeyLook<unsigned short>;
template struct KeyLook<unsigned char>;

template <class Sample>
void DespillRow(const KeyLook<Sample>& look, const KeyAxis& axis, const Sample* source,
                const Sample* keyed, const std::uint16_t* core, Sample* target, int width) {
    for (int x = 0; x < width; ++x, source += kElements, keyed += kElements, target += kElements) {
        if (core[x] == 0) continue;
        if (std::equal(source, source + kAlpha, keyed)) {
            std::copy_n(source, kElements, target);
        } else {
            WriteDespilled(look, kPlateMargins, axis, source, target);
        }
    }
}

template void DespillRow(const KeyLook<unsigned short>&, const KeyAxis&, const unsigned short*,
                         const unsigned short*, const std::uint16_t*, unsigned short*, int);
template void DespillRow(const KeyLook<unsigned char>&, const KeyAxis&, const unsigned char*,
                         const unsigned char*, const std::uint16_t*, unsigned char*, int);

template <class Sample>
const KeyRows<Sample>& KeyRowsInUse() {
    return InUse<SimdKeyRows<Sample>>(kPlainRows<Sample>);
}

template const KeyRows<unsigned short>& KeyRowsInUse();
template const KeyRows<unsigned char>& KeyRowsInUse();

namespace {

template <class Sample>
Status KeyAgainstPlate(const typename Depth<Sample>::Record* p, const Sample* plate) {
    if (p == nullptr) return Status::kRefused;
    if (p->width == 0 || p->height == 0) return Status::kDone;
    const KeyLook<Sample> look(*p);
    const KeyRows<Sample>& rows = KeyRowsInUse<Sample>();
    const std::size_t pitch = static_cast<std::size_t>(p->width) * kElements;
    for (int y = 0; y < p->height; ++y) {
        rows.againstPixels(look, p->src + y * pitch, plate + y * pitch, p->dst + y * pitch,
                           p->width, {});
    }
    return Status::kDone;
}

}  // namespace
}  // namespace veltrane

unsigned int CVELTRANE::MakeChromaKeyMaskX9Core64bit14(VELTRANE_Param16bit* p,
                                                       unsigned short* plate) const {
    return Number(veltrane::KeyAgainstPlate(p, plate));
}

unsigned int CVELTRANE::MakeChromaKeyMaskX9Core32bit14(VELTRANE_Param* p,
                                                       unsigned char* plate) const {
    return Number(veltrane::KeyAgainstPlate(p, plate));
}
