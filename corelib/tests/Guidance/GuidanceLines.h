// Realistic guidance lines for the guidance tests, and plane geometry written
// independently of the library's own primitives.
#ifndef CORELIB_TESTS_GUIDANCE_GUIDANCELINES_H
#define CORELIB_TESTS_GUIDANCE_GUIDANCELINES_H

#include "Guidance/PolyLine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace GuidanceTest
{

typedef Core::Maths::Vector2<double> Vec2;
typedef Core::Maths::Vector3<double> Vec3;

const double kPi = 3.14159265358979323846;

// A line and the largest offset distance at which none of its vertices has
// collapsed yet (derived by hand for each line).
struct GuidanceLine
{
    std::string name;
    std::vector<Vec3> points;
    double safeOffset;
};

// Expects actual within tolerance of expected, printing actual if not.
inline void ExpectNear(const Vec3& actual, const Vec3& expected, double tolerance)
{
    EXPECT_NEAR((actual - expected).Length(), 0.0, tolerance) << actual.x << ", " << actual.y << ", " << actual.z;
}

inline Core::PolyLine MakeLine(const std::vector<Vec3>& points)
{
    Core::PolyLine line;
    for (const Vec3& p : points)
        line.AddPoint(p, false);
    return line;
}

inline std::vector<GuidanceLine> RealisticLines()
{
    std::vector<GuidanceLine> lines;
    lines.push_back({"straight AB line", {Vec3(12, -7, 3), Vec3(412, 293, 4)}, 1000.0});
    // A straight line recorded as colinear points (straight corners).
    lines.push_back({"recorded straight line", {}, 1000.0});
    for (int i = 0; i <= 40; ++i)
        lines.back().points.push_back(Vec3(3.0 * i, 4.0 * i, 0.0));
    // A left-hand arc of radius 200 m, a vertex every 5 m: inner vertices meet
    // near the centre, at about the radius.
    lines.push_back({"gentle curve", {}, 150.0});
    for (int i = 0; i <= 60; ++i)
        lines.back().points.push_back(Vec3(200 * std::sin(i * 0.025), 200 - 200 * std::cos(i * 0.025), 0.0));
    // A field boundary driven clockwise and closed by repeating its first
    // corner, with one reflex corner. An edge of length L between right-hand
    // turns a and b vanishes inside at L / (tan(a/2) + tan(b/2)); the first to
    // go is the 151 m edge between turns of 95 and 88 degrees, at 73 m.
    lines.push_back({"field boundary",
                     {Vec3(0, 0, 0), Vec3(0, 180, 0), Vec3(130, 260, 0), Vec3(150, 140, 0), Vec3(280, 170, 0),
                      Vec3(300, 20, 0), Vec3(120, -10, 0), Vec3(0, 0, 0)},
                     25.0});
    // A drive weaving around a straight course (amplitude 3 m, wavelength 60 m:
    // tightest radius about 30 m), a fix every 2 m with 1 cm of noise. Noise
    // adds turns of about 0.01 rad, so two edges' turning stays below 0.2 rad
    // and no 2 m edge vanishes before 2 * 2 / 0.2 = 20 m.
    lines.push_back({"wavy drive with noise", {}, 10.0});
    std::mt19937 random(20240517u);
    std::normal_distribution<double> noise(0.0, 0.01);
    for (int i = 0; i <= 150; ++i)
        lines.back().points.push_back(
            Vec3(2.0 * i + noise(random), 3.0 * std::sin(2 * kPi * i / 30.0) + noise(random), 100.0 + 0.02 * i));
    return lines;
}

// Signed distance of q from the infinite line a-b in the plane, positive on
// the right of the direction a to b.
inline double RightDistance(const Vec3& a, const Vec3& b, const Vec3& q)
{
    const double dx = b.x - a.x, dy = b.y - a.y;
    return ((q.x - a.x) * dy - (q.y - a.y) * dx) / std::hypot(dx, dy);
}

// Distance from q to the segment a-b in 3-D, by clamping the projection.
inline double SegmentDistance(const Vec3& a, const Vec3& b, const Vec3& q)
{
    const Vec3 d = b - a, w = q - a;
    const double lengthSquared = d.x * d.x + d.y * d.y + d.z * d.z;
    double t = lengthSquared == 0.0 ? 0.0 : (w.x * d.x + w.y * d.y + w.z * d.z) / lengthSquared;
    t = std::min(1.0, std::max(0.0, t));
    return std::sqrt(std::pow(w.x - t * d.x, 2) + std::pow(w.y - t * d.y, 2) + std::pow(w.z - t * d.z, 2));
}

} // namespace GuidanceTest

#endif
