#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "keyer/core/matte_simd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

#include "keyer/core/matte_lanes.h"
#include "keyer/core/matte_mix.h"
#include "keyer/core/matte_pow.h"
#include "keyer/core/matte_rows.h"

HWY_BEFORE_NAMESPACE();
namespace veltrane {
namespace HWY_NAMESPACE {
#if VELTRANE_HAS_LANES && !HWY_HAVE_SCALABLE
namespace {

constexpr int kHalf = kLanes / 2;

template <class Sample>
constexpr std::size_t PixelBytes(int count) {
    return static_cast<std::size_t>(count) * kElements * sizeof(Sample);
}

HWY_INLINE Colors WithMargin(Colors screen) {
    return {screen.luma + Splat(kPlateMargins.luma), screen.chroma};
}

// Screens give the colours behind the half vectors from x and x2 on, their lumas with the margin,
// and their axes. Rest() gives the last pixels of the row, by way of a block.

template <class Sample>
struct PlanarScreen {
    using Block = unsigned char[3][kLanes];
    PlanarRow row;
    double turn;

    HWY_INLINE Colors At(int x, int x2) const {
        const Floats r = Pixels<Sample>::LoadPlane(row.red + x, row.red + x2);
        const Floats g = Pixels<Sample>::LoadPlane(row.green + x, row.green + x2);
        const Floats b = Pixels<Sample>::LoadPlane(row.blue + x, row.blue + x2);
        return WithMargin(ToColors<1>(r, g, b));
    }
    static HWY_INLINE Axes AxesFrom(Chromas toNeutral) { return AxesAlong(toNeutral); }
    HWY_INLINE Chromas Normal(const Axes& axes) const {
        return QuarterTurned(axes.direction, turn);
    }

    PlanarScreen Rest(int x, int count, Block& block) const {
        const auto size = static_cast<std::size_t>(count);
        std::memcpy(block[0], row.blue + x, size);
        std::memcpy(block[1], row.green + x, size);
        std::memcpy(block[2], row.red + x, size);
        return {{block[0], block[1], block[2]}, turn};
    }
};

template <class Sample>
struct InterleavedScreen {
    using Block = Sample[kLanes * kElements];
    const Sample* row;
    double turn;

    HWY_INLINE Colors At(int x, int x2) const {
        return WithMargin(
            Pixels<Sample>::Load(row + x * kElements, row + x2 * kElements).ToColors());
    }
    static HWY_INLINE Axes AxesFrom(Chromas toNeutral) { return AxesAlong(toNeutral); }
    HWY_INLINE Chromas Normal(const Axes& axes) const {
        return QuarterTurned(axes.direction, turn);
    }

    InterleavedScreen Rest(int x, int count, Block& block) const {
        std::memcpy(block, row + x * kElements, PixelBytes<Sample>(count));
        return {block, turn};
    }
};

struct OneScreen {
    using Block = char;
    Colors color;
    Axes axes;
    Chromas normal;

    explicit OneScreen(const KeyAxis& axis)
        : color{Splat(axis.luma), Splat(axis.screen)},
          axes{Splat(axis.length), Splat(axis.direction)},
          normal(Splat(axis.normal)) {}

    HWY_INLINE const Colors& At(int, int) const { return color; }
    HWY_INLINE const Axes& AxesFrom(Chromas) const { return axes; }
    HWY_INLINE const Chromas& Normal(const Axes&) const { return normal; }
    const OneScreen& Rest(int, int, Block&) const { return *this; }
};

/// Where pixels lie relative to their screens, multiplied by the axis's length or its square, which
/// spares the root and the divisions. It errs by less than 0.0005 in both directions where the axis
/// is at least 1 long: a few roundings of values up to 404, and the turn that is not quite a
/// quarter. So all that lies 0.01 off a bound across, or 0.001 along, is decided by it.
struct Glance {
    Floats length2;
    Floats across;
    Floats across2;  ///< squared
    Floats along;

    HWY_INLINE Glance(Chromas fromScreen, Chromas toNeutral)
        : length2(Dot(toNeutral, toNeutral)),
          across(toNeutral.i * fromScreen.q - toNeutral.q * fromScreen.i),
          across2(across * across),
          along(Dot(fromScreen, toNeutral)) {}
};

/// Half vectors of a row that a glance did not decide.
struct Places {
    static constexpr int kVectors = 8;

    int count = 0;
    int x[2 * kVectors + 1];

