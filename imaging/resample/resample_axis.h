#ifndef VELTRANE_IMAGING_RESAMPLE_RESAMPLE_AXIS_H
#define VELTRANE_IMAGING_RESAMPLE_RESAMPLE_AXIS_H

#include <cstdint>
#include <vector>

namespace veltrane {

/// The source samples that make one target sample.
struct Taps {
    int first = 0;  ///< 0-based
    int count = 0;
    std::uint32_t weights = 0;  ///< index of the first weight
};

/// The filter of one axis: for every target sample its taps, with weights in 16 fractional bits.
struct ResampleAxis {
    ResampleAxis(int sourceSize, int targetSize, int kernelType, int lobes);

    const std::int32_t* Weights(const Taps& t) const { return weights.data() + t.weights; }
    /// Greatest magnitude that a filtered sample of 0..255 can have.
    std::int64_t Reach() const;

    std::vector<Taps> taps;
    std::vector<std::int32_t> weights;  ///< neighbours with the same weights share them
    int longest = 0;                    ///< most taps of a target sample

private:
    void AppendNormalised(const std::vector<float>& kernel);
};

}  // namespace veltrane

#endif
