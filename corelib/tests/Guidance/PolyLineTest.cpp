// The poly-line's measures, searches and trimming, checked against hand-derived
// geometry and brute-force searches.
#include "Guidance/PolyLine.h"
#include "GuidanceLines.h"

#include <gtest/gtest.h>

#include <limits>

using namespace GuidanceTest;

namespace
{

const double kInfinity = std::numeric_limits<double>::infinity();

struct Nearest
{
    bool found = false;
    unsigned int segment = 0;
    double distance = 0.0, alongTrack = 0.0;
    Vec3 point;
};

Nearest FindNearest(const Core::PolyLine& line, const Vec3& position)
{
    Nearest n;
    n.found = line.DistanceToNearest(position, n.segment, n.distance, n.alongTrack, n.point);
    return n;
}

// Scores candidates by distance plus 100 m per radian of heading difference
// from a wanted heading, counting its calls, over the window first..last.
struct HeadingScore
{
    double Score(double distance, double segmentHeading, const Vec2&)
    {
        ++calls;
        return distance + 100.0 * std::fabs(std::remainder(segmentHeading - heading, 2 * kPi));
    }
    Nearest Find(const Core::PolyLine& line, unsigned int first, unsigned int last, const Vec3& position)
    {
        Core::Functor<double, double, double, const Vec2&>::Method<HeadingScore> callback(this, &HeadingScore::Score);
        Nearest n;
        n.found = line.DistanceToNearest(first, last, position, &callback, n.segment, n.distance, n.alongTrack,
                                         n.point) < kInfinity;
        return n;
    }
    double heading;
    int calls = 0;
};

// (0,0) -> (10,0) -> (10,20): length 30, a left turn.
Core::PolyLine LShape() { return MakeLine({Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 20, 0)}); }

TEST(PolyLineTest, HeadingsNormalsRadiiAndLengthsFollowTheirConventions)
{
    EXPECT_NEAR(MakeLine({Vec3(0, 0, 0), Vec3(-3, -3, 9)}).SegmentHeading(0), -3 * kPi / 4, 1e-15);
    EXPECT_EQ(MakeLine({Vec3(0, 0, 0), Vec3(-5, 0, 0)}).SegmentHeading(0), kPi) << "along -x is +pi, never -pi";
    // Vertex headings are plain means: between 3.1 and -3.1 the mean is 0.
    const Vec3 corner(10 * std::cos(3.1), 10 * std::sin(3.1), 0);
    const Core::PolyLine turn = MakeLine({Vec3(0, 0, 0), corner, corner + Vec3(10 * std::cos(-3.1), 10 * std::sin(-3.1), 0)});
    EXPECT_NEAR(turn.VertexHeading(1), 0.0, 1e-12);
    EXPECT_NEAR(turn.VertexHeading(9), -3.1, 1e-12);

    const Core::PolyLine line = LShape();
    // The bisector of a left turn points out of the corner, to the lower right.
    EXPECT_NEAR((line.VertexNormal(1) - Vec2(std::sqrt(0.5), -std::sqrt(0.5))).Length(), 0.0, 1e-15);
    // Points on a circle of radius 50 turning right: a negative radius.
    auto onCircle = [](double a) { return Vec3(50 * std::cos(a), 50 * std::sin(a), 0); };
    EXPECT_NEAR(MakeLine({onCircle(0.7), onCircle(0.3), onCircle(0.0)}).VertexRadius(1), -50.0, 1e-9);
    EXPECT_EQ(line.VertexRadius(0), kInfinity);
    EXPECT_EQ(MakeLine({Vec3(0, 0, 0), Vec3(1, 0, 0), Vec3(3, 0, 0)}).VertexRadius(1), kInfinity);

    const Core::PolyLine tilted = MakeLine({Vec3(0, 0, 0), Vec3(3, 4, 12), Vec3(3, 4, 0)});
    EXPECT_EQ(tilted.Length(), 25.0) << "lengths are measured in 3-D";
}

