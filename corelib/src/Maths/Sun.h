// The sun's elevation above the horizon for an instant and a place on the
// earth, corrected for atmospheric refraction, and from it whether it is day.
// The method is the low-precision solar position series (good to a small
// fraction of a degree over several centuries around 2000).
// Threading: stateless; both functions may be called from any thread.
#ifndef CORELIB_MATHS_SUN_H
#define CORELIB_MATHS_SUN_H

#include "Utilities/Time.h"

namespace Core
{

class Sunrise
{
public:
    // The refracted elevation in radians at time, taken as UTC seconds since
    // 1970 (earlier instants are negative), for latitude and longitude in
    // radians, north and east positive.
    static double SolarElevation(const Core::Time& time, double latitude, double longitude);

    // True when SolarElevation is strictly above 0.
    static bool IsDaytime(const Core::Time& time, double latitude, double longitude);

    Sunrise() = delete;
};

} // namespace Core

#endif
