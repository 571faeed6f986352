// A flat plane in metres around a geodetic origin, for the distances of one
// field: x points east, y north. Scales come from the WGS-84 ellipsoid's radii
// of curvature at the origin (meridian for y, prime vertical for x), which keeps
// the error below a millimetre per hundred metres over a field. A field may
// straddle the 180th meridian: longitudes are taken the short way round from
// the origin, and positions come back in [-180, 180].
// Immutable after construction; safe to share between threads.
#ifndef GUIDANCE_LOCALPLANE_H
#define GUIDANCE_LOCALPLANE_H

#include "Maths/Vector.h"

namespace GuidanceTool
{

class LocalPlane
{
public:
    // The plane touching the ellipsoid at (latitude, longitude), in degrees.
    LocalPlane(double latitudeDegrees, double longitudeDegrees);

    // East and north metres of a position given in degrees.
    Core::Maths::Vector2<double> ToPlane(double latitudeDegrees, double longitudeDegrees) const;
    // The position, in degrees (latitude, longitude), of a point of the plane.
    void ToGeodetic(const Core::Maths::Vector2<double>& point, double& latitudeDegrees, double& longitudeDegrees) const;

    // Metres per degree of latitude and of longitude at the origin.
    double MetresPerDegreeLatitude() const { return m_metresPerDegreeLatitude; }
    double MetresPerDegreeLongitude() const { return m_metresPerDegreeLongitude; }

private:
    double m_originLatitude;
    double m_originLongitude;
    double m_metresPerDegreeLatitude;
    double m_metresPerDegreeLongitude;
};

// The direction angle of the plane (from +x, east, toward +y, north, in
// [-pi, pi]) of a compass course in degrees (clockwise from north).
double CourseToHeading(double courseDegrees);
// The compass course in degrees [0, 360) of a direction angle of the plane.
double HeadingToCourse(double heading);

} // namespace GuidanceTool

#endif
