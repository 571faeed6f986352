// Splines through a poly-line's vertices, checked against independent
// formulations of the same curves.
#include "Guidance/PolySpline.h"
#include "GuidanceLines.h"

#include <gtest/gtest.h>

#include <memory>

using namespace GuidanceTest;

namespace
{

typedef Core::SplineInterpolator Spline;

class PolySplineTest : public ::testing::Test
{
protected:
    static std::unique_ptr<Core::PolySpline> MakeSpline(int type, const std::vector<Vec3>& points)
    {
        std::unique_ptr<Core::PolySpline> spline(new Core::PolySpline(static_cast<Spline::SplineTypes>(type)));
        for (const Vec3& p : points)
            spline->AddPoint(p, false);
        return spline;
    }

    static Vec3 At(const Core::PolyLine& line, unsigned int segment, double t)
    {
        Vec3 point;
        line.InterpolateSegment(segment, t, point);
        return point;
    }

    // The cubic Hermite curve from p1 to p2 with end tangents m1 and m2.
    static Vec3 Hermite(const Vec3& p1, const Vec3& m1, const Vec3& p2, const Vec3& m2, double t)
    {
        return p1 * ((1 + 2 * t) * (1 - t) * (1 - t)) + m1 * (t * (1 - t) * (1 - t)) + p2 * (t * t * (3 - 2 * t)) +
               m2 * (t * t * (t - 1));
    }

    static void ExpectNear(const Vec3& actual, const Vec3& expected, double tolerance)
    {
        EXPECT_NEAR(actual.x, expected.x, tolerance);
        EXPECT_NEAR(actual.y, expected.y, tolerance);
        EXPECT_NEAR(actual.z, expected.z, tolerance);
    }

