// The poly-line's measures, searches and trimming, checked against hand-derived
// geometry and brute-force searches.
#include "Guidance/PolyLine.h"
#include "GuidanceLines.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace GuidanceTest;

namespace
{

const double kInfinity = std::numeric_limits<double>::infinity();

// A score callback that counts its calls and ranks by distance.
class CountingScore
{
public:
    double Score(double distance, double, const Vec2&)
    {
        ++calls;
        return distance;
    }
    int calls = 0;
};

// A score that prefers segments heading the way the vehicle heads: distance
// plus 100 m per radian of heading difference.
class HeadingScore
{
public:
    explicit HeadingScore(double heading) : m_heading(heading) {}
    double Score(double distance, double segmentHeading, const Vec2&)
    {
        return distance + 100.0 * std::fabs(std::remainder(segmentHeading - m_heading, 2 * kPi));
    }

private:
    double m_heading;
};

typedef Core::Functor<double, double, double, const Vec2&> ScoreFunctor;

class PolyLineTest : public ::testing::Test
{
protected:
    // The nearest-point result of the plain search.
    struct Nearest
    {
        bool found = false;
        unsigned int segment = 0;
        double distance = 0.0;
        double alongTrack = 0.0;
        Vec3 point;
    };

    static Nearest FindNearest(const Core::PolyLine& line, const Vec3& position)
    {
        Nearest n;
        n.found = line.DistanceToNearest(position, n.segment, n.distance, n.alongTrack, n.point);
        return n;
    }

    // The L-shaped line (0,0) -> (10,0) -> (10,20): length 30.
    static Core::PolyLine LShape() { return MakeLine({Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 20, 0)}); }
};

TEST_F(PolyLineTest, SegmentHeadingsFollowTheDirectionAngleConventions)
{
    struct Case
    {
        Vec3 to;
        double heading;
    } cases[] = {
        {Vec3(5, 0, 0), 0.0},          {Vec3(0, 5, 0), kPi / 2},      {Vec3(-5, 0, 0), kPi},
        {Vec3(0, -5, 0), -kPi / 2},    {Vec3(3, 3, 1), kPi / 4},      {Vec3(-3, -3, 0), -3 * kPi / 4},
        {Vec3(0, 0, 0), kPi / 2},      {Vec3(0, 0, 7), kPi / 2},
    };
    for (const Case& c : cases)
    {
        const Core::PolyLine line = MakeLine({Vec3(0, 0, 0), c.to});
        EXPECT_NEAR(line.SegmentHeading(0), c.heading, 1e-15) << c.to.x << ", " << c.to.y << ", " << c.to.z;
    }
    // A segment exactly along -x is +pi, never -pi.
    EXPECT_EQ(MakeLine({Vec3(0, 0, 0), Vec3(-5, 0, 0)}).SegmentHeading(0), kPi);
}

TEST_F(PolyLineTest, LengthsAndAlongTrackDistancesAreThreeDimensional)
{
    const Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(3, 4, 12), Vec3(3, 4, 0)});
    EXPECT_DOUBLE_EQ(line.SegmentLength(0), 13.0);
    EXPECT_DOUBLE_EQ(line.Length(), 25.0);
    EXPECT_DOUBLE_EQ(line.PointAlongTrack(1), 13.0);
    EXPECT_DOUBLE_EQ(line.PointAlongTrack(2), 25.0);
    EXPECT_DOUBLE_EQ(line.PointAlongTrack(99), 25.0);
    EXPECT_EQ(line.SegmentLength(2), 0.0);
    EXPECT_EQ(line.SegmentHeading(2), 0.0);

    Core::PolyLine single = MakeLine({Vec3(4, 4, 4)});
    EXPECT_EQ(single.Length(), 0.0);
    EXPECT_EQ(single.PointAlongTrack(0), 0.0);
    EXPECT_EQ(single.VertexHeading(0), 0.0);
}

