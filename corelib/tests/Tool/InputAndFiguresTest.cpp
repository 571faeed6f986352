// Reading receivers the tool did not write: RMC decoded from its fields (the
// published example sentence as the reference), epochs gathered whatever the
// order of their sentences, dates carried past midnight; and the per-pass
// figures of a run, overlaps counted once.
#include "FieldFile.h"
#include "FixAssembler.h"
#include "Options.h"
#include "RmcSentence.h"
#include "RunStatistics.h"
#include "SentenceWriter.h"
#include "Support/EmulatorLimits.h"
#include "UtcTime.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using namespace GuidanceTool;

struct RmcCase
{
    const char* body; // framed with a checksum by the test unless it carries one
    RmcResult result;
    bool valid = false;
    double utc = 0; // from `date -u -d ... +%s`
    double latitude = 0, longitude = 0, speed = 0, course = 0;
};

TEST(RmcSentenceTest, DecodesTheFieldsOfEveryTalker)
{
    const double knot = 1852.0 / 3600.0;
    const RmcCase cases[] = {
        // The example of the sentence in every NMEA primer: 23 March 1994, 12:35:19.
        {"$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A", RmcResult::Decoded, true, 764426119,
         48.1173, 11.0 + 31.0 / 60, 22.4 * knot, 84.4},
        {"BDRMC,123519,A,4807.038,S,01131.000,W,,,230394,,", RmcResult::Decoded, true, 764426119, -48.1173,
         -(11.0 + 31.0 / 60), -1, -1},
        // Void, and valid status with mode N (not valid): a date but no position.
        {"GNRMC,000000.00,V,,,,,,,010180,,", RmcResult::Decoded, false, 315532800},
        {"GARMC,000000.00,A,4807.038,N,01131.000,E,0,0,311279,,,N", RmcResult::Decoded, false, 3471206400},
        // 29 February only in leap years; a month has no day 32.
        {"GLRMC,120000,A,4807.038,N,01131.000,E,1,2,290224,,", RmcResult::Decoded, true, 1709208000, 48.1173,
         11.0 + 31.0 / 60, knot, 2},
        {"GLRMC,120000,A,4807.038,N,01131.000,E,1,2,290223,,", RmcResult::Malformed},
        {"GPRMC,120000,A,4807.038,N,01131.000,E,1,2,320124,,", RmcResult::Malformed},
        {"GPRMC,120000,A,4807.038,N,01131.000,E,1,2,,,", RmcResult::Malformed},
        {"GPRMC,126000,A,4807.038,N,01131.000,E,1,2,010124,,", RmcResult::Malformed},
        {"GPRMC,120000,A,4807.038,X,01131.000,E,1,2,010124,,", RmcResult::Malformed},
        {"$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6B", RmcResult::NotRmc},
        {"GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,", RmcResult::NotRmc},
    };
    for (const RmcCase& c : cases)
    {
        const std::string line = c.body[0] == '$' ? std::string(c.body) + "\r\n" : FrameSentence(c.body);
        RmcFix fix;
        ASSERT_EQ(c.result, DecodeRmc(line, fix)) << line;
        if (c.result != RmcResult::Decoded)
            continue;
        EXPECT_EQ(c.valid, fix.valid) << line;
        EXPECT_DOUBLE_EQ(c.utc, std::floor(fix.utc)) << line;
        if (!c.valid)
            continue;
        EXPECT_NEAR(c.latitude, fix.latitude, 1e-9) << line;
        EXPECT_NEAR(c.longitude, fix.longitude, 1e-9) << line;
        EXPECT_NEAR(c.speed, fix.speedMetres, 1e-9) << line;
        EXPECT_NEAR(c.course, fix.courseDegrees, 1e-9) << line;
    }
}

// (Today's week and the leap seconds are read back from the info command.)
TEST(UtcTimeTest, GpsWeeksBeforeTheEpochCountBackwards)
{
    // Midnight of 1 January 1980 is five days before the epoch.
    int week = 0;
    double seconds = 0;
    GpsTime(315532800, 0, week, seconds);
    EXPECT_EQ(-1, week);
    EXPECT_DOUBLE_EQ(2 * 86400, seconds);
}

