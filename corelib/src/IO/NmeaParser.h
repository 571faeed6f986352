// Decodes one NMEA-0183 sentence, as one line from a positioning receiver
// ("$GPGGA,...*47\r\n"), into a typed record after checking its checksum. Only
// GGA (fix data) and VTG (track and speed) are decoded. Angles come out in
// degrees and radians, times as seconds of the day; empty optional fields are
// marked -1, and a malformed or missing mandatory field fails the sentence.
// Stateless: every operation is static and safe to call from any thread.
#ifndef CORELIB_IO_NMEAPARSER_H
#define CORELIB_IO_NMEAPARSER_H

#include <string>

namespace Core
{
namespace Nmea
{

// The sentence types the parser names; it identifies and decodes GGA and VTG.
enum NmeaSentenceTypes : int
{
    NMEA_GGA = 0,
    NMEA_VTG = 1,
    NMEA_GSA = 2,          // named but never identified or decoded
    NMEA_RMC = 3,          // named but never identified or decoded
    NMEA_UNSUPPORTED = 4,
};

// GGA: time, position and fix data.
struct sNmeaGGA
{
    double timeOfDay;             // seconds since midnight UTC; -1.0 when empty
    double latitudeDegrees;       // negative in the southern hemisphere
    // The latitude in radians, negative in the southern hemisphere.
    double latitudeRadians;
    int latitudeHemisphere;       // 0 north, 1 south
    double longitudeDegrees;      // negative in the western hemisphere
    // The longitude in radians, negative in the western hemisphere.
    double longitudeRadians;
    int longitudeHemisphere;      // 0 east, 1 west
    int fixQuality;               // as transmitted, never negative
    int satellitesInUse;          // -1 when empty
    double hdop;                  // horizontal dilution of precision; -1.0 when empty
    double altitude;              // antenna above mean sea level, metres; -1.0 when empty
    double geoidSeparation;       // metres; -1.0 when empty
    double differentialAge;       // age of differential corrections, seconds; -1.0 when empty
    int differentialStation;      // reference station id; -1 when empty or not numeric
};

// VTG: track and speed over ground.
struct sNmeaVTG
{
    // Course over ground relative to true north, in degrees and in radians.
    double trackTrueDegrees;
    double trackTrueRadians;
    double trackMagneticDegrees;  // -1.0 when empty
    double trackMagneticRadians;  // the radians of -1.0 when empty
    double speedKnots;            // as transmitted; -1.0 when empty
    double speedKmh;              // as transmitted; -1.0 when empty
    int mode;                     // 0 autonomous (A), 1 differential (D), 2 estimated (E), 3 other or absent
};

// The record of one sentence; which member is valid follows the sentence type.
union UNmeaData
{
    // The record of a GGA sentence (type NMEA_GGA).
    sNmeaGGA gga;
    // The record of a VTG sentence (type NMEA_VTG).
    sNmeaVTG vtg;
};

class CNmeaParser
{
public:
    // Results of ParseNmeaData.
    static const int PARSE_OK = 0;
    static const int PARSE_FAILED = -1;      // bad checksum or bad fields
    static const int PARSE_NOT_DECODED = 1;  // a sentence type this parser does not decode

    // "GGA", "VTG", "GSA", "RMC", or "Unsupported" for any other value.
    static const char* GetName(NmeaSentenceTypes type);

    // The type named by the three characters after "$" and the two-letter
    // talker id (any talker id is accepted): GGA, VTG or unsupported.
    static NmeaSentenceTypes IdentifyNmeaSentence(const std::string& sentence);

    // Clears data to zero bytes, checks the checksum when the sentence has one
    // ("*" and one or two hexadecimal digits, trailing white space allowed),
    // identifies the sentence and decodes it. Returns PARSE_OK, PARSE_FAILED or
    // PARSE_NOT_DECODED. type is written whenever the checksum test passes; on
    // failure data keeps what was decoded before the failing field.
    static int ParseNmeaData(NmeaSentenceTypes& type, const std::string& sentence, UNmeaData& data);
};

} // namespace Nmea
} // namespace Core

#endif
