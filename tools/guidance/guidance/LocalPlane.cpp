#include "LocalPlane.h"

#include "Maths/Maths.h"

#include <cmath>

namespace GuidanceTool
{

using Core::Maths::Math;

namespace
{

const double kFullCircleDegrees = 360.0;
const double kHalfCircleDegrees = 180.0;

// The angle brought into [-180, 180).
double WrapDegrees(double degrees)
{
    const double wrapped = std::fmod(degrees + kHalfCircleDegrees, kFullCircleDegrees);
    return (wrapped < 0 ? wrapped + kFullCircleDegrees : wrapped) - kHalfCircleDegrees;
}

} // namespace

LocalPlane::LocalPlane(double latitudeDegrees, double longitudeDegrees)
    : m_originLatitude(latitudeDegrees), m_originLongitude(longitudeDegrees)
{
    const double e2 = Math<double>::WGS_E2;
    const double a = Math<double>::WGS_A;
    const double s = std::sin(Core::Maths::Radians(latitudeDegrees));
    const double w = std::sqrt(1.0 - e2 * s * s);
    const double meridianRadius = a * (1.0 - e2) / (w * w * w);
    const double primeVerticalRadius = a / w;
    const double radiansPerDegree = Math<double>::PI / 180.0;
    m_metresPerDegreeLatitude = meridianRadius * radiansPerDegree;
    m_metresPerDegreeLongitude =
        primeVerticalRadius * std::cos(Core::Maths::Radians(latitudeDegrees)) * radiansPerDegree;
}

Core::Maths::Vector2<double> LocalPlane::ToPlane(double latitudeDegrees, double longitudeDegrees) const
{
    return Core::Maths::Vector2<double>(WrapDegrees(longitudeDegrees - m_originLongitude) * m_metresPerDegreeLongitude,
                                        (latitudeDegrees - m_originLatitude) * m_metresPerDegreeLatitude);
}

void LocalPlane::ToGeodetic(const Core::Maths::Vector2<double>& point, double& latitudeDegrees,
                            double& longitudeDegrees) const
{
    latitudeDegrees = m_originLatitude + point.y / m_metresPerDegreeLatitude;
    longitudeDegrees = WrapDegrees(m_originLongitude + point.x / m_metresPerDegreeLongitude);
}

double CourseToHeading(double courseDegrees)
{
    return Core::Maths::ClampAngle(Math<double>::HALF_PI - Core::Maths::Radians(courseDegrees));
}

double HeadingToCourse(double heading)
{
    double course = std::fmod(90.0 - Core::Maths::Degrees(heading), 360.0);
    if (course < 0)
        course += 360.0;
    return course;
}

} // namespace GuidanceTool
