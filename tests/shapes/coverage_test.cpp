#include "shapes/coverage.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <numeric>

#include "tests/imaging/frames.h"

namespace veltrane::shapes {
namespace {

constexpr int kWidth = 40, kHeight = 30;

/// The part of a polygon on the inner side of a line through x or y; where it is not convex, what
/// runs along the line to and fro has no area.
Contour Half(const Contour& ring, bool byX, double border, double sign) {
    Contour kept;
    const auto side = [&](Point p) { return sign * ((byX ? p.x : p.y) - border); };
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const Point a = ring[i], b = ring[(i + 1) % ring.size()];
        if (side(a) >= 0) kept.push_back(a);
        if (side(a) * side(b) >= 0) continue;
        const double at = side(a) / (side(a) - side(b));
        kept.push_back({a.x + (b.x - a.x) * at, a.y + (b.y - a.y) * at});
    }
    return kept;
}

/// A pixel's coverage by cutting polygons down to it; the direction in which they run tells a hole.
double AreaWithin(const std::vector<Contour>& rings, int x, int y) {
    double twice = 0;
    for (const Contour& whole : rings) {
        const Contour ring = Half(Half(Half(Half(whole, true, x, 1), true, x + 1, -1), false, y, 1),
                                  false, y + 1, -1);
        for (std::size_t i = 0; i < ring.size(); ++i) {
            const Point a = ring[i], b = ring[(i + 1) % ring.size()];
            twice += a.x * b.y - b.x * a.y;
        }
    }
    return std::abs(twice) / 2;
}

void ExpectAreas(const std::vector<Contour>& drawn, const std::vector<Contour>& rings,
                 double bound) {
    const Levels levels = Coverage(drawn, kWidth, kHeight);
    for (int i = 0; i < kWidth * kHeight; ++i)
        ASSERT_NEAR(levels[i], AreaWithin(rings, i % kWidth, i / kWidth) * 65535, bound)
            << i % kWidth << ", " << i / kWidth;
}

Contour RandomTriangle(testing::Random& random, int reach) {
    Contour ring;
    for (int i = 0; i < 3; ++i) {
        const auto any = [&](int side) {
            return random(-reach * 256, (side + reach) * 256) / 256.0;
        };
        const double x = any(kWidth);
        ring.push_back({x, any(kHeight)});
    }
    return ring;
}

TEST(Coverage, IsTheAreaWithinEveryPixel) {
    testing::Random random(5);
    for (int n = 0; n < 300; ++n) {
        const Contour ring = RandomTriangle(random, n % 3 == 0 ? 900 : 10);
        ExpectAreas({ring}, {ring}, 1.1);
    }
}

TEST(Coverage, JoinsWithoutSeamsAndCutsHolesByDirection) {
    testing::Random random(6);
    for (int n = 0; n < 100; ++n) {
        const Contour a = RandomTriangle(random, 5);
        const Point far{a[0].x + a[1].x - a[2].x, a[0].y + a[1].y - a[2].y};
        // Two triangles on either side of a line are the four-sided one.
        const Levels both = Coverage({a, {a[1], a[0], far}}, kWidth, kHeight);
        const Levels whole = Coverage({{a[1], a[2], a[0], far}}, kWidth, kHeight);
        for (std::size_t i = 0; i < both.size(); ++i) ASSERT_NEAR(both[i], whole[i], 1) << n;
        EXPECT_EQ(Coverage({a, {a[2], a[1], a[0]}}, kWidth, kHeight), Levels(both.size())) << n;
    }
}

/// So many points of every curve of an outline of M, C, L and Z.
std::vector<Contour> Dense(const Outline& outline) {
    constexpr int kPoints = 2000;
    std::vector<Contour> rings;
    const Point* p = outline.points.data();
    for (const char step : outline.steps) {
        if (step == 'M') rings.emplace_back();
        if (step == 'M' || step == 'L') rings.back().push_back(*p++);
        if (step != 'C') continue;
        const Point start = rings.back().back();
        for (int i = 1; i <= kPoints; ++i) {
            const double t = double(i) / kPoints, s = 1 - t;
            const double w[] = {s * s * s, 3 * s * s * t, 3 * s * t * t, t * t * t};
            rings.back().push_back(
                {w[0] * start.x + w[1] * p[0].x + w[2] * p[1].x + w[3] * p[2].x,
                 w[0] * start.y + w[1] * p[0].y + w[2] * p[1].y + w[3] * p[2].y});
        }
        p += 3;
    }
    return rings;
}

TEST(Coverage, OfCurvesIsThatOfThousandsOfLines) {
    for (const char* path :
         {"M3 4 C 40 -10 45 35 20 28 C 5 25 -8 12 3 4 Z", "M2.5 3.25 L 37 9 V 26 H 8 Z",
          "M20 2 C 10 2 2 8 2 15 C 2 22 10 28 20 28 C 30 28 38 22 38 15 C 38 8 30 2 20 2 Z"
          "M20 8 C 26 8 30 11 30 15 C 30 19 26 22 20 22 C 14 22 10 19 10 15 C 10 11 14 8 20 8 Z"}) {
        const Outline outline = ParsePath(path);
        ExpectAreas(Flattened(outline), Dense(outline), 80);
    }
}

double Total(const Levels& levels) {
    return std::accumulate(levels.begin(), levels.end(), 0.0) / 65535;
}

TEST(Outlines, OfEllipsesAndQuadraticsHaveTheirArea) {
    const Outline ellipse{"E", {{20, 15}, {17.5, 12.25}}};
    const double area = std::numbers::pi * 17.5 * 12.25;
    EXPECT_NEAR(Total(Coverage(Flattened(ellipse), kWidth, kHeight)), area, area * 1e-4);
    // A parabola's cap is two thirds of its box.
    const Outline cap = ParsePath("M4 25 Q 20 -15 36 25 Z");
    EXPECT_NEAR(Total(Coverage(Flattened(cap), kWidth, kHeight)), 32 * 20 * 2 / 3.0, 0.05);
}

TEST(Feathers, SpreadAnEdgeEvenlyAndKeepWhatIsWithin) {
    Levels edge(100);
    std::fill(edge.begin() + 50, edge.end(), 65535);
    for (const double pixels : {0.0, 1.5, 9.0, 30.0}) {
        Levels soft = edge;
        Feather(soft, 100, 1, pixels);
        for (int x = 0; x < 50; ++x) {
            EXPECT_NEAR(soft[x] + soft[99 - x], 65535, 4) << x;
            EXPECT_LE(soft[x], soft[x + 1]);
        }
        const int reach = FeatherReach(pixels);
        EXPECT_LE(reach, pixels / 2 + 3);
        EXPECT_EQ(soft[49 - reach], 0) << pixels;
        EXPECT_EQ(soft[49] > 0, pixels > 0) << pixels;
        EXPECT_EQ(soft[50 + reach], 65535) << pixels;
    }
}

// The bits are the same on every machine.
TEST(Coverage, OfADrawingHasTheBitsOfBefore) {
    const Outline outline = ParsePath("M3.1 4.7 C 40 -10 45 35 20.3 28 Q -8 12 3.1 4.7 Z");
    Levels levels = Coverage(Flattened(outline), kWidth, kHeight);
    Levels more = Coverage(Flattened({"E", {{11.1, 9.3}, {21.7, 3.9}}}), kWidth, kHeight);
    Feather(more, kWidth, kHeight, 7.3);
    Unite(more.data(), levels.data(), kWidth * kHeight);
    std::uint64_t hash = 14695981039346656037u;
    for (const std::uint16_t level : levels) hash = (hash ^ level) * 1099511628211u;
    EXPECT_EQ(hash, 8717850135065102750u);
}

}  // namespace
}  // namespace veltrane::shapes
