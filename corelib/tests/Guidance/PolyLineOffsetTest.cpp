// Parallel offset lines checked against plane geometry and against an
// independent geometry library (GEOS, where the build provides it).
#include "Guidance/PolyLine.h"
#include "GuidanceLines.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#ifdef CORELIB_TEST_HAVE_GEOS
#include <geos_c.h>
#endif

using namespace GuidanceTest;

namespace
{

const double kTolerance = 1e-6;

class PolyLineOffsetTest : public ::testing::Test
{
protected:
    // Offset distances from -limit to +limit, 0 included.
    static std::vector<double> Distances(double limit)
    {
        std::vector<double> d;
        for (double f : {-1.0, -0.7, -0.4, -0.15, -0.02, 0.0, 0.02, 0.15, 0.4, 0.7, 1.0})
            d.push_back(f * limit);
        return d;
    }

    // The smallest |right distance - d| of q from the lines of the original segments.
    static double MisfitToSomeSegmentLine(const std::vector<Vec3>& p, const Vec3& q, double d)
    {
        double best = std::numeric_limits<double>::infinity();
        for (size_t j = 0; j + 1 < p.size(); ++j)
            best = std::min(best, std::fabs(RightDistance(p[j], p[j + 1], q) - d));
        return best;
    }
};

TEST_F(PolyLineOffsetTest, StraightLineOffsetsLieOnTheRightForPositiveDistances)
{
    Core::PolyLine line = MakeLine({Vec3(0, 0, 5), Vec3(100, 0, 7)});
    const Core::PolyLine right = line.Offset(5.0);
    ASSERT_EQ(right.GetPointCount(), 2u);
    EXPECT_EQ(right.GetPoints()[0], Vec3(0, -5, 0));
    EXPECT_EQ(right.GetPoints()[1], Vec3(100, -5, 0));
    const Core::PolyLine left = line.Offset(-5.0);
    ASSERT_EQ(left.GetPointCount(), 2u);
    EXPECT_EQ(left.GetPoints()[0], Vec3(0, 5, 0));
    EXPECT_EQ(left.GetPoints()[1], Vec3(100, 5, 0));
}

// For every realistic line and every d short of its first collapse, vertex i of
// Offset(d) comes from vertex i and lies at signed distance d (right positive)
// from the lines of both segments meeting there; Offset(0) is the line itself.
TEST_F(PolyLineOffsetTest, VerticesKeepTheirDistanceFromBothAdjoiningSegmentsBeforeAnyCollapse)
{
    for (const GuidanceLine& g : RealisticLines())
    {
        const Core::PolyLine line = MakeLine(g.points);
        const std::vector<Vec3>& p = g.points;
        for (double d : Distances(g.safeOffset))
        {
            SCOPED_TRACE(g.name + " at d = " + std::to_string(d));
            const Core::PolyLine offset = line.Offset(d);
            ASSERT_EQ(offset.GetPointCount(), p.size());
            for (size_t i = 0; i < p.size(); ++i)
            {
                const Vec3& q = offset.GetPoints()[i];
                EXPECT_EQ(q.z, 0.0);
                if (i > 0)
                {
                    EXPECT_NEAR(RightDistance(p[i - 1], p[i], q), d, kTolerance) << "vertex " << i;
                }
                if (i + 1 < p.size())
                {
                    EXPECT_NEAR(RightDistance(p[i], p[i + 1], q), d, kTolerance) << "vertex " << i;
                }
                if (d == 0.0)
                {
                    EXPECT_EQ(q.x, p[i].x);
                    EXPECT_EQ(q.y, p[i].y);
                }
            }
        }
    }
}

// Up to the tightest turn radius of each line, vertices may have collapsed and
// been replaced, but every vertex still lies at signed distance d from the line
// of some original segment, no closer than |d| to any original segment, and
// successive points stay at least 0.1 apart.
TEST_F(PolyLineOffsetTest, OffsetsUpToTheTightestRadiusStayAtTheOffsetDistance)
{
    for (const GuidanceLine& g : RealisticLines())
    {
        const Core::PolyLine line = MakeLine(g.points);
        const std::vector<Vec3>& p = g.points;
        double tightest = 1000.0;
        for (unsigned int i = 1; i + 1 < p.size(); ++i)
            tightest = std::min(tightest, std::fabs(line.VertexRadius(i)));
        for (double d : Distances(0.95 * tightest))
        {
            SCOPED_TRACE(g.name + " at d = " + std::to_string(d));
            const std::vector<Vec3> q = line.Offset(d).GetPoints();
            ASSERT_GE(q.size(), 2u);
            for (size_t i = 0; i < q.size(); ++i)
            {
                EXPECT_LT(MisfitToSomeSegmentLine(p, q[i], d), kTolerance) << "vertex " << i;
                // The ends of a closed line start beside its other end's segment,
                // and past the first collapse a reflex corner may run into a
                // segment that is not its neighbour (no such events are made).
                if (i == 0 || i + 1 == q.size() || std::fabs(d) > g.safeOffset)
                    continue;
                const Vec3 flat(q[i].x, q[i].y, 0.0);
                for (size_t j = 0; j + 1 < p.size(); ++j)
                {
                    const Vec3 a(p[j].x, p[j].y, 0.0), b(p[j + 1].x, p[j + 1].y, 0.0);
                    ASSERT_GE(SegmentDistance(a, b, flat), std::fabs(d) - kTolerance) << "vertex " << i;
                }
                if (i > 0)
                {
                    EXPECT_GE(std::hypot(q[i].x - q[i - 1].x, q[i].y - q[i - 1].y), 0.1);
                }
            }
        }
    }
}

// A corner cut by a short chamfer: 100 m east, a 12.8 m chamfer, then 92 m
// north. On the left (inside) the chamfer vanishes at 12.8 / (tan 19.3 + tan 25.7)
// = 15.4 m; beyond that its two vertices are gone and one vertex carries the
// corner, at d from both long edges, instead of a crossed bow-tie.
TEST_F(PolyLineOffsetTest, CollapsedCornerVerticesAreDroppedWithoutSelfCrossing)
{
    const Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(100, 0, 0), Vec3(110, 8, 0), Vec3(110, 100, 0)});
    EXPECT_EQ(line.Offset(-10.0).GetPointCount(), 4u);
    for (double d : {-20.0, -40.0})
    {
        SCOPED_TRACE(d);
        const std::vector<Vec3> q = line.Offset(d).GetPoints();
        ASSERT_EQ(q.size(), 3u);
        EXPECT_NEAR(q[0].x, 0.0, kTolerance);
        EXPECT_NEAR(q[0].y, -d, kTolerance);
        EXPECT_NEAR(q[1].x, 110.0 + d, kTolerance);
        EXPECT_NEAR(q[1].y, -d, kTolerance);
        EXPECT_NEAR(q[2].x, 110.0 + d, kTolerance);
        EXPECT_NEAR(q[2].y, 100.0, kTolerance);
    }
    // On the outside nothing collapses: the chamfer is kept, mitred at both ends.
    const std::vector<Vec3> outside = line.Offset(30.0).GetPoints();
    ASSERT_EQ(outside.size(), 4u);
    EXPECT_TRUE(SelfCrossings(outside).empty());
}

