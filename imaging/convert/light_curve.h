#ifndef VELTRANE_IMAGING_CONVERT_LIGHT_CURVE_H
#define VELTRANE_IMAGING_CONVERT_LIGHT_CURVE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "imaging/convert/convert.h"
#include "imaging/convert/light_rows.h"

namespace veltrane {

/// The piecewise sRGB curve, 0..1 to 0..1.
double SrgbFromLinear(double linear);
double LinearFromSrgb(double encoded);

/// Conversion between stored floats and the 16-bit samples that are keyed. Converting a sample to a
/// float and back gives the sample itself.
class LightCurve {
public:
    explicit LightCurve(Light stored);
    /// The same, made once and for all.
    static const LightCurve& For(Light stored);

    std::uint16_t ToWorking(float stored) const;
    /// The same of a row.
    void ToWorking(const float* stored, std::ptrdiff_t count, std::uint16_t* samples) const;
    float ToStored(std::uint16_t working) const { return stored_[working]; }
    /// The stored values of all 65536 samples, as long as the curve lives.
    const float* StoredValues() const { return stored_.data(); }

private:
    LightTables Tables() const { return {buckets_.data(), threshold_.data()}; }

    std::vector<float> stored_;  ///< the stored value of each sample
    /// The least stored value that converts to each sample, and two that none reaches.
    std::vector<float> threshold_;
    std::vector<std::uint32_t> buckets_;  ///< of LightTables
};

}  // namespace veltrane

#endif