TEST_F(PolyLineTest, VertexHeadingIsThePlainMeanOfTheAdjoiningSegments)
{
    // Headings 3.1 and -3.1: the mean is 0, pointing backwards.
    const Vec3 corner(10 * std::cos(3.1), 10 * std::sin(3.1), 0);
    const Core::PolyLine line =
        MakeLine({Vec3(0, 0, 0), corner, corner + Vec3(10 * std::cos(-3.1), 10 * std::sin(-3.1), 0)});
    EXPECT_NEAR(line.VertexHeading(0), 3.1, 1e-12);
    EXPECT_NEAR(line.VertexHeading(1), 0.0, 1e-12);
    EXPECT_NEAR(line.VertexHeading(2), -3.1, 1e-12);
    EXPECT_NEAR(line.VertexHeading(7), -3.1, 1e-12);
}

TEST_F(PolyLineTest, VertexNormalsAndRadiiDescribeTheTurns)
{
    const Core::PolyLine line = LShape();
    EXPECT_EQ(line.VertexNormal(0), Vec2(0, 1));
    // A left turn: the bisector points out of the corner, to the lower right.
    EXPECT_NEAR(line.VertexNormal(1).x, std::sqrt(0.5), 1e-15);
    EXPECT_NEAR(line.VertexNormal(1).y, -std::sqrt(0.5), 1e-15);
    EXPECT_EQ(line.VertexNormal(2), Vec2(-1, 0));
    EXPECT_EQ(MakeLine({Vec3(1, 1, 1)}).VertexNormal(0), Vec2(0, 0));

    // Points on a circle of radius 50: positive turning left, negative right.
    auto onCircle = [](double a) { return Vec3(50 * std::cos(a), 50 * std::sin(a), 0); };
    const Core::PolyLine left = MakeLine({onCircle(0.0), onCircle(0.3), onCircle(0.7)});
    const Core::PolyLine right = MakeLine({onCircle(0.7), onCircle(0.3), onCircle(0.0)});
    EXPECT_NEAR(left.VertexRadius(1), 50.0, 1e-9);
    EXPECT_NEAR(right.VertexRadius(1), -50.0, 1e-9);
    EXPECT_EQ(left.VertexRadius(0), kInfinity);
    EXPECT_EQ(left.VertexRadius(2), kInfinity);
    EXPECT_EQ(MakeLine({Vec3(0, 0, 0), Vec3(1, 0, 0), Vec3(3, 0, 0)}).VertexRadius(1), kInfinity);
}

TEST_F(PolyLineTest, AlongTrackPointsInterpolateAndExtrapolate)
{
    struct Case
    {
        double distance;
        bool onLine;
        unsigned int segment;
        Vec3 point;
    } cases[] = {
        {-5.0, false, 0, Vec3(-5, 0, 0)}, {0.0, true, 0, Vec3(0, 0, 0)},  {4.0, true, 0, Vec3(4, 0, 0)},
        {10.0, true, 1, Vec3(10, 0, 0)},  {15.0, true, 1, Vec3(10, 5, 0)}, {30.0, true, 1, Vec3(10, 20, 0)},
        {35.0, false, 1, Vec3(10, 25, 0)},
    };
    for (const Case& c : cases)
    {
        // A fresh line each time: the negative distance must not rely on an
        // earlier query having built the cache.
        const Core::PolyLine line = LShape();
        unsigned int segment = 99;
        Vec3 point;
        EXPECT_EQ(line.GetAlongTrack(c.distance, segment, point), c.onLine) << c.distance;
        EXPECT_EQ(segment, c.segment) << c.distance;
        EXPECT_EQ(point, c.point) << c.distance;
    }
    unsigned int segment = 99;
    Vec3 point(1, 1, 1);
    EXPECT_FALSE(MakeLine({Vec3(3, 3, 3)}).GetAlongTrack(0.0, segment, point));
    EXPECT_EQ(segment, 0u);
    EXPECT_EQ(point, Vec3(0, 0, 0));
}