// The field boundary's inside: past the first collapse (73 m) the vanished
// edge's corners are replaced, and the offset line does not cross itself there.
TEST_F(PolyLineOffsetTest, FieldBoundaryCornersCollapseCleanly)
{
    const GuidanceLine g = FieldBoundary();
    const Core::PolyLine line = MakeLine(g.points);
    const std::vector<Vec3> q = line.Offset(74.0).GetPoints();
    EXPECT_EQ(q.size(), g.points.size() - 1);
    // Only the corners around the reflex vertex may run into the far side at
    // this depth; the segments made from the collapse (ends of the line) may not.
    for (const auto& crossing : SelfCrossings(q))
        EXPECT_FALSE(crossing.first >= 3 && crossing.second <= 5) << crossing.first << " x " << crossing.second;
}

TEST_F(PolyLineOffsetTest, OffsetVertexRangesIncludeBothEnds)
{
    Core::PolyLine::sVertex v(Vec2(1, 2), -3.0, 4.0);
    v.bisector = Vec2(0.5, -1.0);
    v.baseDistance = 2.0;
    EXPECT_TRUE(v.AtDistance(-3.0));
    EXPECT_TRUE(v.AtDistance(4.0));
    EXPECT_FALSE(v.AtDistance(std::nextafter(4.0, 5.0)));
    EXPECT_FALSE(v.AtDistance(std::nextafter(-3.0, -4.0)));
    EXPECT_EQ(v.BisectorAtDistance(4.0), Vec2(2, 0));
}

