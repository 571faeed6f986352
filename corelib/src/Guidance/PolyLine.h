// The guidance path: an ordered list of 3-D points, recorded one by one as a
// vehicle drives or loaded whole, on which the application measures along-track
// distance, finds the nearest point to a position, reads headings, normals and
// turn radii, trims redundant points and builds parallel offset lines.
// Per-segment lengths, headings and cumulative distances are cached and rebuilt
// lazily; appending points extends the cache in place instead of rebuilding it.
// Lengths and distances use x, y and z; headings, normals and side tests use
// x and y only. Nearest-point distances are positive on the left of the line,
// offset distances positive on the right.
// Threading: not synchronised, and const queries update the caches, so even
// concurrent readers of one poly-line need the caller's lock.
#ifndef CORELIB_GUIDANCE_POLYLINE_H
#define CORELIB_GUIDANCE_POLYLINE_H

#include "Maths/Geometry.h"
#include "Maths/Maths.h"
#include "Maths/Vector.h"
#include "Threading/Functor.h"

#include <vector>

namespace Core
{

struct tVertex;

// Derivative with respect to t of the Bezier curve of degree count-1 whose
// control values are c[0] .. c[count-1], as the expanded Bernstein sum.
// count 1 gives 1.0 (not 0); counts other than 1 to 5 give 0.
double getDiff1(double t, const double* c, int count);
// The five-value (quartic) form of getDiff1.
double getDiff1(double t, const double* c);
// Second derivative of the same curve: count 1 gives 1.0, count 2 gives 0,
// counts 3 to 5 the Bernstein form, other counts 0.
double getDiff2(double t, const double* c, int count);

class PolyLine
{
public:
    // The ranking callback of the nearest-point search:
    // score(candidate distance, segment heading, segment direction).
    typedef Functor<double, double, double, const Maths::Vector2<double>&>::Signature ScoreFunction;

    // One vertex of the offset construction: it moves along its bisector as the
    // offset distance grows and exists for distances in [minDistance, maxDistance].
    struct sVertex
    {
        Maths::Vector2<double> point;    // position at the base distance
        Maths::Vector2<double> bisector; // displacement per unit of offset distance
        // The range of offset distances at which the vertex exists.
        double minDistance;
        double maxDistance;
        double baseDistance;             // offset distance at which the vertex is at point

        // A vertex at point for distances in [minDistance, maxDistance], with a zero
        // bisector and base distance 0.
        sVertex(const Maths::Vector2<double>& point, double minDistance, double maxDistance);
        // The vertex part of a work vertex of the offset construction.
        explicit sVertex(const tVertex& work);

        // True when minDistance <= d <= maxDistance (both ends included).
        bool AtDistance(double d) const;
        // The vertex position at offset distance d: point + (d - base) * bisector.
        Maths::Vector2<double> BisectorAtDistance(double d) const;
    };

    // An empty line with default settings (see Initialise).
    PolyLine();
    virtual ~PolyLine();

    // --- Settings ---------------------------------------------------------

    // Default settings: both loop spans 0 (off), maximum parallel offset
    // 10000, coincident threshold 0.1. The points are kept; the segment cache
    // is marked for rebuilding.
    void Initialise();
    // Removes every point and empties the bounds; settings are kept.
    void ResetToEmpty();
    // The largest offset distance the offset construction covers, either side.
    void SetMaximumParallelOffset(double distance);
    double GetMaximumParallelOffset() const { return m_maximumParallelOffset; }
    // AddPoint(p, true) drops a point closer than this to the last point.
    void SetCoincidentThreshold(double distance);
    double GetCoincidentThreshold() const;
    // The reach of AddPoint's loop cut: with span w it tests the segments
    // ending at the last w - 1 points for a crossing with the new segment and
    // cuts the loop out at the first; 0 turns it off.
    void SetLoopSpan(unsigned int segments) { m_loopSpan = segments; }
    unsigned int GetLoopSpan() const { return m_loopSpan; }
    // The same for the points Offset collects, where the newest collected
    // segment is never tested (w - 2 segments); 0 turns it off.
    void SetOffsetLoopSpan(unsigned int segments) { m_offsetLoopSpan = segments; }
    unsigned int GetOffsetLoopSpan() const { return m_offsetLoopSpan; }
    // Reserves room for count points and their segments. count 0 reserves nothing.
    void ReservePointCount(unsigned int count);