TEST(PolyLineTest, AlongTrackPointsInterpolateAndExtrapolate)
{
    const struct { double distance; bool onLine; unsigned int segment; Vec3 point; } cases[] = {
        {-5.0, false, 0, Vec3(-5, 0, 0)}, {10.0, true, 1, Vec3(10, 0, 0)}, {35.0, false, 1, Vec3(10, 25, 0)}};
    for (const auto& c : cases)
    {
        // A fresh line each time: a negative distance must not rely on an
        // earlier query having built the cache.
        unsigned int segment = 99;
        Vec3 point;
        EXPECT_EQ(LShape().GetAlongTrack(c.distance, segment, point), c.onLine) << c.distance;
        EXPECT_EQ(segment, c.segment) << c.distance;
        EXPECT_EQ(point, c.point) << c.distance;
    }
    // Zero-length segments share their start distance with the next: the last
    // segment starting at or before the distance is taken.
    unsigned int segment = 0;
    Vec3 point;
    EXPECT_TRUE(MakeLine({Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 0, 0), Vec3(10, 10, 0)}).GetAlongTrack(10.0, segment, point));
    EXPECT_EQ(segment, 2u);
}

TEST(PolyLineTest, NearestPointIsSignedAndPrefersTheEarlierCandidate)
{
    // Level with the corner, both segments' ends are nearest: the earlier is taken.
    const Nearest n = FindNearest(LShape(), Vec3(12, 0, 0));
    EXPECT_EQ(std::make_tuple(true, 0u, -2.0, 10.0), std::make_tuple(n.found, n.segment, n.distance, n.alongTrack));
    // On the line is not strictly left: the distance carries a minus sign.
    EXPECT_TRUE(std::signbit(FindNearest(LShape(), Vec3(4, 0, 0)).distance));
    EXPECT_FALSE(FindNearest(MakeLine({Vec3(1, 1, 1)}), Vec3(0, 0, 0)).found);
}

// The search against the smallest distance to any segment by brute force,
// over random lines and positions.
TEST(PolyLineTest, NearestPointAgreesWithBruteForce)
{
    std::mt19937 random(77u);
    std::uniform_real_distribution<double> coordinate(-100.0, 100.0);
    auto randomPoint = [&]() { return Vec3(coordinate(random), coordinate(random), 0.05 * coordinate(random)); };
    for (int lineIndex = 0; lineIndex < 10; ++lineIndex)
    {
        std::vector<Vec3> p;
        for (int i = 0; i < 2 + lineIndex * 6; ++i)
            p.push_back(randomPoint());
        const Core::PolyLine line = MakeLine(p);
        for (int k = 0; k < 200; ++k)
        {
            const Vec3 position = randomPoint();
            double best = kInfinity;
            for (size_t j = 0; j + 1 < p.size(); ++j)
                best = std::min(best, SegmentDistance(p[j], p[j + 1], position));
            const Nearest n = FindNearest(line, position);
            ASSERT_TRUE(n.found);
            EXPECT_NEAR(std::fabs(n.distance), best, 1e-9);
            EXPECT_EQ(n.distance > 0, RightDistance(p[n.segment], p[n.segment + 1], position) < 0);
            // The along-track distance leads back to the nearest point.
            unsigned int segment = 0;
            Vec3 again;
            line.GetAlongTrack(n.alongTrack, segment, again);
            EXPECT_NEAR((again - n.point).Length(), 0.0, 1e-9);
        }
    }
}

// A pass east and its return 4 m north: a vehicle heading west is matched to
// the return leg by its score though the outward leg is closer; the search
// scores the window's start vertex and one candidate per segment, nothing more.
TEST(PolyLineTest, ScoreCallbackRanksCandidatesOfTheWindowOnly)
{
    const Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(100, 0, 0), Vec3(100, 4, 0), Vec3(0, 4, 0)});
    HeadingScore westward{kPi};
    const Nearest n = westward.Find(line, 0, 4, Vec3(50, 1, 0));
    EXPECT_EQ(std::make_tuple(2u, 3.0, 154.0, 4), std::make_tuple(n.segment, n.distance, n.alongTrack, westward.calls));

    std::vector<Vec3> p;
    for (int i = 0; i < 1000; ++i)
        p.push_back(Vec3(i, 0, 0));
    HeadingScore eastward{0.0};
    EXPECT_EQ(eastward.Find(MakeLine(p), 500, 510, Vec3(0, 3, 0)).segment, 499u);
    EXPECT_EQ(eastward.calls, 11);
}

