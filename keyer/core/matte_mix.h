// The whole key of a vector of pixels, in stages that a batch of vectors goes through one by one,
// so that the long waits of one vector's roots, divisions and powers are filled by the next ones.
// The same steps in the same order as in the plain form, but both sides of every choice on which
// the lanes may differ. Compiled once for every instruction set, like matte_lanes.h.

#if defined(VELTRANE_KEYER_CORE_MATTE_MIX_H) == defined(HWY_TARGET_TOGGLE)
#ifdef VELTRANE_KEYER_CORE_MATTE_MIX_H
#undef VELTRANE_KEYER_CORE_MATTE_MIX_H
#else
#define VELTRANE_KEYER_CORE_MATTE_MIX_H
#endif

#include "keyer/core/matte_lanes.h"
#include "keyer/core/matte_pow.h"
#include "keyer/core/matte_rows.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES && !HWY_HAVE_SCALABLE
namespace {

/// The axes from screen colours to neutral.
struct Axes {
    Floats length;
    Chromas direction;
};

HWY_INLINE Axes AxesAlong(Chromas toNeutral) {
    const Floats length = hn::Sqrt(Dot(toNeutral, toNeutral));
    return {length, {toNeutral.i / length, toNeutral.q / length}};
}

/// KeyAxis::normal from its direction.
HWY_INLINE Chromas QuarterTurned(Chromas v, double turn) {
    const Doubles i = Widen(v.i);
    const Doubles q = Widen(v.q);
    const Doubles cosine = Splat(kQuarterCos);
    const Doubles sine = Splat(turn * kQuarterSin);
    return {Narrow(i * cosine - q * sine), Narrow(i * sine + q * cosine)};
}

/// Stores vectors one by one: left to themselves, compilers copy several in smaller pieces, for
/// which the loads of whole vectors have to wait.
HWY_INLINE void Keep(Chromas from, Chromas& to) {
    to.i = from.i;
    to.q = from.q;
}
HWY_INLINE void Keep(Colors from, Colors& to) {
    to.luma = from.luma;
    Keep(from.chroma, to.chroma);
}

/// What one stage leaves for the next ones.
struct Mixture {
    Colors color;
    Colors screen;  ///< its luma with the margin
    Axes axis;
    Floats across;
    Mask background;
    Mask mixed;  ///< the rest is foreground
    Chromas forColor;
    Floats cover;
    Floats foregroundLuma;
};

/// The construction of foreground colours, as in the plain form.
struct Construction {
    const Chromas& chroma;
    const Chromas& direction;
    const Floats& length;
    Chromas toNeutral;  ///< from the pixel
    const Chromas& screen;
    Chromas screenToNeutral;
    Chromas fromScreen;

    HWY_INLINE Construction(const Mixture& mix, Chromas neutral)
        : chroma(mix.color.chroma),
          direction(mix.axis.direction),
          length(mix.axis.length),
          toNeutral(neutral - chroma),
          screen(mix.screen.chroma),
          screenToNeutral(neutral - screen),
          fromScreen(chroma - screen) {}

    HWY_INLINE Chromas LevelWithNeutral() const {
        return chroma + Dot(toNeutral, direction) * direction;
    }
    HWY_INLINE Chromas AlongAxis(Chromas normal) const {
        const Floats way = Dot(toNeutral, normal) / Dot(direction, normal);
        return chroma + way * direction;
    }
    HWY_INLINE Chromas FromScreen(Chromas normal) const {
        const Floats way = Dot(screenToNeutral, normal) / Dot(fromScreen, normal);
        return screen + way * fromScreen;
    }
    HWY_INLINE Floats MatteFor(Chromas foreground) const {
        return Splat(1.0f) - Dot(foreground - chroma, direction) / length;
    }
};

/// The stages, with the numbers of KeyLook and KeyMargins ready for the lanes.
template <class Sample>
class Mixer {
public:
    Mixer(const KeyLook<Sample>& look, const KeyMargins& margins)
        : look_(look),
          neutral_(Splat(look.neutral)),
          skinNormal_(Splat(look.skinNormal)),
          neighbourNormal_(Splat(look.neighbourNormal)),
          shade_(0, look.matteGain),
          cover_(look.clipLevel, 1.0f),
          band_(margins.bandLow, margins.bandHigh),
          nearAxis_(Splat(margins.nearAxis + 1.0f)),
          background_(Splat(margins.background + 1.0f)),
          clipLevel_(Splat(look.clipLevel)) {}

