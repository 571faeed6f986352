#include "IO/NmeaParser.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "Maths/Maths.h"
#include "Utilities/StringUtilities.h"

namespace Core
{
namespace Nmea
{

namespace
{

typedef std::vector<std::string> FieldList;

// The decoders read fields 0 to 14 at most. Splitting into no more than 16
// pieces leaves each of those fields exactly as an unlimited split would (the
// rest stays together in the 16th), and keeps the work linear in the length
// of a line, however many commas a garbled line holds.
const int kSplitFields = 16;

// Letters are tested byte by byte in the C locale, whatever locale the
// application has set.
bool IsAsciiDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsAsciiLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

char AsciiUpper(char c)
{
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

// Decimal on purpose: receivers pad counts with zeros ("08" satellites,
// station "0010"), which an automatic base would read as octal.
bool ParseDecimal(const std::string& field, int& value)
{
    return Core::Utilities::ParseInt(field, 10, value);
}

// An optional number: an empty field is stored as -1.
bool ParseOptional(const std::string& field, double& value)
{
    if (field.empty())
    {
        value = -1.0;
        return true;
    }
    return Core::Utilities::ParseDouble(field, value);
}

bool ParseOptional(const std::string& field, int& value)
{
    if (field.empty())
    {
        value = -1;
        return true;
    }
    return ParseDecimal(field, value);
}

// A unit letter may be left out; when present its first character, in either
// case, must be the expected upper-case letter.
bool UnitMatches(const std::string& field, char unit)
{
    return field.empty() || AsciiUpper(field[0]) == unit;
}

// hhmmss.ss to seconds since midnight, keeping fractions.
double SecondsOfDay(double hhmmss)
{
    double seconds = std::fmod(hhmmss, 100.0);
    double minutes = std::fmod((hhmmss - seconds) / 100.0, 100.0);
    double hours = ((hhmmss - seconds) - 100.0 * minutes) / 10000.0;
    return seconds + minutes * 60.0 + hours * 3600.0;
}

// One coordinate: a [d]ddmm.mmmm value and its hemisphere letter. Only an exact
// upper-case positive letter counts as positive; anything else (a lower-case
// letter included) is the negative hemisphere, reported as 1.
bool DecodeCoordinate(const std::string& value, const std::string& hemisphereField, char positive,
                      double& degrees, double& radians, int& hemisphere)
{
    double ddmm = 0.0;
    if (value.empty() || !Core::Utilities::ParseDouble(value, ddmm) || hemisphereField.empty())
        return false;
    double minutes = std::fmod(ddmm, 100.0);
    double magnitude = (ddmm - minutes) / 100.0 + minutes / 60.0;
    if (hemisphereField[0] == positive)
    {
        hemisphere = 0;
        degrees = magnitude;
    }
    else
    {
        hemisphere = 1;
        // Subtracted from zero, so the equator or meridian stays +0.0.
        degrees = 0.0 - magnitude;
    }
    radians = Core::Maths::Radians<double>(degrees);
    return true;
}

// The fields of one sentence; Has(n) is the "more than n fields" test that
// guards every field a decoder reads.
class Fields
{
public:
    explicit Fields(const FieldList& list) : m_list(list) {}
    bool Has(size_t index) const { return index < m_list.size(); }
    // Checked, so a step that skipped its Has() guard fails loudly instead of
    // reading past the list.
    const std::string& operator[](size_t index) const { return m_list.at(index); }

private:
    const FieldList& m_list;
};

// Each step needs its field to exist (the sentence fails if it has too few
// fields) and stores its result before the next step, so a failure leaves
// the fields decoded so far in the record.
int DecodeGGA(const Fields& f, sNmeaGGA& gga)
{
    const int failed = CNmeaParser::PARSE_FAILED;
    if (!f.Has(1))
        return failed;
    if (f[1].empty())
    {
        gga.timeOfDay = -1.0;
    }
    else
    {
        double hhmmss = 0.0;
        if (!Core::Utilities::ParseDouble(f[1], hhmmss))
            return failed;
        gga.timeOfDay = SecondsOfDay(hhmmss);
    }

    if (!f.Has(3) || !DecodeCoordinate(f[2], f[3], 'N', gga.latitudeDegrees, gga.latitudeRadians,
                                       gga.latitudeHemisphere))
        return failed;
    if (!f.Has(5) || !DecodeCoordinate(f[4], f[5], 'E', gga.longitudeDegrees, gga.longitudeRadians,
                                       gga.longitudeHemisphere))
        return failed;

    int quality = 0;
    if (!f.Has(6) || f[6].empty() || !ParseDecimal(f[6], quality) || quality < 0)
        return failed;
    gga.fixQuality = quality;

    if (!f.Has(7) || !ParseOptional(f[7], gga.satellitesInUse))
        return failed;
    if (!f.Has(8) || !ParseOptional(f[8], gga.hdop))
        return failed;
    if (!f.Has(9) || !ParseOptional(f[9], gga.altitude))
        return failed;
    if (!f.Has(10) || !UnitMatches(f[10], 'M'))
        return failed;
    if (!f.Has(11) || !ParseOptional(f[11], gga.geoidSeparation))
        return failed;
    if (!f.Has(12) || !UnitMatches(f[12], 'M'))
        return failed;
    if (!f.Has(13) || !ParseOptional(f[13], gga.differentialAge))
        return failed;

    // The station id is the last field and carries the checksum with it; a
    // field that does not start with a digit (only "*47", say) means no station.
    if (!f.Has(14))
        return failed;
    if (f[14].empty() || !IsAsciiDigit(f[14][0]))
    {
        gga.differentialStation = -1;
        return CNmeaParser::PARSE_OK;
    }
    return ParseDecimal(f[14], gga.differentialStation) ? CNmeaParser::PARSE_OK : failed;
}

int DecodeVTG(const Fields& f, sNmeaVTG& vtg)
{
    const int failed = CNmeaParser::PARSE_FAILED;
    if (!f.Has(1) || f[1].empty() || !Core::Utilities::ParseDouble(f[1], vtg.trackTrueDegrees))
        return failed;
    vtg.trackTrueRadians = Core::Maths::Radians<double>(vtg.trackTrueDegrees);
    if (!f.Has(2) || f[2].empty() || AsciiUpper(f[2][0]) != 'T')
        return failed;

    if (!f.Has(3) || !ParseOptional(f[3], vtg.trackMagneticDegrees))
        return failed;
    // An empty magnetic track yields the radians of -1 degree, not a marker.
    vtg.trackMagneticRadians = Core::Maths::Radians<double>(vtg.trackMagneticDegrees);
    if (!f.Has(4) || !UnitMatches(f[4], 'M'))
        return failed;

    if (!f.Has(5) || !ParseOptional(f[5], vtg.speedKnots))
        return failed;
    if (!f.Has(6) || !UnitMatches(f[6], 'N'))
        return failed;
    if (!f.Has(7) || !ParseOptional(f[7], vtg.speedKmh))
        return failed;
    if (!f.Has(8) || !UnitMatches(f[8], 'K'))
        return failed;

    // The mode field came later to the sentence; older receivers leave it out.
    vtg.mode = 3;
    if (f.Has(9) && !f[9].empty() && IsAsciiLetter(f[9][0]))
    {
        switch (AsciiUpper(f[9][0]))
        {
        case 'A': vtg.mode = 0; break;
        case 'D': vtg.mode = 1; break;
        case 'E': vtg.mode = 2; break;
        default: break;
        }
    }
    return CNmeaParser::PARSE_OK;
}

// True when the sentence has no checksum, or when its one or two hexadecimal
// digits after the last "*" equal the exclusive-or of every byte between the
// leading "$" and that "*".
bool ChecksumMatches(const std::string& sentence)
{
    size_t star = sentence.rfind('*');
    if (star == std::string::npos)
        return true;
    std::string digits = Core::Utilities::trim(sentence.substr(star + 1));
    int expected = 0;
    if (digits.empty() || digits.size() > 2 || !Core::Utilities::ParseInt(digits, 16, expected))
        return false;
    // Bytes count as unsigned, so characters above 0x7F give the same sum
    // wherever plain char is signed.
    unsigned sum = 0;
    for (size_t i = 1; i < star; ++i)
        sum ^= static_cast<unsigned char>(sentence[i]);
    return static_cast<int>(sum) == expected;
}

} // namespace

const char* CNmeaParser::GetName(NmeaSentenceTypes type)
{
    switch (type)
    {
    case NMEA_GGA: return "GGA";
    case NMEA_VTG: return "VTG";
    case NMEA_GSA: return "GSA";
    case NMEA_RMC: return "RMC";
    default: return "Unsupported";
    }
}

NmeaSentenceTypes CNmeaParser::IdentifyNmeaSentence(const std::string& sentence)
{
    if (sentence.size() < 6)
        return NMEA_UNSUPPORTED;
    const char* name = sentence.c_str() + 3;
    if (std::memcmp(name, "GGA", 3) == 0)
        return NMEA_GGA;
    if (std::memcmp(name, "VTG", 3) == 0)
        return NMEA_VTG;
    return NMEA_UNSUPPORTED;
}

int CNmeaParser::ParseNmeaData(NmeaSentenceTypes& type, const std::string& sentence, UNmeaData& data)
{
    std::memset(&data, 0, sizeof(data));
    if (!ChecksumMatches(sentence))
        return PARSE_FAILED;

    // Empty fields are kept, and the checksum stays on the last field.
    FieldList list;
    if (!Core::Utilities::SplitString(sentence, ',', list, kSplitFields))
        list.assign(1, sentence);
    Fields fields(list);

    type = IdentifyNmeaSentence(sentence);
    switch (type)
    {
    case NMEA_GGA: return DecodeGGA(fields, data.gga);
    case NMEA_VTG: return DecodeVTG(fields, data.vtg);
    default: return PARSE_NOT_DECODED;
    }
}

} // namespace Nmea
} // namespace Core
