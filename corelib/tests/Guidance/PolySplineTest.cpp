// Splines through a poly-line's vertices, checked against independent
// formulations of the same curves.
#include "Guidance/PolySpline.h"
#include "GuidanceLines.h"

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

using namespace GuidanceTest;

namespace
{

typedef Core::SplineInterpolator Spline;

// The tests pass spline types outside the enumerators; a fixed int makes them defined.
static_assert(std::is_same_v<int, std::underlying_type_t<Spline::SplineTypes>>);

std::unique_ptr<Core::PolySpline> MakeSpline(int type, const std::vector<Vec3>& points)
{
    std::unique_ptr<Core::PolySpline> spline(new Core::PolySpline(static_cast<Spline::SplineTypes>(type)));
    for (const Vec3& p : points)
        spline->AddPoint(p, false);
    return spline;
}

Vec3 At(const Core::PolyLine& line, unsigned int segment, double t)
{
    Vec3 point;
    line.InterpolateSegment(segment, t, point);
    return point;
}

// The cubic Hermite curve from p1 to p2 with end tangents m1 and m2.
Vec3 Hermite(const Vec3& p1, const Vec3& m1, const Vec3& p2, const Vec3& m2, double t)
{
    return p1 * ((1 + 2 * t) * (1 - t) * (1 - t)) + m1 * (t * (1 - t) * (1 - t)) + p2 * (t * t * (3 - 2 * t)) +
           m2 * (t * t * (t - 1));
}

// A gentle S with heights; x increases, so every interpolator applies.
const std::vector<Vec3> kPoints = {Vec3(0, 0, 5),   Vec3(10, 4, 6),  Vec3(20, 5, 7),
                                   Vec3(30, 2, 8), Vec3(40, -3, 9), Vec3(50, -4, 10)};

// Every type passes through the vertices, draws two-point lines and
// extrapolations straight; an unknown type is a plain poly-line.
TEST(PolySplineTest, VerticesTwoPointLinesAndExtrapolationStayStraight)
{
    EXPECT_EQ(Spline::GetSplineInterpolator(static_cast<Spline::SplineTypes>(7)), nullptr);
    for (int type : {0, 1, 2, 3, 7})
    {
        SCOPED_TRACE(type);
        const auto spline = MakeSpline(type, kPoints);
        EXPECT_EQ(At(*spline, 2, 0.0), kPoints[2]);
        EXPECT_EQ(At(*spline, 2, 1.0), kPoints[3]);
        EXPECT_EQ(At(*spline, 4, 1.5), kPoints[4] + (kPoints[5] - kPoints[4]) * 1.5);
        EXPECT_EQ(At(*MakeSpline(type, {Vec3(0, 0, 1), Vec3(10, 10, 3)}), 0, 0.25), Vec3(2.5, 2.5, 1.5));
    }
}

// Uniform Catmull-Rom is the Hermite curve whose tangent at each vertex is half
// the chord between its neighbours; beyond the ends the neighbour is the inner
// vertex reflected through the end, and the segment whose second successor is
// the last vertex already takes that reflection instead of the vertex.
TEST(PolySplineTest, CatmullRomMatchesHalfChordHermiteTangents)
{
    const auto spline = MakeSpline(Spline::CatmullRom, kPoints);
    const std::vector<Vec3>& p = kPoints;
    const Vec3 beforeStart = p[0] * 2.0 - p[1], afterEnd = p[5] * 2.0 - p[4];
    for (double t : {0.1, 0.5, 0.9})
    {
        ExpectNear(At(*spline, 0, t), Hermite(p[0], (p[1] - beforeStart) * 0.5, p[1], (p[2] - p[0]) * 0.5, t), 1e-12);
        ExpectNear(At(*spline, 2, t), Hermite(p[2], (p[3] - p[1]) * 0.5, p[3], (p[4] - p[2]) * 0.5, t), 1e-12);
        ExpectNear(At(*spline, 3, t), Hermite(p[3], (p[4] - p[2]) * 0.5, p[4], (afterEnd - p[3]) * 0.5, t), 1e-12);
    }
}

// The rounded curve is a Hermite curve in the plane (height 0) with full-chord
// tangents inside; at each end the tangent is rounded from the end segment,
// scaled by 3 over its length, and the inner tangent.
TEST(PolySplineTest, RoundedNonUniformUsesChordTangentsAndRoundedEnds)
{
    const std::vector<Vec3> p = {Vec3(0, 0, 0), Vec3(10, 4, 0), Vec3(20, 5, 0), Vec3(30, 2, 0)};
    const Vec3 inner1 = p[2] - p[0], inner2 = p[3] - p[1];
    const Vec3 start = ((p[1] - p[0]) * (3 / std::hypot(10.0, 4.0)) - inner1) * 0.5;
    // The last segment climbs 2 m: its 3-D length sqrt(113) scales the chord,
    // while the result itself has height 0.
    const Vec3 end = ((p[3] - p[2]) * (3 / std::sqrt(113.0)) - inner2) * 0.5;
    const auto spline = MakeSpline(Spline::RoundedNonUniform, {p[0], p[1], Vec3(20, 5, 7), Vec3(30, 2, 9)});
    for (double t : {0.25, 0.75})
    {
        ExpectNear(At(*spline, 0, t), Hermite(p[0], start, p[1], inner1, t), 1e-12);
        ExpectNear(At(*spline, 1, t), Hermite(p[1], inner1, p[2], inner2, t), 1e-12);
        ExpectNear(At(*spline, 2, t), Hermite(p[2], inner2, p[3], end, t), 1e-12);
    }
}

// The natural cubic spline of y over x, solved here as the system of second
// derivatives M (M0 = Mn = 0) by dense elimination; the result has height 0.
TEST(PolySplineTest, NaturalCubicMatchesTheSecondDerivativeFormulation)
{
    const std::vector<Vec3>& p = kPoints;
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
    {
        const double h = p[i + 1].x - p[i].x, x = p[i].x + 0.3 * h, A = 0.7, B = 0.3;
        const double mi = a[i][n] / a[i][i], mj = a[i + 1][n] / a[i + 1][i + 1];
        const double y = A * p[i].y + B * p[i + 1].y + ((A * A * A - A) * mi + (B * B * B - B) * mj) * h * h / 6;
        ExpectNear(At(*spline, i, 0.3), Vec3(x, y, 0.0), 1e-9);
    }
    // Two vertices sharing an x: that segment is drawn straight, never NaN.
    ExpectNear(At(*MakeSpline(Spline::NaturalCubic, {Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 5, 0)}), 1, 0.5),
               Vec3(10, 2.5, 0), 1e-12);
}