TEST_F(PolyLineTest, AlongTrackPassesOverZeroLengthSegments)
{
    const Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 0, 0), Vec3(10, 10, 0)});
    unsigned int segment = 0;
    Vec3 point;
    EXPECT_TRUE(line.GetAlongTrack(10.0, segment, point));
    EXPECT_EQ(segment, 2u);
    EXPECT_EQ(point, Vec3(10, 0, 0));
    EXPECT_EQ(line.SegmentHeading(1), kPi / 2);
}

TEST_F(PolyLineTest, CoincidentPointsAreDroppedOnlyWhenAsked)
{
    Core::PolyLine line;
    line.AddPoint(Vec3(0, 0, 0), true);
    line.AddPoint(Vec3(0.05, 0.05, 0.05), true);
    EXPECT_EQ(line.GetPointCount(), 1u);
    line.AddPoint(Vec3(0.05, 0.05, 0.05), false);
    EXPECT_EQ(line.GetPointCount(), 2u);
    line.SetCoincidentThreshold(2.0);
    EXPECT_DOUBLE_EQ(line.GetCoincidentThreshold(), 2.0);
    line.AddPoint(Vec3(1, 1, 1), true);
    EXPECT_EQ(line.GetPointCount(), 2u);
    line.AddPoint(Vec3(2, 2, 2), true);
    EXPECT_EQ(line.GetPointCount(), 3u);
}

TEST_F(PolyLineTest, NearestPointIsSignedAndPrefersTheEarlierCandidate)
{
    const Core::PolyLine line = LShape();
    struct Case
    {
        Vec3 position;
        unsigned int segment;
        double distance;
        double alongTrack;
        Vec3 nearest;
    } cases[] = {
        {Vec3(5, 3, 0), 0, 3.0, 5.0, Vec3(5, 0, 0)},     // left of the first segment
        {Vec3(5, -3, 0), 0, -3.0, 5.0, Vec3(5, 0, 0)},   // right of it
        {Vec3(7, 12, 0), 1, 3.0, 22.0, Vec3(10, 12, 0)}, // left of the second
        {Vec3(12, 0, 0), 0, -2.0, 10.0, Vec3(10, 0, 0)}, // level with the corner: the earlier segment's end
        {Vec3(-3, -4, 0), 0, -5.0, 0.0, Vec3(0, 0, 0)},  // before the start
        {Vec3(10, 26, 0), 1, -6.0, 30.0, Vec3(10, 20, 0)},
    };
    for (const Case& c : cases)
    {
        const Nearest n = FindNearest(line, c.position);
        ASSERT_TRUE(n.found);
        EXPECT_EQ(n.segment, c.segment) << c.position.x << ", " << c.position.y;
        EXPECT_DOUBLE_EQ(n.distance, c.distance) << c.position.x << ", " << c.position.y;
        EXPECT_DOUBLE_EQ(n.alongTrack, c.alongTrack) << c.position.x << ", " << c.position.y;
        EXPECT_EQ(n.point, c.nearest) << c.position.x << ", " << c.position.y;
    }
    // On the line: not strictly left, so the distance carries a minus sign.
    EXPECT_TRUE(std::signbit(FindNearest(line, Vec3(4, 0, 0)).distance));
    EXPECT_FALSE(FindNearest(MakeLine({Vec3(1, 1, 1)}), Vec3(0, 0, 0)).found);
}

