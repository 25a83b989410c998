#ifndef VELTRANE_IMAGING_MATTE_MATTE_PLANE_ROWS_H
#define VELTRANE_IMAGING_MATTE_MATTE_PLANE_ROWS_H

namespace veltrane {

/// The work of matte_plane.cpp that has a vector form.
template <class Sample>
struct MattePlaneRows {
    /// Contracts a row between two others; its first and last sample are not written. out is none
    /// of the three, and the threshold lies within the scale.
    using Contract = void (*)(const Sample* above, const Sample* row, const Sample* below,
                              Sample* out, int width, int threshold);

    Contract cross;
    Contract square;
    void (*take)(const Sample* row, Sample* matte, int width);
    void (*put)(const Sample* matte, Sample* row, int width);
};

/// The vector form in use, or null when the plain one is.
template <class Sample>
const MattePlaneRows<Sample>* SimdMattePlaneRows();

}  // namespace veltrane

#endif
