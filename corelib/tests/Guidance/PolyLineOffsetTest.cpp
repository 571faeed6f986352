// Parallel offset lines checked against plane geometry and against an
// independent geometry library (GEOS, where the build provides it).
#include "Guidance/PolyLine.h"
#include "GuidanceLines.h"

#include <gtest/gtest.h>

#include <algorithm>
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
        for (double f : {-1.0, -0.6, -0.2, -0.02, 0.0, 0.02, 0.2, 0.6, 1.0})
            d.push_back(f * limit);
        return d;
    }

    static void ExpectPlanePoint(const Vec3& actual, double x, double y)
    {
        EXPECT_NEAR(actual.x, x, kTolerance);
        EXPECT_NEAR(actual.y, y, kTolerance);
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

// Short of its first collapse, vertex i of Offset(d) lies at signed distance d
// (right positive) from the lines of both segments meeting at vertex i, with
// height 0; Offset(0) is the line itself in x and y.
TEST_F(PolyLineOffsetTest, VerticesKeepTheirDistanceFromBothAdjoiningSegmentsBeforeAnyCollapse)
{
    for (const GuidanceLine& g : RealisticLines())
    {
        const Core::PolyLine line = MakeLine(g.points);
        const std::vector<Vec3>& p = g.points;
        for (double d : Distances(g.safeOffset))
        {
            SCOPED_TRACE(g.name + " at d = " + std::to_string(d));
            const std::vector<Vec3> q = line.Offset(d).GetPoints();
            ASSERT_EQ(q.size(), p.size());
            for (size_t i = 0; i < p.size(); ++i)
            {
                EXPECT_EQ(q[i].z, 0.0);
                EXPECT_NEAR(RightDistance(p[i > 0 ? i - 1 : 0], p[i > 0 ? i : 1], q[i]), d, kTolerance) << i;
                EXPECT_NEAR(RightDistance(p[i + 1 < p.size() ? i : i - 1], p[i + 1 < p.size() ? i + 1 : i], q[i]),
                            d, kTolerance)
                    << i;
                if (d == 0.0)
                {
                    ExpectPlanePoint(q[i], p[i].x, p[i].y);
                }
            }
        }
    }
}

// Up to the tightest turn radius vertices may have collapsed and been
// replaced, but each still lies at signed distance d from some original
// segment's line, successive points stay 0.1 apart, and short of the first
// collapse no interior vertex comes closer than |d| to any original segment.
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
                EXPECT_LT(MisfitToSomeSegmentLine(p, q[i], d), kTolerance) << i;
                EXPECT_GE(std::hypot(q[i].x - q[i > 0 ? i - 1 : 1].x, q[i].y - q[i > 0 ? i - 1 : 1].y), 0.1) << i;
                // A closed line's ends start beside its other end's segment.
                if (i == 0 || i + 1 == q.size() || std::fabs(d) > g.safeOffset)
                    continue;
                for (size_t j = 0; j + 1 < p.size(); ++j)
                    ASSERT_GE(SegmentDistance(Vec3(p[j].x, p[j].y, 0), Vec3(p[j + 1].x, p[j + 1].y, 0), q[i]),
                              std::fabs(d) - kTolerance)
                        << i;
            }
        }
    }
}

// A corner cut by a chamfer: 100 m east, 12.8 m north-east, 92 m north. On the
// left (inside) the chamfer vanishes at 12.8 / (tan(a/2) + tan(b/2)) with turns
// a = atan(0.8) and b = 90 - a; beyond that one vertex carries the corner, at
// d from both long edges, instead of a crossed bow-tie, until it meets the
// last end's ray at d = -100.
TEST_F(PolyLineOffsetTest, CollapsedCornerVerticesAreDroppedWithoutSelfCrossing)
{
    const Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(100, 0, 0), Vec3(110, 8, 0), Vec3(110, 100, 0)});
    const double a = std::atan(0.8);
    const double collapse = -std::sqrt(164.0) / (std::tan(a / 2) + std::tan((kPi / 2 - a) / 2));
    const std::vector<Core::PolyLine::sVertex>& v = line.GetOffsetVerticies();
    ASSERT_EQ(v.size(), 5u);
    EXPECT_NEAR(v[1].minDistance, collapse, 1e-9);
    EXPECT_EQ(v[3].minDistance, v[1].minDistance);
    EXPECT_EQ(v[2].maxDistance, v[1].minDistance);
    EXPECT_NEAR(v[2].minDistance, -100.0, 1e-9);
    EXPECT_EQ(line.Offset(-15.0).GetPointCount(), 4u);
    for (double d : {-20.0, -60.0})
    {
        SCOPED_TRACE(d);
        const std::vector<Vec3> q = line.Offset(d).GetPoints();
        ASSERT_EQ(q.size(), 3u);
        ExpectPlanePoint(q[0], 0.0, -d);
        ExpectPlanePoint(q[1], 110.0 + d, -d);
        ExpectPlanePoint(q[2], 110.0 + d, 100.0);
    }
    // Outside nothing collapses: the chamfer stays, mitred at both ends.
    const std::vector<Vec3> outside = line.Offset(30.0).GetPoints();
    EXPECT_EQ(outside.size(), 4u);
    EXPECT_TRUE(SelfCrossings(outside).empty());
}