    Chromas Neutral() const { return neutral_; }

    /// Notes where the axes run.
    HWY_INLINE void Aim(Colors color, Colors screen, const Axes& axis, Mixture& mix) const {
        Keep(color, mix.color);
        Keep(screen, mix.screen);
        Keep(axis.direction, mix.axis.direction);
        mix.axis.length = axis.length;
    }

    /// Tells background, mixed pixels and foreground apart.
    HWY_INLINE void Locate(Chromas axisNormal, Mixture& mix) const {
        const Floats zero = Splat(0.0f);
        const Chromas chroma = mix.color.chroma;
        const Chromas fromScreen = chroma - mix.screen.chroma;
        const Floats across = Dot(axisNormal, fromScreen);
        const Floats along = Dot(fromScreen, mix.axis.direction) / mix.axis.length;
        const Floats distance = hn::Abs(across);
        const Floats offSkin = Dot(skinNormal_, chroma);
        const Floats offNeighbour = Dot(neighbourNormal_, chroma);
        const Mask skin = hn::And(hn::Lt(across, zero), hn::Gt(offSkin, zero));
        const Mask neighbour = hn::And(hn::Ge(across, zero), hn::Gt(offNeighbour, zero));
        const Mask close = hn::And(distance < nearAxis_, along < Splat(1.0f));
        const Mask inside = hn::Or(hn::Or(skin, neighbour), close);
        const Mask flat = hn::And(distance < background_, along < clipLevel_);
        mix.across = across;
        mix.background = hn::And(inside, flat);
        mix.mixed = hn::AndNot(flat, inside);
    }

    /// Finds the foreground's chroma and how much it covers.
    HWY_INLINE void FindForeground(Mixture& mix) const {
        const Construction construct(mix, neutral_);
        const Mask neighbour = mix.across > Splat(0.0f);
        const Floats distance = hn::Abs(mix.across);
        const Chromas normal = Choose(neighbour, neighbourNormal_, skinNormal_);
        const Chromas level = construct.LevelWithNeutral();
        const Chromas onLine = construct.AlongAxis(normal);
        const Mask close = distance <= band_.x0;
        Chromas forMatte = level;
        Chromas forColor = Choose(neighbour, level, onLine);
        if (Any(hn::AndNot(close, mix.mixed))) {
            const Chromas tilted = construct.AlongAxis(TiltedNormal(mix, neighbour));
            const Floats weight = construct.MatteFor(Choose(neighbour, tilted, onLine));
            const Chromas color = Blend(weight, construct.FromScreen(normal), onLine);

            const Floats w = band_(distance);
            const Mask beyondLine = Dot(normal, construct.chroma) < Splat(0.0f);
            const Chromas kept = Choose(beyondLine, construct.chroma, color);
            const Mask far = distance >= band_.x1;
            const Mask blended = hn::AndNot(far, hn::Or(neighbour, beyondLine));
            forMatte = Choose(close, level, Choose(far, tilted, Blend(w, tilted, level)));
            forColor = Choose(close, forColor, Choose(blended, Blend(w, kept, level), color));
        }
        Keep(forColor, mix.forColor);
        mix.cover = hn::Min(cover_(construct.MatteFor(forMatte)), Splat(1.0f));
    }

    /// Finds the foreground's luma.
    HWY_INLINE void Unmix(Mixture& mix) const {
        const Floats luma = mix.color.luma;
        const Floats screenLuma = mix.screen.luma;
        const Mask brighter = luma > screenLuma;
        const Mask some = mix.cover > Splat(0.0f);
        const Mask part = hn::And(some, mix.cover < Splat(1.0f));
        const Mask dark = hn::AndNot(brighter, hn::And(mix.mixed, part));
        const Floats linear = (luma - (Splat(1.0f) - mix.cover) * screenLuma) / mix.cover;
        // Of dark pixels a full cover leaves the luma as it is: its power is 1.
        Floats unmixed = Choose(brighter, linear, luma);
        if (Any(dark))
            unmixed = Choose(dark, UnmixDark(luma, screenLuma, mix.cover, dark), unmixed);
        const Floats bounded = hn::Min(hn::Max(unmixed, Splat(kLowestLuma)), Splat(kHighestLuma));
        const Floats darker = Choose(luma < screenLuma, Splat(kLowestLuma), luma);
        const Floats extreme = Choose(brighter, Splat(kHighestLuma), darker);
        mix.foregroundLuma = Choose(some, bounded, extreme);
    }

