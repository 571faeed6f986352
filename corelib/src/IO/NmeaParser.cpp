#include "IO/NmeaParser.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>

#include "Maths/Maths.h"
#include "Utilities/StringUtilities.h"

namespace Core
{
namespace Nmea
{

namespace
{

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

// The white space that trimming removes around a checksum.
bool IsAsciiSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

int HexDigitValue(char c)
{
    if (IsAsciiDigit(c))
        return c - '0';
    const char upper = AsciiUpper(c);
    return upper >= 'A' && upper <= 'F' ? upper - 'A' + 10 : -1;
}

// Receivers send numbers as [-]ddd[.ddd]. Such a number of at most this many
// digits is an exact integer in a double, and so is every power of ten that
// can divide it: one correctly rounded division then gives exactly the double
// that strtod gives, without strtod's generality. Only where double
// arithmetic is done at double precision, which excludes the x87 unit.
const int kExactDigits = 15;
#if defined(FLT_EVAL_METHOD) && FLT_EVAL_METHOD == 0
const bool kExactDivision = true;
#else
const bool kExactDivision = false;
#endif
const double kPowersOfTen[kExactDigits + 1] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                               1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

// A number in that plain form, with what follows it.
struct PlainNumber
{
    bool negative = false;
    long long digits = 0; // every digit, the point ignored
    int count = 0;        // digits read
    int decimals = 0;     // digits after the point
    bool point = false;
};

// Reads a plain number at [p, end) that strtod and strtol would read to the
// same end: the field must end right after it, or continue with the "*" of
// the checksum. False for any other form, which then takes the general path.
bool ReadPlainNumber(const char* p, const char* end, PlainNumber& number)
{
    if (p < end && *p == '-')
    {
        number.negative = true;
        ++p;
    }
    for (; p < end; ++p)
    {
        if (IsAsciiDigit(*p))
        {
            if (++number.count > kExactDigits)
                return false;
            number.digits = number.digits * 10 + (*p - '0');
            number.decimals += number.point ? 1 : 0;
        }
        else if (*p == '.' && !number.point)
            number.point = true;
        else
            break;
    }
    return number.count > 0 && (p == end || *p == '*');
}

// The fields of a sentence, read one after another from the first after the
// sentence name. Each read takes the next field, fails when the sentence has
// no more fields, and converts the field as the decoders need it. Fields are
// the bytes between commas; the last one runs to the end of the sentence and
// so carries the checksum with it.
class FieldCursor
{
public:
    // Stands on the sentence name, the field before the first one read.
    explicit FieldCursor(const std::string& sentence)
        : m_end(sentence.data() + sentence.size()), m_field(sentence.data()), m_fieldEnd(FieldEnd(m_field))
    {
    }

    // Moves to the next field; false when the sentence has no more.
    bool Next()
    {
        if (m_fieldEnd == m_end)
            return false;
        m_field = m_fieldEnd + 1;
        m_fieldEnd = FieldEnd(m_field);
        return true;
    }

    bool Empty() const { return m_field == m_fieldEnd; }
    // Requires: !Empty().
    char First() const { return *m_field; }

    // The field as a number. Trailing text is ignored ("12abc" is 12), as
    // strtod does; the general path is strtod itself in the C locale.
    bool Number(double& value) const
    {
        PlainNumber number;
        if (kExactDivision && ReadPlainNumber(m_field, m_fieldEnd, number))
        {
            const double magnitude = static_cast<double>(number.digits) / kPowersOfTen[number.decimals];
            value = number.negative ? -magnitude : magnitude;
            return true;
        }
        return Core::Utilities::ParseDouble(Text(), value);
    }

    // The field as a decimal integer: decimal on purpose, since receivers pad
    // counts with zeros ("08" satellites, station "0010"), which an automatic
    // base would read as octal.
    bool Decimal(int& value) const
    {
        PlainNumber number;
        if (ReadPlainNumber(m_field, m_fieldEnd, number) && !number.point && number.count <= 9)
        {
            value = static_cast<int>(number.negative ? -number.digits : number.digits);
            return true;
        }
        return Core::Utilities::ParseInt(Text(), 10, value);
    }

    // An optional number: an empty field is stored as -1.
    template <typename T>
    bool Optional(T& value) const
    {
        if (Empty())
        {
            value = -1;
            return true;
        }
        return Convert(value);
    }

    // A unit letter may be left out; when present its first character, in
    // either case, must be the expected upper-case letter.
    bool Unit(char unit) const { return Empty() || AsciiUpper(First()) == unit; }

private:
    bool Convert(double& value) const { return Number(value); }
    bool Convert(int& value) const { return Decimal(value); }
    std::string Text() const { return std::string(m_field, m_fieldEnd); }
    // The comma that ends the field starting at field, or the end of the sentence.
    const char* FieldEnd(const char* field) const
    {
        const void* comma = std::memchr(field, ',', static_cast<std::size_t>(m_end - field));
        return comma != nullptr ? static_cast<const char*>(comma) : m_end;
    }

