// The tool's building blocks: the NMEA sentences it writes (read back by the
// library's parser), the local plane, option parsing and field files.
#include "Field.h"
#include "IO/NmeaParser.h"
#include "LocalPlane.h"
#include "Options.h"
#include "SentenceWriter.h"
#include "Support/EmulatorLimits.h"
#include "Support/TestSupport.h"
#include "ToolTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using namespace GuidanceTool;

// Parses a sentence the tool wrote; fails the test unless it decodes.
Core::Nmea::UNmeaData Decode(const std::string& sentence, Core::Nmea::NmeaSentenceTypes expected)
{
    Core::Nmea::NmeaSentenceTypes type = Core::Nmea::NMEA_UNSUPPORTED;
    Core::Nmea::UNmeaData data;
    EXPECT_EQ(0, Core::Nmea::CNmeaParser::ParseNmeaData(type, sentence, data)) << sentence;
    EXPECT_EQ(expected, type);
    return data;
}

TEST(SentenceWriter, SentencesReadBackWithTheirValues)
{
    // The textbook GGA sentence carries checksum 47.
    EXPECT_EQ("47", NmeaChecksum("GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,"));
    // Every hemisphere; the last two round to a whole degree only after the
    // minutes carry, where a careless writer prints 60 minutes.
    const double cases[][2] = {{52.2050001, -1.05}, {-33.8688, 151.2093}, {0.5, -179.99},
                               {10.99999999999, 20.999999999999}, {-45.9999999999, -0.0000000001}};
    for (const auto& c : cases)
    {
        FixReport fix;
        fix.timeOfDay = 86399.996; // rounds to the next day's 00:00:00.00, not 24:00:00
        fix.latitude = c[0];
        fix.longitude = c[1];
        fix.fixQuality = 4;
        const std::string sentence = GgaSentence(fix);
        const Core::Nmea::UNmeaData data = Decode(sentence, Core::Nmea::NMEA_GGA);
        EXPECT_NEAR(c[0], data.gga.latitudeDegrees, 2e-9) << sentence;
        EXPECT_NEAR(c[1], data.gga.longitudeDegrees, 2e-9) << sentence;
        EXPECT_EQ(std::string::npos, sentence.find("60.")) << sentence;
        EXPECT_DOUBLE_EQ(0.0, data.gga.timeOfDay);
    }
    FixReport fix;
    fix.courseDegrees = 271.25;
    fix.speedMetres = 5.0; // 18 km/h, 9.719 knots
    const Core::Nmea::UNmeaData data = Decode(VtgSentence(fix), Core::Nmea::NMEA_VTG);
    EXPECT_DOUBLE_EQ(271.25, data.vtg.trackTrueDegrees);
    EXPECT_DOUBLE_EQ(18.0, data.vtg.speedKmh);
    EXPECT_NEAR(9.719, data.vtg.speedKnots, 0.0005);
}

TEST(LocalPlane, ScalesAreThePublishedLengthsOfADegreeAndWestIs270)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    // Lengths of a degree on the WGS-84 ellipsoid as published in geodesy tables.
    const LocalPlane equator(0, 0);
    EXPECT_NEAR(110574.3, equator.MetresPerDegreeLatitude(), 0.1);
    EXPECT_NEAR(111319.5, equator.MetresPerDegreeLongitude(), 0.1);
    const LocalPlane midLatitude(45, 7);
    EXPECT_NEAR(78846.8, midLatitude.MetresPerDegreeLongitude(), 0.1);
    const Core::Maths::Vector2<double> p = midLatitude.ToPlane(45.001, 6.999);
    EXPECT_TRUE(p.x < 0 && p.y > 0); // north-west of the origin
    double latitude = 0, longitude = 0;
    midLatitude.ToGeodetic(p, latitude, longitude);
    EXPECT_NEAR(45.001, latitude, 1e-12);
    EXPECT_NEAR(6.999, longitude, 1e-12);

    // West is +-pi in the plane, and always 270 as a course.
    EXPECT_NEAR(270, HeadingToCourse(-M_PI), 1e-4);
    EXPECT_NEAR(270, HeadingToCourse(M_PI), 1e-4);
}

