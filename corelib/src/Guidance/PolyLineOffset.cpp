#include "Guidance/PolyLineOffset.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <new>

namespace Core
{

namespace
{

typedef Maths::Vector2<double> Vec2;
typedef Geometry<double, Maths::Vector2> Plane;

// Below this length the sum of a corner's two unit arms counts as zero: the
// corner is straight and its bisector is the perpendicular.
const double kStraightCorner = 1e-05;
// Arms shorter than this fraction of the coordinates' magnitude are rounding noise.
const double kCoincidentArm = 1e-9;
// The orientation test compares arrows of this fraction of the arm length.
const double kOrientationArrow = 0.01;

// The size of a cache line, to which the event heap's storage is aligned.
constexpr std::size_t kCacheLine = 64;

// How many records ahead of the copy the final copy asks the memory for.
const std::size_t kFetchAhead = 8;

// Builds the offset vertices of one line.
class OffsetBuilder
{
public:
    OffsetBuilder(const std::vector<Maths::Vector3<double>>& points, double maximumOffset)
        : m_points(points), m_maximum(maximumOffset)
    {
    }

    void Build(std::vector<PolyLine::sVertex>& out);

private:
    // Which neighbour lists a search walks.
    enum Side
    {
        ABOVE, // distances >= 0
        BELOW  // distances < 0
    };

    static Side SideOf(double d) { return d < 0.0 ? BELOW : ABOVE; }

    // The nearest vertex before (or after) v whose range contains d strictly, NONE if there is none.
    unsigned int FindNeighbour(unsigned int v, double d, bool backward) const;
    // Gives vertex v its bisector for distance d from neighbours a and b.
    void SetUp(unsigned int v, double d, unsigned int a, unsigned int b);
    // Pushes the collapse event of neighbours a and b, if they have one.
    void PushEvent(unsigned int a, unsigned int b);
    // Processes the event on top of the heap.
    void ProcessEvent(const sEventKey& event);
    // Where the rays of vertices a and b meet ((0, 0) if they are parallel).
    // One compiled copy serves both the event's push and its processing, so
    // that the point is the same to the last bit.
    static Vec2 Meeting(const tVertex& a, const tVertex& b) __attribute__((noinline));
    // Inserts a new vertex at point just before b in the lists of every side it belongs to.
    unsigned int InsertBefore(unsigned int b, const Vec2& point, double minDistance, double maxDistance, Side side);
    // Copies the work vertices into out in list order.
    void CopyInListOrder(std::vector<PolyLine::sVertex>& out) const;
    // Removes v from the neighbour list of one side.
    void Unlink(unsigned int v, Side side);
    // Where the arm from vertex p at distance d to a neighbour ends.
    static Vec2 ArmEnd(const tVertex& neighbour, double d, const Vec2& p);
    // The end bisector of segment from -> to: the perpendicular on the right of the travel direction.
    static Vec2 RightPerpendicular(const Vec2& from, const Vec2& to);

    unsigned int& Previous(unsigned int v, Side side)
    {
        return side == ABOVE ? m_work[v].previousAbove : m_work[v].previousBelow;
    }
    unsigned int& Next(unsigned int v, Side side) { return side == ABOVE ? m_work[v].nextAbove : m_work[v].nextBelow; }

