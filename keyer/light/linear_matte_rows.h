#ifndef VELTRANE_KEYER_LIGHT_LINEAR_MATTE_ROWS_H
#define VELTRANE_KEYER_LIGHT_LINEAR_MATTE_ROWS_H

namespace veltrane {

/// The work of linear_matte.h on rows of width pixels.
template <class Sample>
struct LinearMatteRows {
    /// light holds the linear light of each 16-bit sample, 0..1.
    void (*apply)(const float* light, const Sample* source, const Sample* plate, Sample* row,
                  int width);
};

/// The vector form in use, or null when the plain one is.
template <class Sample>
const LinearMatteRows<Sample>* SimdLinearMatteRows();

/// Foregrounds that lie closer to the plate than this, squared, tell no coverage.
inline constexpr float kLeastSquare = 0x1p-20f;
/// How fast trust in a coverage falls with the square of what it leaves unexplained.
inline constexpr float kDoubt = 128;
/// The curve alone moves no coverage further: black before white, half covered, is keyed as 0.27.
inline constexpr float kFarthestMove = 0.3125f;
/// Over a sixteenth at either end of the matte the change fades in, so that nothing jumps.
inline constexpr float kFadeIn = 16;

}  // namespace veltrane

#endif
