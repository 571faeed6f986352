#include "IO/NmeaParser.h"

#include "NmeaSentences.h"

#include <cmath>
#include <cstring>
#include <random>

#include <gtest/gtest.h>

using namespace Core::Nmea;
using CoreTest::Sentence;

namespace
{

// The widely published examples; they sum to 0x47 and 0x48.
const char kGGA[] = "GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,";
const char kVTG[] = "GPVTG,054.7,T,034.4,M,005.5,N,010.2,K";
const double kLatitude = 48 + 7.038 / 60, kDegree = M_PI / 180;

class NmeaParserTest : public ::testing::Test
{
protected:
    // The body with field index replaced, or with only its first count fields.
    static std::string WithField(const std::string& body, size_t index, const std::string& value)
    {
        size_t start = 0;
        for (size_t i = 0; i < index; ++i)
            start = body.find(',', start) + 1;
        return body.substr(0, start) + value + body.substr(std::min(body.find(',', start), body.size()));
    }
    static std::string FirstFields(const std::string& body, size_t count)
    {
        size_t end = 0;
        for (size_t i = 0; i < count && end != std::string::npos; ++i)
            end = body.find(',', end + (i ? 1 : 0));
        return body.substr(0, end);
    }

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
    EXPECT_DOUBLE_EQ(12 * 3600 + 35 * 60 + 19, gga.timeOfDay);
    EXPECT_NEAR(kLatitude, gga.latitudeDegrees, 1e-12);
    EXPECT_NEAR(kLatitude * kDegree, gga.latitudeRadians, 1e-12);
    EXPECT_NEAR(11 + 31.0 / 60, gga.longitudeDegrees, 1e-12);
    EXPECT_NEAR((11 + 31.0 / 60) * kDegree, gga.longitudeRadians, 1e-12);
    EXPECT_EQ(0, gga.latitudeHemisphere + gga.longitudeHemisphere);
    EXPECT_EQ(1, gga.fixQuality);
    EXPECT_EQ(8, gga.satellitesInUse);
    EXPECT_DOUBLE_EQ(0.9, gga.hdop);
    EXPECT_DOUBLE_EQ(545.4, gga.altitude);
    EXPECT_DOUBLE_EQ(46.9, gga.geoidSeparation);
    EXPECT_DOUBLE_EQ(-1.0, gga.differentialAge);
    EXPECT_EQ(-1, gga.differentialStation) << "the station field is only '*47'";