TEST(FixAssemblerTest, GathersEpochsInAnyOrderAndDatesThemPastMidnight)
{
    InputCheck check(Field::Sample());
    FixAssembler assembler(check);
    const char* const bodies[] = {
        // GGA and VTG before the epoch's RMC; the VTG's track wins over the RMC's.
        "GNGGA,235959.90,5212.300,N,00103.000,W,2,12,0.8,70.0,M,47.0,M,1.0,0001",
        "GNVTG,90.0,T,,M,1.944,N,3.600,K,D",
        "GNRMC,235959.90,A,5212.300,N,00103.000,W,9.0,180.0,010524,,,D",
        // Just past midnight, the GGA comes before the RMC with the new date.
        "GPGGA,000000.00,5212.301,N,00103.000,W,4,12,0.8,70.0,M,47.0,M,1.0,0001",
        // RMC alone gives a fix of unknown quality, its own speed and course.
        "GLRMC,000000.10,A,5212.302,N,00103.000,W,1.944,0.0,020524,,,A",
        // GGA quality 0 is no position, even with a valid RMC.
        "GAGGA,000000.20,5212.303,N,00103.000,W,0,00,,,M,,M,,",
        "GARMC,000000.20,A,5212.303,N,00103.000,W,1.944,0.0,020524,,,A",
    };
    for (const char* body : bodies)
        assembler.Line(FrameSentence(body));
    assembler.Finish();

    FixRecord fix[3];
    for (FixRecord& point : fix)
        ASSERT_TRUE(assembler.Next(point));
    EXPECT_FALSE(assembler.Next(fix[0]));
    // 2024-05-01T23:59:59.9Z and 2024-05-02T00:00:00Z, from `date -u -d ... +%s`.
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(1714607999.9 + 0.1 * i, fix[i].utc, 1e-6) << i;
    EXPECT_EQ(2, fix[0].fixQuality);
    EXPECT_EQ(FixAssembler::kQualityUnknown, fix[2].fixQuality);
    // The VTG's 3.6 km/h heading east, not the RMC's 9 knots south.
    EXPECT_NEAR(1.0, fix[0].speed, 1e-9);
    EXPECT_NEAR(0.0, fix[0].heading, 1e-9);
    EXPECT_NEAR(1.0, fix[2].speed, 1e-3);
    EXPECT_NEAR(M_PI / 2, fix[2].heading, 1e-9);
    EXPECT_DOUBLE_EQ(70.0, fix[0].altitude);
    EXPECT_TRUE(std::isnan(fix[2].altitude));
}

TEST(FieldFileTest, TakesTheFirstLineStringLongitudeFirst)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    const struct
    {
        Field field;
        std::size_t points;
        const char* name;
        double lastLatitude, lastLongitude, width;
    } cases[] = {
        {FieldFromKml("<?xml version=\"1.0\"?><kml xmlns=\"http://www.opengis.net/kml/2.2\"><Document>"
                      "<Placemark><name>Pin</name><Point><coordinates>9,9</coordinates></Point></Placemark>"
                      "<Placemark><name>East strip</name><LineString><coordinates>\n"
                      "  -1.05,52.205,70 -1.04,52.206,70\n\t-1.03,52.207\n</coordinates></LineString>"
                      "</Placemark></Document></kml>",
                      "f.kml", 12),
         3, "East strip", 52.207, -1.03, 12},
        {FieldFromGeoJson(
             "{\"type\": \"FeatureCollection\", \"features\": [\n"
             " {\"type\": \"Feature\", \"properties\": {\"name\": \"Pin\"}, \"geometry\": {\"type\": \"Point\", "
             "\"coordinates\": [9, 9]}},\n"
             " {\"type\": \"Feature\", \"properties\": {\"name\": \"West \\\"strip\\\"\"},\n"
             "  \"geometry\": {\"type\": \"LineString\", \"coordinates\": [[-1.05, 52.205], [-1.04, 52.206, 3.5]]}}]}",
             "f.geojson", 6),
         2, "West \"strip\"", 52.206, -1.04, 6},
    };
    for (const auto& c : cases)
    {
        ASSERT_EQ(c.points, c.field.points.size()) << c.name;
        EXPECT_EQ(c.name, c.field.name);
        EXPECT_DOUBLE_EQ(c.lastLatitude, c.field.points.back().latitude) << c.name;
        EXPECT_DOUBLE_EQ(c.lastLongitude, c.field.points.back().longitude) << c.name;
        EXPECT_DOUBLE_EQ(c.width, c.field.workingWidth) << c.name;
    }
}

