#ifndef VELTRANE_MEDIA_PIXELS_H
#define VELTRANE_MEDIA_PIXELS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "media/media.h"

namespace veltrane::media {

/// How a stored picture is turned to be shown: first transposed, then mirrored.
struct Turn {
    bool transposed = false;
    bool mirroredX = false;  ///< left and right exchanged, as shown
    bool mirroredY = false;

    /// From an EXIF or TIFF orientation, 1..8; other values turn nothing.
    static Turn FromOrientation(int orientation);
    /// From the nine numbers of a video's display matrix; one that is not made of quarter turns
    /// and mirrors turns nothing.
    static Turn FromDisplayMatrix(const std::int32_t* matrix);
};

/// Where the pixels of a stored picture go in the shown one.
struct Placement {
    /// width and height are those stored.
    Placement(const Turn& turn, int width, int height);

    /// The index of the shown pixel, in packed rows.
    std::size_t Index(int x, int y) const {
        return static_cast<std::size_t>(origin + x * stepX + y * stepY);
    }

    int width;  ///< as shown
    int height;
    std::ptrdiff_t origin;
    std::ptrdiff_t stepX;
    std::ptrdiff_t stepY;
};

/// Colour divided or multiplied by alpha, as PixelReader and PixelWriter do it.
void Unpremultiply(Pixels& pixels);
void Premultiply(Pixels& pixels);
/// Applies a table of 65536 values to blue, green and red.
void ApplyToColour(const std::vector<std::uint16_t>& table, Pixels& pixels);

/// The pixels as a 16-bit file stores them, in the order blue, green, red, alpha: by the curve's
/// inverse where they are stored scene-linear, multiplied by alpha where premultiplied. They are
/// the frame's own, or lie in room where they differ.
const Pixels& StoredPixels(const Frame& frame, Transfer transfer, bool premultiplied, Pixels& room);

}  // namespace veltrane::media

#endif
