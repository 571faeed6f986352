// Parallel offset lines checked against plane geometry written independently
// of the library's own primitives.
#include "Guidance/PolyLine.h"
#include "Guidance/PolyLineOffset.h"
#include "GuidanceLines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

using namespace GuidanceTest;

namespace
{

const double kTolerance = 1e-6;
const double kInfinity = std::numeric_limits<double>::infinity();

// For offsets d up to the tightest turn radius, every vertex of Offset(d) lies
// at signed distance d (right positive) from some original segment's line,
// with height 0, and successive points stay 0.1 apart. Short of the line's
// first collapse, vertex i lies at d from the lines of both segments meeting
// at vertex i, no interior vertex comes closer than |d| to any original
// segment, and Offset(0) is the line itself in x and y.
TEST(PolyLineOffsetTest, VerticesKeepTheOffsetDistanceFromTheOriginalSegments)
{
    for (const GuidanceLine& g : RealisticLines())
    {
        const Core::PolyLine line = MakeLine(g.points);
        const std::vector<Vec3>& p = g.points;
        double tightest = 1000.0;
        for (unsigned int i = 1; i + 1 < p.size(); ++i)
            tightest = std::min(tightest, std::fabs(line.VertexRadius(i)));
        std::vector<double> distances = {0.0};
        for (double limit : {g.safeOffset, 0.95 * tightest})
            for (double f : {-1.0, -0.6, -0.02, 0.02, 0.6, 1.0})
                distances.push_back(f * limit);
        for (double d : distances)
        {
            SCOPED_TRACE(g.name + " at d = " + std::to_string(d));
            const bool beforeCollapse = std::fabs(d) <= g.safeOffset;
            const std::vector<Vec3> q = line.Offset(d).GetPoints();
            ASSERT_EQ(q.size(), beforeCollapse ? p.size() : q.size());
            ASSERT_GE(q.size(), 2u);
            for (size_t i = 0; i < q.size(); ++i)
            {
                EXPECT_EQ(q[i].z, 0.0);
                EXPECT_GE(std::hypot(q[i].x - q[i > 0 ? i - 1 : 1].x, q[i].y - q[i > 0 ? i - 1 : 1].y), 0.1) << i;
                double misfit = kInfinity;
                for (size_t j = 0; j + 1 < p.size(); ++j)
                    misfit = std::min(misfit, std::fabs(RightDistance(p[j], p[j + 1], q[i]) - d));
                EXPECT_LT(misfit, kTolerance) << i;
                if (!beforeCollapse)
                    continue;
                const size_t before = i > 0 ? i - 1 : 0, after = i + 1 < p.size() ? i : i - 1;
                EXPECT_NEAR(RightDistance(p[before], p[before + 1], q[i]), d, kTolerance) << i;
                EXPECT_NEAR(RightDistance(p[after], p[after + 1], q[i]), d, kTolerance) << i;
                if (d == 0.0)
                    ExpectNear(q[i], Vec3(p[i].x, p[i].y, 0), kTolerance);
                // A closed line's ends start beside its other end's segment.
                for (size_t j = 0; i > 0 && i + 1 < q.size() && j + 1 < p.size(); ++j)
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
TEST(PolyLineOffsetTest, CollapsedCornerVerticesAreReplacedByOneWithoutABowTie)
{
    const Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(100, 0, 0), Vec3(110, 8, 0), Vec3(110, 100, 0)});
    const double a = std::atan(0.8);
    const double collapse = -std::sqrt(164.0) / (std::tan(a / 2) + std::tan((kPi / 2 - a) / 2));
    const std::vector<Core::PolyLine::sVertex>& v = line.GetOffsetVerticies();
    ASSERT_EQ(v.size(), 5u);
    EXPECT_NEAR(v[1].minDistance, collapse, 1e-9);
    EXPECT_NEAR(v[2].minDistance, -100.0, 1e-9);
    EXPECT_EQ(line.Offset(0.99 * collapse).GetPointCount(), 4u);
    for (double d : {1.01 * collapse, -60.0})
    {
        SCOPED_TRACE(d);
        const std::vector<Vec3> q = line.Offset(d).GetPoints();
        ASSERT_EQ(q.size(), 3u);
        ExpectNear(q[0], Vec3(0.0, -d, 0), kTolerance);
        ExpectNear(q[1], Vec3(110.0 + d, -d, 0), kTolerance);
        ExpectNear(q[2], Vec3(110.0 + d, 100.0, 0), kTolerance);
    }
    EXPECT_EQ(line.Offset(30.0).GetPointCount(), 4u) << "outside nothing collapses";
}

// The apex of a hairpin symmetric about x = 3: three vertices meet in one point
// at one distance, leaving arms of rounding noise; the vertex carrying on from
// there still runs down the middle, on the legs' offset lines.
TEST(PolyLineOffsetTest, SimultaneousCollapseInOnePointCarriesOnDownTheMiddle)
{
    const std::vector<Vec3> hairpin = {Vec3(-2, 0, 0), Vec3(0, 100, 0), Vec3(3, 104, 0), Vec3(6, 100, 0),
                                       Vec3(8, 0, 0)};
    const Core::PolyLine line = MakeLine(hairpin);
    for (const Core::PolyLine::sVertex& v : line.GetOffsetVerticies())
        EXPECT_TRUE(std::isfinite(v.bisector.x + v.bisector.y + v.minDistance + v.maxDistance));
    const std::vector<Vec3> q = line.Offset(4.0).GetPoints();
    ASSERT_EQ(q.size(), 3u);
    EXPECT_NEAR(q[1].x, 3.0, kTolerance);
    EXPECT_NEAR(RightDistance(hairpin[0], hairpin[1], q[1]), 4.0, kTolerance);
}

// East from (0,10) to (10,10), then south to (10,-5). The first vertex's ray
// runs down x = 0 and the corner's along (-1,-1): they meet exactly at the
// origin at d = 10, which is taken for parallel rays, so the corner lives on
// until its ray meets the last vertex's (along y = -5) at d = 15. The same line
// moved away from the origin ends the corner at 10. Axis-aligned, these rays
// meet at exactly (0, 0) with or without fused multiply-add.
TEST(PolyLineOffsetTest, RaysMeetingExactlyAtTheOriginMakeNoEvent)
{
    const Core::PolyLine atOrigin = MakeLine({Vec3(0, 10, 0), Vec3(10, 10, 0), Vec3(10, -5, 0)});
    const Core::PolyLine shifted = MakeLine({Vec3(1000, 1010, 0), Vec3(1010, 1010, 0), Vec3(1010, 995, 0)});
    ASSERT_EQ(atOrigin.GetOffsetVerticies().size(), 3u);
    ASSERT_EQ(shifted.GetOffsetVerticies().size(), 3u);
    EXPECT_NEAR(atOrigin.GetOffsetVerticies()[1].maxDistance, 15.0, 1e-9);
    EXPECT_NEAR(shifted.GetOffsetVerticies()[1].maxDistance, 10.0, 1e-9);
}

// A hook: 100 m east, 50 north, 50 west, 45 south. 20 m inside, before any
// edge vanishes, the last leg's offset (x = 70) runs down across the first
// leg's (y = 20); they are not neighbours, so only the offset loop cut removes
// the loop, at (70, 20). The span counts back from the newest collected
// segment, which is never tested: 4 reaches the first leg, 3 does not.
TEST(PolyLineOffsetTest, OffsetLoopSpanCutsTheLoopOfAnInsideOffset)
{
    Core::PolyLine line = MakeLine({Vec3(0, 0, 0), Vec3(100, 0, 0), Vec3(100, 50, 0), Vec3(50, 50, 0), Vec3(50, 5, 0)});
    EXPECT_EQ(line.Offset(-20.0).GetPointCount(), 5u) << "without a span the loop stays";
    line.SetOffsetLoopSpan(3);
    EXPECT_EQ(line.Offset(-20.0).GetPointCount(), 5u);
    line.SetOffsetLoopSpan(4);
    const std::vector<Vec3> cut = line.Offset(-20.0).GetPoints();
    ASSERT_EQ(cut.size(), 3u);
    ExpectNear(cut[0], Vec3(0, 20, 0), kTolerance);
    ExpectNear(cut[1], Vec3(70, 20, 0), kTolerance);
    ExpectNear(cut[2], Vec3(70, 5, 0), kTolerance);
    line.SetMaximumParallelOffset(10.0);
    EXPECT_EQ(line.Offset(-20.0).GetPointCount(), 0u);
}

// Events of equal distance must come off in the order std::pop_heap gives
// them, which decides the construction where several collapse at once.
TEST(PolyLineOffsetTest, EventHeapPopsInTheStandardHeapsOrderTiesIncluded)
{
    const auto later = [](const Core::sEventKey& x, const Core::sEventKey& y) {
        return std::fabs(x.distance) > std::fabs(y.distance);
    };
    std::mt19937 random(1);
    for (int distances = 1; distances <= 8; ++distances) // few distances: many ties
    {
        Core::OffsetEventHeap heap;
        std::vector<Core::sEventKey> reference;
        for (unsigned int id = 0; id < 4000; ++id)
        {
            if (reference.empty() || random() % 3 != 0)
            {
                const double distance = static_cast<double>(random() % distances) * (random() % 2 ? 1 : -1);
                const Core::sEventKey event{distance, id, id};
                heap.Push(event);
                reference.push_back(event);
                std::push_heap(reference.begin(), reference.end(), later);
                continue;
            }
            std::pop_heap(reference.begin(), reference.end(), later);
            ASSERT_EQ(reference.back().a, heap.Pop().a) << "at event " << id;
            reference.pop_back();
            ASSERT_EQ(reference.empty(), heap.Empty());
        }
    }
}

} // namespace