    // A gentle S with heights; x increases, so every interpolator applies.
    const std::vector<Vec3> m_points = {Vec3(0, 0, 5),   Vec3(10, 4, 6),  Vec3(20, 5, 7),
                                        Vec3(30, 2, 8), Vec3(40, -3, 9), Vec3(50, -4, 10)};
};

TEST_F(PolySplineTest, VerticesTwoPointLinesAndExtrapolationStayStraight)
{
    EXPECT_EQ(Spline::GetSplineInterpolator(static_cast<Spline::SplineTypes>(7)), nullptr);
    for (int type = 0; type <= 3; ++type)
    {
        SCOPED_TRACE(type);
        std::unique_ptr<Spline> interpolator(Spline::GetSplineInterpolator(static_cast<Spline::SplineTypes>(type)));
        EXPECT_NE(interpolator, nullptr);
        const auto spline = MakeSpline(type, m_points);
        EXPECT_EQ(At(*spline, 2, 0.0), m_points[2]);
        EXPECT_EQ(At(*spline, 2, 1.0), m_points[3]);
        EXPECT_EQ(At(*spline, 4, 1.5), m_points[4] + (m_points[5] - m_points[4]) * 1.5);
        EXPECT_EQ(At(*MakeSpline(type, {Vec3(0, 0, 1), Vec3(10, 10, 3)}), 0, 0.25), Vec3(2.5, 2.5, 1.5));
    }
    EXPECT_EQ(At(*MakeSpline(Spline::Linear, m_points), 1, 0.25), m_points[1] + (m_points[2] - m_points[1]) * 0.25);
}

// A spline of an unknown type is a plain poly-line in every answer.
TEST_F(PolySplineTest, UnknownTypeBehavesExactlyLikeAPolyLine)
{
    const auto spline = MakeSpline(7, m_points);
    const Core::PolyLine line = MakeLine(m_points);
    for (double d : {-3.0, 7.0, 23.5, 200.0})
    {
        unsigned int s1 = 0, s2 = 0;
        Vec3 p1, p2;
        EXPECT_EQ(spline->GetAlongTrack(d, s1, p1), line.GetAlongTrack(d, s2, p2));
        EXPECT_EQ(s1, s2);
        EXPECT_EQ(p1, p2);
    }
    unsigned int s1 = 0, s2 = 0;
    double d1 = 0, d2 = 0, a1 = 0, a2 = 0;
    Vec3 n1, n2;
    EXPECT_TRUE(spline->DistanceToNearest(Vec3(25, 9, 0), s1, d1, a1, n1));
    line.DistanceToNearest(Vec3(25, 9, 0), s2, d2, a2, n2);
    EXPECT_EQ(n1, n2);
}

// Uniform Catmull-Rom is the Hermite curve whose tangent at each vertex is half
// the chord between its neighbours; beyond the ends the neighbour is the inner
// vertex reflected through the end, and the segment whose second successor is
// the last vertex already takes that reflection instead of the vertex.
TEST_F(PolySplineTest, CatmullRomMatchesHalfChordHermiteTangents)
{
    const auto spline = MakeSpline(Spline::CatmullRom, m_points);
    const std::vector<Vec3>& p = m_points;
    const Vec3 beforeStart = p[0] * 2.0 - p[1], afterEnd = p[5] * 2.0 - p[4];
    for (double t : {0.1, 0.5, 0.9})
    {
        ExpectNear(At(*spline, 0, t), Hermite(p[0], (p[1] - beforeStart) * 0.5, p[1], (p[2] - p[0]) * 0.5, t), 1e-12);
        ExpectNear(At(*spline, 2, t), Hermite(p[2], (p[3] - p[1]) * 0.5, p[3], (p[4] - p[2]) * 0.5, t), 1e-12);
        ExpectNear(At(*spline, 3, t), Hermite(p[3], (p[4] - p[2]) * 0.5, p[4], (afterEnd - p[3]) * 0.5, t), 1e-12);
        ExpectNear(At(*spline, 4, t), Hermite(p[4], (p[5] - p[3]) * 0.5, p[5], (afterEnd - p[4]) * 0.5, t), 1e-12);
    }
    // Evenly spaced colinear points stay on the line, evenly spaced on the end
    // segments; the middle segment's fourth control point is the reflection 4,
    // so at t = 0.3 it lies at 1 + 0.3 + 0.045 (0 - 5 + 8 - 4) + 0.0135 (0 + 3 - 6 + 4) = 1.2685.
    const auto colinear = MakeSpline(Spline::CatmullRom, {Vec3(0, 0, 0), Vec3(1, 2, 3), Vec3(2, 4, 6), Vec3(3, 6, 9)});
    ExpectNear(At(*colinear, 0, 0.3), Vec3(0.3, 0.6, 0.9), 1e-12);
    ExpectNear(At(*colinear, 1, 0.3), Vec3(1.2685, 2 * 1.2685, 3 * 1.2685), 1e-12);
    ExpectNear(At(*colinear, 2, 0.3), Vec3(2.3, 4.6, 6.9), 1e-12);
}

// The rounded curve is a Hermite curve in the plane (height 0) with full-chord
// tangents inside; at each end the tangent is rounded from the end segment,
// scaled by 3 over its length, and the inner tangent.
TEST_F(PolySplineTest, RoundedNonUniformUsesChordTangentsAndRoundedEnds)
{
    const std::vector<Vec3> p = {Vec3(0, 0, 0), Vec3(10, 4, 0), Vec3(20, 5, 0), Vec3(30, 2, 0)};
    const Vec3 inner1 = p[2] - p[0], inner2 = p[3] - p[1];
    const Vec3 start = ((p[1] - p[0]) * (3 / std::hypot(10.0, 4.0)) - inner1) * 0.5;
    // The last segment climbs 2 m: its 3-D length sqrt(113) scales the chord,
    // while the result itself has height 0.
    const Vec3 end = ((p[3] - p[2]) * (3 / std::sqrt(113.0)) - inner2) * 0.5;
    const auto spline = MakeSpline(Spline::RoundedNonUniform, {p[0], p[1], Vec3(20, 5, 7), Vec3(30, 2, 9)});
    for (double t : {0.25, 0.5, 0.75})
    {
        ExpectNear(At(*spline, 0, t), Hermite(p[0], start, p[1], inner1, t), 1e-12);
        ExpectNear(At(*spline, 1, t), Hermite(p[1], inner1, p[2], inner2, t), 1e-12);
        ExpectNear(At(*spline, 2, t), Hermite(p[2], inner2, p[3], end, t), 1e-12);
    }
}

// The natural cubic spline of y over x, solved here as the system of second
// derivatives M (M0 = Mn = 0) by dense elimination; the result has height 0.
TEST_F(PolySplineTest, NaturalCubicMatchesTheSecondDerivativeFormulation)
{
    const std::vector<Vec3>& p = m_points;
    const size_t n = p.size();
    std::vector<std::vector<double>> a(n, std::vector<double>(n + 1, 0.0));
    a[0][0] = a[n - 1][n - 1] = 1.0;
    for (size_t k = 1; k + 1 < n; ++k)
    {
        const double h0 = p[k].x - p[k - 1].x, h1 = p[k + 1].x - p[k].x;
        a[k][k - 1] = h0 / 6;
        a[k][k] = (h0 + h1) / 3;
        a[k][k + 1] = h1 / 6;
        a[k][n] = (p[k + 1].y - p[k].y) / h1 - (p[k].y - p[k - 1].y) / h0;
    }
    for (size_t c = 0; c < n; ++c)
        for (size_t r = 0; r < n; ++r)
            for (size_t k = n + 1; r != c && k-- > c;)
                a[r][k] -= a[r][c] / a[c][c] * a[c][k];
    const auto spline = MakeSpline(Spline::NaturalCubic, p);
    for (unsigned int i = 0; i + 1 < n; ++i)
        for (double t : {0.2, 0.7})
        {
            const double h = p[i + 1].x - p[i].x, x = p[i].x + t * h;
            const double A = (p[i + 1].x - x) / h, B = 1 - A;
            const double mi = a[i][n] / a[i][i], mj = a[i + 1][n] / a[i + 1][i + 1];
            const double y = A * p[i].y + B * p[i + 1].y + ((A * A * A - A) * mi + (B * B * B - B) * mj) * h * h / 6;
            ExpectNear(At(*spline, i, t), Vec3(x, y, 0.0), 1e-9);
        }
    // Two vertices sharing an x: that segment is drawn straight, never NaN.
    ExpectNear(At(*MakeSpline(Spline::NaturalCubic, {Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 5, 0)}), 1, 0.5),
               Vec3(10, 2.5, 0), 1e-12);
}

