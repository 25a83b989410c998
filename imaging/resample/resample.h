#ifndef VELTRANE_IMAGING_RESAMPLE_RESAMPLE_H
#define VELTRANE_IMAGING_RESAMPLE_RESAMPLE_H

#include <memory>
#include <optional>

#include "imaging/frame_rows.h"
#include "imaging/resample/planar_row.h"
#include "imaging/resample/resample_rows.h"
#include "imaging/threads.h"

namespace veltrane {

/// Reduces a frame to 8 bits and another size, packed: the bits of DF_WH64bitTo32bit5_1 or
/// DF_WH32bit5_1 with kernel type 0. All sizes are at least 1. Each thread asks for the rows that
/// it needs once, downwards. Throws std::bad_alloc.
template <class Sample>
void ShrinkRows(const RowSource<Sample>& rows, int width, int height, unsigned char* target,
                int targetWidth, int targetHeight, int lobes, const Threads& threads = {});

/// How the colours of an 8-bit frame are enlarged: exactly to the bytes of DF_WH32bit5_1. Any two
/// sizes of at least 1 x 1 will do. The source must stay.
struct Enlargement {
    Enlargement(const unsigned char* pixels, int sourceWidth, int sourceHeight, int sourcePitch,
                int targetWidth, int targetHeight, int kernelType, int lobes);

    const unsigned char* source;
    int width;
    int height;
    int pitch;
    ResampleAxis across;
    ResampleAxis down;
    std::optional<StretchAxis> stretch;  ///< where planes of bytes can be enlarged
};

/// Makes the rows of an enlargement, so that nobody has to hold the large frame. Where memory runs
/// out, the constructor throws std::bad_alloc; Next allocates nothing.
class RowEnlarger {
public:
    /// The enlargement must stay.
    RowEnlarger(const Enlargement& enlargement, int firstRow);
    RowEnlarger(RowEnlarger&&) noexcept;
    ~RowEnlarger();

    /// The next target row, from the first one down: three planes of bytes, valid until the next
    /// call.
    PlanarRow Next();

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace veltrane

#endif