TEST(PolyLineTest, TrimmingAndEditingKeepTheCacheAndBoundsRight)
{
    Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 20, 0), Vec3(-30, 20, 0)});
    EXPECT_EQ(line.Length(), 70.0);
    const unsigned long rebuilds = line.GetSegmentCacheRebuildCount();
    line.TrimBackTo(3, false);
    // Braces query the length, and so the cache, before the count. Without
    // recalculation the box still covers the dropped point.
    EXPECT_EQ(std::tuple(30.0, rebuilds, -30.0),
              (std::tuple{line.Length(), line.GetSegmentCacheRebuildCount(), line.GetBounds().GetMin().x}));
    line.Edit(2, Vec3(10, 5, 0), false);
    EXPECT_EQ(line.Length(), 15.0);
    line.Edit(2, Vec3(10, 4, 0), true);
    EXPECT_EQ(line.GetBounds().GetMax().y, 4.0);

    EXPECT_DOUBLE_EQ(0.1, line.GetCoincidentThreshold()) << "the default";
    line.SetCoincidentThreshold(-0.5);
    line.ResetToEmpty();
    EXPECT_EQ(std::tuple(0u, 0.0, 0.5), std::tuple(line.GetPointCount(), line.Length(), line.GetCoincidentThreshold()))
        << "the threshold is kept by the reset; stored squared, so the sign is lost";
    // Recording drops a point closer than the threshold to the last one, and
    // appends each new segment to a valid cache.
    for (const Vec3& p : {Vec3(0, 0, 0), Vec3(0.25, 0.25, 0.25), Vec3(0.75, 0, 0)})
        line.AddPoint(p, true);
    EXPECT_EQ(std::pair(2u, 0.75), std::pair(line.GetPointCount(), line.Length()));
    line.AddPoint(Vec3(0.75, 1, 0), true);
    EXPECT_EQ(1.75, line.Length());
}

// With a loop span, a new segment crossing a recent one cuts the loop out:
// (5,10) -> (5,-5) crosses the first segment at (5,0).
TEST(PolyLineTest, LoopSpanCutsOutTheLoopANewPointCloses)
{
    for (unsigned int span : {2u, 10u})
    {
        Core::PolyLine line;
        line.SetLoopSpan(span);
        for (const Vec3& p : {Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 10, 0), Vec3(5, 10, 0), Vec3(5, -5, 0)})
            line.AddPoint(p, true);
        // A span of 2 reaches only the segment ending at the last point: the loop stays.
        EXPECT_EQ(line.GetPointCount(), span == 2 ? 5u : 3u);
        EXPECT_EQ(line.Length(), span == 2 ? 40.0 : 10.0);
    }
    // A valid cache keeps the segments a cut drops. Each new segment here
    // turns, so it touches the previous one at their shared vertex; with these
    // coordinates the touch is exact, the last point is replaced by itself and
    // its segment appended again, until a rebuild forgets it.
    Core::PolyLine line;
    line.SetLoopSpan(10);
    line.AddPoint(Vec3(0, 0, 0), true);
    line.AddPoint(Vec3(10, 0, 0), true);
    EXPECT_EQ(line.Length(), 10.0); // the query makes the cache valid
    line.AddPoint(Vec3(10, 10, 0), true);
    EXPECT_EQ(std::pair(3u, 30.0), std::pair(line.GetPointCount(), line.Length()));
    line.Edit(2, Vec3(10, 10, 0), false);
    EXPECT_EQ(line.Length(), 20.0);
}

