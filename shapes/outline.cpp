#include "shapes/outline.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace veltrane::shapes {
namespace {

constexpr double kTolerance = 1.0 / 1024;  ///< pixels between a curve and its lines
constexpr std::size_t kMostPoints = 1000000;

Point Mix(Point a, Point b, double at) {
    return {a.x + (b.x - a.x) * at, a.y + (b.y - a.y) * at};
}

double Length(Point p) {
    return std::sqrt(p.x * p.x + p.y * p.y);
}

/// How far the middle one of three points lies from between its neighbours, twice.
double Bend(Point a, Point b, Point c) {
    return Length({a.x - 2 * b.x + c.x, a.y - 2 * b.y + c.y});
}

/// Steps of equal parameter, in which a curve whose second derivative is that large stays within
/// the tolerance of its chords.
int StepsFor(double secondDerivative) {
    return static_cast<int>(std::ceil(std::sqrt(secondDerivative / (8 * kTolerance)))) + 1;
}

/// Only operations that every machine rounds alike are used: no sine or power.
class Flattener {
public:
    std::vector<Contour> Flatten(const Outline& outline) {
        const Point* p = outline.points.data();
        for (const char step : outline.steps) {
            if (step == 'M') rings_.push_back({*p++});
            if (step == 'L') Add(*p++);
            if (step == 'Q') Quadratic(p), p += 2;
            if (step == 'C') Cubic(p), p += 3;
            if (step == 'E') Ellipse(p[0], p[1]), p += 2;
        }
        return std::move(rings_);
    }

private:
    void Add(Point p) {
        if (++count_ > kMostPoints) throw std::length_error("the shape has too many points");
        rings_.back().push_back(p);
    }

    void Quadratic(const Point* p) {
        const Point start = rings_.back().back();
        const int steps = StepsFor(2 * Bend(start, p[0], p[1]));
        for (int i = 1; i < steps; ++i) {
            const double at = static_cast<double>(i) / steps;
            Add(Mix(Mix(start, p[0], at), Mix(p[0], p[1], at), at));
        }
        Add(p[1]);
    }

    void Cubic(const Point* p) {
        const Point start = rings_.back().back();
        const double bend = std::max(Bend(start, p[0], p[1]), Bend(p[0], p[1], p[2]));
        const int steps = StepsFor(6 * bend);
        for (int i = 1; i < steps; ++i) {
            const double at = static_cast<double>(i) / steps;
            const Point a = Mix(start, p[0], at), b = Mix(p[0], p[1], at), c = Mix(p[1], p[2], at);
            Add(Mix(Mix(a, b, at), Mix(b, c, at), at));
        }
        Add(p[2]);
    }

    void Ellipse(Point centre, Point radii) {
        constexpr Point kQuarters[] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}, {1, 0}};
        rings_.emplace_back();
        int halvings = 0;
        double angle = 1.5708;
        for (const double radius = std::max(radii.x, radii.y);
             radius * angle * angle / 8 > kTolerance; angle /= 2)
            ++halvings;
        for (int i = 0; i < 4; ++i) Arc(centre, radii, kQuarters[i], kQuarters[i + 1], halvings);
    }

    /// The arc between two directions of length 1, without its end.
    void Arc(Point centre, Point radii, Point from, Point to, int halvings) {
        if (halvings == 0) return Add({centre.x + radii.x * from.x, centre.y + radii.y * from.y});
        const Point sum{from.x + to.x, from.y + to.y};
        const double length = Length(sum);
        const Point middle{sum.x / length, sum.y / length};
        Arc(centre, radii, from, middle, halvings - 1);
        Arc(centre, radii, middle, to, halvings - 1);
    }

    std::vector<Contour> rings_;
    std::size_t count_ = 0;
};

}  // namespace

Outline Between(const Outline& a, const Outline& b, double at) {
    Outline mixed = a;
    for (std::size_t i = 0; i < mixed.points.size(); ++i)
        mixed.points[i] = Mix(a.points[i], b.points[i], at);
    return mixed;
}

std::vector<Contour> Flattened(const Outline& outline) {
    return Flattener().Flatten(outline);
}

}  // namespace veltrane::shapes