// Along-track measures stay those of the straight segments; the points
// returned lie on the curve, and extrapolations stay straight.
TEST_F(PolySplineTest, AlongTrackAndNearestPointsAreMovedOntoTheCurve)
{
    auto spline = MakeSpline(Spline::CatmullRom, m_points);
    const Core::PolyLine straight = MakeLine(m_points);
    EXPECT_EQ(spline->Length(), straight.Length());
    unsigned int segment = 0;
    Vec3 point, straightPoint;
    ASSERT_TRUE(spline->GetAlongTrack(straight.PointAlongTrack(2) + 0.5 * straight.SegmentLength(2), segment, point));
    EXPECT_EQ(segment, 2u);
    ExpectNear(point, At(*spline, 2, 0.5), 1e-12);
    EXPECT_FALSE(spline->GetAlongTrack(straight.Length() + 5.0, segment, point));
    straight.GetAlongTrack(straight.Length() + 5.0, segment, straightPoint);
    EXPECT_EQ(point, straightPoint);

    const Vec3 position(25, 8, 7.5);
    unsigned int s1 = 0, s2 = 0;
    double d1 = 0, d2 = 0, a1 = 0, a2 = 0;
    Vec3 onCurve, onLine;
    ASSERT_TRUE(spline->DistanceToNearest(position, s1, d1, a1, onCurve));
    straight.DistanceToNearest(position, s2, d2, a2, onLine);
    EXPECT_EQ(s1, s2);
    EXPECT_EQ(d1, d2);
    EXPECT_EQ(a1, a2);
    ExpectNear(onCurve, At(*spline, s1, (a2 - straight.PointAlongTrack(s2)) / straight.SegmentLength(s2)), 1e-9);

    // Re-initialising switches the curve; an unknown type straightens it.
    spline->Initialise(static_cast<Spline::SplineTypes>(9));
    EXPECT_EQ(At(*spline, 2, 0.5), At(straight, 2, 0.5));
}

} // namespace
