#ifndef VELTRANE_SETTINGS_SCREEN_COLOR_H
#define VELTRANE_SETTINGS_SCREEN_COLOR_H

#include <cstdint>
#include <optional>

#include "settings/settings.h"

namespace veltrane {

struct ScreenColor {
    Color color;      ///< in steps of 1/255
    double coverage;  ///< part of the frame that shows it, 0..1
    Screen screen;
};

/// Finds the screen's typical colour, as its less lit parts show it, in a 16-bit frame (blue,
/// green, red, alpha, packed), or nothing when the frame holds no such screen. Without a kind it is
/// the one of the two that more of the frame shows.
std::optional<ScreenColor> FindScreenColor(int width, int height, const std::uint16_t* frame,
                                           std::optional<Screen> kind = std::nullopt);

/// The screen that a key colour belongs to, by its hue; nothing for what is next to grey or far
/// from both.
std::optional<Screen> ScreenOf(const Color& color);

/// The mean colour of the square of side pixels around (x, y), cut off at the frame's borders.
/// Throws std::invalid_argument when the point lies outside the frame.
Color AverageColor(int width, int height, const std::uint16_t* frame, int x, int y, int side);

}  // namespace veltrane

#endif