    HWY_INLINE void Add(int place, bool wanted) {
        x[count] = place;
        count += wanted;
    }
    bool HasRoom() const { return count < 2 * kVectors - 1; }
    int Pairs() const { return count / 2; }

    /// Keeps the one that had no partner.
    void DropPairs() {
        x[0] = x[count - 1];
        count %= 2;
    }
    /// Makes the last one its own partner.
    void Complete() {
        if (count % 2 == 1) Add(x[count - 1], true);
    }
};

/// Keys a row: what a glance decides at once, the rest some vectors at a time, put together from
/// halves. Nothing is written before all that needs it has been read, so the target may be the
/// source.
template <class Sample, class Screen>
class RowKey {
public:
    RowKey(const KeyLook<Sample>& look, const KeyMargins& margins, const Screen& screen)
        : mixer_(look, margins),
          screen_(screen),
          aboveNormal_(Splat(look.turn > 0 ? look.neighbourNormal : look.skinNormal)),
          belowNormal_(Splat(look.turn > 0 ? look.skinNormal : look.neighbourNormal)),
          near2_(Splat(Square(margins.background + 0.99f))),
          far2_(Splat(Square(margins.nearAxis + 1.01f))),
          clipped_(Splat(std::min(look.clipLevel, 1.0f) - 0.001f)) {}

    HWY_INLINE void Key(const Sample* source, Sample* target, int width, const Ahead& ahead) const {
        const std::size_t portions = width / kLanes + 1;
        Fetcher read(ahead.read, portions);
        Fetcher written(ahead.written, portions);
        Places places;
        int x = 0;
        for (; x + kLanes <= width; x += kLanes) {
            read.Fetch();
            written.Fetch();
            KeyAtAGlance(source, x, target, places);
            if (places.HasRoom()) continue;
            KeyClosely(screen_, source, places, target);
            places.DropPairs();
        }
        places.Complete();
        KeyClosely(screen_, source, places, target);
        if (x < width) KeyRest(source, x, target, width - x);
    }

private:
    static float Square(float v) { return v * v; }

    static HWY_INLINE Pixels<Sample> Load(const Sample* row, int x, int x2) {
        return Pixels<Sample>::Load(row + x * kElements, row + x2 * kElements);
    }

    HWY_INLINE void KeyAtAGlance(const Sample* source, int x, Sample* target,
                                 Places& places) const {
        const int x2 = x + kHalf;
        const auto pixels = Load(source, x, x2);
        const Colors color = pixels.ToColors();
        const Colors& screen = screen_.At(x, x2);
        const Glance at(color.chroma - screen.chroma, mixer_.Neutral() - screen.chroma);
        const Mask background = IsBackground(at);
        if (hn::AllTrue(kFloats, background)) {
            mixer_.Background(color.luma, screen.luma).Store(target + x * kElements);
            return;
        }
        const Mask foreground = IsForeground(at, color.chroma);
        const auto opaque = pixels.Opaque();
        if (hn::AllTrue(kFloats, foreground)) {
            opaque.Store(target + x * kElements);
            return;
        }
        const unsigned unsure = Bits(hn::Not(hn::Or(background, foreground)));
        const bool first = (unsure & Pixels<Sample>::kFirstHalf) != 0;
        const bool second = (unsure & Pixels<Sample>::kSecondHalf) != 0;
        places.Add(x, first);
        places.Add(x2, second);
        if (first && second) return;
        const auto clear = mixer_.Background(color.luma, screen.luma);
        const auto result = Pixels<Sample>::Choose(background, clear, opaque);
        if (!first) result.StoreFirst(target + x * kElements);
        if (!second) result.StoreSecond(target + x2 * kElements);
    }

    HWY_INLINE Mask IsBackground(const Glance& at) const {
        const Mask isNear = hn::And(at.across2 < near2_ * at.length2, at.length2 >= Splat(1.0f));
        return hn::And(isNear, at.along < clipped_ * at.length2);
    }

    HWY_INLINE Mask IsForeground(const Glance& at, Chromas chroma) const {
        const Floats zero = Splat(0.0f);
        const Mask aside = at.across2 > far2_ * at.length2;
        const Mask far = hn::Or(aside, at.along > Splat(1.001f) * at.length2);
        const Mask offBelow =
            hn::Or(Dot(belowNormal_, chroma) <= zero, hn::And(aside, at.across > zero));
        const Mask offAbove =
            hn::Or(Dot(aboveNormal_, chroma) <= zero, hn::And(aside, at.across < zero));
        return hn::And(hn::And(far, at.length2 >= Splat(1.0f)), hn::And(offBelow, offAbove));
    }

