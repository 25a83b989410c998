#ifndef VELTRANE_KEYER_CORE_MATTE_ROWS_H
#define VELTRANE_KEYER_CORE_MATTE_ROWS_H

#include "imaging/resample/planar_row.h"
#include "imaging/row_memory.h"
#include "keyer/core/matte_core.h"

namespace veltrane {

/// The key of a row of width pixels. source and target are interleaved pixels and may be the same.
template <class Sample>
struct KeyRows {
    /// Against the plate pixels behind them, components 0..255 whatever the depth.
    void (*againstPlate)(const KeyLook<Sample>& look, const Sample* source, PlanarRow plate,
                         Sample* target, int width, const Ahead& ahead);
    /// The same with an interleaved plate of the frame's depth.
    void (*againstPixels)(const KeyLook<Sample>& look, const Sample* source, const Sample* plate,
                          Sample* target, int width, const Ahead& ahead);
    /// Against one screen colour.
    void (*againstColor)(const KeyLook<Sample>& look, const KeyAxis& axis, const Sample* source,
                         Sample* target, int width, const Ahead& ahead);
    /// KeyLook::curve for an exponent within 1..2.
    void (*matteCurve)(double exponent, Sample* curve);
};

/// The form in use; ask once a frame.
template <class Sample>
const KeyRows<Sample>& KeyRowsInUse();

/// The vector form in use, or null when the plain one is.
template <class Sample>
const KeyRows<Sample>* SimdKeyRows();

// What the two forms share.

inline constexpr double kPi = 3.141592653589793;
inline constexpr float kScreenGray = 160.0f;  ///< luma written where the matte is 0
inline constexpr float kLowestLuma = -50.0f;  ///< bounds of an unmixed foreground luma
inline constexpr float kHighestLuma = 370.0f;

/// Luma of the foreground of a pixel no brighter than its screen, before it is bounded; matte lies
/// above 0. Luma + 100 mixes geometrically.
float UnmixedDarkLuma(float luma, float screenLuma, float matte);

/// Bright pixels tilt the skin line further, up to 30 degrees at full luma, against the turn of
/// KeyLook.
Chroma BrightSkinNormal(Chroma normal, double turn, float luma);

/// A matte of full scale raised to exponent, 0..1.
template <class Sample>
float MattePower(int matte, double exponent);

}  // namespace veltrane

#endif
