// A poly-line drawn as curves through its vertices. The curve between two
// vertices comes from a SplineInterpolator chosen when the spline is built.
// The vertex list, the segment cache, along-track distances and the
// nearest-point search stay those of the straight poly-line; only the points
// returned to the caller are moved onto the curve.
// Threading: as PolyLine (not synchronised; const queries update caches).
#ifndef CORELIB_GUIDANCE_POLYSPLINE_H
#define CORELIB_GUIDANCE_POLYSPLINE_H

#include "Guidance/PolyLine.h"

namespace Core
{

class PolySpline;

// Strategy that computes the point at parameter t of one segment of a spline.
// Stateless: the concrete classes hold no data.
class SplineInterpolator
{
public:
    // The interpolation schemes, by the numbers that field files and callers use.
    enum SplineTypes : int
    {
        Linear = 0,
        CatmullRom = 1,
        NaturalCubic = 2,
        RoundedNonUniform = 3
    };

    virtual ~SplineInterpolator();
    // The point at parameter t (0 at vertex segment, 1 at vertex segment+1).
    // Requires: spline has at least 3 points and segment + 1 < its point count.
    virtual Maths::Vector3<double> Interpolate(unsigned int segment, double t, const PolySpline* spline) const = 0;

    // A new interpolator of the given type, owned by the caller; null for a
    // value outside SplineTypes.
    static SplineInterpolator* GetSplineInterpolator(SplineTypes type);
};

// The straight segment, on all three components.
class LinearSpline : public SplineInterpolator
{
public:
    Maths::Vector3<double> Interpolate(unsigned int segment, double t, const PolySpline* spline) const override;
};

// Uniform Catmull-Rom on all three components. Before the first vertex and
// after the last, the missing control point is the reflection of the
// neighbouring vertex; the reflection at the far end is used already for the
// second-to-last segment.
class CatmullRomSpline : public SplineInterpolator
{
public:
    Maths::Vector3<double> Interpolate(unsigned int segment, double t, const PolySpline* spline) const override;
};

// y as a natural cubic spline of x through all vertices (x should increase
// along the line); the result's x is linear in t and its z is 0. The whole
// system is solved on every call, in time and memory proportional to the
// vertex count, which limits it to short lines. Where two successive vertices
// share an x, y is not a function of x and the segment is drawn straight.
class NaturalCubicSpline : public SplineInterpolator
{
public:
    Maths::Vector3<double> Interpolate(unsigned int segment, double t, const PolySpline* spline) const override;
};

// Cubic Hermite curve in x and y with central-difference tangents inside and
// rounded end tangents on the first and last segments; z of the result is 0.
class RoundedNonUniformSpline : public SplineInterpolator
{
public:
    Maths::Vector3<double> Interpolate(unsigned int segment, double t, const PolySpline* spline) const override;
};

class PolySpline : public PolyLine
{
public:
    // An empty spline using the interpolator of the given type; a value
    // outside SplineTypes leaves it without one, and it then behaves exactly
    // like a PolyLine.
    explicit PolySpline(SplineInterpolator::SplineTypes type);
    ~PolySpline() override;
    // Owns its interpolator: not copyable.
    PolySpline(const PolySpline&) = delete;
    PolySpline& operator=(const PolySpline&) = delete;

    using PolyLine::Initialise;
    // Switches to the interpolator of the given type (freeing the previous one).
    void Initialise(SplineInterpolator::SplineTypes type);

    // Moves a point that lies on straight segment i onto the curve: its
    // projection parameter on the segment (unclamped) is re-evaluated on the
    // curve. Requires: i + 1 < GetPointCount().
    void AdjustToCurve(unsigned int i, Maths::Vector3<double>& point) const;

    // The poly-line's result, with the point moved onto the curve when the
    // distance lies on the line; extrapolations stay straight.
    bool GetAlongTrack(double distance, unsigned int& segment, Maths::Vector3<double>& point) const override;
    // The curve's point; the straight form for t <= 0, t >= 1, lines of 2
    // points or fewer, and a spline without interpolator.
    void InterpolateSegment(unsigned int i, double t, Maths::Vector3<double>& point) const override;
    // The poly-line's search, with the nearest point moved onto the curve. The
    // score, distance and along-track distance stay those of the straight segments.
    double DistanceToNearest(unsigned int first, unsigned int last, const Maths::Vector3<double>& position,
                             ScoreFunction* score, unsigned int& segment, double& distance, double& alongTrack,
                             Maths::Vector3<double>& nearest) const override;
    using PolyLine::DistanceToNearest;

private:
    SplineInterpolator* m_interpolator; // owned; null when the type was not recognised
};

} // namespace Core

#endif
