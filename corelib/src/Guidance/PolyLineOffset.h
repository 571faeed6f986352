// The work records of a poly-line's offset construction. Each vertex of the
// line starts a ray (its bisector) along which its offset copy moves as the
// offset distance grows; where the rays of two neighbours meet, both end and a
// new vertex carries on from the meeting point (a collapse event). Events are
// taken in order of absolute distance from a heap, so building the construction
// for n points costs O(n log n) time and O(n) memory on realistic lines: each
// event removes at least one vertex from one side, and neighbour searches skip
// vertices that have ended on that side.
// Threading: used only inside PolyLine::RecalculateOffsetConstruction.
#ifndef CORELIB_GUIDANCE_POLYLINEOFFSET_H
#define CORELIB_GUIDANCE_POLYLINEOFFSET_H

#include "Guidance/PolyLine.h"

#include <cstddef>
#include <vector>

namespace Core
{

// An offset vertex while the construction is built: the stored form plus the
// state of the construction and its place in the vertex list.
struct tVertex : PolyLine::sVertex
{
    // Marks the end of a list.
    static constexpr unsigned int NONE = 0xFFFFFFFFu;

    bool first;      // the first vertex of the line: its range is never cut
    bool last;       // the last vertex of the line: its range is never cut
    bool lowerFixed; // minDistance has been set by an event or at insertion
    bool upperFixed; // maxDistance has been set by an event or at insertion

    // Neighbours in the list of all vertices, in line order.
    unsigned int previous;
    unsigned int next;
    // Neighbours among the vertices that may still exist at larger positive
    // distances (not upper-fixed, not created on the negative side) ...
    unsigned int previousAbove;
    unsigned int nextAbove;
    // ... and at larger negative distances (the mirror image).
    unsigned int previousBelow;
    unsigned int nextBelow;

    // A vertex at point for distances in [minDistance, maxDistance], neither first nor
    // last, with no fixed ends and no neighbours (NONE).
    tVertex(const Maths::Vector2<double>& point, double minDistance, double maxDistance);

    // True when minDistance < d < maxDistance.
    bool ContainsStrictly(double d) const { return minDistance < d && d < maxDistance; }
};

// A collapse event: the rays of list vertices a and b (a before b) meet at
// point when the offset distance is `distance`.
struct sIntersection
{
    // Where the two rays meet.
    Maths::Vector2<double> point;
    // The two list vertices, a before b.
    unsigned int a;
    unsigned int b;
    // The offset distance at which they meet.
    double distance;
};

// A collapse event as the construction keeps it while it is pending: the
// meeting point is left out, since it follows from the two vertices' rays,
// which never change once set up, so that four events share a cache line.
struct sEventKey
{
    // The offset distance at which the rays meet.
    double distance;
    // The two list vertices, a before b.
    unsigned int a;
    unsigned int b;
};

// The pending collapse events: a binary heap in an array whose top is the
// event of smallest absolute distance. Its steps are exactly those of
// std::push_heap and std::pop_heap, so that events of equal distance come
// off in the same order. Unlike those, the sift down asks the memory for the
// entries two levels below each place it reaches: the deep levels of a large
// heap are not in cache, and without the request every level waits for its
// load.
class OffsetEventHeap
{
public:
    OffsetEventHeap() = default;
    OffsetEventHeap(const OffsetEventHeap&) = delete;
    OffsetEventHeap& operator=(const OffsetEventHeap&) = delete;
    ~OffsetEventHeap();

    // Whether no event is pending.
    bool Empty() const { return m_size == 0; }
    // The event of smallest absolute distance; the heap must not be empty.
    const sEventKey& Top() const { return m_events[0]; }
    // Adds an event.
    void Push(const sEventKey& event);
    // Removes and returns the top; the heap must not be empty.
    sEventKey Pop();

private:
    static bool Later(const sEventKey& x, const sEventKey& y);
    // Moves event up from hole while its parent comes later, then stores it.
    void SiftUp(std::ptrdiff_t hole, const sEventKey& event);

    // Entry i is m_events[i]. The storage starts one entry before m_events at
    // a cache-line boundary, so that the two children of any entry share a
    // line, the four grandchildren fill one and the eight below them two.
    sEventKey* m_events = nullptr;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

} // namespace Core

#endif
