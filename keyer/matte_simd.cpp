#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "keyer/matte_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstring>

#include "keyer/matte_lanes.h"
#include "keyer/matte_pow.h"
#include "keyer/matte_rows.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES && !HWY_HAVE_SCALABLE
namespace {

/// KeyAxis for every lane.
struct Axes {
    Chromas toNeutral;
    Floats length;
    Chromas direction;
    Chromas normal;

    static HWY_INLINE Axes To(Chromas toNeutral) {
        const Floats length = hn::Sqrt(Dot(toNeutral, toNeutral));
        const Chromas direction{toNeutral.i / length, toNeutral.q / length};
        return {toNeutral, length, direction, QuarterTurn(direction)};
    }

    static HWY_INLINE Axes Of(const KeyAxis& axis) {
        return {Splat(axis.toNeutral), Splat(axis.length), Splat(axis.direction),
                Splat(axis.normal)};
    }

private:
    static HWY_INLINE Chromas QuarterTurn(Chromas v) {
        const Doubles cosine = Splat(kQuarterCos);
        const Doubles sine = Splat(kQuarterSin);
        Doubles i[2];
        Doubles q[2];
        for (int half = 0; half < 2; ++half) {
            const Doubles fromI = Widen(v.i, half);
            const Doubles fromQ = Widen(v.q, half);
            i[half] = fromI * cosine - fromQ * sine;
            q[half] = fromI * sine + fromQ * cosine;
        }
        return {Narrow(i[0], i[1]), Narrow(q[0], q[1])};
    }
};

/// Pixels that are not all decided by a glance, and what the key of each starts from.
struct Mixtures {
    Floats luma;
    Chromas chroma;
    Colors screen;
    Axes axis;
    Chromas fromScreen;
    Chromas toNeutral;  ///< from the pixel
    Floats across;
    Floats along;

    HWY_INLINE Chromas LevelWithNeutral() const {
        return chroma + Dot(toNeutral, axis.direction) * axis.direction;
    }
    HWY_INLINE Chromas AlongAxis(Chromas normal) const {
        const Floats way = Dot(toNeutral, normal) / Dot(axis.direction, normal);
        return chroma + way * axis.direction;
    }
    HWY_INLINE Chromas FromScreen(Chromas normal) const {
        const Floats way = Dot(axis.toNeutral, normal) / Dot(fromScreen, normal);
        return screen.chroma + way * fromScreen;
    }
    HWY_INLINE Floats MatteFor(Chromas foreground) const {
        return Splat(1.0f) - Dot(foreground - chroma, axis.direction) / axis.length;
    }
};

struct Foregrounds {
    Chromas forMatte;
    Chromas forColor;
};

HWY_INLINE Colors WithMargin(Colors screen) {
    return {screen.luma + Splat(kPlateMargins.luma), screen.chroma};
}

template <class Sample>
constexpr std::size_t PixelBytes(int count) {
    return static_cast<std::size_t>(count) * kElements * sizeof(Sample);
}

/// A record's key with all its numbers ready for the lanes. The same steps in the same order as in
/// the plain form, but both sides of every choice that the lanes do not agree on.
template <class Sample>
class Keyer {
public:
    Keyer(const KeyLook<Sample>& look, const KeyMargins& margins)
        : look_(look),
          neutral_(Splat(look.neutral)),
          skinNormal_(Splat(look.skinNormal)),
          blueNormal_(Splat(look.blueNormal)),
          shade_(0, look.matteGain),
          cover_(look.clipLevel, 1.0f),
          band_(margins.bandLow, margins.bandHigh),
          nearAxis_(Splat(margins.nearAxis + 1.0f)),
          background_(Splat(margins.background + 1.0f)),
          clipLevel_(Splat(look.clipLevel)),
          surelyNear_(Splat(Square(margins.background + 0.99f))),
          surelyFar_(Splat(Square(margins.nearAxis + 1.01f))),
          surelyClipped_(Splat((look.clipLevel < 1 ? look.clipLevel : 1.0f) - 0.001f)) {}