TEST(PolyLineTest, DouglasPeuckerKeepsTheFarPointsAndAClosedLinesRepeat)
{
    // The bump (0.3 m) exceeds the tolerance; every other point stays within
    // 0.2 m of the chords to it.
    Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(10, 0.05, 0), Vec3(20, 0, 0), Vec3(30, 0.3, 0),
                                    Vec3(40, 0, 0), Vec3(50, -0.05, 0), Vec3(60, 0, 0)});
    line.TrimColinear(0.25);
    EXPECT_EQ(line.GetPoints(), (std::vector<Vec3>{Vec3(0, 0, 0), Vec3(30, 0.3, 0), Vec3(60, 0, 0)}));
    // A closed square with edge points: the reduction runs to the point before
    // the repeated first point, so the corners and the repeat are kept.
    Core::PolyLine square = MakeLine({Vec3(0, 0, 0), Vec3(5, 0, 0), Vec3(10, 0, 0), Vec3(10, 5, 0), Vec3(10, 10, 0),
                                      Vec3(0, 10, 0), Vec3(0, 0, 0)});
    square.TrimColinear(0.1);
    EXPECT_EQ(square.GetPointCount(), 5u);
    EXPECT_EQ(square.GetPoints().back(), Vec3(0, 0, 0));
}

// First and second derivatives of a Bezier curve (evaluated by de Casteljau)
// by central differences.
Vec2 FiniteDifferences(const double* c, int count, double t)
{
    auto at = [&](double u) {
        std::vector<double> v(c, c + count);
        for (int r = count - 1; r > 0; --r)
            for (int i = 0; i < r; ++i)
                v[i] = (1 - u) * v[i] + u * v[i + 1];
        return v[0];
    };
    const double h = 1e-4;
    return Vec2((at(t + h) - at(t - h)) / (2 * h), (at(t + h) - 2 * at(t) + at(t - h)) / (h * h));
}

// Four points: one cubic through them. Its curvature at u = 2/3 judges point 1,
// and point 2 (7.07 m off its chord) is judged by distance alone.
TEST(PolyLineTest, CurvatureOfShortLinesIsStoredOnePlaceLow)
{
    const double x[] = {0, 10, 20, 20}, y[] = {0, 0, 0, 10};
    // The derivatives of the curves through the first 2 to 5 control values.
    const double c[] = {0, 10, 20, 20, 5};
    for (int count = 2; count <= 5; ++count)
        for (double t : {0.0, 0.5, 0.8})
        {
            EXPECT_NEAR(Core::getDiff1(t, c, count), FiniteDifferences(c, count, t).x, 1e-6) << count << " " << t;
            EXPECT_NEAR(Core::getDiff2(t, c, count), FiniteDifferences(c, count, t).y, 1e-4) << count << " " << t;
        }
    // A single value gives 1 for both, and more than five give 0.
    EXPECT_EQ(std::make_pair(1.0, 1.0), std::make_pair(Core::getDiff1(0.5, c, 1), Core::getDiff2(0.5, c, 1)));
    EXPECT_EQ(std::make_pair(0.0, 0.0), std::make_pair(Core::getDiff1(0.5, c, 6), Core::getDiff2(0.5, c, 6)));
    auto curvature = [&](double u) {
        const Vec2 dx = FiniteDifferences(x, 4, u), dy = FiniteDifferences(y, 4, u);
        return std::fabs(dx.x * dy.y - dx.y * dy.x) / std::pow(dx.x * dx.x + dy.x * dy.x, 1.5);
    };
    const double atPoint1 = curvature(1.0 / 3), atPoint2 = curvature(2.0 / 3);
    ASSERT_LT(atPoint1, atPoint2);
    const std::vector<Vec3> p = {Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(20, 0, 0), Vec3(20, 10, 0)};
    Core::PolyLine line = MakeLine(p);
    line.TrimColinearByCurvature(0.1, 0.5 * (atPoint1 + atPoint2));
    EXPECT_EQ(line.GetPointCount(), 4u);
    line.TrimColinearByCurvature(0.1, 1.01 * atPoint2);
    EXPECT_EQ(line.GetPointCount(), 3u);
    Core::PolyLine farOff = MakeLine(p);
    farOff.TrimColinearByCurvature(7.0, 0.0);
    EXPECT_EQ(farOff.GetPointCount(), 4u);
    farOff.TrimColinearByCurvature(7.1, 0.0);
    EXPECT_EQ(farOff.GetPointCount(), 3u);
}

} // namespace
