#include "Maths/Sun.h"

#include "Maths/Maths.h"
#include "Support/EmulatorLimits.h"

#include <gtest/gtest.h>

namespace
{

using Core::Maths::Deg2Rad;
using Core::Maths::Rad2Deg;

// Elevations from an independent ephemeris, generated once with Debian's
// python3-ephem 4.1.4, with the refraction of its standard atmosphere and
// without it (pressure 0):
//   o = ephem.Observer(); o.lat, o.lon = str(lat), str(lon); o.elevation = 0
//   o.date = ephem.Date(when); refracted = math.degrees(ephem.Sun(o).alt)
//   o.pressure = 0; geometric = math.degrees(ephem.Sun(o).alt)
// and the Unix seconds from calendar.timegm of the same UTC instant.
// Latitude north and longitude east positive; all angles in degrees.
const struct
{
    long seconds;
    double latitude, longitude, refracted, geometric;
} kEphemeris[] = {
    {953532000, 0.0, 0.00, -1.0141, -1.8656},       // 2000-03-20 06:00:00
    {1640100600, 52.2, 0.12, 1.6761, 1.3524},       // 2021-12-21 15:30:00
    {1624309200, 52.2, 0.12, -3.3625, -4.6398},     // 2021-06-21 21:00:00
    {1561135200, -33.9, 18.40, -11.2256, -11.2256}, // 2019-06-21 16:40:00
    {1672880400, -33.9, 151.20, 72.6534, 72.6484},  // 2023-01-05 01:00:00
    {1689463800, 40.7, -74.00, 8.8654, 8.7686},     // 2023-07-15 23:30:00
    {1646121600, -89.9, 45.00, 7.7545, 7.6448},     // 2022-03-01 08:00:00
    {-14182980, 28.6, -80.60, 51.1206, 51.1078},    // 1969-07-20 20:17:00
    {-458577000, -23.5, -46.60, -3.0119, -4.4480},  // 1955-06-21 09:30:00
    {-2030184000, 60.2, 24.90, 35.0029, 34.9803},   // 1905-09-01 12:00:00
};

TEST(SunTest, ElevationAgreesWithAnIndependentEphemeris)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    for (const auto& c : kEphemeris)
    {
        SCOPED_TRACE(testing::Message() << c.seconds << " at " << c.latitude << ", " << c.longitude);
        const Core::Time when(c.seconds, 0L);
        const double latitude = Deg2Rad(c.latitude), longitude = Deg2Rad(c.longitude);
        const double elevation = Rad2Deg(Core::Sunrise::SolarElevation(when, latitude, longitude));
        // The series is good to about 0.02 degrees. Near the horizon the two
        // refraction models differ by a few tenths of a degree; below it the
        // ephemeris keeps refracting strongly, while the series adds at most
        // 0.2 degrees there, so the geometric elevation is the reference.
        if (c.geometric > -0.6)
            EXPECT_NEAR(c.refracted, elevation, c.refracted > 5 ? 0.05 : 0.3);
        else
            EXPECT_NEAR(c.geometric, elevation, 0.25);
        EXPECT_EQ(c.refracted > 0, Core::Sunrise::IsDaytime(when, latitude, longitude));
    }
}

} // namespace
