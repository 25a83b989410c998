#ifndef VELTRANE_IMAGING_CONVERT_FLOAT_FRAME_ROWS_H
#define VELTRANE_IMAGING_CONVERT_FLOAT_FRAME_ROWS_H

#include "imaging/convert/float_frame.h"

namespace veltrane {

/// The conversions of float_frame.h that have a vector form.
struct FloatFrameRows {
    void (*toFrame)(const float* pixels, FloatLayout layout, FloatRounding rounding, bool opaque,
                    std::uint16_t* row, int width);
    void (*toFloat)(const std::uint16_t* row, FloatLayout layout, float* pixels, int width);
};

/// The vector form in use, or null when the plain one is.
const FloatFrameRows* SimdFloatFrameRows();

}  // namespace veltrane

#endif
