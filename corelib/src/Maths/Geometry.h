// Plane and space primitives of the guidance-path code (segment intersection,
// projection on a line, distance to a line, side test, perpendicular, corner
// bisector, circumradius) and an axis-aligned box that grows by points.
// Geometry<T, Maths::Vector2> works in the plane; Geometry<T, Maths::Vector3>
// decides sides and crossings on x and y and carries z along. "Left" of a
// directed line is the counter-clockwise side.
// Threading: stateless functions and plain values; a box belongs to one thread at a time.
#ifndef CORELIB_MATHS_GEOMETRY_H
#define CORELIB_MATHS_GEOMETRY_H

#include "Maths/Maths.h"
#include "Maths/Vector.h"

#include <cmath>

namespace Core
{

// Static primitives for vectors V<T>; defined for V = Maths::Vector2 and Maths::Vector3.
template <class T, template <class> class V>
class Geometry;

namespace GeometryDetail
{

// Below this magnitude of the direction cross product two lines count as parallel.
constexpr double kParallelLimit = 1e-07;

// Where the infinite lines P0-P1 and Q0-Q1 meet, decided on x and y; the point
// is interpolated along the first segment, so any z follows it.
template <class Vec>
bool Intersection(const Vec& P0, const Vec& P1, const Vec& Q0, const Vec& Q1, Vec& out)
{
    const double d1x = P1.x - P0.x, d1y = P1.y - P0.y;
    const double d2x = Q1.x - Q0.x, d2y = Q1.y - Q0.y;
    const double denom = d1x * d2y - d1y * d2x;
    if (std::fabs(denom) < kParallelLimit)
    {
        out = Vec();
        return false;
    }
    const double wx = P0.x - Q0.x, wy = P0.y - Q0.y;
    const double inverse = 1.0 / denom;
    const double ub = (d1x * wy - d1y * wx) * inverse; // along the second segment
    const double ua = (d2x * wy - d2y * wx) * inverse; // along the first segment
    out = P0 + (P1 - P0) * ua;
    return ub >= 0 && ub <= 1 && ua >= 0 && ua <= 1;
}

// The unclamped parameter of the projection of p on the line P0-P1, over every component of Vec.
template <class Vec>
double DistanceAlongLine(const Vec& P0, const Vec& P1, const Vec& p)
{
    const Vec d = P1 - P0;
    return (p - P0).Dot(d) / d.SquaredLength();
}

// Strictly left of the directed line a to b, on x and y only.
template <class Vec>
bool IsLeftSide(const Vec& a, const Vec& b, const Vec& p)
{
    return ((a.x - b.x) * (a.y - p.y) - (a.y - b.y) * (a.x - p.x)) > 0;
}

} // namespace GeometryDetail

// Primitives of the local plane.
template <class T>
class Geometry<T, Maths::Vector2>
{
public:
    // The vector type of the plane.
    typedef Maths::Vector2<T> Vector;

    // Writes to out the point where the infinite lines P0-P1 and Q0-Q1 meet and
    // returns true when it lies on both segments, ends included. Lines closer
    // to parallel than 1e-07 (direction cross product) give false and a zero
    // out, even when they overlap. Otherwise out is written whatever the result.
    static bool Intersection(const Vector& P0, const Vector& P1, const Vector& Q0, const Vector& Q1, Vector& out)
    {
        return GeometryDetail::Intersection(P0, P1, Q0, Q1, out);
    }

    // The parameter t of the projection of p on the line P0-P1: 0 at P0, 1 at
    // P1, unclamped. Requires: P0 != P1 (otherwise NaN or infinity).
    static double DistanceAlongLine(const Vector& P0, const Vector& P1, const Vector& p)
    {
        return GeometryDetail::DistanceAlongLine(P0, P1, p);
    }

    // True when p lies strictly left of the directed line a to b; points on the line are not.
    static bool IsLeftSide(const Vector& a, const Vector& b, const Vector& p)
    {
        return GeometryDetail::IsLeftSide(a, b, p);
    }

    // d turned a quarter turn counter-clockwise, of unit length. Requires: d is not zero.
    static Vector Perpendicular(const Vector& d) { return Vector(-d.y, d.x).Normalised(); }

