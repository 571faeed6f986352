#include "Maths/Sun.h"

#include "Maths/Maths.h"

#include <algorithm>
#include <cmath>

namespace Core
{

using Maths::Deg2Rad;
using Maths::Rad2Deg;

namespace
{

// The refraction correction in degrees for an uncorrected elevation h in degrees.
double Refraction(double h)
{
    if (h > 85)
        return 0;
    const double te = std::tan(Deg2Rad(h));
    if (h > 5)
        return (58.1 / te - 0.07 / (te * te * te) + 0.000086 / std::pow(te, 5)) / 3600;
    if (h > -0.575)
        return (1735 + h * (-518.2 + h * (103.4 + h * (-12.79 + h * 0.711)))) / 3600;
    return (-20.774 / te) / 3600;
}

} // namespace

double Sunrise::SolarElevation(const Core::Time& time, double latitude, double longitude)
{
    // Angles in degrees unless named otherwise.
    const double seconds = time.AsDouble();
    const double longitudeDeg = Rad2Deg(longitude);

    // Julian centuries since J2000.
    const double julianDay = seconds / 86400 + 2440587.5;
    const double t = (julianDay - 2451545) / 36525;

    // Geometric mean longitude, reduced into [0, 360]; the mean anomaly is left unreduced.
    double meanLongitude = 280.46646 + t * (36000.76983 + t * 0.0003032);
    while (meanLongitude > 360)
        meanLongitude -= 360;
    while (meanLongitude < 0)
        meanLongitude += 360;
    const double meanAnomaly = 357.52911 + t * (35999.05029 - 0.0001537 * t);
    const double eccentricity = 0.016708634 - t * (0.000042037 + 0.0000001267 * t);

    // Obliquity of the ecliptic with the nutation term.
    const double omega = 125.04 - 1934.136 * t;
    const double meanObliquity = 23 + (26 + (21.448 - t * (46.815 + t * (0.00059 - t * 0.001813))) / 60) / 60;
    const double obliquity = meanObliquity + 0.00256 * std::cos(Deg2Rad(omega));

    // Equation of time in minutes, the bracket in radians.
    const double y = std::pow(std::tan(Deg2Rad(obliquity) / 2), 2);
    const double l0 = Deg2Rad(meanLongitude);
    const double m = Deg2Rad(meanAnomaly);
    const double e = eccentricity;
    const double equationOfTime =
        4 * Rad2Deg(y * std::sin(2 * l0) - 2 * e * std::sin(m) + 4 * e * y * std::sin(m) * std::cos(2 * l0) -
                    0.5 * y * y * std::sin(4 * l0) - 1.25 * e * e * std::sin(2 * m));

    // Equation of centre, apparent longitude and declination (radians).
    const double centre = std::sin(m) * (1.914602 - t * (0.004817 + 0.000014 * t)) +
                          std::sin(2 * m) * (0.019993 - 0.000101 * t) + std::sin(3 * m) * 0.000289;
    const double apparentLongitude = meanLongitude + centre - 0.00569 - 0.00478 * std::sin(Deg2Rad(omega));
    const double declination = std::asin(std::sin(Deg2Rad(obliquity)) * std::sin(Deg2Rad(apparentLongitude)));

    // True solar time in minutes. Before 1970 the time of day is negative (fmod
    // keeps the sign) and stays so: the cosine of the hour angle is periodic.
    double solarTime = std::fmod(seconds, 86400.0) / 60 + equationOfTime + 4 * longitudeDeg;
    while (solarTime > 1440)
        solarTime -= 1440;
    double hourAngle = solarTime / 4 - 180;
    if (hourAngle < -180)
        hourAngle += 360;

    const double cosZenith = std::sin(latitude) * std::sin(declination) +
                             std::cos(latitude) * std::cos(declination) * std::cos(Deg2Rad(hourAngle));
    const double zenith = Rad2Deg(std::acos(std::min(1.0, std::max(-1.0, cosZenith))));

    return Deg2Rad(90 - (zenith - Refraction(90 - zenith)));
}

bool Sunrise::IsDaytime(const Core::Time& time, double latitude, double longitude)
{
    return SolarElevation(time, latitude, longitude) > 0;
}

} // namespace Core