// The chamfer's two vertices end on the inside where their rays meet, and the
// vertex inserted there starts at the same distance, so the offset line is
// continuous through the collapse.
TEST_F(PolyLineOffsetTest, CollapseReplacesTwoVerticesByOneAtTheSameDistance)
{
    const Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(100, 0, 0), Vec3(110, 8, 0), Vec3(110, 100, 0)});
    const double turnB = std::atan2(8.0, 10.0);
    const double turnC = kPi / 2 - turnB;
    const double collapse = -std::sqrt(164.0) / (std::tan(turnB / 2) + std::tan(turnC / 2));
    const std::vector<Core::PolyLine::sVertex>& v = line.GetOffsetVerticies();
    ASSERT_EQ(v.size(), 5u);
    EXPECT_NEAR(v[1].minDistance, collapse, 1e-9);
    EXPECT_EQ(v[1].maxDistance, 10000.0);
    // The corner vertex made by the collapse runs into the last end's ray where
    // 110 + d (its x) meets -d (its y) = 100.
    EXPECT_EQ(v[2].minDistance, -100.0);
    EXPECT_EQ(v[2].maxDistance, v[1].minDistance);
    EXPECT_EQ(v[3].minDistance, v[1].minDistance);
    EXPECT_NEAR(v[1].BisectorAtDistance(collapse).x, v[2].BisectorAtDistance(collapse).x, 1e-9);
    EXPECT_NEAR(v[3].BisectorAtDistance(collapse).y, v[2].BisectorAtDistance(collapse).y, 1e-9);
}

// Three rays meeting at the origin: the same line elsewhere has its middle
// vertex end where the rays meet, but at the origin the meeting is taken for
// parallel rays and the middle vertex never ends.
TEST_F(PolyLineOffsetTest, RaysMeetingExactlyAtTheOriginMakeNoEvent)
{
    const Core::PolyLine atOrigin = MakeLine({Vec3(-10, 10, 0), Vec3(0, 20, 0), Vec3(10, 10, 0)});
    const Core::PolyLine shifted = MakeLine({Vec3(990, 1010, 0), Vec3(1000, 1020, 0), Vec3(1010, 1010, 0)});
    ASSERT_EQ(atOrigin.GetOffsetVerticies().size(), 3u);
    EXPECT_EQ(atOrigin.GetOffsetVerticies()[1].maxDistance, 10000.0);
    ASSERT_EQ(shifted.GetOffsetVerticies().size(), 3u);
    EXPECT_NEAR(shifted.GetOffsetVerticies()[1].maxDistance, 10.0 * std::sqrt(2.0), 1e-9);
}

TEST_F(PolyLineOffsetTest, MaximumParallelOffsetBoundsEveryRange)
{
    Core::PolyLine line = MakeLine(GentleCurve().points);
    line.SetMaximumParallelOffset(50.0);
    for (const Core::PolyLine::sVertex& v : line.GetOffsetVerticies())
    {
        EXPECT_GE(v.minDistance, -50.0);
        EXPECT_LE(v.maxDistance, 50.0);
    }
    EXPECT_EQ(line.Offset(60.0).GetPointCount(), 0u);
    EXPECT_EQ(line.Offset(50.0).GetPointCount(), 61u);
}

// A hook: 100 m east, 50 north, 50 west, 45 south. 20 m inside (left), before
// any edge vanishes, the last leg's offset (x = 70) runs down across the first
// leg's (y = 20): the two are not neighbours, so only the offset loop cut
// removes the loop, at (70, 20).
TEST_F(PolyLineOffsetTest, OffsetLoopSpanCutsTheLoopOfAnInsideOffset)
{
    Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(100, 0, 0), Vec3(100, 50, 0), Vec3(50, 50, 0), Vec3(50, 5, 0)});
    const std::vector<Vec3> looped = line.Offset(-20.0).GetPoints();
    ASSERT_EQ(looped.size(), 5u);
    EXPECT_FALSE(SelfCrossings(looped).empty());
    // The span counts the collected segments back from the newest, which is
    // never tested: 4 reaches the first leg.
    line.SetOffsetLoopSpan(4);
    const std::vector<Vec3> cut = line.Offset(-20.0).GetPoints();
    ASSERT_EQ(cut.size(), 3u);
    const Vec3 expected[] = {Vec3(0, 20, 0), Vec3(70, 20, 0), Vec3(70, 5, 0)};
    for (size_t i = 0; i < 3; ++i)
    {
        EXPECT_NEAR(cut[i].x, expected[i].x, kTolerance) << i;
        EXPECT_NEAR(cut[i].y, expected[i].y, kTolerance) << i;
    }
    // A span too short to reach back to the first leg leaves the loop.
    line.SetOffsetLoopSpan(3);
    EXPECT_EQ(line.Offset(-20.0).GetPointCount(), 5u);
}

