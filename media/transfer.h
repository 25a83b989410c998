#ifndef VELTRANE_MEDIA_TRANSFER_H
#define VELTRANE_MEDIA_TRANSFER_H

#include <array>
#include <cstdint>
#include <vector>

#include "media/media.h"

namespace veltrane::media {

/// The piecewise sRGB curve, 0..1 to 0..1.
double SrgbFromLinear(double linear);
double LinearFromSrgb(double encoded);

/// A stored float of any size under one transfer as it is stored under another. Beyond 0..1 the
/// curve goes on, and negative values mirror positive ones.
float Converted(float value, Transfer from, Transfer to);

/// Conversion between stored float values and working 16-bit values. Converting a working value to
/// a float and back gives the value itself.
class TransferCurve {
public:
    /// transfer is Linear or None.
    static const TransferCurve& For(Transfer transfer);

    std::uint16_t ToWorking(float stored) const;
    float ToStored(std::uint16_t working) const { return stored_[working]; }

private:
    explicit TransferCurve(bool linear);

    std::vector<float> stored_;     ///< the stored value of each working value
    std::vector<float> threshold_;  ///< the least stored value that converts to each working value
    std::vector<std::uint16_t> first_;  ///< by leading bits of a float, where to begin the search
};

/// For 16-bit files and videos: all 65536 stored values as working values, and the reverse.
const std::vector<std::uint16_t>& LinearToWorkingTable();
const std::vector<std::uint16_t>& WorkingToLinearTable();

}  // namespace veltrane::media

#endif
