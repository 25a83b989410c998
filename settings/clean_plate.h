#ifndef VELTRANE_SETTINGS_CLEAN_PLATE_H
#define VELTRANE_SETTINGS_CLEAN_PLATE_H

#include <cstdint>
#include <optional>

#include "settings/settings.h"

namespace veltrane {

/// How a channel of the shot follows from that of its plate: shot = gain * plate + offset, on a
/// scale of 0..1.
struct ChannelFit {
    double gain = 1;
    double offset = 0;
};

struct PlateFit {
    ChannelFit red;
    ChannelFit green;
    ChannelFit blue;
};

/// The part, 0..1, of a 16-bit frame (blue, green, red, alpha, packed) that looks like the screen
/// of this colour: of its hue, not much paler, and of any brightness but black.
double ScreenShare(int width, int height, const std::uint16_t* frame, const Color& keyColor);

/// Compares a shot with a plate of the same size where both look like screen, which leaves the
/// subject and its shadows out. Nothing where too little of the screen is seen.
std::optional<PlateFit> FitPlate(int width, int height, const std::uint16_t* shot,
                                 const std::uint16_t* plate, const Color& keyColor);

/// Brings a row of the plate to the shot, to the nearest values.
void CorrectPlate(const PlateFit& fit, const std::uint16_t* plate, std::uint16_t* corrected,
                  std::ptrdiff_t width);

}  // namespace veltrane

#endif
