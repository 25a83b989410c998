#ifndef VELTRANE_IMAGING_MATTE_MATTE_PLANE_ROWS_H
#define VELTRANE_IMAGING_MATTE_MATTE_PLANE_ROWS_H

namespace veltrane {

/// The work on rows of the matte.
template <class Sample>
struct MattePlaneRows {
    /// Contracts a row between two others; its first and last sample are not written. out is none
    /// of the three, and the threshold lies within the scale.
    using Contract = void (*)(const Sample* above, const Sample* row, const Sample* below,
                              Sample* out, int width, int threshold);

    Contract cross;
    Contract square;
    /// Copies the alphas of a row of width pixels to a row of the matte.
    void (*take)(const Sample* row, Sample* matte, int width);
    /// Copies a row of the matte over the alphas of a row of width pixels.
    void (*put)(const Sample* matte, Sample* row, int width);
};

/// The form in use; ask once a frame.
template <class Sample>
const MattePlaneRows<Sample>& MattePlaneRowsInUse();

/// The vector form in use, or null when the plain one is.
template <class Sample>
const MattePlaneRows<Sample>* SimdMattePlaneRows();

}  // namespace veltrane

#endif
