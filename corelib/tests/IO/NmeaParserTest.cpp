#include "IO/NmeaParser.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <tuple>
#include <type_traits>

#include <gtest/gtest.h>

using namespace Core::Nmea;

namespace
{

// The widely published examples; they sum to 0x47 and 0x48.
const char kGGA[] = "GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,";
const char kVTG[] = "GPVTG,054.7,T,034.4,M,005.5,N,010.2,K";
const double kLatitude = 48 + 7.038 / 60, kLongitude = 11 + 31.0 / 60, kDegree = M_PI / 180;

// "$" + body + "*" + the XOR of the body's bytes as two upper-case hex digits + CR LF.
std::string Sentence(const std::string& body)
{
    const unsigned sum =
        std::accumulate(body.begin(), body.end(), 0u, [](unsigned s, unsigned char c) { return s ^ c; });
    char checksum[8];
    std::snprintf(checksum, sizeof(checksum), "*%02X\r\n", sum);
    return "$" + body + checksum;
}

// The body with field index replaced.
std::string WithField(const std::string& body, size_t index, const std::string& value)
{
    size_t start = 0;
    for (size_t i = 0; i < index; ++i)
        start = body.find(',', start) + 1;
    return body.substr(0, start) + value + body.substr(std::min(body.find(',', start), body.size()));
}

// The tests pass types outside the enumerators; a fixed int makes them defined.
static_assert(std::is_same_v<int, std::underlying_type_t<NmeaSentenceTypes>>);

class NmeaParserTest : public ::testing::Test
{
protected:
    // Parses into a record full of junk, with a type no call writes.
    int Parse(const std::string& sentence)
    {
        m_type = NmeaSentenceTypes(99);
        std::memset(&m_data, 0x5A, sizeof(m_data));
        return CNmeaParser::ParseNmeaData(m_type, sentence, m_data);
    }

