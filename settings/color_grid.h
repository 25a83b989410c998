#ifndef VELTRANE_SETTINGS_COLOR_GRID_H
#define VELTRANE_SETTINGS_COLOR_GRID_H

#include <cstdint>
#include <vector>

#include "keyer/settings.h"

namespace veltrane {

/// A frame as means over square cells, few enough to look at each one several times; averaging also
/// takes out grain.
struct ColorGrid {
    int width;
    int height;
    int side;  ///< of a cell, in pixels; the last ones may be cut off
    std::vector<Color> cells;
};

/// The mean of the pixels from left, top to right, bottom, less the last ones, of a 16-bit frame
/// (blue, green, red, alpha, packed).
Color MeanColor(int frameWidth, const std::uint16_t* frame, int left, int top, int right,
                int bottom);

/// The grid of such a frame, at most 256 cells a side.
ColorGrid Reduce(int width, int height, const std::uint16_t* frame);

/// Which cells look like the screen of the key colour: of its hue, not much paler, and of any
/// brightness but black.
std::vector<bool> ScreenCells(const ColorGrid& grid, const Color& keyColor);

/// The part of the cells, 0..1, that is marked.
double ShareOf(const std::vector<bool>& marked);

}  // namespace veltrane

#endif