TEST(Options, ValuesFlagsPositionalsAndMistakes)
{
    Options options({{"speed", true}, {"steady", false}, {"offset", true}});
    options.Parse({"--speed=2.5", "--offset", "-3", "file", "--steady", "--", "--not-an-option"});
    EXPECT_DOUBLE_EQ(2.5, options.GetDouble("speed", 0, 2.5, 2.5));
    EXPECT_EQ(-3, options.GetInt("offset", 0, -3, 0)); // a negative value is a value, not an option
    EXPECT_THROW(options.GetDouble("speed", 0, 0, 2.4), ToolError);
    EXPECT_THROW(options.GetInt("offset", 0, -2, 0), ToolError);
    EXPECT_TRUE(options.Has("steady"));
    EXPECT_EQ((std::vector<std::string>{"file", "--not-an-option"}), options.Positional());

    for (const std::vector<std::string>& args : {std::vector<std::string>{"--sped", "2"}, {"-s"}, {"--speed"},
                                                 {"--steady=yes"}})
        EXPECT_THROW(Options({{"speed", true}, {"steady", false}}).Parse(args), ToolError) << args[0];
    for (const char* bad : {"2.5", "12x", "", "nan"})
    {
        Options passes({{"passes", true}});
        passes.Parse({"--passes", bad});
        EXPECT_THROW(passes.GetInt("passes", 0, 0, 100), ToolError) << bad;
    }
}

TEST(Field, MalformedFilesNameTheirFault)
{
    EXPECT_EQ(CoreTest::ReadBytes(std::string(CORELIB_SOURCE_DIR) + "/data/fields/sample.xml"), Field::SampleText());
    const std::string good = ToolTest::StraightFieldText(10, 20, 100, 6, "Linear");
    EXPECT_EQ(5u, Field::FromText(good, "f").points.size());
    auto replace = [&](const std::string& from, const std::string& to) {
        std::string text = good;
        return text.replace(text.find(from), from.size(), to);
    };
    const std::pair<std::string, std::string> cases[] = {
        {"not xml at all <", "not well-formed"},
        {"<other/>", "no <field><guidance>"},
        {replace("<width>6.000000</width>", "<width>0</width>"), "working width: out of range"},
        {replace("<width>6.000000</width>", "<width>1e9</width>"), "working width: out of range"},
        // 25 km north of the first point: the line would be longer than a field.
        {replace("lat=\"10.000000000\"", "lat=\"10.225\""), "metres from the first point: out of range"},
        // Invalid UTF-8 and a control character, each refused at its byte offset.
        {replace("Test strip", "Test \xff"), "at byte 40"},
        {replace("Test strip", "Test \x01"), "at byte 40"},
        {replace("Linear", "Bezier"), "unknown spline 'Bezier'"},
        {replace("lat=\"10.000000000\"", "latitude=\"10\""), "no 'lat' attribute"},
        {"<field><guidance><width>3</width><point lat=\"1\" lon=\"2\"/></guidance></field>", "at least two"},
        {"<field><guidance><width>3</width><point lat=\"1\" lon=\"2\"/><point lat=\"1\" lon=\"2\"/></guidance>"
         "</field>",
         "all coincide"},
    };
    for (const auto& c : cases)
    {
        try
        {
            Field::FromText(c.first, "f.xml");
            ADD_FAILURE() << "accepted: " << c.first;
        }
        catch (const ToolError& error)
        {
            EXPECT_NE(std::string::npos, std::string(error.what()).find(c.second)) << error.what();
            EXPECT_EQ(0u, std::string(error.what()).find("f.xml: ")) << error.what();
        }
    }
}

} // namespace