    ASSERT_EQ(0, Parse(std::string("$") + kVTG + "*48"));
    EXPECT_EQ(NMEA_VTG, m_type);
    EXPECT_DOUBLE_EQ(54.7, vtg.trackTrueDegrees);
    EXPECT_NEAR(54.7 * kDegree, vtg.trackTrueRadians, 1e-12);
    EXPECT_DOUBLE_EQ(34.4, vtg.trackMagneticDegrees);
    EXPECT_NEAR(34.4 * kDegree, vtg.trackMagneticRadians, 1e-12);
    EXPECT_DOUBLE_EQ(5.5, vtg.speedKnots);
    EXPECT_DOUBLE_EQ(10.2, vtg.speedKmh);
    EXPECT_EQ(3, vtg.mode) << "no mode field";
}

TEST_F(NmeaParserTest, ChecksumIsCheckedOnlyWhenPresent)
{
    // "KB" as the km/h unit makes the example VTG sum to 0x48 ^ 'B' = 0x0A.
    const std::string body = std::string("$") + kVTG, bodyB = "$" + WithField(kVTG, 8, "KB");
    const std::pair<std::string, int> cases[] = {
        {body + "*48 \t\r\n", 0}, {body + "*49", -1},   {body + "*048", -1}, {body + "*", -1},
        {body + "* \r\n", -1},    {body + "*G8", -1},   {body + "*-8", -1},  {body, 0},
        {bodyB + "*0a", 0},       {bodyB + "*A", 0},    {bodyB + "*a!", 0},  {bodyB + "*!a", -1},
        {bodyB + "*A0", -1},      {"*", -1},           {"$*00", 1},        {"*00", 1},
        {WithField(body, 7, "010.3") + "*48", -1},
        {body + "**62", 0},  // only the last asterisk counts: the first is summed
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
        {"$GPGGA,", NMEA_GGA}, {"$GNGGA", NMEA_GGA},          {"xyzGGA", NMEA_GGA},
        {"$IIVTG,1", NMEA_VTG}, {"$GPGG", NMEA_UNSUPPORTED},  {"$GPgga,", NMEA_UNSUPPORTED},
        {"$GPRMC,", NMEA_UNSUPPORTED}, {"$GPGSA,", NMEA_UNSUPPORTED},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.second, CNmeaParser::IdentifyNmeaSentence(c.first)) << c.first;
    EXPECT_EQ(0, Parse(Sentence("GN" + std::string(kGGA + 2))));
    EXPECT_EQ(1, Parse(Sentence("GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W")));
    EXPECT_EQ(NMEA_UNSUPPORTED, m_type);

    const char* names[] = {"GGA", "VTG", "GSA", "RMC", "Unsupported", "Unsupported", "Unsupported"};
    for (int type = 0; type < 7; ++type)
        EXPECT_STREQ(names[type], CNmeaParser::GetName(NmeaSentenceTypes(type)));
    EXPECT_STREQ("Unsupported", CNmeaParser::GetName(NmeaSentenceTypes(-1)));
    static_assert(sizeof(NmeaSentenceTypes) == sizeof(int), "an int-sized enumeration");
}

TEST_F(NmeaParserTest, OnlyExactUpperCaseNorthAndEastArePositive)
{
    const struct
    {
        const char *lat, *lon;
        int latCode, lonCode;
    } cases[] = {{"N", "E", 0, 0}, {"S", "W", 1, 1}, {"n", "e", 1, 1}, {"Nx", "Ey", 0, 0}, {"?", "E", 1, 0}};
    for (const auto& c : cases)
    {
        ASSERT_EQ(0, Parse(Sentence(WithField(WithField(kGGA, 3, c.lat), 5, c.lon)))) << c.lat << c.lon;
        EXPECT_NEAR((c.latCode ? -1 : 1) * kLatitude, gga.latitudeDegrees, 1e-9) << c.lat;
        EXPECT_NEAR((c.latCode ? -1 : 1) * kLatitude * kDegree, gga.latitudeRadians, 1e-9) << c.lat;
        EXPECT_NEAR((c.lonCode ? -1 : 1) * (11 + 31.0 / 60), gga.longitudeDegrees, 1e-9) << c.lon;
        EXPECT_EQ(c.latCode * 10 + c.lonCode, gga.latitudeHemisphere * 10 + gga.longitudeHemisphere);
    }
    for (size_t field : {2, 3, 4, 5})
        EXPECT_EQ(-1, Parse(Sentence(WithField(kGGA, field, "")))) << "empty field " << field;
    EXPECT_EQ(-1, Parse(Sentence(WithField(kGGA, 2, "north"))));
    ASSERT_EQ(0, Parse(Sentence(WithField(WithField(kGGA, 2, "0000.000"), 3, "S"))));
    EXPECT_FALSE(std::signbit(gga.latitudeDegrees)) << "the equator in the south is +0";
}

TEST_F(NmeaParserTest, TimeOfDayKeepsFractionsAndMayBeEmpty)
{
    const std::pair<const char*, double> cases[] = {
        {"123519", 45319}, {"000000", 0}, {"235959.99", 86399.99}, {"000000.05", 0.05}, {"", -1},
    };
    for (const auto& c : cases)
    {
        ASSERT_EQ(0, Parse(Sentence(WithField(kGGA, 1, c.first)))) << c.first;
        EXPECT_NEAR(c.second, gga.timeOfDay, 1e-6) << c.first;
        EXPECT_NEAR(kLatitude, gga.latitudeDegrees, 1e-9) << "parsing goes on";
    }
    EXPECT_EQ(-1, Parse(Sentence(WithField(kGGA, 1, "noon"))));
}

TEST_F(NmeaParserTest, GGAOptionalFieldsUnitsAndDecimalCounts)
{
    for (const char* quality : {"", "-1", "x"})
        EXPECT_EQ(-1, Parse(Sentence(WithField(kGGA, 6, quality)))) << quality;
    EXPECT_NEAR(kLatitude, gga.latitudeDegrees, 1e-9) << "decoded fields stay";
    EXPECT_EQ(0, gga.satellitesInUse) << "later fields stay cleared";

    ASSERT_EQ(0, Parse(Sentence(WithField(WithField(WithField(WithField(kGGA, 7, ""), 8, ""), 9, ""), 11, ""))));
    EXPECT_EQ(-1, gga.satellitesInUse);
    EXPECT_EQ(-4.0, gga.hdop + gga.altitude + gga.geoidSeparation + gga.differentialAge);

    const std::pair<std::string, int> cases[] = {
        {WithField(kGGA, 7, "many"), -1}, {WithField(kGGA, 9, "high"), -1}, {WithField(kGGA, 10, "m"), 0},
        {WithField(kGGA, 10, ""), 0},     {WithField(kGGA, 10, "F"), -1},   {WithField(kGGA, 12, "meters"), 0},
        {WithField(kGGA, 12, "f"), -1},   {WithField(kGGA, 13, "x"), -1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.second, Parse(Sentence(c.first))) << c.first;

    // Receivers pad with zeros; an automatic base would read "010" as octal.
    ASSERT_EQ(0, Parse(Sentence(WithField(WithField(WithField(kGGA, 6, "010"), 7, "09"), 13, "2.5") + "0010")));
    EXPECT_EQ(10, gga.fixQuality);
    EXPECT_EQ(9, gga.satellitesInUse);
    EXPECT_DOUBLE_EQ(2.5, gga.differentialAge);
    EXPECT_EQ(10, gga.differentialStation);
}

TEST_F(NmeaParserTest, StationIdIsReadThroughTheAttachedChecksum)
{
    const std::pair<std::string, int> cases[] = {
        {Sentence(kGGA + std::string("0000")), 0}, {Sentence(kGGA + std::string("1023")), 1023},
        {Sentence(kGGA + std::string("A12")), -1}, {std::string("$") + kGGA, -1},
    };
    for (const auto& c : cases)
    {
        ASSERT_EQ(0, Parse(c.first)) << c.first;
        EXPECT_EQ(c.second, gga.differentialStation) << c.first;
    }
}

TEST_F(NmeaParserTest, ShortSentencesFailAtTheFirstMissingField)
{
    for (size_t count = 1; count <= 14; ++count)
        EXPECT_EQ(-1, Parse(Sentence(FirstFields(kGGA, count)))) << count << " GGA fields";
    EXPECT_EQ(NMEA_GGA, m_type);
    EXPECT_DOUBLE_EQ(46.9, gga.geoidSeparation) << "fields before the cut stay decoded";
    for (size_t count = 1; count <= 8; ++count)
        EXPECT_EQ(-1, Parse(Sentence(FirstFields(kVTG, count)))) << count << " VTG fields";
    EXPECT_DOUBLE_EQ(10.2, vtg.speedKmh);
}

TEST_F(NmeaParserTest, VTGModeUnitsAndEmptyFields)
{
    const std::pair<const char*, int> modes[] = {{"A", 0}, {"a", 0}, {"D", 1}, {"d", 1}, {"E", 2},
                                                 {"N", 3}, {"", 3},  {"1", 3}, {"*", 3}};
    for (const auto& m : modes)
    {
        ASSERT_EQ(0, Parse(Sentence(std::string(kVTG) + "," + m.first))) << m.first;
        EXPECT_EQ(m.second, vtg.mode) << m.first;
    }

    ASSERT_EQ(0, Parse(Sentence(WithField(WithField(WithField(kVTG, 3, ""), 5, ""), 7, ""))));
    EXPECT_DOUBLE_EQ(-1.0, vtg.trackMagneticDegrees);
    EXPECT_NEAR(-kDegree, vtg.trackMagneticRadians, 1e-15) << "the radians of -1, not a marker";
    EXPECT_EQ(-2.0, vtg.speedKnots + vtg.speedKmh);

    EXPECT_EQ(-1, Parse(Sentence(WithField(kVTG, 1, ""))));
    EXPECT_EQ(0.0, vtg.trackTrueDegrees);
    const std::pair<std::string, int> units[] = {
        {WithField(kVTG, 2, "t"), 0},  {WithField(kVTG, 2, ""), -1}, {WithField(kVTG, 2, "M"), -1},
        {WithField(kVTG, 4, "T"), -1}, {WithField(kVTG, 6, ""), 0},  {WithField(kVTG, 6, "K"), -1},
        {WithField(kVTG, 8, "N"), -1},
        {WithField(kVTG, 8, ""), -1},  // the last unit carries the checksum: it reads "*"
    };
    for (const auto& c : units)
        EXPECT_EQ(c.second, Parse(Sentence(c.first))) << c.first;
}

TEST_F(NmeaParserTest, HostileInputGivesAResultCodeAndAClearedRecord)
{
    std::vector<std::string> inputs = {
        "", "$", "**", ",,,,,,,,,,,,,,,,", "$GPGGA,*", "$GPVTG,,,,,,,,,,,,*", std::string("$GPGGA\0,1,2", 11),
        std::string(100000, 'A'), "$GPGGA" + std::string(1000000, ','), std::string(4000, '*'),
        std::string("$") + kGGA + "*" + std::string(3000, '4'),
        "$GPGGA,1e999,1e999,N,-1e999,E,1,99999999999999999999,nan,inf,M,-inf,M,1e-999,99999999999",
        "$GPVTG,nan,T,inf,M,-0,N,0x1p3,K,\xFF", "$GPGGA,\xFF\xFE\xFD,\x80,N,\x7F,E,\x01,,,,,,,,",
    };
    std::mt19937 random(20240501u);
    for (int i = 0; i < 300; ++i)
    {
        std::string junk(random() % 120, '\0');
        for (char& c : junk)
            c = char(random());
        std::string damaged = Sentence(i % 2 ? kGGA : kVTG);
        damaged[random() % damaged.size()] = char(random());
        damaged.resize(random() % (damaged.size() + 1));
        inputs.insert(inputs.end(), {junk, damaged});
    }
    for (const std::string& input : inputs)
    {
        int result = Parse(input);
        EXPECT_TRUE(result == -1 || result == 0 || result == 1) << result;
        EXPECT_TRUE(m_type == 99 || m_type == NMEA_GGA || m_type == NMEA_VTG || m_type == NMEA_UNSUPPORTED);
        if (result == 1)
        {
            EXPECT_EQ(0, gga.timeOfDay + gga.differentialAge + gga.differentialStation) << "cleared";
        }
    }
}

} // namespace
