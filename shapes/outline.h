#ifndef VELTRANE_SHAPES_OUTLINE_H
#define VELTRANE_SHAPES_OUTLINE_H

#include <string>
#include <string_view>
#include <vector>

namespace veltrane::shapes {

/// In pixels from the upper left corner of the frame.
struct Point {
    double x;
    double y;
};

/// A ring of straight lines, its last point joined to the first.
using Contour = std::vector<Point>;

/// What bounds a shape, as it was drawn: a letter a step, and the points that the steps use up. M
/// begins a ring, L is a line, Q and C are curves, Z closes; E is an ellipse by centre and radii.
struct Outline {
    std::string steps;
    std::vector<Point> points;

    /// Whether points can be moved from those of one to those of the other.
    bool Matches(const Outline& other) const {
        return steps == other.steps && points.size() == other.points.size();
    }
};

/// Coordinates lie within this many pixels of 0, either way.
inline constexpr double kFarthest = 100000;

/// Reads numbers parted by blanks or commas. Throws std::invalid_argument, with what is wrong.
std::vector<double> ParseNumbers(std::string_view text);

/// Reads a path of M, L, H, V, C, Q and Z. Throws std::invalid_argument, with what is wrong.
Outline ParsePath(std::string_view text);

/// Moves every point straight from a to b, of which it is told that they match; at 0 it is in a.
Outline Between(const Outline& a, const Outline& b, double at);

/// The same area bounded by lines that leave a curve by at most a thousandth of a pixel. Throws
/// std::length_error where that takes more than a million.
std::vector<Contour> Flattened(const Outline& outline);

}  // namespace veltrane::shapes

#endif
