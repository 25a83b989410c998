#ifndef VELTRANE_IMAGING_MATTE_SOFTEN_ROWS_H
#define VELTRANE_IMAGING_MATTE_SOFTEN_ROWS_H

#include <cstdint>

#include "imaging/box/box_sums.h"

namespace veltrane {

/// How a row of the matte is softened: by the weights of its windows, which are down for the row
/// and across[x] for its columns, by a strength of 0..1 and by an offset in matte units.
struct Softening {
    const float* across;
    float down;
    float strength;
    float offset;
};

/// What stands for two divisions, with the same results for whole numbers up to full scale.
template <class Sample>
struct FullScaleFactors {
    static constexpr float kFull = kFullScale<Sample>;
    /// v / full is v * kMost, which is exact, + v * kRest.
    static constexpr float kMost = 1 / (kFull + 1);
    static constexpr float kRest = static_cast<float>(1 / (kFull * (kFull + 1.0)));
    /// v * v / full * 4 has the whole part of v * v * kSteepness, full scale being the most.
    static constexpr float kSteepness = 4 / kFull;
};

/// The work of soften.cpp that has a vector form.
template <class Sample>
struct SoftenRows {
    /// Softens a row of the matte, given the window sums of the matte's inverse.
    void (*soften)(const WindowSums<std::uint32_t>& sums, const Softening& softening, Sample* matte,
                   int width);
};

/// The vector form in use, or null when the plain one is.
template <class Sample>
const SoftenRows<Sample>* SimdSoftenRows();

}  // namespace veltrane

#endif
