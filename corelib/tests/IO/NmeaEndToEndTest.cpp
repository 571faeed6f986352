// Sentences written by an independent program decode back to the track they
// came from. (Bytes through the serial port are SerialTest's; a whole drive
// through pseudo-terminals is the guidance tool's test.)
#include "IO/NmeaParser.h"

#include "Support/TestSupport.h"

#include <cmath>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

using namespace Core::Nmea;

namespace
{

const double kDegree = M_PI / 180.0;

// A point of data/nmea/track.gpx.
struct TrackPoint { double latitude, longitude, elevation, secondsOfDay; };

const TrackPoint kTrack[] = {
    {52.2053000, 0.1218000, 12.5, 30600},          {52.2054500, 0.1219500, 12.7, 30601},
    {52.2056000, 0.1221000, 12.9, 30602},          {-33.8568000, 151.2153000, 4.0, 86398},
    {-33.8569500, -70.6483000, 570.25, 86399},     {40.7128000, -74.0060000, 10.0, 0},
};

TEST(NmeaEndToEnd, SentencesFromAnIndependentWriterDecodeToTheirTrack)
{
    // data/nmea/track.nmea was written from data/nmea/track.gpx by
    //   gpsbabel -i gpx -f data/nmea/track.gpx -x track,course,speed -o nmea,gpvtg=1 -F data/nmea/track.nmea
    // which gives RMC, GGA and VTG for each point, minutes to three decimals.
    std::istringstream file(CoreTest::ReadBytes(CORELIB_SOURCE_DIR "/data/nmea/track.nmea"));
    std::vector<sNmeaGGA> fixes;
    std::vector<sNmeaVTG> tracks;
    int notDecoded = 0;
    std::string line;
    while (std::getline(file, line))
    {
        NmeaSentenceTypes type = NMEA_UNSUPPORTED;
        UNmeaData data;
        int result = CNmeaParser::ParseNmeaData(type, line, data);
        if (result == 1)
            ++notDecoded;
        else if (type == NMEA_GGA && result == 0)
            fixes.push_back(data.gga);
        else if (type == NMEA_VTG && result == 0)
            tracks.push_back(data.vtg);
        else
            ADD_FAILURE() << "rejected: " << line;
    }
    const size_t points = sizeof(kTrack) / sizeof(kTrack[0]);
    EXPECT_EQ(static_cast<int>(points), notDecoded) << "one RMC per point";
    ASSERT_EQ(points, fixes.size());
    ASSERT_EQ(points, tracks.size());

    // A thousandth of a minute is 1/60000 degree; rounding halves it.
    const double kMinuteRounding = 0.5 / 60000 + 1e-12;
    for (size_t i = 0; i < points; ++i)
    {
        EXPECT_NEAR(kTrack[i].latitude, fixes[i].latitudeDegrees, kMinuteRounding) << i;
        EXPECT_NEAR(kTrack[i].longitude, fixes[i].longitudeDegrees, kMinuteRounding) << i;
        EXPECT_DOUBLE_EQ(kTrack[i].elevation, fixes[i].altitude) << i;
        EXPECT_DOUBLE_EQ(kTrack[i].secondsOfDay, fixes[i].timeOfDay) << i;
    }

    // The second point's track and speed come from the first leg, 20 m long
    // and one second in time, where the earth is flat enough.
    double north = (kTrack[1].latitude - kTrack[0].latitude) * kDegree * 6371000.0;
    double east = (kTrack[1].longitude - kTrack[0].longitude) * kDegree * 6371000.0 *
                  std::cos(kTrack[0].latitude * kDegree);
    EXPECT_NEAR(std::atan2(east, north) / kDegree, tracks[1].trackTrueDegrees, 0.1);
    EXPECT_NEAR(std::hypot(east, north) * 3.6, tracks[1].speedKmh, 0.5);
}

} // namespace