// The search against the smallest distance to any segment, by brute force,
// over random lines and positions.
TEST_F(PolyLineTest, NearestPointAgreesWithBruteForce)
{
    std::mt19937 random(77u);
    std::uniform_real_distribution<double> coordinate(-100.0, 100.0);
    for (int lineIndex = 0; lineIndex < 20; ++lineIndex)
    {
        std::vector<Vec3> p;
        for (int i = 0; i < 2 + lineIndex * 3; ++i)
            p.push_back(Vec3(coordinate(random), coordinate(random), 0.05 * coordinate(random)));
        const Core::PolyLine line = MakeLine(p);
        for (int k = 0; k < 200; ++k)
        {
            const Vec3 position(coordinate(random), coordinate(random), 0.05 * coordinate(random));
            double best = kInfinity;
            for (size_t j = 0; j + 1 < p.size(); ++j)
                best = std::min(best, SegmentDistance(p[j], p[j + 1], position));
            const Nearest n = FindNearest(line, position);
            ASSERT_TRUE(n.found);
            EXPECT_NEAR(std::fabs(n.distance), best, 1e-9);
            EXPECT_NEAR((n.point - position).Length(), best, 1e-9);
            EXPECT_NEAR(SegmentDistance(p[n.segment], p[n.segment + 1], n.point), 0.0, 1e-9);
            // The along-track distance leads back to the nearest point.
            unsigned int segment = 0;
            Vec3 again;
            line.GetAlongTrack(n.alongTrack, segment, again);
            EXPECT_NEAR((again - n.point).Length(), 0.0, 1e-9);
            const double cross = (p[n.segment + 1].x - p[n.segment].x) * (position.y - p[n.segment].y) -
                                 (p[n.segment + 1].y - p[n.segment].y) * (position.x - p[n.segment].x);
            EXPECT_EQ(n.distance > 0, cross > 0);
        }
    }
}

TEST_F(PolyLineTest, WindowedSearchScoresOnlyTheWindow)
{
    std::vector<Vec3> p;
    for (int i = 0; i < 1000; ++i)
        p.push_back(Vec3(i, 0, 0));
    const Core::PolyLine line = MakeLine(p);
    CountingScore counter;
    ScoreFunctor::Method<CountingScore> score(&counter, &CountingScore::Score);
    unsigned int segment = 0;
    double distance = 0, alongTrack = 0;
    Vec3 nearest;
    // The window's start vertex plus one candidate per segment.
    EXPECT_DOUBLE_EQ(line.DistanceToNearest(500, 510, Vec3(0, 3, 0), &score, segment, distance, alongTrack, nearest),
                     std::hypot(499.0, 3.0));
    EXPECT_EQ(counter.calls, 11);
    EXPECT_EQ(segment, 499u);
    counter.calls = 0;
    line.DistanceToNearest(0, 1000, Vec3(0, 3, 0), &score, segment, distance, alongTrack, nearest);
    EXPECT_EQ(counter.calls, 1000);
    EXPECT_EQ(segment, 0u);
}

// A field pass and its return 4 m to the side: a vehicle heading back west is
// matched to the return leg by its score even though the outward leg is closer.
TEST_F(PolyLineTest, ScoreCallbackChoosesBetweenCandidates)
{
    const Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(100, 0, 0), Vec3(100, 4, 0), Vec3(0, 4, 0)});
    HeadingScore westward(kPi);
    ScoreFunctor::Method<HeadingScore> score(&westward, &HeadingScore::Score);
    unsigned int segment = 0;
    double distance = 0, alongTrack = 0;
    Vec3 nearest;
    const double best =
        line.DistanceToNearest(0, line.GetPointCount(), Vec3(50, 1, 0), &score, segment, distance, alongTrack, nearest);
    EXPECT_EQ(segment, 2u);
    EXPECT_DOUBLE_EQ(distance, 3.0);
    EXPECT_DOUBLE_EQ(alongTrack, 154.0);
    EXPECT_DOUBLE_EQ(best, 3.0);
    EXPECT_EQ(FindNearest(line, Vec3(50, 1, 0)).segment, 0u);
}

TEST_F(PolyLineTest, RecordingAppendsToTheCacheWithoutRebuilding)
{
    Core::PolyLine line;
    line.ReservePointCount(100000);
    line.AddPoint(Vec3(0, 0, 0), true);
    line.AddPoint(Vec3(0.5, 0, 0), true);
    EXPECT_EQ(line.Length(), 0.5);
    const unsigned long rebuilds = line.GetSegmentCacheRebuildCount();
    double expected = 0.5;
    for (int i = 2; i < 100000; ++i)
    {
        // A weaving drive, 0.5 m between fixes, queried after every fix.
        const Vec3 next(0.5 * i, std::sin(i * 0.01), 0.0);
        expected += (next - line.GetPoints().back()).Length();
        line.AddPoint(next, true);
        ASSERT_NEAR(line.Length(), expected, 1e-6 * expected) << i;
    }
    EXPECT_EQ(line.GetPointCount(), 100000u);
    EXPECT_EQ(line.GetSegmentCacheRebuildCount(), rebuilds);
    unsigned int segment = 0;
    double distance = 0, alongTrack = 0;
    Vec3 nearest;
    line.DistanceToNearest(Vec3(25000.2, 3, 0), segment, distance, alongTrack, nearest);
    EXPECT_EQ(segment, 50000u);
    EXPECT_EQ(line.GetSegmentCacheRebuildCount(), rebuilds);
}