TEST(FieldFileTest, ErrorsNameTheFileAndTheOffendingPlace)
{
    const struct
    {
        bool kml;
        std::string text;
        double width;
        const char* message;
    } cases[] = {
        {true, "<kml><Placemark><Point><coordinates>1,2</coordinates></Point></Placemark></kml>", 6,
         "f: no <LineString> element"},
        {true, "<kml><Placemark><LineString><coordinates>-1.05,52.2 52.3</coordinates></LineString></Placemark></kml>",
         6, "f: <coordinates> tuple 2 '52.3': not longitude,latitude[,altitude]"},
        {true, "<kml><Placemark><LineString><coordinates>-1.05,52.2 1,2</coordinates></LineString></Placemark></kml>",
         0, "f: a KML or GeoJSON field needs --width, the metres between passes"},
        {false, "{\"type\": \"LineString\",\n \"coordinates\": [[-1.05, 52.2],\n [-1.04 52.3]]}", 6,
         "f: line 3: expected ']'"},
        {false, "{\"type\": \"LineString\", \"coordinates\": [[-1.05, 52.2],\n\n [52.3, -95]]}", 6,
         "f: line 3: (52.300000, -95.000000) is not a longitude and latitude in degrees"},
        {false, "{\"type\": \"Point\", \"coordinates\": [1, 2]}", 6, "f: no LineString geometry"},
    };
    for (const auto& c : cases)
    {
        try
        {
            c.kml ? FieldFromKml(c.text, "f", c.width) : FieldFromGeoJson(c.text, "f", c.width);
            ADD_FAILURE() << "accepted: " << c.text;
        }
        catch (const ToolError& error)
        {
            EXPECT_EQ(c.message, std::string(error.what()));
        }
    }
}

// A point at along-track `along` on `pass`, one second after the last.
FixRecord OnPass(int pass, double along, double crossTrack)
{
    static double time = 0;
    FixRecord point;
    point.pass = pass;
    point.onLine = 1;
    point.alongTrack = along;
    point.crossTrack = crossTrack;
    point.x = along;
    point.y = pass * 3.0 + crossTrack;
    point.fixQuality = 4;
    point.timeOfDay = time++;
    return point;
}

TEST(RunStatisticsTest, PassFiguresAndAreaCountOverlapsOnce)
{
    RunStatistics run(3.0);
    // Pass 0 forth over 0..39 m with cross-tracks of 1..40 mm, alternating sides.
    for (int i = 0; i < 40; ++i)
        run.Add(OnPass(0, i, (i % 2 ? -1 : 1) * 0.001 * (i + 1)));
    // A turn too short to count as a pass, then pass 1 over 0..29 m.
    for (int i = 0; i < 5; ++i)
        run.Add(OnPass(7, 0, 0));
    for (int i = 29; i >= 0; --i)
        run.Add(OnPass(1, i, 0.01));
    // Pass 0 again over 20..59 m: 20 m of it were worked already.
    for (int i = 20; i < 60; ++i)
        run.Add(OnPass(0, i, 0));
    run.Finish();

    ASSERT_EQ(3u, run.Passes().size());
    const PassFigures& first = run.Passes()[0];
    EXPECT_EQ(std::make_pair(1, 0), std::make_pair(first.number, first.pass));
    EXPECT_DOUBLE_EQ(39.0, first.end - first.start);
    EXPECT_NEAR(0.0205, first.meanCrossTrack, 1e-12);
    // Nearest rank: the 38th of 40 values.
    EXPECT_NEAR(0.038, first.percentile95, 1e-12);
    EXPECT_NEAR(0.040, first.maximumCrossTrack, 1e-12);
    EXPECT_EQ(1, run.Passes()[1].pass);
    // Pass 0 covered 0..59 m, pass 1 0..29 m, at 3 m wide.
    EXPECT_NEAR(3.0 * (59 + 29), run.AreaWorked(), 1e-9);
    EXPECT_EQ(115, run.Qualities().at(4));
}

} // namespace
