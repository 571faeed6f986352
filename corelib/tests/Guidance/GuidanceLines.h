// Realistic guidance lines for the guidance tests, and small geometry helpers
// written independently of the library's own primitives.
#ifndef CORELIB_TESTS_GUIDANCE_GUIDANCELINES_H
#define CORELIB_TESTS_GUIDANCE_GUIDANCELINES_H

#include "Guidance/PolyLine.h"

#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace GuidanceTest
{

typedef Core::Maths::Vector2<double> Vec2;
typedef Core::Maths::Vector3<double> Vec3;

const double kPi = 3.14159265358979323846;

// A named list of vertices with the largest offset distance at which no
// vertex of the line has collapsed yet (derived by hand for each line).
struct GuidanceLine
{
    std::string name;
    std::vector<Vec3> points;
    double safeOffset;
};

inline Core::PolyLine MakeLine(const std::vector<Vec3>& points)
{
    Core::PolyLine line;
    for (const Vec3& p : points)
        line.AddPoint(p, false);
    return line;
}

// An AB line: two points 500 m apart.
inline GuidanceLine StraightAB()
{
    return {"straight AB line", {Vec3(12.0, -7.0, 3.0), Vec3(412.0, 293.0, 4.0)}, 1000.0};
}

// A straight line recorded as many colinear points (straight corners).
inline GuidanceLine StraightRecorded()
{
    GuidanceLine line{"recorded straight line", {}, 1000.0};
    for (int i = 0; i <= 40; ++i)
        line.points.push_back(Vec3(3.0 * i, 4.0 * i, 0.0));
    return line;
}

// A left-hand arc of radius 200 m with a vertex every 5 m. Inner offset
// vertices meet near the centre, at about the radius: 150 m is well short.
inline GuidanceLine GentleCurve()
{
    GuidanceLine line{"gentle curve", {}, 150.0};
    const double radius = 200.0;
    const double step = 5.0 / radius;
    for (int i = 0; i <= 60; ++i)
    {
        const double a = -kPi / 2 + i * step;
        line.points.push_back(Vec3(radius * std::cos(a), 200.0 + radius * std::sin(a), 0.0));
    }
    return line;
}

// A field boundary driven clockwise, closed by repeating its first corner, with
// one reflex (left-hand) corner. An edge of length L between right-hand turns
// a and b vanishes inside at L / (tan(a/2) + tan(b/2)); the first to go is the
// 151 m edge between turns of 95 and 88 degrees, at 73 m.
inline GuidanceLine FieldBoundary()
{
    return {"field boundary",
            {Vec3(0, 0, 0), Vec3(0, 180, 0), Vec3(130, 260, 0), Vec3(150, 140, 0), Vec3(280, 170, 0),
             Vec3(300, 20, 0), Vec3(120, -10, 0), Vec3(0, 0, 0)},
            25.0};
}

// A recorded drive weaving around a straight course (amplitude 3 m, wavelength
// 60 m, so the tightest radius is about 1 / (3 (2 pi / 60)^2) = 30 m), one point
// every 2 m with 1 cm of position noise. The noise adds turns of about 0.01 rad,
// so two 2 m edges' worth of turning stays below 0.2 rad and no edge vanishes
// before 2 * 2 / 0.2 = 20 m.
inline GuidanceLine WavyDrive()
{
    GuidanceLine line{"wavy drive with noise", {}, 10.0};
    std::mt19937 random(20240517u);
    std::normal_distribution<double> noise(0.0, 0.01);
    for (int i = 0; i <= 150; ++i)
    {
        const double x = 2.0 * i;
        const double y = 3.0 * std::sin(2 * kPi * x / 60.0);
        line.points.push_back(Vec3(x + noise(random), y + noise(random), 100.0 + 0.01 * x));
    }
    return line;
}

inline std::vector<GuidanceLine> RealisticLines()
{
    return {StraightAB(), StraightRecorded(), GentleCurve(), FieldBoundary(), WavyDrive()};
}

// Signed distance of q from the infinite line a-b in the plane, positive on the
// right of the direction a to b.
inline double RightDistance(const Vec3& a, const Vec3& b, const Vec3& q)
{
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    return ((q.x - a.x) * dy - (q.y - a.y) * dx) / std::hypot(dx, dy);
}

// Distance from q to the segment a-b in 3-D, by clamping the projection.
inline double SegmentDistance(const Vec3& a, const Vec3& b, const Vec3& q)
{
    const Vec3 d = b - a;
    const double lengthSquared = d.x * d.x + d.y * d.y + d.z * d.z;
    double t = lengthSquared == 0.0 ? 0.0 : ((q.x - a.x) * d.x + (q.y - a.y) * d.y + (q.z - a.z) * d.z) / lengthSquared;
    t = t < 0.0 ? 0.0 : (t > 1.0 ? 1.0 : t);
    return std::sqrt(std::pow(q.x - a.x - t * d.x, 2) + std::pow(q.y - a.y - t * d.y, 2) +
                     std::pow(q.z - a.z - t * d.z, 2));
}

// True when the closed segments p1-p2 and q1-q2 properly cross or touch in the
// plane, by orientation signs.
inline bool SegmentsCross(const Vec3& p1, const Vec3& p2, const Vec3& q1, const Vec3& q2)
{
    auto orient = [](const Vec3& a, const Vec3& b, const Vec3& c) {
        const double v = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
        return (v > 0) - (v < 0);
    };
    return orient(p1, p2, q1) * orient(p1, p2, q2) <= 0 && orient(q1, q2, p1) * orient(q1, q2, p2) <= 0;
}

// Index pairs of non-adjacent segments of the line that cross each other.
inline std::vector<std::pair<unsigned int, unsigned int>> SelfCrossings(const std::vector<Vec3>& p)
{
    std::vector<std::pair<unsigned int, unsigned int>> found;
    for (unsigned int i = 0; i + 1 < p.size(); ++i)
        for (unsigned int j = i + 2; j + 1 < p.size(); ++j)
            if (SegmentsCross(p[i], p[i + 1], p[j], p[j + 1]))
                found.push_back(std::make_pair(i, j));
    return found;
}

} // namespace GuidanceTest

#endif