TEST_F(PolyLineTest, TrimBackToTruncatesInPlace)
{
    Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 20, 0), Vec3(-30, 20, 0)});
    EXPECT_EQ(line.Length(), 70.0);
    const unsigned long rebuilds = line.GetSegmentCacheRebuildCount();
    line.TrimBackTo(4, true);
    EXPECT_EQ(line.GetPointCount(), 4u);
    line.TrimBackTo(3, false);
    EXPECT_EQ(line.Length(), 30.0);
    EXPECT_EQ(line.SegmentLength(2), 0.0);
    EXPECT_EQ(line.GetSegmentCacheRebuildCount(), rebuilds);
    // Without recalculation the box still covers the dropped point.
    EXPECT_EQ(line.GetBounds().GetMin().x, -30.0);
    line.TrimBackTo(2, true);
    EXPECT_EQ(line.GetBounds().GetMin().x, 0.0);
    EXPECT_EQ(line.Length(), 10.0);
    line.AddPoint(Vec3(10, 5, 0), true);
    EXPECT_EQ(line.Length(), 15.0);
    line.TrimBackTo(1, false);
    EXPECT_EQ(line.Length(), 0.0);
    EXPECT_EQ(line.GetBounds().GetMax(), Vec3(0, 0, 0));
}

TEST_F(PolyLineTest, EditGrowsTheBoundsUnlessRecalculated)
{
    Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 20, 0)});
    EXPECT_EQ(line.Length(), 30.0);
    line.Edit(2, Vec3(10, 5, 0), false);
    EXPECT_EQ(line.Length(), 15.0);
    EXPECT_EQ(line.GetBounds().GetMax().y, 20.0);
    line.Edit(2, Vec3(10, 4, 0), true);
    EXPECT_EQ(line.GetBounds().GetMax().y, 4.0);
    EXPECT_EQ(line.Length(), 14.0);
    line.ResetToEmpty();
    EXPECT_EQ(line.GetPointCount(), 0u);
    EXPECT_GT(line.GetBounds().GetMin().x, line.GetBounds().GetMax().x);
}

// With a loop span, a new segment crossing a recent one cuts the loop out:
// (5,10) -> (5,-5) crosses the first segment at (5,0).
TEST_F(PolyLineTest, LoopSpanCutsOutTheLoopANewPointCloses)
{
    const std::vector<Vec3> square = {Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 10, 0), Vec3(5, 10, 0)};
    Core::PolyLine line;
    line.SetLoopSpan(10);
    for (const Vec3& p : square)
        line.AddPoint(p, true);
    ASSERT_EQ(line.GetPointCount(), 4u);
    line.AddPoint(Vec3(5, -5, 0), true);
    ASSERT_EQ(line.GetPointCount(), 3u);
    EXPECT_EQ(line.GetPoints()[1], Vec3(5, 0, 0));
    EXPECT_EQ(line.GetPoints()[2], Vec3(5, -5, 0));
    EXPECT_EQ(line.Length(), 10.0);

    // A span of 2 reaches back only to the segment ending at the last point,
    // which does not cross: the loop stays.
    Core::PolyLine shortSpan;
    shortSpan.SetLoopSpan(2);
    for (const Vec3& p : square)
        shortSpan.AddPoint(p, true);
    shortSpan.AddPoint(Vec3(5, -5, 0), true);
    EXPECT_EQ(shortSpan.GetPointCount(), 5u);
}

