// Dates and times of a run: seconds since 1970-01-01 UTC built from the
// receiver's date and time of day, and written back as ISO 8601 text. Leap
// seconds are ignored, as in POSIX time.
// Stateless functions; safe from any thread.
#ifndef GUIDANCE_INPUT_UTCTIME_H
#define GUIDANCE_INPUT_UTCTIME_H

#include <string>

namespace GuidanceTool
{

// Seconds since 1970-01-01T00:00:00Z of a date of the proleptic Gregorian
// calendar and a time of day in seconds.
double UtcSeconds(int year, int month, int day, double timeOfDay);

// "2024-05-01T08:30:00.0Z" with the given number of decimals of the second
// (0 drops the point); "" for a negative time, which marks an unknown one.
std::string IsoTime(double utc, int decimals);

// GPS week and seconds of the week of a UTC time (seconds since 1970), GPS
// time being ahead of UTC by leapSeconds and starting at 1980-01-06T00:00:00Z.
void GpsTime(double utc, int leapSeconds, int& week, double& secondsOfWeek);

} // namespace GuidanceTool

#endif