// The apex of a hairpin symmetric about x = 3: three vertices meet in one point
// at one distance, leaving arms of rounding noise; the vertex carrying on from
// there still runs down the middle, on the legs' offset lines.
TEST_F(PolyLineOffsetTest, SimultaneousCollapseInOnePointCarriesOnDownTheMiddle)
{
    const std::vector<Vec3> hairpin = {Vec3(-2, 0, 0), Vec3(0, 100, 0), Vec3(3, 104, 0), Vec3(6, 100, 0),
                                       Vec3(8, 0, 0)};
    const Core::PolyLine line = MakeLine(hairpin);
    for (const Core::PolyLine::sVertex& v : line.GetOffsetVerticies())
        EXPECT_TRUE(std::isfinite(v.bisector.x + v.bisector.y + v.minDistance + v.maxDistance));
    const std::vector<Vec3> q = line.Offset(4.0).GetPoints();
    ASSERT_EQ(q.size(), 3u);
    EXPECT_NEAR(q[1].x, 3.0, kTolerance);
    EXPECT_TRUE(SelfCrossings(q).empty());
    for (const Vec3& v : q)
        EXPECT_LT(MisfitToSomeSegmentLine(hairpin, v, 4.0), kTolerance);
}

// East from (0,10) to (10,10), then south to (10,-5). The first vertex's ray
// runs down x = 0 and the corner's along (-1,-1): they meet exactly at the
// origin at d = 10, which is taken for parallel rays, so the corner lives on
// until its ray meets the last vertex's (along y = -5) at d = 15. The same line
// moved away from the origin ends the corner at 10. Axis-aligned, these rays
// meet at exactly (0, 0) with or without fused multiply-add.
TEST_F(PolyLineOffsetTest, RaysMeetingExactlyAtTheOriginMakeNoEvent)
{
    const Core::PolyLine atOrigin = MakeLine({Vec3(0, 10, 0), Vec3(10, 10, 0), Vec3(10, -5, 0)});
    const Core::PolyLine shifted = MakeLine({Vec3(1000, 1010, 0), Vec3(1010, 1010, 0), Vec3(1010, 995, 0)});
    ASSERT_EQ(atOrigin.GetOffsetVerticies().size(), 3u);
    EXPECT_NEAR(atOrigin.GetOffsetVerticies()[1].maxDistance, 15.0, 1e-9);
    ASSERT_EQ(shifted.GetOffsetVerticies().size(), 3u);
    EXPECT_NEAR(shifted.GetOffsetVerticies()[1].maxDistance, 10.0, 1e-9);
}

// A hook: 100 m east, 50 north, 50 west, 45 south. 20 m inside, before any
// edge vanishes, the last leg's offset (x = 70) runs down across the first
// leg's (y = 20); they are not neighbours, so only the offset loop cut removes
// the loop, at (70, 20). The span counts back from the newest collected
// segment, which is never tested: 4 reaches the first leg, 3 does not.
TEST_F(PolyLineOffsetTest, OffsetLoopSpanCutsTheLoopOfAnInsideOffset)
{
    Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(100, 0, 0), Vec3(100, 50, 0), Vec3(50, 50, 0), Vec3(50, 5, 0)});
    EXPECT_FALSE(SelfCrossings(line.Offset(-20.0).GetPoints()).empty());
    line.SetOffsetLoopSpan(3);
    EXPECT_EQ(line.Offset(-20.0).GetPointCount(), 5u);
    line.SetOffsetLoopSpan(4);
    const std::vector<Vec3> cut = line.Offset(-20.0).GetPoints();
    ASSERT_EQ(cut.size(), 3u);
    ExpectPlanePoint(cut[0], 0, 20);
    ExpectPlanePoint(cut[1], 70, 20);
    ExpectPlanePoint(cut[2], 70, 5);
    // The construction follows edits and the maximum offset.
    line.Edit(0, Vec3(0, -10, 0), false);
    EXPECT_NEAR(line.Offset(-20.0).GetPoints()[0].y, -10.0 + 20.0 * 100.0 / std::hypot(100.0, 10.0), kTolerance);
    line.SetMaximumParallelOffset(10.0);
    EXPECT_EQ(line.Offset(-20.0).GetPointCount(), 0u);
}

#ifdef CORELIB_TEST_HAVE_GEOS
// The mitred single-sided offset curve of the GEOS C API (left for positive distances).
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

TEST_F(PolyLineOffsetTest, MitredOffsetOfGentleCurveMatchesGeos)
{
#ifndef CORELIB_TEST_HAVE_GEOS
    GTEST_SKIP() << "GEOS is not available for this target's sysroot, so there is nothing to compare with";
#else
    const GuidanceLine g = RealisticLines()[2];
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
            ExpectPlanePoint(actual[i], expected[i].x, expected[i].y);
    }
#endif
}

} // namespace