// The segments of points dropped by a loop cut stay in a valid cache.
TEST_F(PolyLineTest, LoopCutKeepsTheDroppedSegmentsInAValidCache)
{
    Core::PolyLine line;
    line.SetLoopSpan(10);
    // Each new segment turns, so the segment ending at the last point touches
    // it at their shared vertex; with these coordinates the touch is exact
    // and the last point is replaced by itself, its segment appended again.
    line.AddPoint(Vec3(0, 0, 0), true);
    line.AddPoint(Vec3(10, 0, 0), true);
    EXPECT_EQ(line.Length(), 10.0);
    line.AddPoint(Vec3(10, 10, 0), true);
    EXPECT_EQ(line.GetPointCount(), 3u);
    EXPECT_EQ(line.Length(), 30.0);
    // A full rebuild forgets them.
    line.Edit(2, Vec3(10, 10, 0), false);
    EXPECT_EQ(line.Length(), 20.0);
}

TEST_F(PolyLineTest, ColinearPointsAreTrimmedByDouglasPeucker)
{
    // A zigzag whose middle bump (0.3 m) exceeds the tolerance and whose other
    // points stay within 0.2 m of the chords to the bump.
    Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(10, 0.05, 0), Vec3(20, 0, 0), Vec3(30, 0.3, 0),
                                    Vec3(40, 0, 0), Vec3(50, -0.05, 0), Vec3(60, 0, 0)});
    line.TrimColinear(0.25);
    ASSERT_EQ(line.GetPointCount(), 3u);
    EXPECT_EQ(line.GetPoints()[1], Vec3(30, 0.3, 0));
    EXPECT_EQ(line.Length(), 2 * std::hypot(30.0, 0.3));

    // A closed square traced with extra edge points keeps its corners and the
    // repeated first point: the reduction runs to the point before the repeat.
    Core::PolyLine square = MakeLine({Vec3(0, 0, 0), Vec3(5, 0, 0), Vec3(10, 0, 0), Vec3(10, 5, 0), Vec3(10, 10, 0),
                                      Vec3(0, 10, 0), Vec3(0, 0, 0)});
    square.TrimColinear(0.1);
    const std::vector<Vec3> corners = {Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(10, 10, 0), Vec3(0, 10, 0), Vec3(0, 0, 0)};
    EXPECT_EQ(square.GetPoints(), corners);
}

// Control points of a planar Bezier curve of degree count-1 evaluated by de
// Casteljau, for derivatives by finite differences.
double DeCasteljau(const double* c, int count, double t)
{
    std::vector<double> v(c, c + count);
    for (int r = count - 1; r > 0; --r)
        for (int i = 0; i < r; ++i)
            v[i] = (1 - t) * v[i] + t * v[i + 1];
    return v[0];
}

// First and second derivatives of that curve by central differences.
struct Derivatives
{
    double first;
    double second;
};

Derivatives FiniteDifferences(const double* c, int count, double t)
{
    const double h = 1e-4;
    const double f0 = DeCasteljau(c, count, t - h), f1 = DeCasteljau(c, count, t), f2 = DeCasteljau(c, count, t + h);
    return {(f2 - f0) / (2 * h), (f2 - 2 * f1 + f0) / (h * h)};
}

TEST_F(PolyLineTest, BezierDerivativesMatchFiniteDifferences)
{
    const double c[] = {1.0, -2.0, 4.5, 3.0, -1.0};
    for (int count = 2; count <= 5; ++count)
        for (double t : {0.0, 0.25, 0.5, 0.8, 1.0})
        {
            const Derivatives expected = FiniteDifferences(c, count, t);
            EXPECT_NEAR(Core::getDiff1(t, c, count), expected.first, 1e-6) << count << " " << t;
            EXPECT_NEAR(Core::getDiff2(t, c, count), expected.second, 1e-4) << count << " " << t;
        }
    EXPECT_EQ(Core::getDiff1(0.3, c, 1), 1.0);
    EXPECT_EQ(Core::getDiff1(0.3, c, 6), 0.0);
    EXPECT_EQ(Core::getDiff1(0.3, c, 5), Core::getDiff1(0.3, c));
}

