#ifndef VELTRANE_KEYER_PLATE_BACKGROUND_STAGES_H
#define VELTRANE_KEYER_PLATE_BACKGROUND_STAGES_H

#include <cstddef>

#include "imaging/sample.h"
#include "keyer/screen_kind.h"

namespace veltrane {

/// The reduced frame that becomes the plate: blue, green, red and an element without meaning.
struct ReducedImage {
    unsigned char* data;
    int width;
    int height;
    int pitch;  ///< bytes

    unsigned char* Row(int y) const { return data + static_cast<std::ptrdiff_t>(y) * pitch; }
    unsigned char* Pixel(int x, int y) const {
        return Row(y) + static_cast<std::ptrdiff_t>(x) * kElements;
    }
};

/// A key colour on the 8-bit scale.
struct ByteKey {
    unsigned char red;
    unsigned char green;
    unsigned char blue;
};

/// Empties the pixels that do not show the screen. map is that of CVELTRANE::ExtractBack32bit.
void ExtractScreen(Screen screen, const ReducedImage& image, unsigned char* map, const ByteKey& key,
                   int skinHue, int neighbourHue);

/// Widens the empty areas by steps of 3 x 3.
void WidenEmpty(Screen screen, const ReducedImage& image, int steps);

}  // namespace veltrane

#endif
