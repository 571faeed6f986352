// Writes the NMEA-0183 sentences a positioning receiver sends: GGA (fix data),
// RMC (date, position, speed and course), VTG (track and speed) and GSA
// (satellites in use, which guidance does not decode), each framed as "$"
// body "*" checksum CR LF.
// Stateless functions; safe from any thread.
#ifndef GUIDANCE_SENTENCEWRITER_H
#define GUIDANCE_SENTENCEWRITER_H

#include <string>

namespace GuidanceTool
{

// One fix as a receiver reports it.
struct FixReport
{
    double timeOfDay = 0; // seconds since midnight UTC
    double latitude = 0;  // degrees, negative south
    double longitude = 0; // degrees, negative west
    int fixQuality = 1;   // 0 invalid, 1 autonomous, 2 differential, 4 RTK fixed, 5 RTK float
    int satellites = 0;
    double hdop = 0;
    double altitude = 0; // metres above mean sea level
    double geoidSeparation = 0;
    double courseDegrees = 0; // true course over ground, clockwise from north
    double speedMetres = 0;   // speed over ground, metres per second
    double midnight = 0;      // the day's start, seconds since 1970-01-01 UTC (for RMC's date)
};

// The two hexadecimal digits of the exclusive-or of every byte of body (the
// text between "$" and "*").
std::string NmeaChecksum(const std::string& body);
// "$" body "*" checksum CR LF.
std::string FrameSentence(const std::string& body);

// The GGA sentence of a fix, with talker GP. Differential age and station are
// filled for the differential qualities (2, 4, 5) and empty otherwise.
std::string GgaSentence(const FixReport& fix);
// The VTG sentence of a fix: true course, empty magnetic course, knots, km/h,
// and the mode letter (D for differential qualities, A otherwise).
std::string VtgSentence(const FixReport& fix);
// The RMC sentence of a fix: time, status A, position, knots, true course,
// the date as ddmmyy, no magnetic variation, and the mode letter (D for the
// differential qualities, A otherwise).
std::string RmcSentence(const FixReport& fix);
// A GSA sentence: automatic 3-D fix with satellites 1..count in use.
std::string GsaSentence(int satellites, double hdop);

} // namespace GuidanceTool

#endif
