#ifndef VELTRANE_IMAGING_PITCH_ROW_PADDING_H
#define VELTRANE_IMAGING_PITCH_ROW_PADDING_H

#include <cstdint>

namespace veltrane {

/// Whether a frame that is said to have packed rows of 8-bit RGBA looks as though each row were
/// padded to a multiple of 8 or 16 pixels, as some programs hold theirs: pixels one below the other
/// are then far more alike. Nothing beyond width x height pixels is read.
bool SeemsPadded(const std::uint32_t* pixels, int width, int height);

}  // namespace veltrane

#endif
