#include "Maths/Geometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>

namespace
{

using Plane = Core::Geometry<double, Core::Maths::Vector2>;
using Space = Core::Geometry<double, Core::Maths::Vector3>;
using V2 = Core::Maths::Vector2<double>;
using V3 = Core::Maths::Vector3<double>;

// Both sides of a scalar product, and division, keep the vector type: an
// operator template deducing the scalar's type would narrow or widen results.
static_assert(std::is_same_v<V2, decltype(2.0 * V2() / 2.0)>);
static_assert(std::is_same_v<Core::Maths::Vector3<float>, decltype(Core::Maths::Vector3<float>() * 2.0f)>);

void ExpectNear(const V2& expected, const V2& actual)
{
    EXPECT_NEAR(0.0, (expected - actual).Length(), 1e-12) << actual.x << ", " << actual.y;
}

TEST(GeometryIntersection, SegmentsAndLinesAtTheirThresholds)
{
    const struct { const char* what; V2 P0, P1, Q0, Q1; bool onBoth; V2 point; } cases[] = {
        {"meeting end to end", {0, 0}, {1, 0}, {1, 0}, {1, 1}, true, {1, 0}},
        {"lines cross beyond the first segment", {0, 0}, {1, 0}, {3, -1}, {3, 1}, false, {3, 0}},
        {"lines cross before the second segment", {0, 0}, {4, 0}, {2, 1}, {2, 3}, false, {2, 0}},
        {"overlapping parallels", {0, 0}, {2, 0}, {1, 0}, {3, 0}, false, {0, 0}},
        // Direction cross product 2 * 0.04e-6 = 0.8e-07: taken as parallel.
        {"nearly parallel", {0, 0}, {1, 0}, {-0.5, -0.04e-6}, {1.5, 0.04e-6}, false, {0, 0}},
        // 2 * 0.06e-6 = 1.2e-07: a genuine crossing at x = 0.5.
        {"shallow crossing", {0, 0}, {1, 0}, {-0.5, -0.06e-6}, {1.5, 0.06e-6}, true, {0.5, 0}},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.what);
        V2 out(-9, -9);
        EXPECT_EQ(c.onBoth, Plane::Intersection(c.P0, c.P1, c.Q0, c.Q1, out));
        ExpectNear(c.point, out);
    }
    // In space only x and y decide, and the height is interpolated along the first segment.
    V3 out;
    EXPECT_TRUE(Space::Intersection(V3(0, 0, 0), V3(2, 2, 10), V3(0, 2, -5), V3(2, 0, -5), out));
    EXPECT_EQ(V3(1, 1, 5), out);
}

TEST(GeometryProjection, ParameterIsUnclampedAndUsesTheVectorsComponents)
{
    EXPECT_DOUBLE_EQ(-0.5, Plane::DistanceAlongLine(V2(0, 0), V2(2, 0), V2(-1, 5)));
    // A vertical line has no ground extent: only the space form sees it.
    EXPECT_DOUBLE_EQ(0.5, Space::DistanceAlongLine(V3(0, 0, 0), V3(0, 0, 2), V3(1, 1, 1)));
    double t = 0;
    V3 foot;
    EXPECT_DOUBLE_EQ(5.0, Space::DistanceToLine(V3(0, 0, 0), V3(1, 0, 0), V3(5, 3, 4), t, foot));
    EXPECT_EQ(V3(5, 0, 0), foot) << "the foot lies beyond P1: the line is infinite";
}

TEST(GeometryCorners, SidesBisectorsAndRadii)
{
    EXPECT_TRUE(Plane::IsLeftSide(V2(0, 0), V2(1, 0), V2(0.5, 1)) && !Plane::IsLeftSide(V2(0, 0), V2(1, 0), V2(5, 0)))
        << "the line itself is not left";
    ExpectNear(V2(-0.8, 0.6), Plane::Perpendicular(V2(3, 4)));

    const double h = std::sqrt(0.5);
    ExpectNear(V2(h, -h), Plane::Bisector(V2(0, 0), V2(1, 0), V2(1, 1)));   // left turn: points right
    ExpectNear(V2(0, -1), Plane::Bisector(V2(0, 0), V2(-1, 0), V2(-3, 0))); // straight: the left perpendicular
    ExpectNear(V2(1, 0), Plane::Bisector(V2(0, 0), V2(1, 0), V2(0, 0)));    // a hairpin points on ahead

    EXPECT_NEAR(5.0, Plane::Radius(V2(7, 3), V2(5, 7), V2(6, 6)), 1e-9) << "the circumradius, also at an acute corner";
    EXPECT_EQ(INFINITY, Plane::Radius(V2(0, 0), V2(1, 0), V2(3, 0)));
    EXPECT_TRUE(std::isnan(Plane::Radius(V2(1, 1), V2(1, 1), V2(3, 0))));
}

TEST(BoundingBoxes, StartInvertedAndGrowPerAxis)
{
    Core::BoundingBox<double, Core::Maths::Vector3> box;
    EXPECT_EQ(V3(INFINITY, INFINITY, INFINITY), box.GetMin());
    EXPECT_EQ(V3(-INFINITY, -INFINITY, -INFINITY), box.GetMax());
    for (const V3& p : {V3(1, -2, 3), V3(-1, 5, 3), V3(0, 0, -7)})
        box.AddPoint(p);
    EXPECT_EQ(V3(-1, -2, -7), box.GetMin());
    EXPECT_EQ(V3(1, 5, 3), box.GetMax());
}

} // namespace
