#ifndef VELTRANE_IMAGING_RESAMPLE_PLANE_ENLARGER_H
#define VELTRANE_IMAGING_RESAMPLE_PLANE_ENLARGER_H

#include <cstdint>

#include "imaging/aligned_buffer.h"
#include "imaging/resample/planar_row.h"
#include "imaging/resample/resample_rows.h"

namespace veltrane {

/// Enlarges an 8-bit frame whose target samples each mix at most two source samples in either
/// direction. What is filtered along the rows then stays a byte, so planes of bytes do.
class PlaneEnlarger {
public:
    static bool Fits(const ResampleAxis& across, const ResampleAxis& down) {
        return StretchAxis::Fits(across) && StretchAxis::Fits(down);
    }

    /// The source and the axes must stay.
    PlaneEnlarger(const std::uint8_t* source, int width, std::ptrdiff_t pitch,
                  const ResampleAxis& across, const StretchAxis& stretch, const ResampleAxis& down,
                  int firstRow);

    /// The next target row, from the first one down, valid until the next call.
    PlanarRow Next();

private:
    const std::uint8_t* Stretched(int y) const { return ring_.data() + y % 2 * RowSize(); }
    std::size_t RowSize() const { return ring_.size() / 2; }
    void StretchMore();

    const std::uint8_t* source_;
    std::size_t width_;
    std::ptrdiff_t pitch_;
    const ResampleAxis& across_;
    const ResampleAxis& down_;
    const StretchAxis& stretch_;
    const EnlargeRows& rows_;
    std::size_t planePitch_;
    AlignedBuffer<std::uint8_t> planes_;  ///< of the source row that is stretched next
    AlignedBuffer<std::uint8_t> ring_;    ///< the last two stretched rows
    AlignedBuffer<std::uint8_t> row_;
    int targetRow_;
    int stretchedRows_;
};

}  // namespace veltrane

#endif
