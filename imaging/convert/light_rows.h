#ifndef VELTRANE_IMAGING_CONVERT_LIGHT_ROWS_H
#define VELTRANE_IMAGING_CONVERT_LIGHT_ROWS_H

#include <cstddef>
#include <cstdint>

namespace veltrane {

/// What a LightCurve knows of floats from kSmallest to below 1.
struct LightTables {
    // A bucket holds the floats that agree in sign, exponent and 11 bits of the mantissa; within
    // one the sample grows by few steps, at about the same distances.
    static constexpr int kBucketShift = 12;
    // Below this every float is sample 0: half a step is 7.6e-6, on the linear scale 5.9e-7.
    static constexpr float kSmallest = 0x1p-22f;

    /// Of each bucket from kSmallest's on, its least float's sample in the low 16 bits, and above
    /// them how many steps it is to that of the next one.
    const std::uint32_t* buckets;
    /// The least float of each sample, and one that none reaches.
    const float* thresholds;
};

/// One form of the function that finds the samples of a row of floats.
struct LightRows {
    void (*toWorking)(const LightTables& tables, const float* stored, std::ptrdiff_t count,
                      std::uint16_t* samples);
};

/// The vector form in use, or null when the plain one is.
const LightRows* SimdLightRows();

}  // namespace veltrane

#endif