    template <class Screen>
    HWY_INLINE void Key(const Sample* source, const Screen& screens, int x, Sample* target) const {
        const auto pixels = Pixels<Sample>::Load(source);
        const Colors color = pixels.ToColors();
        const Colors screen = screens.At(x);
        const Chromas fromScreen = color.chroma - screen.chroma;
        const Chromas toNeutral = neutral_ - screen.chroma;
        const Glance glance(fromScreen, toNeutral);
        if (hn::AllTrue(kFloats, SurelyBackground(glance))) {
            Background(color.luma, screen.luma).Store(target);
        } else if (hn::AllTrue(kFloats, SurelyForeground(glance, color.chroma))) {
            pixels.Opaque().Store(target);
        } else {
            KeyClosely(pixels, color, screen, screens.AxesTo(toNeutral), target);
        }
    }

private:
    /// Where pixels lie relative to their screen, each multiplied by the axis's length or its
    /// square, which spares the root and the divisions.
    struct Glance {
        Floats length2;
        Floats across2;  ///< squared
        Floats across;
        Floats along;

        HWY_INLINE Glance(Chromas fromScreen, Chromas toNeutral)
            : length2(Dot(toNeutral, toNeutral)),
              across(toNeutral.i * fromScreen.q - toNeutral.q * fromScreen.i),
              along(Dot(fromScreen, toNeutral)) {
            across2 = across * across;
        }
    };

    static float Square(float v) { return v * v; }

    // A glance errs by less than 0.0005 in both directions where the axis is at least 1 long: a few
    // roundings of values up to 404, and the turn that is not quite a quarter. So what lies 0.001
    // off a bound, or 0.01 across, is decided by it.

    HWY_INLINE Mask SurelyBackground(const Glance& at) const {
        return hn::And(hn::And(hn::Lt(at.across2, surelyNear_ * at.length2),
                               hn::Lt(at.along, surelyClipped_ * at.length2)),
                       hn::Ge(at.length2, Splat(1.0f)));
    }

    HWY_INLINE Mask SurelyForeground(const Glance& at, Chromas chroma) const {
        const Mask beside = hn::Gt(at.across2, surelyFar_ * at.length2);
        const Mask outside = hn::Or(beside, hn::Gt(at.along, Splat(1.001f) * at.length2));
        const Mask offSkin = hn::Or(hn::Le(Dot(skinNormal_, chroma), Splat(0.0f)),
                                    hn::And(beside, hn::Gt(at.across, Splat(0.0f))));
        const Mask offBlue = hn::Or(hn::Le(Dot(blueNormal_, chroma), Splat(0.0f)),
                                    hn::And(beside, hn::Lt(at.across, Splat(0.0f))));
        return hn::And(hn::And(outside, hn::Ge(at.length2, Splat(1.0f))),
                       hn::And(offSkin, offBlue));
    }

    HWY_NOINLINE void KeyClosely(const Pixels<Sample>& pixels, const Colors& color,
                                 const Colors& screen, const Axes& axis, Sample* target) const {
        const Chromas fromScreen = color.chroma - screen.chroma;
        const Floats zero = Splat(0.0f);
        const Floats across = Dot(axis.normal, fromScreen);
        const Floats along = Dot(fromScreen, axis.direction) / axis.length;
        const Floats distance = hn::Abs(across);
        const Mask onSkin =
            hn::And(hn::Lt(across, zero), hn::Gt(Dot(skinNormal_, color.chroma), zero));
        const Mask onBlue =
            hn::And(hn::Ge(across, zero), hn::Gt(Dot(blueNormal_, color.chroma), zero));
        const Mask nearAxis = hn::And(hn::Lt(distance, nearAxis_), hn::Lt(along, Splat(1.0f)));
        const Mask inside = hn::Or(hn::Or(onSkin, onBlue), nearAxis);
        const Mask flat = hn::And(hn::Lt(distance, background_), hn::Lt(along, clipLevel_));
        const Mask background = hn::And(inside, flat);
        const Mask mixed = hn::AndNot(flat, inside);

        auto result = pixels.Opaque();
        if (Any(background)) {
            result =
                Pixels<Sample>::Choose(background, Background(color.luma, screen.luma), result);
        }
        if (Any(mixed)) {
            const Mixtures mixtures{color.luma, color.chroma, screen,
                                    axis,       fromScreen,   neutral_ - color.chroma,
                                    across,     along};
            result = Pixels<Sample>::Choose(mixed, Mixed(mixtures, mixed), result);
        }
        result.Store(target);
    }

