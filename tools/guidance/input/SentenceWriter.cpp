#include "SentenceWriter.h"

#include "SpeedUnits.h"
#include "UtcTime.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace GuidanceTool
{

namespace
{

// Knots per metre per second, as the sentences give speed.
const double kKnotsPerMetrePerSecond = 1 / kMetresPerSecondPerKnot;

bool IsDifferential(int quality)
{
    return quality == 2 || quality == 4 || quality == 5;
}

// hhmmss.ss of a time of day.
std::string FormatTime(double timeOfDay)
{
    // Work in hundredths so that rounding can never print 60 seconds.
    const long hundredths = std::lround(timeOfDay * 100.0) % (24L * 3600L * 100L);
    char text[16];
    std::snprintf(text, sizeof text, "%02ld%02ld%02ld.%02ld", hundredths / 360000, hundredths / 6000 % 60,
                  hundredths / 100 % 60, hundredths % 100);
    return text;
}

// "dddmm.mmmmmmm,H": whole degrees, then minutes with seven decimals (about
// 0.2 mm), then the hemisphere letter.
std::string FormatAngle(double degrees, int degreeDigits, char positive, char negative)
{
    const double magnitude = std::fabs(degrees);
    // Round in units of 1e-7 minutes first so that 59.99999999 minutes carries into the degrees.
    const long long units = std::llround(magnitude * 60.0 * 1e7);
    const long long minuteUnits = 60LL * 10000000LL;
    const long long whole = units / minuteUnits;
    const long long rest = units % minuteUnits;
    char text[40];
    std::snprintf(text, sizeof text, "%0*lld%02lld.%07lld,%c", degreeDigits, whole, rest / 10000000LL,
                  rest % 10000000LL, degrees < 0 ? negative : positive);
    return text;
}

} // namespace

std::string NmeaChecksum(const std::string& body)
{
    unsigned char sum = 0;
    for (const char c : body)
        sum ^= static_cast<unsigned char>(c);
    char text[3];
    std::snprintf(text, sizeof text, "%02X", sum);
    return text;
}

std::string FrameSentence(const std::string& body)
{
    return "$" + body + "*" + NmeaChecksum(body) + "\r\n";
}

std::string GgaSentence(const FixReport& fix)
{
    char tail[128];
    if (IsDifferential(fix.fixQuality))
        std::snprintf(tail, sizeof tail, ",%d,%02d,%.1f,%.3f,M,%.3f,M,1.0,0001", fix.fixQuality, fix.satellites,
                      fix.hdop, fix.altitude, fix.geoidSeparation);
    else
        std::snprintf(tail, sizeof tail, ",%d,%02d,%.1f,%.3f,M,%.3f,M,,", fix.fixQuality, fix.satellites, fix.hdop,
                      fix.altitude, fix.geoidSeparation);
    return FrameSentence("GPGGA," + FormatTime(fix.timeOfDay) + "," + FormatAngle(fix.latitude, 2, 'N', 'S') + "," +
                         FormatAngle(fix.longitude, 3, 'E', 'W') + tail);
}

std::string VtgSentence(const FixReport& fix)
{
    char body[128];
    std::snprintf(body, sizeof body, "GPVTG,%.2f,T,,M,%.3f,N,%.3f,K,%c", fix.courseDegrees,
                  fix.speedMetres * kKnotsPerMetrePerSecond, fix.speedMetres * kKmhPerMetrePerSecond,
                  IsDifferential(fix.fixQuality) ? 'D' : 'A');
    return FrameSentence(body);
}

std::string RmcSentence(const FixReport& fix)
{
    // "YYYY-MM-DD..." rearranged as ddmmyy.
    const std::string date = IsoTime(fix.midnight, 0);
    char tail[96];
    std::snprintf(tail, sizeof tail, ",%.3f,%.2f,%s,,,%c", fix.speedMetres * kKnotsPerMetrePerSecond, fix.courseDegrees,
                  (date.substr(8, 2) + date.substr(5, 2) + date.substr(2, 2)).c_str(),
                  IsDifferential(fix.fixQuality) ? 'D' : 'A');
    return FrameSentence("GPRMC," + FormatTime(fix.timeOfDay) + ",A," + FormatAngle(fix.latitude, 2, 'N', 'S') + "," +
                         FormatAngle(fix.longitude, 3, 'E', 'W') + tail);
}

std::string GsaSentence(int satellites, double hdop)
{
    std::string body = "GPGSA,A,3";
    for (int i = 1; i <= 12; ++i)
    {
        char id[8] = ",";
        if (i <= satellites)
            std::snprintf(id, sizeof id, ",%02d", i);
        body += id;
    }
    char dops[48];
    std::snprintf(dops, sizeof dops, ",%.1f,%.1f,%.1f", hdop * 1.6, hdop, hdop * 1.3);
    return FrameSentence(body + dops);
}

} // namespace GuidanceTool
