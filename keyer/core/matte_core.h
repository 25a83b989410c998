#ifndef VELTRANE_KEYER_CORE_MATTE_CORE_H
#define VELTRANE_KEYER_CORE_MATTE_CORE_H

#include <cstdint>
#include <vector>

#include "imaging/imaging.h"
#include "keyer/depth.h"
#include "keyer/screen_kind.h"

namespace veltrane {

/// A point or direction in the plane of the colour differences I and Q.
struct Chroma {
    float i;
    float q;
};

/// Everything that a record's settings fix for a whole frame.
template <class Sample>
struct KeyLook {
    explicit KeyLook(const typename Depth<Sample>::Record& record, Screen screen = Screen::Green);

    float clipLevel;            ///< partial mattes below it become 0
    float matteGain;            ///< partial mattes are divided by it
    std::vector<Sample> curve;  ///< maps the matte; empty when it is the identity
    Chroma neutral;             ///< where a colourless pixel lies
    double turn;                ///< that of ScreenKind
    Chroma skinNormal;          ///< normal of the line that protects skin and hair
    Chroma neighbourNormal;     ///< normal of the line that protects the screen's neighbour
    Chroma tiltedSkinNormal;    ///< the same lines tilted by the despill amounts
    Chroma tiltedNeighbourNormal;
};

/// How far from the key axis each treatment reaches, in units of 8-bit chroma.
struct KeyMargins {
    float luma;      ///< added to the screen's luma
    int nearAxis;    ///< greatest truncated distance that still counts as inside the wedge
    int background;  ///< greatest truncated distance of background and shadow
    float bandLow;   ///< mixed pixels up to here lie on the key axis,
    float bandHigh;  ///< from here on they lie on a protection line
};

/// A modelled plate still holds a little grain; a single key colour is matched more closely.
inline constexpr KeyMargins kPlateMargins{1.5f, 24, 9, 10.0f, 25.0f};
inline constexpr KeyMargins kColorMargins{0.0f, 19, 4, 5.0f, 20.0f};

/// Sine and cosine of the float nearest to a quarter turn; not exactly 1 and 0, and the last bit
/// of every normal depends on it.
inline constexpr double kQuarterCos = -4.371139000186241e-08;
inline constexpr double kQuarterSin = 0.999999999999999;

/// The axis from a screen colour to neutral.
struct KeyAxis {
    KeyAxis(YIQ screen, Chroma neutral, double turn, const KeyMargins& margins);

    Chroma screen;
    Chroma toNeutral;
    float length;
    Chroma direction;  ///< unit vector
    Chroma normal;     ///< direction turned by a quarter, to the side of the neighbour
    float luma;        ///< of the screen, with its margin
};

/// Fills target with a row's pixels as solid foreground without the screen's light, where core lies
/// above 0; elsewhere it may hold anything. keyed is the row as it was keyed: a colour that the key
/// left alone holds no such light.
template <class Sample>
void DespillRow(const KeyLook<Sample>& look, const KeyAxis& axis, const Sample* source,
                const Sample* keyed, const std::uint16_t* core, Sample* target, int width);

}  // namespace veltrane

#endif