    /// The matte of 0..1 as stored.
    HWY_INLINE Ints StoredMatte(Floats matte) const {
        const Ints scaled = hn::ConvertTo(kInts, matte * Splat(float{kFullScale<Sample>}));
        if (look_.curve.empty()) return scaled;
        int lanes[kLanes];
        hn::StoreU(scaled, kInts, lanes);
        for (int& lane : lanes) lane = look_.curve[static_cast<std::size_t>(lane)];
        return hn::LoadU(kInts, lanes);
    }

    HWY_INLINE Pixels<Sample> Background(Floats luma, Floats screenLuma) const {
        // The ramp gives 0 for all that is not darker than the screen.
        const Floats darkening = (luma - screenLuma) / (Splat(kLowestLuma) - screenLuma);
        const Ints matte = StoredMatte(shade_(darkening));
        const auto clear = hn::Eq(matte, Splat(0));
        const Ints gray = hn::IfThenElseZero(clear, Splat(int{Depth<Sample>::kTransparentGray}));
        return Pixels<Sample>::Of(gray, gray, gray, matte);
    }

    HWY_INLINE Foregrounds ForegroundsOf(const Mixtures& mix, Mask wanted) const {
        const Mask blue = hn::Gt(mix.across, Splat(0.0f));
        const Floats distance = hn::Abs(mix.across);
        const Chromas normal = Choose(blue, blueNormal_, skinNormal_);
        const Chromas level = mix.LevelWithNeutral();
        const Chromas onLine = mix.AlongAxis(normal);
        const Foregrounds close{level, Choose(blue, level, onLine)};
        const Mask isClose = hn::Le(distance, band_.x0);
        const Mask isOff = hn::AndNot(isClose, wanted);
        if (!Any(isOff)) return close;

        const Mask bright = hn::AndNot(blue, hn::And(isOff, hn::Gt(mix.luma, Splat(200.0f))));
        Chromas tiltedNormal =
            Choose(blue, Splat(look_.tiltedBlueNormal), Splat(look_.tiltedSkinNormal));
        if (Any(bright))
            tiltedNormal = Choose(
                bright, BrightSkinNormals(look_.tiltedSkinNormal, mix.luma, bright), tiltedNormal);
        const Chromas tilted = mix.AlongAxis(tiltedNormal);
        const Floats weight = mix.MatteFor(Choose(blue, tilted, onLine));
        const Chromas color = Blend(weight, mix.FromScreen(normal), onLine);

        const Floats w = band_(distance);
        const Mask beyondLine = hn::Lt(Dot(normal, mix.chroma), Splat(0.0f));
        const Chromas blended = Blend(w, Choose(beyondLine, mix.chroma, color), level);
        const Foregrounds between{Blend(w, tilted, level),
                                  Choose(hn::Or(blue, beyondLine), blended, color)};
        const Mask isFar = hn::Ge(distance, band_.x1);
        return {Choose(isClose, close.forMatte, Choose(isFar, tilted, between.forMatte)),
                Choose(isClose, close.forColor, Choose(isFar, color, between.forColor))};
    }

