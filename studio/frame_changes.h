#ifndef VELTRANE_STUDIO_FRAME_CHANGES_H
#define VELTRANE_STUDIO_FRAME_CHANGES_H

#include <cstdint>
#include <optional>

#include "imaging/threads.h"
#include "studio/http.h"

namespace veltrane::studio {

/// What of a frame of red, green, blue and alpha differs from one of the same size, which a page
/// holds; nothing where that is little less than the frame itself. In little-endian integers:
/// - three of 32 bits: how many blocks, alphas and colours follow;
/// - three of 32 bits for each block in which something differs: its number, a bit for each pixel
///   with another alpha, and one for each with another colour, the leftmost pixel's the lowest. A
///   block is 32 pixels beside each other; they are numbered from the top left, and each row begins
///   with a new one;
/// - these pixels' alphas, of 16 bits;
/// - these pixels' colours: red, green and blue of 16 bits.
std::optional<Bytes> CodeChanges(const std::uint16_t* before, const std::uint16_t* after, int width,
                                 int height, const Threads& threads);

}  // namespace veltrane::studio

#endif
