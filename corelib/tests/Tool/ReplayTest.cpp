// Replaying NMEA into guidance records: the counts of the summary, how fixes
// and tracks pair up, the record file surviving damage, and the simulator's
// own geometry agreeing with the library's guidance measures.
#include "Field.h"
#include "Options.h"
#include "RecordFile.h"
#include "Replayer.h"
#include "SentenceWriter.h"
#include "Simulator.h"
#include "Support/EmulatorLimits.h"
#include "Support/TestSupport.h"
#include "ToolTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

namespace
{

using namespace GuidanceTool;
using ToolTest::FixNorthOfStart;

class ReplayTest : public ::testing::Test
{
protected:
    std::string RecordPath() const { return m_dir.File("fixes.rec"); }

    CoreTest::TempDir m_dir;
};

TEST_F(ReplayTest, EverySentenceIsCountedOnce)
{
    const FixReport fix = FixNorthOfStart(0, 100);
    const std::string gga = GgaSentence(fix);
    std::string badChecksum = gga;
    badChecksum[badChecksum.find('*') + 1] ^= 1;
    const std::string truncated = gga.substr(0, 30) + "\r\n";
    const std::string input = gga + VtgSentence(fix) + badChecksum + "\r\n" + truncated +
                              GsaSentence(12, 0.8) + "$GPRMC,garbage*00\r\n" + "   \r\n" + "$GPZDA,1" +
                              "\r\n" + std::string(3000, 'x') + "\r\n" + GgaSentence(FixNorthOfStart(1, 100.1));
    Replayer replayer(Field::Sample(), RecordPath());
    // Fed in awkward pieces, as a serial port delivers it.
    for (std::size_t at = 0; at < input.size(); at += 7)
        replayer.Feed(input.substr(at, 7));
    replayer.Finish();
    replayer.CommitRecords();

    // Read, decoded, checksum, malformed, unsupported: blank lines do not count
    // and the noise is cut every 1 KiB or so; two GGA and a VTG decode (the last
    // GGA had no line end); the changed digit and the RMC's made-up checksum
    // fail; the truncated GGA has no checksum to fail; GSA, the ZDA fragment
    // and three pieces of noise are not decoded.
    const ReplayCounts& c = replayer.Counts();
    EXPECT_EQ((std::vector<long>{11, 3, 2, 1, 5}),
              (std::vector<long>{c.read, c.decoded, c.checksum, c.malformed, c.unsupported}));
    const std::vector<FixRecord> records = ReadRecordFile(RecordPath()).records;
    ASSERT_EQ(2u, records.size());
    // The first fix took the track sentence after it; the last had none.
    EXPECT_DOUBLE_EQ(2.0, records[0].speed);
    EXPECT_DOUBLE_EQ(-1.0, records[1].speed);
    EXPECT_NEAR(1.0, replayer.DistanceDriven(), 0.01);
}

TEST_F(ReplayTest, DamagedBlocksAreSkippedAndTheRestRead)
{
    {
        Replayer replayer(Field::Sample(), RecordPath());
        for (int i = 0; i < 5; ++i)
            replayer.Feed(GgaSentence(FixNorthOfStart(i, 10 + i)));
        replayer.Finish();
        replayer.CommitRecords();
    }
    std::string bytes = CoreTest::ReadBytes(RecordPath());
    const std::size_t blockSize = bytes.size() / 5;
    // A flipped payload byte in the second block, a flipped tag bit in the
    // third (the checksum does not cover the tag: the block reads as another
    // kind) and a torn tail on the last.
    const std::size_t kTagOffset = 6;
    bytes[blockSize + 20] ^= 0x40;
    bytes[2 * blockSize + kTagOffset] ^= 0x01;
    bytes.resize(bytes.size() - 3);
    ASSERT_TRUE(CoreTest::WriteBytes(RecordPath(), bytes));

    const RecordFileContents contents = ReadRecordFile(RecordPath());
    std::vector<int> sequences;
    for (const FixRecord& record : contents.records)
        sequences.push_back(record.sequence);
    EXPECT_EQ((std::vector<int>{1, 4}), sequences);
    EXPECT_EQ(1u, contents.otherBlocks);
    EXPECT_EQ(static_cast<long long>(2 * blockSize - 3), contents.skippedBytes);
    // Both lost fixes are named, whichever way each was lost.
    EXPECT_EQ(2, contents.gaps.Missing());
    EXPECT_EQ("2-3", contents.gaps.Text());
}

// The simulator drives its own curve and offsets to the right of the line;
// the library's spline, nearest point and offset lines must find the same
// passes, numbered 0 to 3, the vehicle within noise of them and heading along them.
TEST_F(ReplayTest, SimulatedPassesAreFoundWhereTheSimulatorDroveThem)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    SimulationSettings settings;
    settings.passes = 4;
    settings.damagedShare = 0.05;
    settings.disturbances = false;
    const std::string drive = DriveText(Field::Sample(), settings);
    EXPECT_EQ(drive, DriveText(Field::Sample(), settings)); // repeatable for a seed
    settings.seed = 2;
    EXPECT_NE(drive, DriveText(Field::Sample(), settings));
    Replayer replayer(Field::Sample(), RecordPath());
    replayer.Feed(drive);
    replayer.Finish();

