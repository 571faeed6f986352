#include "Maths/Geometry.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using Plane = Core::Geometry<double, Core::Maths::Vector2>;
using Space = Core::Geometry<double, Core::Maths::Vector3>;
using V2 = Core::Maths::Vector2<double>;
using V3 = Core::Maths::Vector3<double>;

void ExpectNear(const V2& expected, const V2& actual)
{
    EXPECT_NEAR(expected.x, actual.x, 1e-12);
    EXPECT_NEAR(expected.y, actual.y, 1e-12);
}

TEST(GeometryIntersection, SegmentsAndLinesAtTheirThresholds)
{
    const struct
    {
        const char* what;
        V2 P0, P1, Q0, Q1;
        bool onBoth;
        V2 point;
    } cases[] = {
        {"crossing diagonals", {0, 0}, {2, 2}, {0, 2}, {2, 0}, true, {1, 1}},
        {"meeting end to end", {0, 0}, {1, 0}, {1, 0}, {1, 1}, true, {1, 0}},
        {"second starts on the first", {0, 0}, {2, 0}, {1, 0}, {1, 5}, true, {1, 0}},
        {"lines cross beyond the first segment", {0, 0}, {1, 0}, {3, -1}, {3, 1}, false, {3, 0}},
        {"lines cross before the second segment", {0, 0}, {4, 0}, {2, 1}, {2, 3}, false, {2, 0}},
        {"overlapping parallels", {0, 0}, {2, 0}, {1, 0}, {3, 0}, false, {0, 0}},
        {"distinct parallels", {5, 5}, {6, 6}, {5, 6}, {6, 7}, false, {0, 0}},
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
}

TEST(GeometryIntersection, SpaceDecidesOnTheGroundAndInterpolatesHeightAlongTheFirst)
{
    V3 out;
    // The second segment lies far below: only x and y decide.
    EXPECT_TRUE(Space::Intersection(V3(0, 0, 0), V3(2, 2, 10), V3(0, 2, -5), V3(2, 0, -5), out));
    EXPECT_DOUBLE_EQ(1.0, out.x);
    EXPECT_DOUBLE_EQ(1.0, out.y);
    EXPECT_DOUBLE_EQ(5.0, out.z);

    out = V3(7, 7, 7);
    EXPECT_FALSE(Space::Intersection(V3(0, 0, 1), V3(1, 0, 1), V3(0, 1, 3), V3(1, 1, 3), out));
    EXPECT_EQ(V3(0, 0, 0), out) << "parallel lines clear the height too";
}

TEST(GeometryProjection, ParameterIsUnclampedAndUsesTheVectorsComponents)
{
    EXPECT_DOUBLE_EQ(1.5, Plane::DistanceAlongLine(V2(0, 0), V2(2, 0), V2(3, 1)));
    EXPECT_DOUBLE_EQ(-0.5, Plane::DistanceAlongLine(V2(0, 0), V2(2, 0), V2(-1, 5)));
    // A vertical line has no ground extent: only the space form sees it.
    EXPECT_DOUBLE_EQ(0.5, Space::DistanceAlongLine(V3(0, 0, 0), V3(0, 0, 2), V3(1, 1, 1)));
    EXPECT_EQ(V3(1, 2, 6), Space::DistanceAlongLine(0.5, V3(0, 2, 4), V3(2, 2, 8)));

    double t = 0;
    V3 foot;
    // The foot lies beyond P1: the line is infinite.
    EXPECT_DOUBLE_EQ(5.0, Space::DistanceToLine(V3(0, 0, 0), V3(1, 0, 0), V3(5, 3, 4), t, foot));
    EXPECT_DOUBLE_EQ(5.0, t);
    EXPECT_EQ(V3(5, 0, 0), foot);
    EXPECT_DOUBLE_EQ(std::sqrt(2.0), Space::DistanceToLine(V3(0, 0, 0), V3(0, 0, 1), V3(1, 1, -3)));
}

TEST(GeometrySides, LeftIsCounterClockwiseAndTheLineItselfIsNotLeft)
{
    EXPECT_TRUE(Plane::IsLeftSide(V2(0, 0), V2(1, 0), V2(0.5, 1)));
    EXPECT_FALSE(Plane::IsLeftSide(V2(0, 0), V2(1, 0), V2(0.5, -1)));
    EXPECT_FALSE(Plane::IsLeftSide(V2(0, 0), V2(1, 0), V2(5, 0)));
    EXPECT_TRUE(Plane::IsLeftSide(V2(0, 0), V2(-1, 0), V2(0.5, -1))) << "reversing the line swaps the sides";
    EXPECT_TRUE(Space::IsLeftSide(V3(0, 0, 9), V3(0, 1, -9), V3(-1, 0.5, 0)));

    ExpectNear(V2(-0.8, 0.6), Plane::Perpendicular(V2(3, 4)));
}

TEST(GeometryCorners, BisectorPointsOutsideTheTurnAndStraightCornersGiveTheLeftPerpendicular)
{
    const double h = std::sqrt(0.5);
    ExpectNear(V2(h, -h), Plane::Bisector(V2(0, 0), V2(1, 0), V2(1, 1)));  // left turn: points right
    ExpectNear(V2(h, h), Plane::Bisector(V2(0, 0), V2(1, 0), V2(1, -1)));  // right turn: points left
    ExpectNear(V2(0, 1), Plane::Bisector(V2(0, 0), V2(1, 0), V2(2, 0)));   // straight
    ExpectNear(V2(0, -1), Plane::Bisector(V2(0, 0), V2(-1, 0), V2(-3, 0))); // straight, heading -x
    // A hairpin turns back on itself: the bisector points on ahead, beyond the corner.
    ExpectNear(V2(1, 0), Plane::Bisector(V2(0, 0), V2(1, 0), V2(0, 0)));
}

TEST(GeometryCorners, RadiusIsTheCircumradiusAndColinearPointsGiveInfinity)
{
    EXPECT_NEAR(1.0, Plane::Radius(V2(1, 0), V2(0, 1), V2(-1, 0)), 1e-12);
    EXPECT_NEAR(5.0, Plane::Radius(V2(7, 3), V2(2, 8), V2(-3, 3)), 1e-12);
    EXPECT_NEAR(5.0, Plane::Radius(V2(7, 3), V2(5, 7), V2(6, 6)), 1e-9) << "an acute corner";
    const double straight = Plane::Radius(V2(0, 0), V2(1, 0), V2(3, 0));
    EXPECT_TRUE(std::isinf(straight) && straight > 0);
    EXPECT_TRUE(std::isnan(Plane::Radius(V2(1, 1), V2(1, 1), V2(3, 0))));
}

TEST(BoundingBoxes, EmptyFirstPointAndGrowth)
{
    Core::BoundingBox<double, Core::Maths::Vector3> box;
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_TRUE(std::isinf(box.GetMin()[i]) && box.GetMin()[i] > 0);
        EXPECT_TRUE(std::isinf(box.GetMax()[i]) && box.GetMax()[i] < 0);
    }

    box.AddPoint(V3(1, -2, 3));
    EXPECT_EQ(V3(1, -2, 3), box.GetMin());
    EXPECT_EQ(V3(1, -2, 3), box.GetMax());

    box.AddPoint(V3(-1, 5, 3));
    box.AddPoint(V3(0, 0, -7));
    EXPECT_EQ(V3(-1, -2, -7), box.GetMin());
    EXPECT_EQ(V3(1, 5, 3), box.GetMax());

    box.ResetToEmpty();
    EXPECT_GT(box.GetMin().x, box.GetMax().x);
    box.AddPoint(V3(4, 4, 4));
    EXPECT_EQ(box.GetMin(), box.GetMax());

    Core::BoundingBox<double, Core::Maths::Vector2> flat;
    flat.AddPoint(V2(3, -1));
    flat.AddPoint(V2(-2, 6));
    EXPECT_EQ(V2(-2, -1), flat.GetMin());
    EXPECT_EQ(V2(3, 6), flat.GetMax());
}

} // namespace