    // Unit direction halving the corner at b between a-b and b-c, pointing to
    // the outer side of the turn (right of travel at a left turn, left at a
    // right turn). A straight or nearly straight corner gives the left
    // perpendicular of a to b instead. Requires: a != b and b != c.
    static Vector Bisector(const Vector& a, const Vector& b, const Vector& c)
    {
        const Vector u = (b - a).Normalised();
        const Vector w = (b - c).Normalised();
        const Vector s = u + w;
        const T length = s.Length();
        if (length < 1e-05)
            return Perpendicular(u);
        return s / length;
    }

    // Radius of the circle through a, b and c. Colinear points give +infinity,
    // coincident points NaN; callers test the result.
    static double Radius(const Vector& a, const Vector& b, const Vector& c)
    {
        const Vector u = (a - b).Normalised();
        const Vector w = (b - c).Normalised();
        const double k = u.Dot(w); // cosine of the turn at b
        return std::sqrt((a - c).SquaredLength() * 0.25 / (1 - k * k));
    }
};

// Primitives in space: crossings and sides on x and y, distances over all three components.
template <class T>
class Geometry<T, Maths::Vector3>
{
public:
    // The vector type of space.
    typedef Maths::Vector3<T> Vector;

    // As in the plane, deciding on x and y; out's z is interpolated along the first segment.
    static bool Intersection(const Vector& P0, const Vector& P1, const Vector& Q0, const Vector& Q1, Vector& out)
    {
        return GeometryDetail::Intersection(P0, P1, Q0, Q1, out);
    }

    // The point P0 + t*(P1 - P0).
    static Vector DistanceAlongLine(double t, const Vector& P0, const Vector& P1) { return P0 + (P1 - P0) * t; }

    // The unclamped parameter of the projection of p on the line P0-P1, over
    // three components. Requires: P0 != P1.
    static double DistanceAlongLine(const Vector& P0, const Vector& P1, const Vector& p)
    {
        return GeometryDetail::DistanceAlongLine(P0, P1, p);
    }

    // Distance from p to the infinite line P0-P1; t receives the projection
    // parameter and foot the unclamped foot point. Requires: P0 != P1.
    static double DistanceToLine(const Vector& P0, const Vector& P1, const Vector& p, double& t, Vector& foot)
    {
        t = DistanceAlongLine(P0, P1, p);
        foot = DistanceAlongLine(t, P0, P1);
        return (p - foot).Length();
    }

    // The same distance, without the outputs.
    static double DistanceToLine(const Vector& P0, const Vector& P1, const Vector& p)
    {
        double t;
        Vector foot;
        return DistanceToLine(P0, P1, p, t, foot);
    }

    // True when p lies strictly left of the directed line a to b, on x and y only.
    static bool IsLeftSide(const Vector& a, const Vector& b, const Vector& p)
    {
        return GeometryDetail::IsLeftSide(a, b, p);
    }
};

// An axis-aligned box grown by points. The empty box has its minimum corner at
// +infinity and its maximum at -infinity; there is no separate flag, so a box
// is empty while GetMin().x > GetMax().x.
// Threading: a plain value; one object belongs to one thread at a time.
template <class T, template <class> class V>
class BoundingBox
{
public:
    // The type of the corners and of the points added.
    typedef V<T> Vector;

    BoundingBox() { ResetToEmpty(); }

    // Back to the empty box.
    void ResetToEmpty()
    {
        for (int i = 0; i < Vector::DIMENSION; ++i)
        {
            m_min[i] = Maths::Math<T>::INFINITE_VALUE;
            m_max[i] = -Maths::Math<T>::INFINITE_VALUE;
        }
    }

    // Extends the box to contain p. The first point of an empty box becomes both corners.
    void AddPoint(const Vector& p)
    {
        for (int i = 0; i < Vector::DIMENSION; ++i)
        {
            if (p[i] < m_min[i])
                m_min[i] = p[i];
            if (m_max[i] < p[i])
                m_max[i] = p[i];
        }
    }

    // The smallest coordinates seen on each axis.
    Vector GetMin() const { return m_min; }
    // The largest coordinates seen on each axis.
    Vector GetMax() const { return m_max; }

private:
    Vector m_min;
    Vector m_max;
};

} // namespace Core

#endif