    HWY_INLINE Pixels<Sample> Mixed(const Mixture& mix) const {
        const Floats zero = Splat(0.0f);
        const Floats luma = mix.color.luma;
        const Floats screenLuma = mix.screen.luma;
        const Mask darker = hn::And(mix.foregroundLuma < screenLuma, luma != screenLuma);
        const Floats unmixed = (luma - screenLuma) / (mix.foregroundLuma - screenLuma);
        const Floats matte = shade_(Choose(darker, unmixed, mix.cover));
        const Mask solid = matte != zero;
        const Floats kept =
            hn::Min(hn::Max(hn::Min(mix.foregroundLuma, luma), zero), Splat(255.0f));
        const Floats y = Choose(solid, kept, Splat(kScreenGray));
        const Floats i = hn::IfThenElseZero(solid, mix.forColor.i);
        const Floats q = hn::IfThenElseZero(solid, mix.forColor.q);
        return Pixels<Sample>::Of(Stored(Splat(0.62f) * q + (Splat(0.956f) * i + y)),
                                  Stored(Splat(-0.647f) * q + (Splat(-0.272f) * i + y)),
                                  Stored(Splat(1.705f) * q + (Splat(-1.108f) * i + y)),
                                  StoredMatte(matte));
    }

    HWY_INLINE Pixels<Sample> Background(Floats luma, Floats screenLuma) const {
        // The ramp gives 0 for all that is not darker than the screen.
        const Floats darkening = (luma - screenLuma) / (Splat(kLowestLuma) - screenLuma);
        return Pixels<Sample>::Black(StoredMatte(shade_(darkening)));
    }

private:
    HWY_INLINE Chromas TiltedNormal(const Mixture& mix, Mask neighbour) const {
        const Chromas skin = Splat(look_.tiltedSkinNormal);
        const Chromas tilted = Choose(neighbour, Splat(look_.tiltedNeighbourNormal), skin);
        const Mask bright =
            hn::AndNot(neighbour, hn::And(mix.mixed, mix.color.luma > Splat(200.0f)));
        if (!Any(bright)) return tilted;
        return Choose(bright,
                      BrightSkinNormals(look_.tiltedSkinNormal, look_.turn, mix.color.luma, bright),
                      tilted);
    }

    /// A matte of 0..1 as stored.
    HWY_INLINE Ints StoredMatte(Floats matte) const {
        const Ints scaled = hn::ConvertTo(kInts, matte * Splat(float{kFullScale<Sample>}));
        if (look_.curve.empty()) return scaled;
        int lanes[kLanes];
        hn::StoreU(scaled, kInts, lanes);
        for (int& lane : lanes) lane = look_.curve[static_cast<std::size_t>(lane)];
        return hn::LoadU(kInts, lanes);
    }

    /// A component as stored: rounded and clamped; what no int can hold becomes 0.
    static HWY_INLINE Ints Stored(Floats component) {
        constexpr float kFull = kFullScale<Sample>;
        const Floats rounded = component * Splat(kFull / 255) + Splat(0.5f);
        const Mask valid = hn::And(rounded > Splat(0.0f), rounded < Splat(2147483648.0f));
        return hn::ConvertTo(kInts, hn::IfThenElseZero(valid, hn::Min(rounded, Splat(kFull))));
    }

    const KeyLook<Sample>& look_;
    Chromas neutral_;
    Chromas skinNormal_;
    Chromas neighbourNormal_;
    UnitRamp shade_;
    UnitRamp cover_;
    UnitRamp band_;
    Floats nearAxis_;
    Floats background_;
    Floats clipLevel_;
};

}  // namespace
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