    // Damage is a share of the sentences, of both kinds, and each is counted once.
    const ReplayCounts& counts = replayer.Counts();
    EXPECT_NEAR(0.05, double(counts.checksum + counts.malformed) / counts.read, 0.02);
    EXPECT_TRUE(counts.checksum > 0 && counts.malformed > 0);
    EXPECT_EQ(counts.read, counts.decoded + counts.checksum + counts.malformed + counts.unsupported);
    std::map<int, int> fixesOnPass;
    for (const FixRecord& record : ReadRecordFile(replayer.RecordPath()).records)
        if (record.onLine && record.alongTrack > 5 && record.alongTrack < 195)
        {
            ++fixesOnPass[record.pass];
            // RTK noise (1.5 cm) plus the chord of a 10 m span of a 300 m radius (4 cm).
            EXPECT_LT(std::fabs(record.crossTrack), 0.12) << record.Text();
            EXPECT_LT(std::fabs(record.headingError), 0.05) << record.Text();
        }
    ASSERT_EQ(4u, fixesOnPass.size());
    for (int pass = 0; pass < 4; ++pass)
        EXPECT_GT(fixesOnPass[pass], 400) << pass; // 190 m at 4 m/s and 10 Hz, less the damaged
    // The line curves right on a 300 m radius, so the passes to its right are
    // shorter: 200 m times (300 - 12 k) / 300 for k = 0..3 is 752 m. Each of the
    // three headland turns is a half circle 12 m across with 3 m runs in and out.
    EXPECT_NEAR(752 + 3 * (M_PI * 6 + 6), replayer.DistanceDriven(), 8);
}

// A field across the 180th meridian is a field like any other: measured in
// metres the short way round, not across the whole globe.
TEST_F(ReplayTest, AFieldAcrossTheAntimeridianIsMeasuredInMetres)
{
    // 0.0004 degrees of longitude at 16.5 S: 42.7 m heading east. A degree of
    // longitude there is 106.74 km and of latitude 110.6 km (published tables).
    const Field field = Field::FromText("<field><guidance><width>20</width><point lat=\"-16.5\" lon=\"179.9998\"/>"
                                        "<point lat=\"-16.5\" lon=\"-179.9998\"/></guidance></field>",
                                        "fiji.xml");
    Replayer replayer(field, RecordPath());
    FixReport fix = FixNorthOfStart(0, 10);
    fix.latitude = -16.5;
    fix.longitude = -179.9999; // 32.0 m along the line
    replayer.Feed(GgaSentence(fix));
    fix.latitude = -16.49995; // 5.5 m north, left of the line
    fix.longitude = 179.9999; // 10.7 m along
    replayer.Feed(GgaSentence(fix));
    replayer.Finish();
    const std::vector<FixRecord> records = ReadRecordFile(replayer.RecordPath()).records;
    ASSERT_EQ(2u, records.size());
    EXPECT_NEAR(32.02, records[0].alongTrack, 0.05);
    EXPECT_NEAR(0, records[0].crossTrack, 0.05);
    EXPECT_NEAR(10.67, records[1].alongTrack, 0.05);
    EXPECT_NEAR(5.53, records[1].crossTrack, 0.05);
}

} // namespace
