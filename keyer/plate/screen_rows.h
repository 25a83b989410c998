#ifndef VELTRANE_KEYER_PLATE_SCREEN_ROWS_H
#define VELTRANE_KEYER_PLATE_SCREEN_ROWS_H

#include <cstdint>

namespace veltrane {

/// What bare screen looks like.
struct ScreenLook {
    static constexpr int kLumaSteps = 256;

    /// Its hues lie below both of these lines through the origin of the chroma plane, or of its
    /// mirror image.
    float skinSlope;
    float neighbourSlope;
    float turn;  ///< of ScreenKind: -1 for the mirror image, in which Q has the other sign
    std::int32_t i[kLumaSteps];  ///< the expected colour differences at every luma
    std::int32_t q[kLumaSteps];
    std::int32_t squaredDistance;  ///< greatest from the expected chroma
};

struct ScreenRows {
    /// Empties the pixels of a row that do not show the screen. marks receives 255 for those of a
    /// screen-like hue, else 0.
    void (*extract)(const ScreenLook& look, std::uint8_t* pixels, std::uint8_t* marks, int width);
};

/// The vector form in use, or null when the plain one is.
const ScreenRows* SimdScreenRows();

}  // namespace veltrane

#endif