    const std::vector<Maths::Vector3<double>>& m_points;
    const double m_maximum;
    std::vector<tVertex> m_work;
    OffsetEventHeap m_events;
};

Vec2 OffsetBuilder::ArmEnd(const tVertex& neighbour, double d, const Vec2& p)
{
    const Vec2 end = neighbour.BisectorAtDistance(d);
    // A neighbour arriving at p at the same distance (several vertices meeting
    // in one point) leaves an arm of rounding noise with no meaningful
    // direction; the neighbour's base position still gives one.
    const double noise = kCoincidentArm * (std::fabs(p.x) + std::fabs(p.y) + 1.0);
    return (end - p).Length() <= noise ? neighbour.point : end;
}

Vec2 OffsetBuilder::RightPerpendicular(const Vec2& from, const Vec2& to)
{
    const Vec2 perpendicular = Plane::Perpendicular(to - from);
    return Plane::IsLeftSide(from, to, to + perpendicular) ? -perpendicular : perpendicular;
}

void OffsetBuilder::Build(std::vector<PolyLine::sVertex>& out)
{
    const unsigned int n = static_cast<unsigned int>(m_points.size());
    out.clear();
    if (n < 2)
    {
        for (const Maths::Vector3<double>& p : m_points)
            out.push_back(PolyLine::sVertex(Vec2(p.x, p.y), -m_maximum, m_maximum));
        return;
    }

    // Each side inserts fewer vertices than the line has.
    m_work.reserve(3 * n);
    for (unsigned int i = 0; i < n; ++i)
    {
        m_work.push_back(tVertex(Vec2(m_points[i].x, m_points[i].y), -m_maximum, m_maximum));
        tVertex& v = m_work.back();
        v.previous = v.previousAbove = v.previousBelow = (i == 0 ? tVertex::NONE : i - 1);
        v.next = v.nextAbove = v.nextBelow = (i + 1 == n ? tVertex::NONE : i + 1);
    }
    // Both ends move to the right of the direction of travel, so that positive
    // distances lie on the right; every other vertex is oriented from its predecessor.
    m_work[0].bisector = RightPerpendicular(m_work[0].point, m_work[1].point);
    m_work[0].first = true;
    m_work[n - 1].bisector = RightPerpendicular(m_work[n - 2].point, m_work[n - 1].point);
    m_work[n - 1].last = true;

    for (unsigned int i = 1; i + 1 < n; ++i)
        SetUp(i, 0.0, FindNeighbour(i, 0.0, true), FindNeighbour(i, 0.0, false));
    for (unsigned int i = 0; i + 1 < n; ++i)
        PushEvent(i, i + 1);

    while (!m_events.Empty())
    {
        const sEventKey event = m_events.Pop();
        // The vertices of the next event lie anywhere in the work list: ask
        // for them now, so that they arrive while this event is processed.
        if (!m_events.Empty())
        {
            __builtin_prefetch(&m_work[m_events.Top().a]);
            __builtin_prefetch(&m_work[m_events.Top().b]);
        }
        ProcessEvent(event);
    }

    CopyInListOrder(out);
}

void OffsetBuilder::CopyInListOrder(std::vector<PolyLine::sVertex>& out) const
{
    // The list alternates between the line's own vertices, at the front of the
    // work list, and those inserted by events, stored in the order of their
    // distances: following the links through the records would wait for memory
    // at almost every step. The links are gathered into a compact array first,
    // in one sequential pass; the walk then stays in cache, and the records are
    // read in an order known ahead, so that they can be fetched in advance.
    std::vector<unsigned int> links(m_work.size());
    for (std::size_t v = 0; v < m_work.size(); ++v)
        links[v] = m_work[v].next;
    std::vector<unsigned int> order;
    order.reserve(m_work.size());
    for (unsigned int v = 0; v != tVertex::NONE; v = links[v])
        order.push_back(v);
    out.reserve(order.size());
    for (std::size_t i = 0; i < order.size(); ++i)
    {
        if (i + kFetchAhead < order.size())
            __builtin_prefetch(&m_work[order[i + kFetchAhead]]);
        out.push_back(PolyLine::sVertex(m_work[order[i]]));
    }
}

unsigned int OffsetBuilder::FindNeighbour(unsigned int v, double d, bool backward) const
{
    // Only vertices still linked on d's side can contain d strictly: a vertex
    // leaves a side's list when that side's end is fixed, and events on each
    // side come in order of growing distance, so it could never contain d again.
    const Side side = SideOf(d);
    const tVertex* w = &m_work[v];
    for (;;)
    {
        const unsigned int u = backward ? (side == ABOVE ? w->previousAbove : w->previousBelow)
                                        : (side == ABOVE ? w->nextAbove : w->nextBelow);
        if (u == tVertex::NONE)
            return u;
        w = &m_work[u];
        if (w->ContainsStrictly(d))
            return u;
    }
}

void OffsetBuilder::SetUp(unsigned int v, double d, unsigned int a, unsigned int b)
{
    // Without a vertex that exists at d on one side (only possible at the very
    // limit of the covered distances), the list neighbour stands in.
    if (a == tVertex::NONE)
        a = m_work[v].previous;
    if (b == tVertex::NONE)
        b = m_work[v].next;
    tVertex& vertex = m_work[v];
    const tVertex& before = m_work[a];
    const tVertex& after = m_work[b];

    vertex.baseDistance = d;
    const Vec2 p = vertex.BisectorAtDistance(d);
    const Vec2 pa = ArmEnd(before, d, p);
    const Vec2 pb = ArmEnd(after, d, p);
    const Vec2 u = (p - pa).Normalised();
    const Vec2 w = (p - pb).Normalised();
    Vec2 direction = u + w;
    Vec2 bisector;
    if (direction.Length() >= kStraightCorner)
    {
        direction = direction.Normalised();
        // k is the cosine of half the corner angle; dividing by its sine keeps
        // both offset edges meeting here at the offset distance.
        const double k = (u.Dot(direction) + w.Dot(direction)) * 0.5;
        // Both arms in one direction (offset edges lying on each other) leave
        // no angle to keep; the vertex then moves at unit speed.
        const double sine = std::sqrt(1.0 - k * k);
        bisector = sine > 0.0 ? direction / sine : direction;
    }
    else
    {
        direction = Plane::Perpendicular(u);
        bisector = direction;
    }

    // Orientation: short arrows along the predecessor's bisector and along the
    // new one, drawn from both ends of the arm between them, cross when the
    // two point to different sides of the arm.
    const double arrow = kOrientationArrow * (pa - vertex.point).Length();
    const Vec2 beforeArrow = before.bisector / before.bisector.Length();
    Vec2 crossing;
    if (Plane::Intersection(pa, vertex.point, pa + beforeArrow * arrow, vertex.point + direction * arrow, crossing))
        bisector = -bisector;
    vertex.bisector = bisector;
}

void OffsetBuilder::PushEvent(unsigned int a, unsigned int b)
{
    const tVertex& va = m_work[a];
    const tVertex& vb = m_work[b];
    const Vec2 meeting = Meeting(va, vb);
    // Parallel rays yield (0, 0); a genuine meeting at the origin is dropped alike.
    if (meeting.x == 0.0 && meeting.y == 0.0)
        return;
    const double ta = Plane::DistanceAlongLine(va.point, va.point + va.bisector, meeting);
    const double tb = Plane::DistanceAlongLine(vb.point, vb.point + vb.bisector, meeting);
    const double e = (va.baseDistance + ta + vb.baseDistance + tb) * 0.5;
    if (!va.AtDistance(e) || !vb.AtDistance(e))
        return;
    m_events.Push({e, a, b});
}

Vec2 OffsetBuilder::Meeting(const tVertex& a, const tVertex& b)
{
    Vec2 meeting;
    // The rays' lines are intersected whatever the segment test says.
    Plane::Intersection(a.point, a.point + a.bisector, b.point, b.point + b.bisector, meeting);
    return meeting;
}

void OffsetBuilder::ProcessEvent(const sEventKey& event)
{
    const double e = event.distance;
    const Side side = SideOf(e);
    tVertex& a = m_work[event.a];
    tVertex& b = m_work[event.b];
    // A vertex whose end on this side is already fixed has met another
    // neighbour first: the event is stale.
    if (side == BELOW ? (a.lowerFixed || b.lowerFixed) : (a.upperFixed || b.upperFixed))
        return;

    const bool aMovable = !a.first && !a.last;
    const bool bMovable = !b.first && !b.last;
    unsigned int inserted = tVertex::NONE;
    if (aMovable && bMovable)
    {
        // The vertices' rays are as they were when the event was pushed.
        const Vec2 point = Meeting(a, b);
        inserted = side == BELOW ? InsertBefore(event.b, point, -m_maximum, e, BELOW)
                                 : InsertBefore(event.b, point, e, m_maximum, ABOVE);
    }

    // The same vertices as a and b, re-read: insertion may have grown the work list.
    for (unsigned int index : {event.a, event.b})
    {
        tVertex& v = m_work[index];
        if (v.first || v.last)
            continue;
        if (side == BELOW)
        {
            v.lowerFixed = true;
            v.minDistance = e;
        }
        else
        {
            v.upperFixed = true;
            v.maxDistance = e;
        }
        Unlink(index, side);
    }
    if (inserted == tVertex::NONE)
        return;

    const unsigned int before = FindNeighbour(inserted, e, true);
    const unsigned int after = FindNeighbour(inserted, e, false);
    SetUp(inserted, e, before, after);
    if (side == BELOW)
        m_work[inserted].upperFixed = true;
    else
        m_work[inserted].lowerFixed = true;
    if (before != tVertex::NONE)
        PushEvent(before, inserted);
    if (after != tVertex::NONE)
        PushEvent(inserted, after);
}

unsigned int OffsetBuilder::InsertBefore(unsigned int b, const Vec2& point, double minDistance, double maxDistance,
                                         Side side)
{
    const unsigned int v = static_cast<unsigned int>(m_work.size());
    m_work.push_back(tVertex(point, minDistance, maxDistance));
    tVertex& vertex = m_work.back();
    vertex.previous = m_work[b].previous;
    vertex.next = b;
    m_work[vertex.previous].next = v;
    m_work[b].previous = v;
    // b is still linked on this side (it is unlinked just after), so v takes its place there.
    Previous(v, side) = Previous(b, side);
    Next(v, side) = b;
    Next(Previous(b, side), side) = v;
    Previous(b, side) = v;
    return v;
}

void OffsetBuilder::Unlink(unsigned int v, Side side)
{
    const unsigned int before = Previous(v, side);
    const unsigned int after = Next(v, side);
    if (before != tVertex::NONE)
        Next(before, side) = after;
    if (after != tVertex::NONE)
        Previous(after, side) = before;
    Previous(v, side) = Next(v, side) = tVertex::NONE;
}

} // namespace

namespace
{

// Storage for capacity entries, starting one entry after a cache-line boundary.
sEventKey* AllocateEvents(std::size_t capacity)
{
    void* const storage = ::operator new((capacity + 1) * sizeof(sEventKey), std::align_val_t(kCacheLine));
    return static_cast<sEventKey*>(storage) + 1;
}

void FreeEvents(sEventKey* events)
{
    if (events != nullptr)
        ::operator delete(events - 1, std::align_val_t(kCacheLine));
}

} // namespace

OffsetEventHeap::~OffsetEventHeap()
{
    FreeEvents(m_events);
}

void OffsetEventHeap::Push(const sEventKey& event)
{
    if (m_size == m_capacity)
    {
        const std::size_t capacity = m_capacity == 0 ? 1023 : 2 * m_capacity + 1;
        sEventKey* const events = AllocateEvents(capacity);
        std::copy(m_events, m_events + m_size, events);
        FreeEvents(m_events);
        m_events = events;
        m_capacity = capacity;
    }
    ++m_size;
    SiftUp(static_cast<std::ptrdiff_t>(m_size) - 1, event);
}

sEventKey OffsetEventHeap::Pop()
{
    const sEventKey top = m_events[0];
    // The last event fills the hole the top leaves, which first moves down
    // along the earlier of each pair of children to a leaf.
    const std::ptrdiff_t length = static_cast<std::ptrdiff_t>(m_size) - 1;
    if (length > 0)
    {
        const sEventKey last = m_events[length];
        std::ptrdiff_t hole = 0;
        std::ptrdiff_t child = 0;
        while (child < (length - 1) / 2)
        {
            child = 2 * (child + 1);
            // Without a branch: which child comes earlier is a coin toss.
            child -= static_cast<std::ptrdiff_t>(Later(m_events[child], m_events[child - 1]));
            m_events[hole] = m_events[child];
            hole = child;
            if (8 * hole + 14 < length)
            {
                __builtin_prefetch(&m_events[8 * hole + 7]);
                __builtin_prefetch(&m_events[8 * hole + 11]);
            }
        }
        if ((length & 1) == 0 && child == (length - 2) / 2)
        {
            child = 2 * (child + 1);
            m_events[hole] = m_events[child - 1];
            hole = child - 1;
        }
        SiftUp(hole, last);
    }
    --m_size;
    return top;
}

bool OffsetEventHeap::Later(const sEventKey& x, const sEventKey& y)
{
    return std::fabs(x.distance) > std::fabs(y.distance);
}

void OffsetEventHeap::SiftUp(std::ptrdiff_t hole, const sEventKey& event)
{
    std::ptrdiff_t parent = (hole - 1) / 2;
    while (hole > 0 && Later(m_events[parent], event))
    {
        m_events[hole] = m_events[parent];
        hole = parent;
        parent = (hole - 1) / 2;
    }
    m_events[hole] = event;
}

tVertex::tVertex(const Vec2& point_, double minDistance_, double maxDistance_)
    : PolyLine::sVertex(point_, minDistance_, maxDistance_), first(false), last(false), lowerFixed(false),
      upperFixed(false), previous(NONE), next(NONE), previousAbove(NONE), nextAbove(NONE), previousBelow(NONE),
      nextBelow(NONE)
{
}

PolyLine::sVertex::sVertex(const tVertex& work) : sVertex(static_cast<const sVertex&>(work))
{
}

void PolyLine::RecalculateOffsetConstruction() const
{
    if (!m_offsetConstructionDirty)
        return;
    m_offsetConstructionDirty = false;
    OffsetBuilder(m_points, m_maximumParallelOffset).Build(m_offsetVertices);
}

} // namespace Core