    NmeaSentenceTypes m_type;
    UNmeaData m_data;
    const sNmeaGGA& gga = m_data.gga;
    const sNmeaVTG& vtg = m_data.vtg;
};

TEST_F(NmeaParserTest, ExamplesDecodeEveryField)
{
    ASSERT_EQ(0, Parse(std::string("$") + kGGA + "*47\r\n"));
    EXPECT_EQ(NMEA_GGA, m_type);
    EXPECT_NEAR(kLatitude * kDegree, gga.latitudeRadians, 1e-12);
    EXPECT_EQ(std::make_tuple(1, 8, 0.9, 545.4, 46.9, -1.0),
              std::make_tuple(gga.fixQuality, gga.satellitesInUse, gga.hdop, gga.altitude, gga.geoidSeparation,
                              gga.differentialAge));
    EXPECT_EQ(-1, gga.differentialStation) << "the station field is only '*47'";

    ASSERT_EQ(0, Parse(std::string("$") + kVTG + "*48"));
    EXPECT_EQ(NMEA_VTG, m_type);
    EXPECT_NEAR(54.7 * kDegree, vtg.trackTrueRadians, 1e-12);
    EXPECT_NEAR(34.4 * kDegree, vtg.trackMagneticRadians, 1e-12);
    EXPECT_EQ(std::make_pair(5.5, 10.2), std::make_pair(vtg.speedKnots, vtg.speedKmh));
    EXPECT_EQ(3, vtg.mode) << "no mode field";
}

TEST_F(NmeaParserTest, ChecksumIsCheckedOnlyWhenPresent)
{
    // "KB" as the km/h unit makes the example VTG sum to 0x48 ^ 'B' = 0x0A.
    const std::string body = std::string("$") + kVTG, bodyB = "$" + WithField(kVTG, 8, "KB");
    const std::pair<std::string, int> cases[] = {
        {body + "*48 \t\r\n", 0}, {body + "*49", -1}, {body + "*048", -1}, {body + "*", -1}, {body + "*G8", -1},
        {body, 0}, {bodyB + "*0a", 0}, {bodyB + "*A", 0}, {bodyB + "*a!", 0}, {bodyB + "*!a", -1}, {"*00", 1},
        {body + "**62", 0}, // only the last asterisk counts: the first is summed
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.second, Parse(c.first)) << c.first;
    EXPECT_EQ(-1, Parse(body + "*49"));
    EXPECT_EQ(99, m_type) << "a checksum failure leaves the type unwritten";
    // 0xE9 as the mode (not a letter in the C locale): 0x48 ^ ',' ^ 0xE9 = 0x8D.
    // A sum of signed characters would be negative and match nothing.
    ASSERT_EQ(0, Parse(body + ",\xE9*8D\r\n"));
    EXPECT_EQ(3, vtg.mode);
}

TEST_F(NmeaParserTest, SentencesAreNamedByTheThreeLettersAfterAnyTalker)
{
    const std::pair<const char*, NmeaSentenceTypes> cases[] = {
        {"xyzGGA", NMEA_GGA}, {"$IIVTG,1", NMEA_VTG}, {"$GPGG", NMEA_UNSUPPORTED}, {"$GPgga,", NMEA_UNSUPPORTED},
        {"$GPRMC,", NMEA_UNSUPPORTED}};
    for (const auto& c : cases)
        EXPECT_EQ(c.second, CNmeaParser::IdentifyNmeaSentence(c.first)) << c.first;
    EXPECT_EQ(1, Parse(Sentence("GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W")));
    EXPECT_EQ(NMEA_UNSUPPORTED, m_type);
    EXPECT_STREQ("RMC", CNmeaParser::GetName(NMEA_RMC));
    EXPECT_STREQ("Unsupported", CNmeaParser::GetName(NmeaSentenceTypes(-1)));
}

TEST_F(NmeaParserTest, OnlyExactUpperCaseNorthAndEastArePositive)
{
    const struct { const char *lat, *lon; int latCode, lonCode; } hemispheres[] = {
        {"S", "W", 1, 1}, {"n", "e", 1, 1}, {"Nx", "Ey", 0, 0}};
    for (const auto& c : hemispheres)
    {
        ASSERT_EQ(0, Parse(Sentence(WithField(WithField(kGGA, 3, c.lat), 5, c.lon)))) << c.lat << c.lon;
        EXPECT_NEAR((c.latCode ? -1 : 1) * kLatitude, gga.latitudeDegrees, 1e-9) << c.lat;
        EXPECT_NEAR((c.lonCode ? -1 : 1) * kLongitude * kDegree, gga.longitudeRadians, 1e-9) << c.lon;
        EXPECT_EQ(c.latCode * 10 + c.lonCode, gga.latitudeHemisphere * 10 + gga.longitudeHemisphere);
    }
    ASSERT_EQ(0, Parse(Sentence(WithField(WithField(kGGA, 2, "0000.000"), 3, "S"))));
    EXPECT_FALSE(std::signbit(gga.latitudeDegrees)) << "the equator in the south is +0";
}

TEST_F(NmeaParserTest, GGARejectsMalformedRequiredFieldsOnly)
{
    const std::pair<std::string, int> cases[] = {
        {WithField(kGGA, 1, "noon"), -1}, {WithField(kGGA, 3, ""), -1}, {WithField(kGGA, 6, ""), -1},
        {WithField(kGGA, 6, "-1"), -1},   {WithField(kGGA, 9, "high"), -1}, {WithField(kGGA, 10, ""), 0},
        {WithField(kGGA, 10, "F"), -1},   {WithField(kGGA, 12, "meters"), 0}, {WithField(kGGA, 13, "x"), -1}};
    for (const auto& c : cases)
        EXPECT_EQ(c.second, Parse(Sentence(c.first))) << c.first;
}

TEST_F(NmeaParserTest, EmptyOptionalFieldsReadAsMinusOneAndAFailureKeepsWhatWasDecoded)
{
    ASSERT_EQ(0, Parse(Sentence(WithField(WithField(kGGA, 1, "235959.99"), 7, ""))));
    EXPECT_NEAR(86399.99, gga.timeOfDay, 1e-6);
    EXPECT_EQ(-1, gga.satellitesInUse);
    EXPECT_EQ(-1, Parse(Sentence(WithField(kGGA, 6, "x"))));
    EXPECT_NEAR(kLatitude, gga.latitudeDegrees, 1e-9) << "decoded fields stay";
    EXPECT_EQ(0, gga.satellitesInUse) << "later fields stay cleared";
}

TEST_F(NmeaParserTest, NumbersWithLeadingZerosAreDecimal)
{
    // Receivers pad with zeros; an automatic base would read "010" as octal.
    // The station id is read through the attached checksum.
    ASSERT_EQ(0, Parse(Sentence(WithField(WithField(WithField(kGGA, 6, "010"), 7, "09"), 13, "2.5") + "0010")));
    EXPECT_EQ(std::make_tuple(10, 9, 2.5, 10),
              std::make_tuple(gga.fixQuality, gga.satellitesInUse, gga.differentialAge, gga.differentialStation));
    ASSERT_EQ(0, Parse(Sentence(kGGA + std::string("A12"))));
    EXPECT_EQ(-1, gga.differentialStation);
}

TEST_F(NmeaParserTest, ShortSentencesFailAtTheFirstMissingField)
{
    for (const std::string body : {kGGA, kVTG})
        for (size_t end = body.find(','); end != std::string::npos; end = body.find(',', end + 1))
            EXPECT_EQ(-1, Parse(Sentence(body.substr(0, end)))) << body.substr(0, end);
    EXPECT_DOUBLE_EQ(10.2, vtg.speedKmh) << "fields before the cut stay decoded";
}

TEST_F(NmeaParserTest, VTGModeUnitsAndEmptyFields)
{
    const std::pair<const char*, int> modes[] = {{"a", 0}, {"d", 1}, {"E", 2}, {"N", 3}, {"", 3}, {"*", 3}};
    for (const auto& m : modes)
    {
        ASSERT_EQ(0, Parse(Sentence(std::string(kVTG) + "," + m.first))) << m.first;
        EXPECT_EQ(m.second, vtg.mode) << m.first;
    }
    ASSERT_EQ(0, Parse(Sentence(WithField(WithField(WithField(kVTG, 3, ""), 5, ""), 7, ""))));
    EXPECT_NEAR(-kDegree, vtg.trackMagneticRadians, 1e-15) << "the radians of -1, not a marker";
    EXPECT_EQ(-2.0, vtg.speedKnots + vtg.speedKmh);
    const std::pair<std::string, int> units[] = {
        {WithField(kVTG, 1, ""), -1}, {WithField(kVTG, 2, "t"), 0}, {WithField(kVTG, 4, "T"), -1},
        {WithField(kVTG, 6, ""), 0},
        {WithField(kVTG, 8, ""), -1}, // the last unit carries the checksum: it reads "*"
    };
    for (const auto& c : units)
        EXPECT_EQ(c.second, Parse(Sentence(c.first))) << c.first;
}

// Random junk and damaged sentences are the sentence fuzzer's work; these are
// the extremes a careless decoder overflows or misreads.
TEST_F(NmeaParserTest, HostileInputGivesAResultCodeAndAClearedRecord)
{
    std::vector<std::string> inputs = {
        "",
        "$",
        "$GPGGA,*",
        std::string("$GPGGA\0,1,2", 11),
        std::string(100000, 'A'),
        "$GPGGA" + std::string(1000000, ','),
        std::string(4000, '*'),
        std::string("$") + kGGA + "*" + std::string(3000, '4'),
        "$GPGGA,1e999,1e999,N,-1e999,E,1,99999999999999999999,nan,inf,M,-inf,M,1e-999,99999999999",
        "$GPVTG,nan,T,inf,M,-0,N,0x1p3,K,\xFF"};
    for (const std::string& input : inputs)
    {
        const int result = Parse(input);
        EXPECT_TRUE(result == -1 || result == 0 || result == 1) << result;
        EXPECT_TRUE(result != 1 || gga.timeOfDay + gga.differentialAge + gga.differentialStation == 0)
            << "a sentence not decoded leaves the record cleared";
    }
}

} // namespace
