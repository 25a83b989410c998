#ifndef VELTRANE_IMAGING_RESAMPLE_PLANAR_ROW_H
#define VELTRANE_IMAGING_RESAMPLE_PLANAR_ROW_H

namespace veltrane {

/// The colours of a row of 8-bit pixels, a plane each.
struct PlanarRow {
    const unsigned char* blue;
    const unsigned char* green;
    const unsigned char* red;
};

}  // namespace veltrane

#endif