    HWY_INLINE Floats ForegroundLuma(Floats luma, Floats screenLuma, Floats cover,
                                     Mask wanted) const {
        const Mask brighter = hn::Gt(luma, screenLuma);
        const Mask some = hn::Gt(cover, Splat(0.0f));
        const Mask dark =
            hn::AndNot(brighter, hn::And(hn::And(wanted, some), hn::Lt(cover, Splat(1.0f))));
        // A matte of 1 leaves the luma as it is: 1 is a power that changes nothing.
        Floats unmixed = luma;
        if (Any(dark)) unmixed = Choose(dark, UnmixDark(luma, screenLuma, cover, dark), luma);
        unmixed = Choose(brighter, (luma - (Splat(1.0f) - cover) * screenLuma) / cover, unmixed);
        const Floats clamped = hn::Min(hn::Max(unmixed, Splat(kLowestLuma)), Splat(kHighestLuma));
        const Floats extreme = Choose(brighter, Splat(kHighestLuma),
                                      Choose(hn::Lt(luma, screenLuma), Splat(kLowestLuma), luma));
        return Choose(some, clamped, extreme);
    }

    HWY_INLINE Pixels<Sample> Mixed(const Mixtures& mix, Mask wanted) const {
        const Floats zero = Splat(0.0f);
        const Foregrounds chroma = ForegroundsOf(mix, wanted);
        const Floats cover = hn::Min(cover_(mix.MatteFor(chroma.forMatte)), Splat(1.0f));
        const Floats foregroundLuma = ForegroundLuma(mix.luma, mix.screen.luma, cover, wanted);
        const Mask darker =
            hn::And(hn::Lt(foregroundLuma, mix.screen.luma), hn::Ne(mix.luma, mix.screen.luma));
        const Floats unmixed = (mix.luma - mix.screen.luma) / (foregroundLuma - mix.screen.luma);
        const Floats matte = shade_(Choose(darker, unmixed, cover));
        const Mask solid = hn::Ne(matte, zero);
        const Floats kept =
            hn::Min(hn::Max(hn::Min(foregroundLuma, mix.luma), zero), Splat(255.0f));
        const Floats y = Choose(solid, kept, Splat(kScreenGray));
        const Floats i = hn::IfThenElseZero(solid, chroma.forColor.i);
        const Floats q = hn::IfThenElseZero(solid, chroma.forColor.q);
        return Pixels<Sample>::Of(Stored(Splat(0.62f) * q + (Splat(0.956f) * i + y)),
                                  Stored(Splat(-0.647f) * q + (Splat(-0.272f) * i + y)),
                                  Stored(Splat(1.705f) * q + (Splat(-1.108f) * i + y)),
                                  StoredMatte(matte));
    }

    /// A component as stored: rounded and clamped; what no int can hold becomes 0.
    static HWY_INLINE Ints Stored(Floats component) {
        constexpr float kFull = kFullScale<Sample>;
        const Floats rounded = component * Splat(kFull / 255) + Splat(0.5f);
        const Mask valid =
            hn::And(hn::Gt(rounded, Splat(0.0f)), hn::Lt(rounded, Splat(2147483648.0f)));
        return hn::ConvertTo(kInts, hn::IfThenElseZero(valid, hn::Min(rounded, Splat(kFull))));
    }

    const KeyLook<Sample>& look_;
    Chromas neutral_;
    Chromas skinNormal_;
    Chromas blueNormal_;
    UnitRamp shade_;
    UnitRamp cover_;
    UnitRamp band_;
    Floats nearAxis_;
    Floats background_;
    Floats clipLevel_;
    Floats surelyNear_;
    Floats surelyFar_;
    Floats surelyClipped_;
};

/// Screens give Keyer the colour behind the pixels from x on, its luma with the margin, and the
/// axes from there; Rest() gives the last pixels of the row, by way of a block.
template <class Sample>
struct PlanarScreen {
    using Block = unsigned char[3][kLanes];
    PlanarRow row;

    HWY_INLINE Colors At(int x) const {
        const Floats r = Pixels<Sample>::LoadPlane(row.red + x);
        const Floats g = Pixels<Sample>::LoadPlane(row.green + x);
        const Floats b = Pixels<Sample>::LoadPlane(row.blue + x);
        return WithMargin(ToColors(r, g, b));
    }
    static HWY_INLINE Axes AxesTo(Chromas toNeutral) { return Axes::To(toNeutral); }