TEST_F(PolyLineTest, CurvatureTrimDropsStraightPointsAndKeepsBends)
{
    std::vector<Vec3> straight;
    for (int i = 0; i < 10; ++i)
        straight.push_back(Vec3(2.0 * i, 1.0 * i, 0));
    Core::PolyLine line = MakeLine(straight);
    line.TrimColinearByCurvature(0.01, 1e-9);
    EXPECT_EQ(line.GetPointCount(), 2u);

    // An arc of radius 20 (curvature 0.05), a vertex every 2 m.
    std::vector<Vec3> arc;
    for (int i = 0; i < 9; ++i)
        arc.push_back(Vec3(20 * std::cos(0.1 * i), 20 * std::sin(0.1 * i), 0));
    Core::PolyLine bend = MakeLine(arc);
    bend.TrimColinearByCurvature(1.0, 0.01);
    EXPECT_EQ(bend.GetPointCount(), 9u);
    bend.TrimColinearByCurvature(1.0, 0.1);
    EXPECT_EQ(bend.GetPointCount(), 2u);
}

// Four points: one cubic through them, and the curvature at u = 2/3 judges
// point 1 while point 2 is judged by distance alone.
TEST_F(PolyLineTest, CurvatureOfShortLinesIsStoredOnePlaceLow)
{
    const double x[] = {0, 10, 20, 20}, y[] = {0, 0, 0, 10};
    auto curvature = [&](double u) {
        const Derivatives dx = FiniteDifferences(x, 4, u), dy = FiniteDifferences(y, 4, u);
        return std::fabs(dx.first * dy.second - dx.second * dy.first) /
               std::pow(dx.first * dx.first + dy.first * dy.first, 1.5);
    };
    const double atPoint1 = curvature(1.0 / 3), atPoint2 = curvature(2.0 / 3);
    ASSERT_LT(atPoint1, atPoint2);
    const std::vector<Vec3> p = {Vec3(0, 0, 0), Vec3(10, 0, 0), Vec3(20, 0, 0), Vec3(20, 10, 0)};
    // Point 1 lies on its chord; a tolerance between the two curvatures keeps it.
    Core::PolyLine line = MakeLine(p);
    line.TrimColinearByCurvature(0.1, 0.5 * (atPoint1 + atPoint2));
    EXPECT_EQ(line.GetPointCount(), 4u);
    line.TrimColinearByCurvature(0.1, 1.01 * atPoint2);
    EXPECT_EQ(line.GetPointCount(), 3u);
    // Point 2 sits 7.07 m off its chord, whatever the curvature tolerance.
    Core::PolyLine farOff = MakeLine(p);
    farOff.TrimColinearByCurvature(7.0, 0.0);
    EXPECT_EQ(farOff.GetPointCount(), 4u);
    farOff.TrimColinearByCurvature(7.1, 0.0);
    EXPECT_EQ(farOff.GetPointCount(), 3u);
}

TEST_F(PolyLineTest, SettingsSurviveResetAndInitialiseRestoresDefaults)
{
    Core::PolyLine line = LShape();
    line.SetLoopSpan(5);
    line.SetOffsetLoopSpan(7);
    line.SetMaximumParallelOffset(20.0);
    line.SetCoincidentThreshold(1.0);
    line.ResetToEmpty();
    EXPECT_EQ(line.GetLoopSpan(), 5u);
    EXPECT_EQ(line.GetOffsetLoopSpan(), 7u);
    EXPECT_EQ(line.GetMaximumParallelOffset(), 20.0);
    line.AddPoint(Vec3(1, 2, 3), true);
    line.Initialise();
    EXPECT_EQ(line.GetPointCount(), 1u);
    EXPECT_EQ(line.GetLoopSpan(), 0u);
    EXPECT_EQ(line.GetOffsetLoopSpan(), 0u);
    EXPECT_EQ(line.GetMaximumParallelOffset(), 10000.0);
    EXPECT_DOUBLE_EQ(line.GetCoincidentThreshold(), 0.1);
}

} // namespace
