#include "RmcSentence.h"

#include "IO/NmeaParser.h"
#include "SpeedUnits.h"
#include "UtcTime.h"
#include "Utilities/StringUtilities.h"

#include <cmath>
#include <cstdlib>
#include <vector>

namespace GuidanceTool
{

namespace
{

// Fields of RMC after its address: time, status, latitude, N/S, longitude,
// E/W, speed in knots, course, date, magnetic variation, E/W, then the mode
// of later versions of the standard.
enum RmcField
{
    kTime = 1,
    kStatus,
    kLatitude,
    kNorthSouth,
    kLongitude,
    kEastWest,
    kSpeedKnots,
    kCourse,
    kDate,
    kMode = 12,
    kFewestFields = kDate + 1
};

// The whole of text as a number; false when empty or followed by anything.
bool WholeNumber(const std::string& text, double& value)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return *end == '\0' && std::isfinite(value);
}

// "hhmmss.ss" as seconds of the day.
bool TimeOfDay(const std::string& text, double& seconds)
{
    double value = 0;
    if (text.size() < 6 || text.find_first_not_of("0123456789.") != std::string::npos || !WholeNumber(text, value))
        return false;
    const int hours = std::atoi(text.substr(0, 2).c_str());
    const int minutes = std::atoi(text.substr(2, 2).c_str());
    const double second = value - hours * 10000.0 - minutes * 100.0;
    seconds = hours * 3600.0 + minutes * 60.0 + second;
    return hours < 24 && minutes < 60 && second < 61;
}

// "ddmm.mmmm" (or "dddmm.mmmm") and its hemisphere letter as signed degrees.
bool Angle(const std::string& text, const std::string& hemisphere, char positive, char negative, double limit,
           double& degrees)
{
    double value = 0;
    if (!WholeNumber(text, value) || value < 0 ||
        (hemisphere != std::string(1, positive) && hemisphere != std::string(1, negative)))
        return false;
    const double whole = std::floor(value / 100.0);
    const double minutes = value - whole * 100.0;
    degrees = whole + minutes / 60.0;
    if (hemisphere[0] == negative)
        degrees = -degrees;
    return minutes < 60.0 && std::fabs(degrees) <= limit;
}

// "ddmmyy" as seconds since 1970 at the start of the day.
bool Date(const std::string& text, double& utc)
{
    if (text.size() != 6 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const int day = std::atoi(text.substr(0, 2).c_str());
    const int month = std::atoi(text.substr(2, 2).c_str());
    const int shortYear = std::atoi(text.substr(4, 2).c_str());
    const int year = shortYear < 80 ? 2000 + shortYear : 1900 + shortYear;
    // A day past the month's end would silently roll into the next month.
    const int daysInMonth[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12 || day < 1 || day > daysInMonth[month - 1])
        return false;
    if (month == 2 && day == 29 && year % 4 != 0)
        return false;
    utc = UtcSeconds(year, month, day, 0);
    return true;
}

// An optional number: -1 when empty, false when present but not a number.
bool Optional(const std::string& text, double& value)
{
    value = -1;
    return text.empty() || (WholeNumber(text, value) && value >= 0);
}

} // namespace

std::string SentenceType(const std::string& line)
{
    if (line.size() < 2 || (line[0] != '$' && line[0] != '!'))
        return "";
    const std::size_t end = line.find_first_of(",*\r\n");
    const std::string address = line.substr(1, end == std::string::npos ? std::string::npos : end - 1);
    if (address.empty() || address.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789") != std::string::npos)
        return "";
    // Proprietary sentences start with P and have no talker.
    return address[0] == 'P' || address.size() != 5 ? address : address.substr(2);
}

RmcResult DecodeRmc(const std::string& line, RmcFix& fix)
{
    if (SentenceType(line) != "RMC" || line[0] != '$')
        return RmcResult::NotRmc;
    // The library checks the checksum and reports an intact sentence it does not decode.
    Core::Nmea::NmeaSentenceTypes type = Core::Nmea::NMEA_UNSUPPORTED;
    Core::Nmea::UNmeaData data;
    if (Core::Nmea::CNmeaParser::ParseNmeaData(type, line, data) != Core::Nmea::CNmeaParser::PARSE_NOT_DECODED)
        return RmcResult::NotRmc;
    const std::string body = line.substr(1, line.find_first_of("*\r\n") - 1);
    std::vector<std::string> fields;
    Core::Utilities::SplitString(body, ',', fields, 0);
    if (fields.size() < kFewestFields)
        return RmcResult::Malformed;

    fix = RmcFix();
    double date = 0;
    if (!TimeOfDay(fields[kTime], fix.timeOfDay) || !Date(fields[kDate], date))
        return RmcResult::Malformed;
    fix.utc = date + fix.timeOfDay;
    const std::string& status = fields[kStatus];
    if (status != "A" && status != "V")
        return RmcResult::Malformed;
    fix.valid = status == "A" && !(fields.size() > kMode && fields[kMode] == "N");
    if (!fix.valid)
        return RmcResult::Decoded;
    if (!Angle(fields[kLatitude], fields[kNorthSouth], 'N', 'S', 90, fix.latitude) ||
        !Angle(fields[kLongitude], fields[kEastWest], 'E', 'W', 180, fix.longitude) ||
        !Optional(fields[kSpeedKnots], fix.speedMetres) || !Optional(fields[kCourse], fix.courseDegrees) ||
        fix.courseDegrees > 360)
        return RmcResult::Malformed;
    if (fix.speedMetres >= 0)
        fix.speedMetres *= kMetresPerSecondPerKnot;
    return RmcResult::Decoded;
}

} // namespace GuidanceTool
