#include "UtcTime.h"

#include <cmath>
#include <cstdio>

namespace GuidanceTool
{

namespace
{

const long kSecondsPerDay = 86400;

// Days since 1970-01-01 of a civil date. The year is taken from March so that
// the leap day ends it; eras of 400 years repeat exactly.
long DaysFromCivil(long year, int month, int day)
{
    year -= month <= 2 ? 1 : 0;
    const long era = (year >= 0 ? year : year - 399) / 400;
    const long yearOfEra = year - era * 400;
    const long dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

// The civil date of a count of days since 1970-01-01; the inverse of DaysFromCivil.
void CivilFromDays(long days, long& year, int& month, int& day)
{
    days += 719468;
    const long era = (days >= 0 ? days : days - 146096) / 146097;
    const long dayOfEra = days - era * 146097;
    const long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const long monthFromMarch = (5 * dayOfYear + 2) / 153;
    day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
}

} // namespace

double UtcSeconds(int year, int month, int day, double timeOfDay)
{
    return static_cast<double>(DaysFromCivil(year, month, day)) * kSecondsPerDay + timeOfDay;
}

std::string IsoTime(double utc, int decimals)
{
    if (utc < 0)
        return "";
    // Round once in the smallest unit shown so that 59.96 s never prints as 60.0.
    const long long scale = static_cast<long long>(std::pow(10.0, decimals) + 0.5);
    const long long units = std::llround(utc * scale);
    const long long seconds = units / scale;
    long year = 0;
    int month = 0;
    int day = 0;
    CivilFromDays(static_cast<long>(seconds / kSecondsPerDay), year, month, day);
    const long secondOfDay = static_cast<long>(seconds % kSecondsPerDay);
    char text[48];
    int length = std::snprintf(text, sizeof text, "%04ld-%02d-%02dT%02ld:%02ld:%02ld", year, month, day,
                               secondOfDay / 3600, secondOfDay / 60 % 60, secondOfDay % 60);
    if (decimals > 0)
        length += std::snprintf(text + length, sizeof text - length, ".%0*lld", decimals, units % scale);
    std::snprintf(text + length, sizeof text - length, "Z");
    return text;
}

void GpsTime(double utc, int leapSeconds, int& week, double& secondsOfWeek)
{
    const double kSecondsPerWeek = 7 * kSecondsPerDay;
    const double gps = utc - UtcSeconds(1980, 1, 6, 0) + leapSeconds;
    week = static_cast<int>(std::floor(gps / kSecondsPerWeek));
    secondsOfWeek = gps - week * kSecondsPerWeek;
}

} // namespace GuidanceTool