    HWY_NOINLINE void KeyClosely(const Screen& screens, const Sample* source, const Places& places,
                                 Sample* target) const {
        Mixture mixtures[Places::kVectors];
        const int count = places.Pairs();
        for (int k = 0; k < count; ++k) {
            const int x = places.x[2 * k];
            const int x2 = places.x[2 * k + 1];
            const Colors& screen = screens.At(x, x2);
            mixer_.Aim(Load(source, x, x2).ToColors(), screen,
                       screens.AxesFrom(mixer_.Neutral() - screen.chroma), mixtures[k]);
        }
        for (int k = 0; k < count; ++k) {
            mixer_.Locate(screens.Normal(mixtures[k].axis), mixtures[k]);
        }
        for (int k = 0; k < count; ++k) mixer_.FindForeground(mixtures[k]);
        for (int k = 0; k < count; ++k) mixer_.Unmix(mixtures[k]);
        for (int k = 0; k < count; ++k) {
            const int x = places.x[2 * k];
            const int x2 = places.x[2 * k + 1];
            const auto result = Result(mixtures[k], Load(source, x, x2));
            result.StoreFirst(target + x * kElements);
            result.StoreSecond(target + x2 * kElements);
        }
    }

    HWY_INLINE Pixels<Sample> Result(const Mixture& mix, Pixels<Sample> pixels) const {
        const auto result = Pixels<Sample>::Choose(mix.mixed, mixer_.Mixed(mix), pixels.Opaque());
        if (!Any(mix.background)) return result;
        const auto background = mixer_.Background(mix.color.luma, mix.screen.luma);
        return Pixels<Sample>::Choose(mix.background, background, result);
    }

    /// The last pixels of the row, fewer than a vector.
    HWY_NOINLINE void KeyRest(const Sample* source, int x, Sample* target, int count) const {
        Sample from[kLanes * kElements] = {};
        Sample to[kLanes * kElements];
        typename Screen::Block block = {};
        std::memcpy(from, source + x * kElements, PixelBytes<Sample>(count));
        Places places;
        places.Add(0, true);
        places.Add(kHalf, true);
        KeyClosely(screen_.Rest(x, count, block), from, places, to);
        std::memcpy(target + x * kElements, to, PixelBytes<Sample>(count));
    }

    Mixer<Sample> mixer_;
    Screen screen_;
    Chromas aboveNormal_;  ///< of the protection line where a glance's across is above 0
    Chromas belowNormal_;
    Floats near2_;
    Floats far2_;
    Floats clipped_;
};

template <class Sample>
void AgainstPlate(const KeyLook<Sample>& look, const Sample* source, PlanarRow plate,
                  Sample* target, int width, const Ahead& ahead) {
    using Screen = PlanarScreen<Sample>;
    RowKey<Sample, Screen>(look, kPlateMargins, Screen{plate, look.turn})
        .Key(source, target, width, ahead);
}

template <class Sample>
void AgainstPixels(const KeyLook<Sample>& look, const Sample* source, const Sample* plate,
                   Sample* target, int width, const Ahead& ahead) {
    using Screen = InterleavedScreen<Sample>;
    RowKey<Sample, Screen>(look, kPlateMargins, Screen{plate, look.turn})
        .Key(source, target, width, ahead);
}

template <class Sample>
void AgainstColor(const KeyLook<Sample>& look, const KeyAxis& axis, const Sample* source,
                  Sample* target, int width, const Ahead& ahead) {
    RowKey<Sample, OneScreen>(look, kColorMargins, OneScreen(axis))
        .Key(source, target, width, ahead);
}

}  // namespace

template <class Sample>
const KeyRows<Sample>* GetKeyRows() {
    static constexpr KeyRows<Sample> kRows{AgainstPlate<Sample>, AgainstPixels<Sample>,
                                           AgainstColor<Sample>, MatteCurve<Sample>};
    return &kRows;
}
#endif
}  // namespace HWY_NAMESPACE
}  // namespace veltrane
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace veltrane {

VELTRANE_DEFINE_ROWS_OF_BOTH_DEPTHS(KeyRows, SimdKeyRows, GetKeyRows)

}  // namespace veltrane
#endif