    PlanarScreen Rest(int x, int count, Block& block) const {
        const auto size = static_cast<std::size_t>(count);
        std::memcpy(block[0], row.blue + x, size);
        std::memcpy(block[1], row.green + x, size);
        std::memcpy(block[2], row.red + x, size);
        return {{block[0], block[1], block[2]}};
    }
};

template <class Sample>
struct InterleavedScreen {
    using Block = Sample[kLanes * kElements];
    const Sample* row;

    HWY_INLINE Colors At(int x) const {
        return WithMargin(Pixels<Sample>::Load(row + x * kElements).ToColors());
    }
    static HWY_INLINE Axes AxesTo(Chromas toNeutral) { return Axes::To(toNeutral); }

    InterleavedScreen Rest(int x, int count, Block& block) const {
        std::memcpy(block, row + x * kElements, PixelBytes<Sample>(count));
        return {block};
    }
};

struct OneScreen {
    using Block = char;
    Colors color;
    Axes axes;

    explicit OneScreen(const KeyAxis& axis)
        : color{Splat(axis.luma), Splat(axis.screen)}, axes(Axes::Of(axis)) {}

    HWY_INLINE Colors At(int) const { return color; }
    HWY_INLINE const Axes& AxesTo(Chromas) const { return axes; }
    const OneScreen& Rest(int, int, Block&) const { return *this; }
};

template <class Sample, class Screen>
void KeyRow(const KeyLook<Sample>& look, const KeyMargins& margins, const Sample* source,
            const Screen& screen, Sample* target, int width) {
    const Keyer<Sample> keyer(look, margins);
    int x = 0;
    for (; x + kLanes <= width; x += kLanes) {
        keyer.Key(source + x * kElements, screen, x, target + x * kElements);
    }
    if (x == width) return;
    const std::size_t bytes = PixelBytes<Sample>(width - x);
    Sample from[kLanes * kElements] = {};
    Sample to[kLanes * kElements];
    typename Screen::Block block = {};
    std::memcpy(from, source + x * kElements, bytes);
    keyer.Key(from, screen.Rest(x, width - x, block), 0, to);
    std::memcpy(target + x * kElements, to, bytes);
}

template <class Sample>
void AgainstPlate(const KeyLook<Sample>& look, const Sample* source, PlanarRow plate,
                  Sample* target, int width) {
    KeyRow(look, kPlateMargins, source, PlanarScreen<Sample>{plate}, target, width);
}

template <class Sample>
void AgainstPixels(const KeyLook<Sample>& look, const Sample* source, const Sample* plate,
                   Sample* target, int width) {
    KeyRow(look, kPlateMargins, source, InterleavedScreen<Sample>{plate}, target, width);
}

template <class Sample>
void AgainstColor(const KeyLook<Sample>& look, const KeyAxis& axis, const Sample* source,
                  Sample* target, int width) {
    KeyRow(look, kColorMargins, source, OneScreen(axis), target, width);
}

template <class Sample>
const KeyRows<Sample>* GetRows() {
    static constexpr KeyRows<Sample> kRows{AgainstPlate<Sample>, AgainstPixels<Sample>,
                                           AgainstColor<Sample>, MatteCurve<Sample>};
    return &kRows;
}

}  // namespace

const KeyRows<std::uint16_t>* GetKeyRows16() {
    return GetRows<std::uint16_t>();
}
const KeyRows<std::uint8_t>* GetKeyRows8() {
    return GetRows<std::uint8_t>();
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

template <>
const KeyRows<std::uint16_t>* SimdKeyRows() {
    return RowsInUse<KeyRows<std::uint16_t>>(VELTRANE_FOR_EACH_LEVEL(GetKeyRows16));
}
template <>
const KeyRows<std::uint8_t>* SimdKeyRows() {
    return RowsInUse<KeyRows<std::uint8_t>>(VELTRANE_FOR_EACH_LEVEL(GetKeyRows8));
}

}  // namespace veltrane
#endif
