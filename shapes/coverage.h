#ifndef VELTRANE_SHAPES_COVERAGE_H
#define VELTRANE_SHAPES_COVERAGE_H

#include <cstdint>
#include <vector>

#include "shapes/outline.h"

namespace veltrane::shapes {

/// One level a pixel, in packed rows.
using Levels = std::vector<std::uint16_t>;

/// How much of each pixel lies within the contours, to one 65535th: areas are summed in whole
/// numbers from points on a grid of 65536ths of a pixel, so that every machine gives the same bits.
/// What winds around a point in either direction is within, what cancels out is not.
Levels Coverage(const std::vector<Contour>& contours, int width, int height);

/// Softens levels in place so that a straight edge becomes a smooth ramp over so many pixels more,
/// half of them on either side; 0 changes nothing. In whole numbers too.
void Feather(Levels& levels, int width, int height, double pixels);

/// How many pixels away from an edge that changes something.
int FeatherReach(double pixels);

/// Paints levels over so many others, as opaque paint would cover them: 1 - (1 - a)(1 - b).
void Unite(const std::uint16_t* levels, std::uint16_t* onto, int count);

}  // namespace veltrane::shapes

#endif
