#ifndef VELTRANE_IMAGING_RESAMPLE_H
#define VELTRANE_IMAGING_RESAMPLE_H

#include <memory>

#include "imaging/frame_rows.h"
#include "imaging/planar_row.h"

namespace veltrane {

/// Reduces a frame to 8 bits and another size: the bits of DF_WH64bitTo32bit5_1 or DF_WH32bit5_1
/// with kernel type 0. Asks for every row once at the most, from the top. Throws std::bad_alloc.
template <class Sample>
void ShrinkRows(const FrameRows<Sample>& rows, int width, int height, unsigned char* target,
                int targetWidth, int targetHeight, int targetPitch, int lobes);

/// Enlarges the colours of an 8-bit frame row by row, so that nobody has to hold the large frame.
/// Gives exactly the bytes of DF_WH32bit5_1; any two sizes of at least 1 x 1 will do. The source is
/// read while rows are made and must stay. Where memory runs out, the constructor throws
/// std::bad_alloc; Next allocates nothing.
class RowEnlarger {
public:
    RowEnlarger(const unsigned char* source, int sourceWidth, int sourceHeight, int sourcePitch,
                int targetWidth, int targetHeight, int kernelType, int lobes);
    RowEnlarger(RowEnlarger&&) noexcept;
    ~RowEnlarger();

    /// The next target row, from the top, targetHeight times in all: three planes of targetWidth
    /// bytes, valid until the next call.
    PlanarRow Next();

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace veltrane

#endif
