#ifndef VELTRANE_SETTINGS_PLATE_MATCH_H
#define VELTRANE_SETTINGS_PLATE_MATCH_H

#include <cstdint>

#include "settings/settings.h"

namespace veltrane {

/// What of every frame a given clean plate is brought to: nothing, its exposure, or its light all
/// over, by exposure and by the wide shade of the subject.
enum class PlateMatch { None, Exposure, Shade };

/// Brings a plate to a shot of the same size, both of 16 bits (blue, green, red, alpha, packed).
/// False where too little of the screen of this colour is seen in both; the plate then stays.
bool MatchPlate(PlateMatch match, int width, int height, const std::uint16_t* shot,
                std::uint16_t* plate, const Color& keyColor);

}  // namespace veltrane

#endif