    // --- Editing ----------------------------------------------------------

    // Appends p. With checkCoincident, a point closer than the coincident
    // threshold to the last point is ignored (nothing changes at all). With a
    // loop span set, when the new segment crosses one of the recent segments the
    // points after that segment's start are dropped and the crossing point takes
    // their place before p; the segment ending at the last point is tested too,
    // so a touch there reported by rounding replaces the last point by the
    // computed crossing. A valid segment cache is extended, never rebuilt: the
    // entries of points dropped by a loop cut stay in it until the next rebuild.
    void AddPoint(const Maths::Vector3<double>& p, bool checkCoincident);
    // Overwrites point index with p and grows the bounds by p; with
    // recalculateBounds the bounds are rebuilt from all points, otherwise they
    // may stay larger than needed. Requires: index < GetPointCount().
    void Edit(unsigned int index, const Maths::Vector3<double>& p, bool recalculateBounds);
    // Keeps the first count points. Does nothing at all when there are no more
    // than count points. A valid segment cache is truncated in place.
    void TrimBackTo(unsigned int count, bool recalculateBounds);
    // Douglas-Peucker reduction: drops points within tolerance of the chord of
    // the points kept around them. When the first and last points coincide
    // (within the coincident threshold) the line is treated as closed and the
    // repeated last point is kept.
    void TrimColinear(double tolerance);
    // Drops interior points whose local curvature (from quartic Bezier curves
    // over windows of five points in x and y) is at most curvatureTolerance and
    // whose distance from the line through their neighbours is at most
    // distanceTolerance. Each point is judged against its original neighbours.
    // On lines of 3 or 4 points the curvatures are stored one place lower than
    // the points they were evaluated at, and point n-2 is judged by distance only.
    void TrimColinearByCurvature(double distanceTolerance, double curvatureTolerance);
    // Rebuilds the bounds from all points.
    void RecalculateBounds() const;

    // --- Queries ----------------------------------------------------------

    // The points as added, and their number.
    const std::vector<Maths::Vector3<double>>& GetPoints() const { return m_points; }
    unsigned int GetPointCount() const { return static_cast<unsigned int>(m_points.size()); }
    // The box of all points; after edits without recalculation it may be larger.
    const BoundingBox<double, Maths::Vector3>& GetBounds() const { return m_bounds; }

    // Total 3-D length; 0 for fewer than 2 points.
    double Length() const;
    // Length of segment i (point i to i+1); 0 when there is no segment i.
    double SegmentLength(unsigned int i) const;
    // Heading of segment i in [-pi, pi] from +x toward +y; a zero-length
    // segment has pi/2, one along -x has +pi. 0 when there is no segment i.
    double SegmentHeading(unsigned int i) const;
    // Along-track distance of point i; the total length for i at or beyond the
    // number of segments (0 when there are fewer than 2 points).
    double PointAlongTrack(unsigned int i) const;
    // The plain mean of the headings of the segments meeting at vertex i, taken
    // without unwrapping (headings 3.1 and -3.1 give 0); the end segments'
    // headings at the ends; 0 without segments.
    double VertexHeading(unsigned int i) const;
    // Unit normal at vertex i in x and y: the left perpendicular of the end
    // segments at the ends, the corner bisector (outer side of the turn) inside;
    // (0, 0) for fewer than 2 points.
    Maths::Vector2<double> VertexNormal(unsigned int i) const;
    // Signed radius of the circle through vertices i-1, i and i+1: negative for
    // a right-hand turn; +infinity at the ends and for three colinear points.
    double VertexRadius(unsigned int i) const;