// The apex of a hairpin symmetric about x = 3: its three vertices meet in one
// point at the same distance, which leaves arms of rounding noise; the vertex
// carrying on from there still points down the middle, and the offset beyond
// stays on the legs' offset lines without crossing itself.
TEST_F(PolyLineOffsetTest, SimultaneousCollapseInOnePointCarriesOnDownTheMiddle)
{
    const std::vector<Vec3> hairpin = {Vec3(-2, 0, 0), Vec3(0, 100, 0), Vec3(3, 104, 0), Vec3(6, 100, 0),
                                       Vec3(8, 0, 0)};
    const Core::PolyLine line = MakeLine(hairpin);
    for (const Core::PolyLine::sVertex& v : line.GetOffsetVerticies())
    {
        EXPECT_TRUE(std::isfinite(v.bisector.x) && std::isfinite(v.bisector.y));
        EXPECT_TRUE(std::isfinite(v.minDistance) && std::isfinite(v.maxDistance));
    }
    const std::vector<Vec3> q = line.Offset(4.0).GetPoints();
    ASSERT_EQ(q.size(), 3u);
    EXPECT_NEAR(q[1].x, 3.0, 1e-6);
    EXPECT_TRUE(SelfCrossings(q).empty());
    for (const Vec3& v : q)
        EXPECT_LT(MisfitToSomeSegmentLine(hairpin, v, 4.0), kTolerance);
}

TEST_F(PolyLineOffsetTest, ConstructionFollowsChangesToThePoints)
{
    Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(10, 0, 0)});
    EXPECT_EQ(line.GetOffsetVerticies().size(), 2u);
    line.AddPoint(Vec3(20, 0, 0), true);
    EXPECT_EQ(line.GetOffsetVerticies().size(), 3u);
    line.Edit(2, Vec3(20, 10, 0), false);
    EXPECT_NEAR(line.Offset(1.0).GetPoints()[2].x, 20.0 + std::sqrt(0.5), kTolerance);
    line.TrimBackTo(1, false);
    ASSERT_EQ(line.GetOffsetVerticies().size(), 1u);
    EXPECT_EQ(line.Offset(3.0).GetPoints()[0], Vec3(0, 0, 0));
}

#ifdef CORELIB_TEST_HAVE_GEOS
// The mitred single-sided offset curve of the GEOS C API, as 3-D points.
std::vector<Vec3> GeosOffset(const std::vector<Vec3>& points, double leftDistance)
{
    GEOSContextHandle_t geos = GEOS_init_r();
    GEOSCoordSequence* sequence = GEOSCoordSeq_create_r(geos, static_cast<unsigned int>(points.size()), 2);
    for (unsigned int i = 0; i < points.size(); ++i)
        GEOSCoordSeq_setXY_r(geos, sequence, i, points[i].x, points[i].y);
    GEOSGeometry* line = GEOSGeom_createLineString_r(geos, sequence);
    GEOSGeometry* offset = GEOSOffsetCurve_r(geos, line, leftDistance, 8, GEOSBUF_JOIN_MITRE, 1000.0);
    std::vector<Vec3> result;
    if (offset != nullptr && GEOSGeomTypeId_r(geos, offset) == GEOS_LINESTRING)
    {
        const GEOSCoordSequence* out = GEOSGeom_getCoordSeq_r(geos, offset);
        unsigned int size = 0;
        GEOSCoordSeq_getSize_r(geos, out, &size);
        for (unsigned int i = 0; i < size; ++i)
        {
            double x = 0, y = 0;
            GEOSCoordSeq_getXY_r(geos, out, i, &x, &y);
            result.push_back(Vec3(x, y, 0));
        }
    }
    if (offset != nullptr)
        GEOSGeom_destroy_r(geos, offset);
    GEOSGeom_destroy_r(geos, line);
    GEOS_finish_r(geos);
    return result;
}
#endif

// GEOS offsets to the left for positive distances; ours to the right.
TEST_F(PolyLineOffsetTest, MitredOffsetOfGentleCurveMatchesGeos)
{
#ifndef CORELIB_TEST_HAVE_GEOS
    GTEST_SKIP() << "GEOS is not available for this target's sysroot, so there is nothing to compare with";
#else
    const GuidanceLine g = GentleCurve();
    const Core::PolyLine line = MakeLine(g.points);
    for (double d : {-12.0, -3.0, 3.0, 12.0})
    {
        SCOPED_TRACE(d);
        std::vector<Vec3> expected = GeosOffset(g.points, -d);
        const std::vector<Vec3> actual = line.Offset(d).GetPoints();
        ASSERT_EQ(actual.size(), expected.size());
        // Some GEOS versions return right-hand offsets reversed.
        if (std::hypot(expected.front().x - actual.front().x, expected.front().y - actual.front().y) > 1.0)
            std::reverse(expected.begin(), expected.end());
        for (size_t i = 0; i < actual.size(); ++i)
        {
            EXPECT_NEAR(actual[i].x, expected[i].x, kTolerance) << "vertex " << i;
            EXPECT_NEAR(actual[i].y, expected[i].y, kTolerance) << "vertex " << i;
        }
    }
#endif
}

} // namespace