// Along-track measures and nearest segments stay those of the straight
// segments; the points returned are moved onto the curve.
TEST(PolySplineTest, AlongTrackAndNearestPointsAreMovedOntoTheCurve)
{
    auto spline = MakeSpline(Spline::CatmullRom, kPoints);
    const Core::PolyLine straight = MakeLine(kPoints);
    unsigned int segment = 0;
    Vec3 point;
    ASSERT_TRUE(spline->GetAlongTrack(straight.PointAlongTrack(2) + 0.5 * straight.SegmentLength(2), segment, point));
    EXPECT_EQ(segment, 2u);
    ExpectNear(point, At(*spline, 2, 0.5), 1e-12);

    unsigned int s1 = 0, s2 = 0;
    double d1 = 0, d2 = 0, a1 = 0, a2 = 0;
    Vec3 onCurve, onLine;
    ASSERT_TRUE(spline->DistanceToNearest(Vec3(25, 8, 7.5), s1, d1, a1, onCurve));
    straight.DistanceToNearest(Vec3(25, 8, 7.5), s2, d2, a2, onLine);
    EXPECT_EQ(std::make_tuple(s1, d1, a1), std::make_tuple(s2, d2, a2));
    ExpectNear(onCurve, At(*spline, s1, (a2 - straight.PointAlongTrack(s2)) / straight.SegmentLength(s2)), 1e-9);

    // Re-initialising switches the curve; an unknown type straightens it.
    spline->Initialise(static_cast<Spline::SplineTypes>(9));
    EXPECT_EQ(At(*spline, 2, 0.5), At(straight, 2, 0.5));
}

} // namespace
