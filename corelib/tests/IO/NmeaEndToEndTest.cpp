// A receiver's sentences travel through a pseudo-terminal into the serial
// port, are reassembled into lines and decoded; and sentences written by an
// independent program are decoded back to the track they came from.
#include "IO/NmeaParser.h"
#include "IO/Serial.h"

#include "NmeaSentences.h"
#include "PseudoTerminal.h"
#include "Support/TestSupport.h"

#include <chrono>
#include <cmath>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using namespace Core::Nmea;

namespace
{

using Clock = std::chrono::steady_clock;

const double kDegree = M_PI / 180.0;

// One sentence the simulated receiver sends and the values it carries: time,
// latitude and longitude for GGA, true track, knots and km/h for VTG.
struct SentSentence
{
    std::string text;
    bool intact;  // false: damaged in transit or missing a mandatory field
    double values[3];
};

// A receiver moving north-west at 10 Hz, GGA then VTG each epoch, positions
// written from whole ten-thousandths of a minute so the expected degrees are
// exact fractions. Every seventh sentence has one byte damaged after its
// checksum was computed, and one GGA arrives with an empty fix quality.
std::vector<SentSentence> ReceiverSentences(int epochs)
{
    std::vector<SentSentence> sent;
    char body[160];
    for (int i = 0; i < epochs; ++i)
    {
        int lat = 123180 + 7 * i, lon = 73080 + 11 * i;  // 52 12.3180 N, 0 07.3080 W onwards
        std::snprintf(body, sizeof(body),
                      "GPGGA,0830%05.2f,52%02d.%04d,N,000%02d.%04d,W,%s,08,0.9,12.5,M,47.0,M,1.5,0042", i * 0.1,
                      lat / 10000, lat % 10000, lon / 10000, lon % 10000, i == 6 ? "" : "2");
        sent.push_back({CoreTest::Sentence(body), i != 6, {30600 + i * 0.1, 52 + lat / 600000.0, -lon / 600000.0}});
        double track = 31.5 + i, knots = 5.0 + 0.5 * i;
        std::snprintf(body, sizeof(body), "GPVTG,%.1f,T,,M,%.2f,N,%.2f,K,D", track, knots, knots * 1.852);
        sent.push_back({CoreTest::Sentence(body), true, {track, knots, knots * 1.852}});
    }
    for (size_t k = 3; k < sent.size(); k += 7)
    {
        sent[k].text[10] ^= 0x01;
        sent[k].intact = false;
    }
    return sent;
}

void ExpectDecoded(const SentSentence& expected, const std::string& line)
{
    NmeaSentenceTypes type = NMEA_UNSUPPORTED;
    UNmeaData data;
    int result = CNmeaParser::ParseNmeaData(type, line, data);
    ASSERT_EQ(expected.intact ? 0 : -1, result) << line;
    if (!expected.intact)
        return;
    const double* v = expected.values;
    if (type == NMEA_GGA)
    {
        const double got[] = {data.gga.timeOfDay, data.gga.latitudeDegrees, data.gga.longitudeDegrees};
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR(v[i], got[i], 1e-9) << line;
        EXPECT_NEAR(v[2] * kDegree, data.gga.longitudeRadians, 1e-12) << line;
        EXPECT_TRUE(data.gga.fixQuality == 2 && data.gga.satellitesInUse == 8 && data.gga.differentialStation == 42);
    }
    else
    {
        ASSERT_EQ(NMEA_VTG, type) << line;
        EXPECT_NEAR(v[0], data.vtg.trackTrueDegrees, 1e-9) << line;
        EXPECT_NEAR(v[1], data.vtg.speedKnots, 1e-9) << line;
        EXPECT_NEAR(v[2], data.vtg.speedKmh, 0.006) << line;
        EXPECT_TRUE(data.vtg.trackMagneticDegrees == -1.0 && data.vtg.mode == 1) << line;
    }
}

TEST(NmeaEndToEnd, TenHertzStreamThroughASerialPortLosesNothing)
{
    const int kEpochs = 24;
    const std::vector<SentSentence> sent = ReceiverSentences(kEpochs);
    std::string stream;
    std::vector<size_t> epochEnds;
    for (size_t k = 0; k < sent.size(); ++k)
    {
        stream += sent[k].text;
        if (k % 2 == 1)
            epochEnds.push_back(stream.size());
    }

    CoreTest::PseudoTerminal pty;
    Core::IO::Serial port(pty.SlavePath(), 115200, Core::Time::Milliseconds(250));
    ASSERT_TRUE(port.Open());

    // The receiver sends one burst per epoch, but not along line boundaries:
    // odd epochs hold back the last 17 bytes of their VTG for the next burst,
    // and every burst goes out in two writes a few milliseconds apart.
    std::thread receiver([&] {
        auto start = Clock::now();
        size_t from = 0;
        for (int i = 0; i < kEpochs; ++i)
        {
            std::this_thread::sleep_until(start + std::chrono::milliseconds(100 * i));
            size_t to = (i % 2 == 1 && i + 1 < kEpochs) ? epochEnds[i] - 17 : epochEnds[i];
            size_t middle = from + (to - from) / 3;
            pty.Send(stream.substr(from, middle - from));
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
            pty.Send(stream.substr(middle, to - middle));
            from = to;
        }
    });

    // Lines end at LF; reads are small so that lines straddle them.
    std::vector<std::string> lines;
    std::string pending;
    const auto deadline = Clock::now() + std::chrono::seconds(60);
    while (lines.size() < sent.size() && Clock::now() < deadline)
    {
        pending += port.Read(64);
        for (size_t end; (end = pending.find('\n')) != std::string::npos; pending.erase(0, end + 1))
            lines.push_back(pending.substr(0, end + 1));
    }
    receiver.join();

    ASSERT_EQ(sent.size(), lines.size()) << "sentences lost";
    int rejected = 0;
    for (size_t k = 0; k < sent.size(); ++k)
    {
        ASSERT_EQ(sent[k].text, lines[k]) << "sentence " << k << " altered in transit";
        ExpectDecoded(sent[k], lines[k]);
        rejected += sent[k].intact ? 0 : 1;
    }
    EXPECT_EQ(8, rejected);
}

// A point of data/nmea/track.gpx.
struct TrackPoint
{
    double latitude, longitude, elevation, secondsOfDay;
};

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
        EXPECT_NEAR(kTrack[i].latitude * kDegree, fixes[i].latitudeRadians, kMinuteRounding * kDegree) << i;
        EXPECT_EQ(kTrack[i].latitude < 0 ? 1 : 0, fixes[i].latitudeHemisphere) << i;
        EXPECT_EQ(kTrack[i].longitude < 0 ? 1 : 0, fixes[i].longitudeHemisphere) << i;
        EXPECT_DOUBLE_EQ(kTrack[i].elevation, fixes[i].altitude) << i;
        EXPECT_DOUBLE_EQ(kTrack[i].secondsOfDay, fixes[i].timeOfDay) << i;
        EXPECT_NEAR(tracks[i].speedKnots * 1.852, tracks[i].speedKmh, 1e-3 * tracks[i].speedKmh + 1e-3) << i;
    }

    // The second point's track and speed come from the first leg, 20 m long
    // and one second in time, where the earth is flat enough.
    double north = (kTrack[1].latitude - kTrack[0].latitude) * kDegree * 6371000.0;
    double east = (kTrack[1].longitude - kTrack[0].longitude) * kDegree * 6371000.0 *
                  std::cos(kTrack[0].latitude * kDegree);
    EXPECT_NEAR(std::atan2(east, north) / kDegree, tracks[1].trackTrueDegrees, 0.1);
    EXPECT_NEAR(std::atan2(east, north), tracks[1].trackTrueRadians, 0.1 * kDegree);
    EXPECT_NEAR(std::hypot(east, north) * 3.6, tracks[1].speedKmh, 0.5);
}

} // namespace
