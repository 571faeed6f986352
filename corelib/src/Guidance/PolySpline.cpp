#include "Guidance/PolySpline.h"

#include <vector>

namespace Core
{

namespace
{

typedef Maths::Vector3<double> Vec3;
typedef Geometry<double, Maths::Vector3> Space;

// The control point a curve needs beyond an end vertex: its inner neighbour
// reflected through it.
Vec3 Reflect(const Vec3& end, const Vec3& inner)
{
    return end * 2.0 - inner;
}

} // namespace

// --- Interpolators ------------------------------------------------------------

SplineInterpolator::~SplineInterpolator() = default;

SplineInterpolator* SplineInterpolator::GetSplineInterpolator(SplineTypes type)
{
    switch (type)
    {
    case Linear:
        return new LinearSpline;
    case CatmullRom:
        return new CatmullRomSpline;
    case NaturalCubic:
        return new NaturalCubicSpline;
    case RoundedNonUniform:
        return new RoundedNonUniformSpline;
    }
    return nullptr;
}

Vec3 LinearSpline::Interpolate(unsigned int i, double t, const PolySpline* spline) const
{
    const std::vector<Vec3>& p = spline->GetPoints();
    return Space::DistanceAlongLine(t, p[i], p[i + 1]);
}

Vec3 CatmullRomSpline::Interpolate(unsigned int i, double t, const PolySpline* spline) const
{
    const std::vector<Vec3>& p = spline->GetPoints();
    const size_t n = p.size();
    const Vec3& p1 = p[i];
    const Vec3& p2 = p[i + 1];
    const Vec3 p0 = i == 0 ? Reflect(p[0], p[1]) : p[i - 1];
    // The segment whose second successor is the last vertex already takes the
    // reflection instead of that vertex; the last segment, which has no second
    // successor, takes the same reflection.
    const Vec3 p3 = i + 2 >= n - 1 ? Reflect(p[n - 1], p[n - 2]) : p[i + 2];
    const double t2 = t * t;
    const double t3 = t2 * t;
    return p1 + (p2 - p0) * (0.5 * t) + (p0 * 2.0 - p1 * 5.0 + p2 * 4.0 - p3) * (0.5 * t2) +
           (p1 * 3.0 - p0 - p2 * 3.0 + p3) * (0.5 * t3);
}

Vec3 RoundedNonUniformSpline::Interpolate(unsigned int i, double t, const PolySpline* spline) const
{
    const std::vector<Vec3>& p = spline->GetPoints();
    const size_t n = p.size();
    const Vec3 p1(p[i].x, p[i].y, 0.0);
    const Vec3 p2(p[i + 1].x, p[i + 1].y, 0.0);
    // The chord scaled by 3/L is not normalised: L is the segment's 3-D length.
    const Vec3 chord = (p2 - p1) * (3.0 / spline->SegmentLength(i));
    Vec3 t1;
    Vec3 t2;
    if (i == 0)
    {
        t2 = p[2] - p[0];
        t2.z = 0.0;
        t1 = (chord - t2) * 0.5;
    }
    else if (i + 2 >= n)
    {
        t1 = p[i + 1] - p[i - 1];
        t1.z = 0.0;
        t2 = (chord - t1) * 0.5;
    }
    else
    {
        t1 = p[i + 1] - p[i - 1];
        t2 = p[i + 2] - p[i];
        t1.z = 0.0;
        t2.z = 0.0;
    }
    const double s2 = t * t;
    const double s3 = s2 * t;
    return p1 * (2.0 * s3 - 3.0 * s2 + 1.0) + t1 * (s3 - 2.0 * s2 + t) + p2 * (3.0 * s2 - 2.0 * s3) + t2 * (s3 - s2);
}

Vec3 NaturalCubicSpline::Interpolate(unsigned int i, double t, const PolySpline* spline) const
{
    const std::vector<Vec3>& p = spline->GetPoints();
    const size_t n = p.size();
    std::vector<double> x(n), a(n), h(n - 1), alpha(n, 0.0), l(n), mu(n), z(n), b(n), c(n), d(n);
    for (size_t k = 0; k < n; ++k)
    {
        x[k] = p[k].x;
        a[k] = p[k].y;
    }
    for (size_t k = 0; k + 1 < n; ++k)
    {
        h[k] = x[k + 1] - x[k];
        if (h[k] == 0.0)
            return Vec3(x[i] + t * (x[i + 1] - x[i]), a[i] + t * (a[i + 1] - a[i]), 0.0);
    }
    for (size_t k = 1; k + 1 < n; ++k)
        alpha[k] = (3.0 / h[k]) * (a[k + 1] - a[k]) - (3.0 / h[k - 1]) * (a[k] - a[k - 1]);
    l[0] = 1.0;
    mu[0] = 0.0;
    z[0] = 0.0;
    for (size_t k = 1; k + 1 < n; ++k)
    {
        l[k] = 2.0 * (x[k + 1] - x[k - 1]) - h[k - 1] * mu[k - 1];
        mu[k] = h[k] / l[k];
        z[k] = (alpha[k] - h[k - 1] * z[k - 1]) / l[k];
    }
    l[n - 1] = 1.0;
    z[n - 1] = 0.0;
    c[n - 1] = 0.0;
    for (size_t k = n - 1; k-- > 0;)
    {
        c[k] = z[k] - mu[k] * c[k + 1];
        b[k] = (a[k + 1] - a[k]) / h[k] - h[k] * (c[k + 1] + 2.0 * c[k]) / 3.0;
        d[k] = (c[k + 1] - c[k]) / (3.0 * h[k]);
    }
    // The segment's polynomial in powers of the absolute x rather than of x - x[i].
    const double X = x[i] + t * (x[i + 1] - x[i]);
    const double xi = x[i];
    const double y = ((d[i] * X + (c[i] - 3.0 * d[i] * xi)) * X + (b[i] - 2.0 * c[i] * xi + 3.0 * d[i] * xi * xi)) * X +
                     (a[i] - b[i] * xi + c[i] * xi * xi - d[i] * xi * xi * xi);
    return Vec3(X, y, 0.0);
}

// --- PolySpline ---------------------------------------------------------------

PolySpline::PolySpline(SplineInterpolator::SplineTypes type) : m_interpolator(nullptr)
{
    Initialise(type);
}

PolySpline::~PolySpline()
{
    delete m_interpolator;
}

void PolySpline::Initialise(SplineInterpolator::SplineTypes type)
{
    delete m_interpolator;
    m_interpolator = SplineInterpolator::GetSplineInterpolator(type);
}

void PolySpline::AdjustToCurve(unsigned int i, Vec3& point) const
{
    const Vec3& a = GetPoints()[i];
    const Vec3& b = GetPoints()[i + 1];
    // A zero-length segment has no direction to project on: its point is the vertex.
    const double t = a == b ? 0.0 : Space::DistanceAlongLine(a, b, point);
    InterpolateSegment(i, t, point);
}

bool PolySpline::GetAlongTrack(double distance, unsigned int& segment, Vec3& point) const
{
    if (!PolyLine::GetAlongTrack(distance, segment, point))
        return false;
    // Without an interpolator the point is already on the (straight) curve;
    // projecting it again would only add rounding.
    if (m_interpolator != nullptr)
        AdjustToCurve(segment, point);
    return true;
}

void PolySpline::InterpolateSegment(unsigned int i, double t, Vec3& point) const
{
    if (m_interpolator == nullptr || t <= 0.0 || t >= 1.0 || GetPointCount() <= 2)
        PolyLine::InterpolateSegment(i, t, point);
    else
        point = m_interpolator->Interpolate(i, t, this);
}

double PolySpline::DistanceToNearest(unsigned int first, unsigned int last, const Vec3& position, ScoreFunction* score,
                                     unsigned int& segment, double& distance, double& alongTrack, Vec3& nearest) const
{
    const double best =
        PolyLine::DistanceToNearest(first, last, position, score, segment, distance, alongTrack, nearest);
    if (best < Maths::Math<double>::INFINITE_VALUE && m_interpolator != nullptr)
        AdjustToCurve(segment, nearest);
    return best;
}

} // namespace Core
