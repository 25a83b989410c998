#ifndef VELTRANE_MEDIA_TRANSFER_H
#define VELTRANE_MEDIA_TRANSFER_H

#include <cstdint>
#include <vector>

#include "imaging/convert/light_curve.h"
#include "media/media.h"

namespace veltrane::media {

/// A stored float of any size under one transfer as it is stored under another. Beyond 0..1 the
/// curve goes on, and negative values mirror positive ones.
float Converted(float value, Transfer from, Transfer to);

/// Conversion between stored float values and working 16-bit values.
class TransferCurve : public LightCurve {
public:
    /// transfer is Linear or None.
    static const TransferCurve& For(Transfer transfer);

private:
    using LightCurve::LightCurve;
};

/// For 16-bit files and videos: all 65536 stored values as working values, and the reverse.
const std::vector<std::uint16_t>& LinearToWorkingTable();
const std::vector<std::uint16_t>& WorkingToLinearTable();

}  // namespace veltrane::media

#endif