    // The point at along-track distance `distance` and the segment it lies on.
    // Returns true only when the distance lies on the line; before the start
    // and beyond the end the point is extrapolated along the first or last
    // segment and the result is false. Fewer than 2 points: segment 0, point
    // (0, 0, 0), false.
    virtual bool GetAlongTrack(double distance, unsigned int& segment, Maths::Vector3<double>& point) const;
    // point = p[i] + t * (p[i+1] - p[i]); t is not clamped.
    // Requires: i + 1 < GetPointCount().
    virtual void InterpolateSegment(unsigned int i, double t, Maths::Vector3<double>& point) const;
    // Nearest-point search over the segments ending at vertices first .. last-1
    // (first 0 counts as 1; last is exclusive and normally the point count).
    // Each candidate (the window's start vertex, the foot on each segment when
    // it lies within the segment, otherwise the segment's end vertex) is ranked
    // by score(distance, segment heading, p[i] - p[i-1]); the lowest score wins
    // and a later candidate must score strictly lower. Outputs the winner's
    // segment, its distance signed positive when the position is strictly left
    // of that segment, its along-track distance and the nearest point. Returns
    // the winning score, or +infinity with only the distance written (as
    // +infinity) when the line has fewer than 2 points or the window starts
    // beyond it; last is cut to the point count. The cost is proportional to
    // last - first. score is borrowed for the call; null ranks by distance.
    virtual double DistanceToNearest(unsigned int first, unsigned int last, const Maths::Vector3<double>& position,
                                     ScoreFunction* score, unsigned int& segment, double& distance,
                                     double& alongTrack, Maths::Vector3<double>& nearest) const;
    // The search over the whole line ranked by distance alone. Returns false
    // when nothing was found (fewer than 2 points).
    bool DistanceToNearest(const Maths::Vector3<double>& position, unsigned int& segment, double& distance,
                           double& alongTrack, Maths::Vector3<double>& nearest) const;

    // --- Offset lines -----------------------------------------------------

    // The offset construction, rebuilt first if the points or the maximum
    // parallel offset changed. The reference stays valid until the next change.
    const std::vector<sVertex>& GetOffsetVerticies() const;
    // Rebuilds the offset construction if it is out of date.
    void RecalculateOffsetConstruction() const;
    // The parallel line at signed distance d (positive to the right), with
    // height 0 and no two successive points closer than 0.1. With an offset
    // loop span set, loops formed by the collected points are cut out.
    PolyLine Offset(double d) const;

    // How many times the segment cache has been rebuilt from scratch: appending
    // and trimming keep it valid in place, so recording a long path leaves this
    // unchanged.
    unsigned long GetSegmentCacheRebuildCount() const { return m_segmentCacheRebuilds; }

protected:
    // Brings the segment cache up to date (a full rebuild when it is dirty).
    void RecalculateSegmentInformation() const;

private:
    // p[i] + t * (p[i+1] - p[i]); the along-track points are straight even in
    // derived classes that draw the segments as curves.
    Maths::Vector3<double> StraightPoint(unsigned int i, double t) const;
    // Appends the cache entries of the segment from point i to point i+1.
    void AppendOneSegmentInformation(unsigned int i) const;
    // Removes the loop the segment from the last point to p would close (see AddPoint).
    void CutLoop(const Maths::Vector3<double>& p);
    // Douglas-Peucker step over points first .. last, flagging the points kept.
    void ReduceColinear(unsigned int first, unsigned int last, double tolerance, std::vector<bool>& keep) const;
    // Keeps the flagged points, in order; returns how many were dropped.
    unsigned int CompactPoints(const std::vector<bool>& keep);
    // Marks the segment cache and the offset construction out of date.
    void MarkChanged();

    std::vector<Maths::Vector3<double>> m_points;
    mutable BoundingBox<double, Maths::Vector3> m_bounds;
    unsigned int m_loopSpan;
    unsigned int m_offsetLoopSpan;
    double m_maximumParallelOffset;
    double m_coincidentThresholdSquared;
    mutable bool m_offsetConstructionDirty;
    mutable std::vector<sVertex> m_offsetVertices;
    mutable bool m_segmentCacheDirty;
    mutable std::vector<double> m_segmentHeadings;
    mutable std::vector<double> m_segmentLengths;
    mutable std::vector<double> m_segmentStartDistances;
    mutable double m_totalLength;
    mutable unsigned long m_segmentCacheRebuilds;
};

} // namespace Core

#endif
