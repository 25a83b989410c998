#ifndef VELTRANE_SETTINGS_PLATE_SHADE_H
#define VELTRANE_SETTINGS_PLATE_SHADE_H

#include <cstdint>
#include <optional>
#include <vector>

#include "settings/settings.h"

namespace veltrane {

/// How the light on a set differs between a shot and its plate, smoothly over the frame: by the
/// camera's exposure, and by the wide shade of whoever stands before it.
class PlateShade {
public:
    /// Compares a shot with a plate of the same size, both of 16 bits (blue, green, red, alpha,
    /// packed), where both look like the screen of this colour. Nothing where too little of the
    /// screen is seen.
    static std::optional<PlateShade> Between(int width, int height, const std::uint16_t* shot,
                                             const std::uint16_t* plate, const Color& keyColor);

    /// Brings row y of the plate to the shot, to the nearest values.
    void Correct(int y, const std::uint16_t* plate, std::uint16_t* corrected) const;

private:
    PlateShade(int width, int side, int across, int down);

    int width_;  ///< of the frame
    int side_;   ///< of a cell, in pixels
    int across_;
    int down_;
    std::vector<Color> gains_;  ///< of the cells, shot by plate
};

}  // namespace veltrane

#endif
