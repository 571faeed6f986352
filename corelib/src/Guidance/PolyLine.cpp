#include "Guidance/PolyLine.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Core
{

namespace
{

typedef Maths::Vector2<double> Vec2;
typedef Maths::Vector3<double> Vec3;
typedef Geometry<double, Maths::Vector2> Plane;
typedef Geometry<double, Maths::Vector3> Space;

const double kDefaultMaximumParallelOffset = 10000.0;
const double kDefaultCoincidentThreshold = 0.1;

Vec2 Flat(const Vec3& p)
{
    return Vec2(p.x, p.y);
}

// Looks, among the segments of pts ending at indices c - span + 1 (at least 1)
// up to end - 1, for the first that the segment from the last point to p
// crosses (c is the point count). On a hit, k is that segment's end index.
template <template <class> class V>
bool FindLoopCrossing(const std::vector<V<double>>& pts, unsigned int span, size_t end, const V<double>& p, size_t& k,
                      V<double>& crossing)
{
    const size_t c = pts.size();
    for (k = c > span ? c - span + 1 : 1; k < end; ++k)
        if (Geometry<double, V>::Intersection(pts[k - 1], pts[k], pts[c - 1], p, crossing))
            return true;
    return false;
}

// The score of the plain nearest-point search: the distance itself.
double ScoreByDistance(double distance, double, const Vec2&)
{
    return distance;
}

// The parameter of a point `along` units into a segment of the given length.
// A zero-length segment gives 0 (its start vertex) rather than NaN.
double SegmentParameter(double along, double length)
{
    return length == 0.0 ? 0.0 : along / length;
}

// Curvature of the planar Bezier curve with control values x[0..count-1] and
// y[0..count-1] at parameter u.
double BezierCurvature(const double* x, const double* y, int count, double u)
{
    const double dx = getDiff1(u, x, count);
    const double dy = getDiff1(u, y, count);
    const double ddx = getDiff2(u, x, count);
    const double ddy = getDiff2(u, y, count);
    return std::fabs(dx * ddy - ddx * dy) / std::pow(dx * dx + dy * dy, 1.5);
}

} // namespace

double getDiff1(double t, const double* c, int count)
{
    const double u = 1.0 - t;
    switch (count)
    {
    case 1:
        return 1.0;
    case 2:
        return c[1] - c[0];
    case 3:
        return 2.0 * u * (c[1] - c[0]) + 2.0 * t * (c[2] - c[1]);
    case 4:
        return 3.0 * u * u * (c[1] - c[0]) + 6.0 * u * t * (c[2] - c[1]) + 3.0 * t * t * (c[3] - c[2]);
    case 5:
        return getDiff1(t, c);
    default:
        return 0.0;
    }
}

double getDiff1(double t, const double* c)
{
    const double u = 1.0 - t;
    return 4.0 * u * u * u * (c[1] - c[0]) + 12.0 * u * u * t * (c[2] - c[1]) + 12.0 * u * t * t * (c[3] - c[2]) +
           4.0 * t * t * t * (c[4] - c[3]);
}

double getDiff2(double t, const double* c, int count)
{
    const double u = 1.0 - t;
    switch (count)
    {
    case 1:
        return 1.0;
    case 3:
        return 2.0 * (c[0] - 2.0 * c[1] + c[2]);
    case 4:
        return 6.0 * u * (c[0] - 2.0 * c[1] + c[2]) + 6.0 * t * (c[1] - 2.0 * c[2] + c[3]);
    case 5:
        return 12.0 * u * u * (c[0] - 2.0 * c[1] + c[2]) + 24.0 * u * t * (c[1] - 2.0 * c[2] + c[3]) +
               12.0 * t * t * (c[2] - 2.0 * c[3] + c[4]);
    default:
        return 0.0;
    }
}

// --- sVertex -----------------------------------------------------------------

PolyLine::sVertex::sVertex(const Vec2& point_, double minDistance_, double maxDistance_)
    : point(point_), bisector(0.0, 0.0), minDistance(minDistance_), maxDistance(maxDistance_), baseDistance(0.0)
{
}

bool PolyLine::sVertex::AtDistance(double d) const
{
    return minDistance <= d && d <= maxDistance;
}

Vec2 PolyLine::sVertex::BisectorAtDistance(double d) const
{
    return point + bisector * (d - baseDistance);
}

// --- Construction and settings ------------------------------------------------

PolyLine::PolyLine()
    : m_loopSpan(0), m_offsetLoopSpan(0), m_maximumParallelOffset(kDefaultMaximumParallelOffset),
      m_coincidentThresholdSquared(kDefaultCoincidentThreshold * kDefaultCoincidentThreshold),
      m_offsetConstructionDirty(true), m_segmentCacheDirty(true), m_totalLength(0.0), m_segmentCacheRebuilds(0)
{
    Initialise();
}

PolyLine::~PolyLine() = default;

void PolyLine::Initialise()
{
    m_loopSpan = 0;
    m_offsetLoopSpan = 0;
    m_segmentCacheDirty = true;
    m_totalLength = 0.0;
    SetMaximumParallelOffset(kDefaultMaximumParallelOffset);
    SetCoincidentThreshold(kDefaultCoincidentThreshold);
}

void PolyLine::ResetToEmpty()
{
    m_points.clear();
    m_bounds.ResetToEmpty();
    MarkChanged();
}

void PolyLine::SetMaximumParallelOffset(double distance)
{
    m_maximumParallelOffset = distance;
    m_offsetConstructionDirty = true;
}

void PolyLine::SetCoincidentThreshold(double distance)
{
    m_coincidentThresholdSquared = distance * distance;
}

double PolyLine::GetCoincidentThreshold() const
{
    return std::sqrt(m_coincidentThresholdSquared);
}

void PolyLine::ReservePointCount(unsigned int count)
{
    if (count == 0)
        return;
    m_points.reserve(count);
    m_segmentHeadings.reserve(count - 1);
    m_segmentLengths.reserve(count - 1);
    m_segmentStartDistances.reserve(count - 1);
}

void PolyLine::MarkChanged()
{
    m_segmentCacheDirty = true;
    m_offsetConstructionDirty = true;
}

// --- Editing ------------------------------------------------------------------

void PolyLine::AddPoint(const Vec3& p, bool checkCoincident)
{
    if (checkCoincident && !m_points.empty() && (p - m_points.back()).SquaredLength() < m_coincidentThresholdSquared)
        return;
    if (m_loopSpan != 0 && !m_points.empty())
        CutLoop(p);
    m_bounds.AddPoint(p);
    m_points.push_back(p);
    m_offsetConstructionDirty = true;
    if (!m_segmentCacheDirty)
        AppendOneSegmentInformation(GetPointCount() - 2);
}

void PolyLine::CutLoop(const Vec3& p)
{
    size_t k = 0;
    Vec3 crossing;
    // The segment ending at the last point is tested too (end = n).
    if (!FindLoopCrossing(m_points, m_loopSpan, m_points.size(), p, k, crossing))
        return;
    // The cache is deliberately not truncated here: the dropped segments'
    // entries stay until the next full rebuild.
    m_points.resize(k);
    m_bounds.AddPoint(crossing);
    m_points.push_back(crossing);
    if (!m_segmentCacheDirty)
        AppendOneSegmentInformation(GetPointCount() - 2);
}

void PolyLine::Edit(unsigned int index, const Vec3& p, bool recalculateBounds)
{
    m_points[index] = p;
    m_bounds.AddPoint(p);
    if (recalculateBounds)
        RecalculateBounds();
    MarkChanged();
}

void PolyLine::TrimBackTo(unsigned int count, bool recalculateBounds)
{
    if (GetPointCount() <= count)
        return;
    m_points.resize(count);
    if (count < 2)
    {
        m_segmentCacheDirty = true;
    }
    else if (!m_segmentCacheDirty)
    {
        m_totalLength = m_segmentStartDistances[count - 1];
        m_segmentHeadings.resize(count - 1);
        m_segmentLengths.resize(count - 1);
        m_segmentStartDistances.resize(count - 1);
    }
    if (count < 2 || recalculateBounds)
        RecalculateBounds();
    m_offsetConstructionDirty = true;
}

void PolyLine::RecalculateBounds() const
{
    m_bounds.ResetToEmpty();
    for (const Vec3& p : m_points)
        m_bounds.AddPoint(p);
}

void PolyLine::TrimColinear(double tolerance)
{
    const unsigned int n = GetPointCount();
    if (n <= 2)
        return;
    std::vector<bool> keep(n, false);
    // A closed line repeats its first point at the end; reducing up to that
    // repeat would measure every point against a zero-length chord.
    const bool closed = (m_points[n - 1] - m_points[0]).SquaredLength() <= m_coincidentThresholdSquared;
    const unsigned int end = closed ? n - 2 : n - 1;
    keep[0] = true;
    keep[end] = true;
    keep[n - 1] = true;
    ReduceColinear(0, end, tolerance, keep);
    if (CompactPoints(keep) != 0)
        MarkChanged();
}

void PolyLine::ReduceColinear(unsigned int first, unsigned int last, double tolerance, std::vector<bool>& keep) const
{
    // The recursion on the left part runs from an explicit stack so that long
    // lines cannot exhaust the thread's stack; the flags kept are the same.
    std::vector<std::pair<unsigned int, unsigned int>> pending(1, std::make_pair(first, last));
    while (!pending.empty())
    {
        unsigned int a = pending.back().first;
        const unsigned int b = pending.back().second;
        pending.pop_back();
        while (b - a > 1)
        {
            double worst = -1.0;
            unsigned int k = a + 1;
            for (unsigned int i = a + 1; i < b; ++i)
            {
                const double d = Space::DistanceToLine(m_points[a], m_points[b], m_points[i]);
                if (d > worst)
                {
                    worst = d;
                    k = i;
                }
            }
            if (!(worst > tolerance))
                break;
            keep[k] = true;
            if (k - a > 1)
                pending.push_back(std::make_pair(a, k));
            a = k;
        }
    }
}

unsigned int PolyLine::CompactPoints(const std::vector<bool>& keep)
{
    unsigned int kept = 0;
    for (unsigned int i = 0; i < GetPointCount(); ++i)
        if (keep[i])
            m_points[kept++] = m_points[i];
    const unsigned int dropped = GetPointCount() - kept;
    m_points.resize(kept);
    return dropped;
}

void PolyLine::TrimColinearByCurvature(double distanceTolerance, double curvatureTolerance)
{
    const unsigned int n = GetPointCount();
    std::vector<double> x(n), y(n), curvature(n, 0.0);
    for (unsigned int i = 0; i < n; ++i)
    {
        x[i] = m_points[i].x;
        y[i] = m_points[i].y;
    }
    if (n >= 5)
    {
        // Each interior point collects the curvature of every five-point window
        // it sits inside (at u = 0.25, 0.5 or 0.75), then the sums are averaged.
        for (unsigned int s = 0; s + 5 <= n; ++s)
            for (unsigned int j = 1; j <= 3; ++j)
                curvature[s + j] += BezierCurvature(&x[s], &y[s], 5, 0.25 * j);
        if (n > 5)
        {
            curvature[2] *= 0.5;
            curvature[n - 3] *= 0.5;
            for (unsigned int i = 3; i + 4 <= n; ++i)
                curvature[i] *= 0.3333333333333333;
        }
    }
    else if (n >= 2)
    {
        // One curve through all points; each value is stored one place below the
        // point it was evaluated at, which is how short lines have always been judged.
        const int count = static_cast<int>(n);
        for (unsigned int i = 1; i + 1 < n; ++i)
            curvature[i - 1] = BezierCurvature(x.data(), y.data(), count, static_cast<double>(i) / (n - 1));
    }

    std::vector<bool> keep(n, true);
    for (unsigned int m = 1; m + 1 < n; ++m)
        if (curvature[m] <= curvatureTolerance &&
            Space::DistanceToLine(m_points[m - 1], m_points[m + 1], m_points[m]) <= distanceTolerance)
            keep[m] = false;
    if (CompactPoints(keep) != 0)
        MarkChanged();
}

// --- Segment cache ------------------------------------------------------------

void PolyLine::RecalculateSegmentInformation() const
{
    if (!m_segmentCacheDirty)
        return;
    m_segmentHeadings.clear();
    m_segmentLengths.clear();
    m_segmentStartDistances.clear();
    m_totalLength = 0.0;
    const unsigned int n = GetPointCount();
    if (n < 2)
        return;
    ++m_segmentCacheRebuilds;
    m_segmentCacheDirty = false;
    m_segmentHeadings.reserve(n - 1);
    m_segmentLengths.reserve(n - 1);
    m_segmentStartDistances.reserve(n - 1);
    for (unsigned int i = 0; i + 1 < n; ++i)
        AppendOneSegmentInformation(i);
}

void PolyLine::AppendOneSegmentInformation(unsigned int i) const
{
    const Vec3 d = m_points[i + 1] - m_points[i];
    const double length = d.Length();
    m_segmentLengths.push_back(length);
    m_segmentStartDistances.push_back(m_totalLength);
    m_totalLength += length;
    // This form (rather than atan2(dy, dx)) gives a zero-length segment the
    // heading pi/2 and a segment along -x the heading +pi.
    m_segmentHeadings.push_back(Maths::ClampAngle(std::atan2(-d.x, d.y) + Maths::Math<double>::HALF_PI));
}

// --- Queries ------------------------------------------------------------------

double PolyLine::Length() const
{
    RecalculateSegmentInformation();
    return GetPointCount() < 2 ? 0.0 : m_totalLength;
}

double PolyLine::SegmentLength(unsigned int i) const
{
    RecalculateSegmentInformation();
    return i < m_segmentLengths.size() ? m_segmentLengths[i] : 0.0;
}

double PolyLine::SegmentHeading(unsigned int i) const
{
    RecalculateSegmentInformation();
    return i < m_segmentHeadings.size() ? m_segmentHeadings[i] : 0.0;
}

double PolyLine::PointAlongTrack(unsigned int i) const
{
    RecalculateSegmentInformation();
    if (i < m_segmentStartDistances.size())
        return m_segmentStartDistances[i];
    return GetPointCount() >= 2 ? m_totalLength : 0.0;
}

double PolyLine::VertexHeading(unsigned int i) const
{
    RecalculateSegmentInformation();
    const std::vector<double>& h = m_segmentHeadings;
    if (h.empty())
        return 0.0;
    if (i == 0)
        return h[0];
    if (i < h.size())
        return (h[i - 1] + h[i]) * 0.5;
    return h.back();
}

Vec2 PolyLine::VertexNormal(unsigned int i) const
{
    RecalculateSegmentInformation();
    const unsigned int n = GetPointCount();
    if (n < 2)
        return Vec2(0.0, 0.0);
    if (i == 0)
        return Plane::Perpendicular(Flat(m_points[1] - m_points[0]));
    if (i < n - 1)
        return Plane::Bisector(Flat(m_points[i - 1]), Flat(m_points[i]), Flat(m_points[i + 1]));
    return Plane::Perpendicular(Flat(m_points[n - 1] - m_points[n - 2]));
}

double PolyLine::VertexRadius(unsigned int i) const
{
    RecalculateSegmentInformation();
    const unsigned int n = GetPointCount();
    if (i == 0 || i + 1 >= n)
        return Maths::Math<double>::INFINITE_VALUE;
    const Vec2 a = Flat(m_points[i - 1]);
    const Vec2 b = Flat(m_points[i]);
    const Vec2 c = Flat(m_points[i + 1]);
    const double r = Plane::Radius(a, b, c);
    return Plane::IsLeftSide(a, c, b) ? -r : r;
}

bool PolyLine::GetAlongTrack(double distance, unsigned int& segment, Vec3& point) const
{
    const unsigned int n = GetPointCount();
    if (n < 2)
    {
        segment = 0;
        point = Vec3(0.0, 0.0, 0.0);
        return false;
    }
    RecalculateSegmentInformation();
    if (distance < 0.0)
    {
        segment = 0;
        point = StraightPoint(0, SegmentParameter(distance, m_segmentLengths[0]));
        return false;
    }
    if (distance <= Length())
    {
        // The last segment starting at or before the distance: zero-length
        // segments share their start distance with the next one and are passed over.
        const std::vector<double>& start = m_segmentStartDistances;
        const size_t above = std::upper_bound(start.begin(), start.end(), distance) - start.begin();
        // After a loop cut on a valid cache the cache may list more segments
        // than the points have; stay on the points.
        segment = static_cast<unsigned int>(std::min<size_t>(above - 1, n - 2));
        point = StraightPoint(segment, SegmentParameter(distance - start[segment], m_segmentLengths[segment]));
        return true;
    }
    segment = n - 2;
    point = StraightPoint(segment, SegmentParameter(distance - Length(), m_segmentLengths[segment]) + 1.0);
    return false;
}

void PolyLine::InterpolateSegment(unsigned int i, double t, Vec3& point) const
{
    point = StraightPoint(i, t);
}

Vec3 PolyLine::StraightPoint(unsigned int i, double t) const
{
    return Space::DistanceAlongLine(t, m_points[i], m_points[i + 1]);
}

double PolyLine::DistanceToNearest(unsigned int first, unsigned int last, const Vec3& position, ScoreFunction* score,
                                   unsigned int& segment, double& distance, double& alongTrack, Vec3& nearest) const
{
    const double infinite = Maths::Math<double>::INFINITE_VALUE;
    double best = infinite;
    distance = infinite;
    const unsigned int n = GetPointCount();
    last = std::min(last, n);
    const unsigned int start = std::max(first, 1u);
    if (last < 2 || start >= n)
        return infinite;
    RecalculateSegmentInformation();

    auto rank = [score](double d, double heading, const Vec2& direction) {
        return score != nullptr ? score->Execute(d, heading, direction) : d;
    };
    bool found = false;
    auto take = [&](double s, double d, unsigned int seg, double along, const Vec3& point) {
        if (!(s < best))
            return;
        best = s;
        distance = d;
        segment = seg;
        alongTrack = along;
        nearest = point;
        found = true;
    };

    const Vec3& origin = m_points[start - 1];
    take(rank((position - origin).Length(), m_segmentHeadings[start - 1], Flat(m_points[start] - origin)),
         (position - origin).Length(), start - 1, m_segmentStartDistances[start - 1], origin);

    for (unsigned int i = start; i < last; ++i)
    {
        const Vec3& a = m_points[i - 1];
        const Vec3& b = m_points[i];
        const Vec2 direction = Flat(b - a);
        const double heading = m_segmentHeadings[i - 1];
        double t = 0.0;
        Vec3 foot;
        const double d = Space::DistanceToLine(a, b, position, t, foot);
        if (0.0 <= t && t <= 1.0)
        {
            take(rank(d, heading, direction), d, i - 1,
                 m_segmentStartDistances[i - 1] + m_segmentLengths[i - 1] * t, foot);
        }
        else
        {
            // The foot lies outside the segment: the candidate is the end vertex,
            // whichever side the foot fell on.
            const double e = (position - b).Length();
            take(rank(e, heading, direction), e, i - 1, PointAlongTrack(i), b);
        }
    }

    if (found && !Space::IsLeftSide(m_points[segment], m_points[segment + 1], position))
        distance = -distance;
    return best;
}

bool PolyLine::DistanceToNearest(const Vec3& position, unsigned int& segment, double& distance, double& alongTrack,
                                 Vec3& nearest) const
{
    Functor<double, double, double, const Vec2&>::Function byDistance(&ScoreByDistance);
    const double best =
        DistanceToNearest(0, GetPointCount(), position, &byDistance, segment, distance, alongTrack, nearest);
    return !Maths::IsAbnormal(best);
}

// --- Offset lines -------------------------------------------------------------

const std::vector<PolyLine::sVertex>& PolyLine::GetOffsetVerticies() const
{
    RecalculateOffsetConstruction();
    return m_offsetVertices;
}

PolyLine PolyLine::Offset(double d) const
{
    RecalculateOffsetConstruction();
    // Room for every vertex up front: growing the list in steps would copy it
    // and touch fresh memory at each step, and room never written costs no memory.
    std::vector<Vec2> collected;
    collected.reserve(m_offsetVertices.size());
    for (const sVertex& v : m_offsetVertices)
    {
        if (!v.AtDistance(d))
            continue;
        const Vec2 q = v.BisectorAtDistance(d);
        size_t k = 0;
        Vec2 crossing;
        // Unlike AddPoint, the segment ending at the last collected point is not tested.
        if (m_offsetLoopSpan != 0 && !collected.empty() &&
            FindLoopCrossing(collected, m_offsetLoopSpan, collected.size() - 1, q, k, crossing))
        {
            collected.resize(k);
            collected.push_back(crossing);
        }
        collected.push_back(q);
    }
    PolyLine result;
    result.ReservePointCount(static_cast<unsigned int>(collected.size()));
    for (const Vec2& q : collected)
        result.AddPoint(Vec3(q.x, q.y, 0.0), true);
    return result;
}

} // namespace Core