    const char* m_end;
    const char* m_field;
    const char* m_fieldEnd;
};

// hhmmss.ss to seconds since midnight, keeping fractions.
double SecondsOfDay(double hhmmss)
{
    double seconds = std::fmod(hhmmss, 100.0);
    double minutes = std::fmod((hhmmss - seconds) / 100.0, 100.0);
    double hours = ((hhmmss - seconds) - 100.0 * minutes) / 10000.0;
    return seconds + minutes * 60.0 + hours * 3600.0;
}

// One coordinate from the next two fields: a [d]ddmm.mmmm value and its
// hemisphere letter. Only an exact upper-case positive letter counts as
// positive; anything else (a lower-case letter included) is the negative
// hemisphere, reported as 1.
bool DecodeCoordinate(FieldCursor& in, char positive, double& degrees, double& radians, int& hemisphere)
{
    double ddmm = 0.0;
    if (!in.Next() || in.Empty() || !in.Number(ddmm) || !in.Next() || in.Empty())
        return false;
    double minutes = std::fmod(ddmm, 100.0);
    double magnitude = (ddmm - minutes) / 100.0 + minutes / 60.0;
    if (in.First() == positive)
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

// Each step takes its field (the sentence fails if it has too few fields) and
// stores its result before the next step, so a failure leaves the fields
// decoded so far in the record.
int DecodeGGA(FieldCursor& in, sNmeaGGA& gga)
{
    const int failed = CNmeaParser::PARSE_FAILED;
    if (!in.Next())
        return failed;
    if (in.Empty())
    {
        gga.timeOfDay = -1.0;
    }
    else
    {
        double hhmmss = 0.0;
        if (!in.Number(hhmmss))
            return failed;
        gga.timeOfDay = SecondsOfDay(hhmmss);
    }

    if (!DecodeCoordinate(in, 'N', gga.latitudeDegrees, gga.latitudeRadians, gga.latitudeHemisphere) ||
        !DecodeCoordinate(in, 'E', gga.longitudeDegrees, gga.longitudeRadians, gga.longitudeHemisphere))
        return failed;

    int quality = 0;
    if (!in.Next() || in.Empty() || !in.Decimal(quality) || quality < 0)
        return failed;
    gga.fixQuality = quality;

    if (!in.Next() || !in.Optional(gga.satellitesInUse) || !in.Next() || !in.Optional(gga.hdop) || !in.Next() ||
        !in.Optional(gga.altitude) || !in.Next() || !in.Unit('M') || !in.Next() || !in.Optional(gga.geoidSeparation) ||
        !in.Next() || !in.Unit('M') || !in.Next() || !in.Optional(gga.differentialAge))
        return failed;

    // The station id is the last field and carries the checksum with it; a
    // field that does not start with a digit (only "*47", say) means no station.
    if (!in.Next())
        return failed;
    if (in.Empty() || !IsAsciiDigit(in.First()))
    {
        gga.differentialStation = -1;
        return CNmeaParser::PARSE_OK;
    }
    return in.Decimal(gga.differentialStation) ? CNmeaParser::PARSE_OK : failed;
}

int DecodeVTG(FieldCursor& in, sNmeaVTG& vtg)
{
    const int failed = CNmeaParser::PARSE_FAILED;
    if (!in.Next() || in.Empty() || !in.Number(vtg.trackTrueDegrees))
        return failed;
    vtg.trackTrueRadians = Core::Maths::Radians<double>(vtg.trackTrueDegrees);
    if (!in.Next() || in.Empty() || AsciiUpper(in.First()) != 'T')
        return failed;

    if (!in.Next() || !in.Optional(vtg.trackMagneticDegrees))
        return failed;
    // An empty magnetic track yields the radians of -1 degree, not a marker.
    vtg.trackMagneticRadians = Core::Maths::Radians<double>(vtg.trackMagneticDegrees);
    if (!in.Next() || !in.Unit('M') || !in.Next() || !in.Optional(vtg.speedKnots) || !in.Next() || !in.Unit('N') ||
        !in.Next() || !in.Optional(vtg.speedKmh) || !in.Next() || !in.Unit('K'))
        return failed;

    // The mode field came later to the sentence; older receivers leave it out.
    vtg.mode = 3;
    if (in.Next() && !in.Empty() && IsAsciiLetter(in.First()))
    {
        switch (AsciiUpper(in.First()))
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
// digits after the last "*" (white space around them trimmed) equal the
// exclusive-or of every byte between the leading "$" and that "*".
bool ChecksumMatches(const std::string& sentence)
{
    const size_t star = sentence.rfind('*');
    if (star == std::string::npos)
        return true;
    int expected = 0;
    // Receivers send two upper-case digits and the line end; anything else
    // goes through the general reading, which also takes signs and a "0x".
    const char* after = sentence.c_str() + star + 1;
    const char* end = sentence.data() + sentence.size();
    if (end - after >= 2 && HexDigitValue(after[0]) >= 0 && HexDigitValue(after[1]) >= 0 &&
        std::all_of(after + 2, end, IsAsciiSpace))
    {
        expected = HexDigitValue(after[0]) << 4 | HexDigitValue(after[1]);
    }
    else
    {
        std::string digits = Core::Utilities::trim(sentence.substr(star + 1));
        if (digits.empty() || digits.size() > 2 || !Core::Utilities::ParseInt(digits, 16, expected))
            return false;
    }
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

    FieldCursor fields(sentence);
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
