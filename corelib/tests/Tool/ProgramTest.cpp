// The built `guidance` program end to end: bad and useless input, a receiver
// log made by gpsbabel, version and leap seconds, progress on a terminal, a
// reader that stops early, the demonstration's outputs read back by
// independent readers, damaged record files, outputs that are links, the exit
// statuses, signals to a running replay, memory under a limit, and a live drive through
// pseudo-terminals.
#include "RecordFile.h"
#include "SentenceWriter.h"
#include "Support/BoundedThread.h"
#include "Support/EmulatorLimits.h"
#include "Support/PseudoTerminal.h"
#include "Support/TestSupport.h"
#include "ToolTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

using CoreTest::ReadBytes;
using GuidanceTool::FixRecord;

// What a finished run leaves in its output directory, the drive aside.
const std::vector<std::string> kOutputs = {"drive.geojson", "drive.gpx",   "drive.kml",
                                           "fixes.rec",     "report.html", "summary.txt"};

class ProgramTest : public ::testing::Test
{
protected:
    // Runs the program in the test directory with stderr kept apart in err.txt.
    CoreTest::ChildResult Run(const std::string& arguments, double timeoutSeconds = 120.0)
    {
        return CoreTest::RunCommand("cd " + m_dir.Path() + " && " + ToolTest::GuidanceCommand() + " " + arguments +
                                        " 2>err.txt",
                                    timeoutSeconds);
    }
    std::string Stderr() const { return CoreTest::WithoutCoverageNotices(ReadBytes(m_dir.File("err.txt"))); }
    // Runs a shell script in the test directory; $G is the program.
    CoreTest::ChildResult Script(const std::string& script, double timeoutSeconds = 120.0)
    {
        return CoreTest::RunCommand(
            "cd " + m_dir.Path() + " || exit 99; G='" + ToolTest::GuidanceCommand() + "'; " + script, timeoutSeconds);
    }
    std::string File(const std::string& name) const { return m_dir.File(name); }

    void WriteField(const std::string& name, const std::string& text)
    {
        ASSERT_TRUE(CoreTest::WriteBytes(File(name), text));
    }

    CoreTest::TempDir m_dir;
};

// The coordinates of the first LINESTRING after the feature named `name` in
// ogrinfo's listing, as (longitude, latitude) pairs.
std::vector<std::pair<double, double>> OgrLine(const std::string& listing, const std::string& name)
{
    std::vector<std::pair<double, double>> points;
    const std::size_t feature = listing.find("Name (String) = " + name + "\n");
    if (feature == std::string::npos)
        return points;
    const std::size_t start = listing.find("LINESTRING (", feature) + 12;
    std::string coordinates = listing.substr(start, listing.find(')', start) - start);
    std::replace(coordinates.begin(), coordinates.end(), ',', ' ');
    std::istringstream in(coordinates);
    double longitude = 0;
    double latitude = 0;
    while (in >> longitude >> latitude)
        points.emplace_back(longitude, latitude);
    return points;
}

TEST_F(ProgramTest, BadInputGivesOneMessageAndStatusTwo)
{
    WriteField("bad.xml", "<field><guidance><width>12</width>");
    WriteField("drive.nmea", "$GPGGA,1*00\r\n");
    const struct
    {
        std::string arguments, message;
    } cases[] = {
        {"simulate --bogus", "simulate: --bogus: unknown option"},
        {"simulate --passes 0", "simulate: --passes: out of range: must be from 1 to 1000, not 0"},
        {"replay --output out --no-stick missing.nmea",
         "replay: missing.nmea: cannot read the input: No such file or directory"},
        {"replay --output out --no-stick .", "replay: .: a directory"},
        {"replay --output out --no-stick --field bad.xml drive.nmea", "replay: bad.xml: not well-formed XML: "},
        {"replay --output out --serial /dev/null", "replay: /dev/null: not a serial device"},
        {"replay --output out --serial /dev/null --idle 1e9", "replay: --idle: out of range"},
        {"simulate --serial /dev/null --baud 14400", "simulate: --baud 14400: unsupported baud rate"},
        {"demo --output out --stick missing", "demo: missing: no such stick directory"},
        {"dump missing.rec", "dump: missing.rec: cannot read the record file: No such file or directory"},
        {"dump", "dump: dump needs exactly one record file"},
        {"info extra", "info: extra: info takes no arguments"},
    };
    for (const auto& c : cases)
    {
        const CoreTest::ChildResult result = Run(c.arguments);
        EXPECT_TRUE(result.exited && result.exitStatus == 2) << c.arguments;
        // Nothing on standard output, not even the XML parser's own complaint.
        EXPECT_EQ("", result.output) << c.arguments;
        const std::string message = Stderr();
        EXPECT_EQ(0u, message.find("guidance: " + c.message)) << c.arguments << ": " << message;
        EXPECT_EQ(1, std::count(message.begin(), message.end(), '\n')) << c.arguments << ": " << message;
        // Nothing was created: neither the output directory nor any file.
        EXPECT_EQ((std::vector<std::string>{"bad.xml", "drive.nmea", "err.txt"}), m_dir.List()) << c.arguments;
    }
}

// The version is the same wherever the tool runs: it reads nothing beside itself.
TEST_F(ProgramTest, InfoPrintsTheVersionLeapSecondsAndOneReadingOfTheClock)
{
    ASSERT_EQ(0, Script("$G info > info.txt && (cd / && $G --version) > version.txt").exitStatus);
    const std::string info = ReadBytes(File("info.txt"));
    const std::string version = ReadBytes(File("version.txt"));
    EXPECT_EQ(0u, info.find(version));
    EXPECT_EQ(0u, version.find("guidance ")) << version;
    EXPECT_NE(std::string::npos, version.find("libCoreLibrary")) << version;
    EXPECT_NE(std::string::npos, info.find("(GPS - UTC = 18 leap seconds)"));
    EXPECT_NE(std::string::npos, Run("info --leap-seconds 17").output.find("(GPS - UTC = 17 leap seconds)"));
    char stamp[32] = "";
    long unixSeconds = 0, towSeconds = 0;
    int week = 0;
    ASSERT_EQ(4, std::sscanf(info.c_str() + info.find("UTC time:"),
                             "UTC time: %31[0-9 :-].%*d (Unix %ld)\nGPS week: %d\nGPS time of week: %ld", stamp,
                             &unixSeconds, &week, &towSeconds))
        << info;
    EXPECT_EQ(CoreTest::RunCommand("date -u -d @" + std::to_string(unixSeconds) + " '+%Y-%m-%d %H:%M:%S'").output,
              std::string(stamp) + "\n");
    // GPS seconds with today's 18 leap seconds from the GPS epoch, 1980-01-06
    // 00:00 UTC (Unix second 315964800).
    const long gpsSeconds = unixSeconds + 18 - 315964800;
    EXPECT_EQ(gpsSeconds / 604800, week);
    EXPECT_EQ(gpsSeconds % 604800, towSeconds);
}

TEST_F(ProgramTest, UselessInputIsReportedWithItsReasonAndStatus)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    GuidanceTool::FixReport far = ToolTest::FixNorthOfStart(0, 100);
    far.latitude = 48.1;
    far.longitude = 11.5;
    // A fix `north` metres north of the sample field's first point.
    const auto gga = [](double north, double time) {
        return GuidanceTool::GgaSentence(ToolTest::FixNorthOfStart(north, time));
    };
    const struct
    {
        std::string input;
        int status;
        std::string message;
    } cases[] = {
        {"", 3, "the input is empty"},
        {std::string("\177ELF\1\0\0\377", 8), 3, "no NMEA sentences in 8 bytes of input"},
        {"\r\r\r\r\r\r", 3, "no NMEA sentences in 6 bytes of input"},
        // gpsbabel's log of a track without fixes: every GGA quality 0, every RMC void.
        {ReadBytes(CORELIB_SOURCE_DIR "/data/nmea/track.nmea"), 3,
         "18 sentences but no position fix: GGA 6, RMC 6, VTG 6, GGA with quality 0 6, RMC void 6"},
        {GuidanceTool::GsaSentence(8, 1.0) + GuidanceTool::FrameSentence("GLGSV,1,1,00"), 3,
         "2 sentences but no position fix: GSA 1, GSV 1"},
        {GuidanceTool::GgaSentence(far), 3,
         "the first fix is 1040.2 km from the field's guidance line, and no fix comes within 5 km of it"},
        // Usable, but said: the third fix is a second older than the second.
        {gga(0, 100) + gga(1, 101) + gga(2, 100) + gga(3, 200), 0,
         "time goes backwards at fix 3 (by 1.0 s), steps back in all: 1"},
    };
    for (const auto& c : cases)
    {
        ASSERT_TRUE(CoreTest::WriteBytes(File("in.nmea"), c.input));
        const CoreTest::ChildResult result = Run("replay --no-stick --output out in.nmea");
        EXPECT_TRUE(result.exited && result.exitStatus == c.status) << c.message << ": " << result.exitStatus;
        EXPECT_NE(std::string::npos, Stderr().find("guidance: replay: in.nmea: " + c.message)) << Stderr();
    }
    EXPECT_NE(std::string::npos, Stderr().find("time jumps forward at fix 4 (by 100.0 s), gaps over 60 s in all: 1"))
        << Stderr();
}

// A receiver log from a program that shares no code with the tool: gpsbabel
// writes RMC, GGA, VTG and GSA from a GPX track across midnight; the talkers
// are then varied as a multi-constellation receiver sends them, and the field
// comes as a GeoJSON line.
TEST_F(ProgramTest, AReceiverLogFromGpsbabelReplaysWithFullDateTimes)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    // 60 m due north from (52.2, 0.12); a fix every 2 m, a second apart, on the line.
    WriteField("line.geojson", "{\"type\": \"Feature\", \"properties\": {\"name\": \"North strip\"},\n"
                               " \"geometry\": {\"type\": \"LineString\", \"coordinates\": [[0.12, 52.2], [0.12, "
                               "52.20053955]]}}\n");
    std::string gpx = "<?xml version=\"1.0\"?>\n<gpx version=\"1.1\" creator=\"test\" "
                      "xmlns=\"http://www.topografix.com/GPX/1/1\"><trk><trkseg>\n";
    for (int i = 0; i < 30; ++i)
    {
        char point[200];
        // 23:59:50 on 1 May 2024 plus i seconds: the log runs past midnight.
        const int second = (86390 + i) % 86400;
        std::snprintf(point, sizeof point,
                      "<trkpt lat=\"%.7f\" lon=\"0.1200000\"><ele>40</ele><time>2024-05-%02dT%02d:%02d:%02dZ</time>"
                      "<fix>dgps</fix><sat>14</sat></trkpt>\n",
                      52.2 + 2.0 * (i + 1) / 111250.0, i < 10 ? 1 : 2, second / 3600, second / 60 % 60, second % 60);
        gpx += point;
    }
    WriteField("track.gpx", gpx + "</trkseg></trk></gpx>\n");
    const CoreTest::ChildResult babel =
        CoreTest::RunCommand("gpsbabel -t -i gpx -f " + File("track.gpx") +
                             " -x track,course,speed -o nmea,gpvtg=1 -F " + File("babel.nmea"));
    ASSERT_EQ(0, babel.exitStatus) << babel.output;
    std::istringstream lines(ReadBytes(File("babel.nmea")));
    std::string log;
    const char* const talkers[] = {"GN", "GP", "GL", "GA", "GB", "BD"};
    int index = 0;
    for (std::string line; std::getline(lines, line);)
        log += GuidanceTool::FrameSentence(talkers[index++ % 6] + line.substr(3, line.find('*') - 3));
    ASSERT_TRUE(CoreTest::WriteBytes(File("receiver.nmea"), log));

    const CoreTest::ChildResult replay =
        Run("replay --no-stick --output out --field line.geojson --width 6 receiver.nmea");
    ASSERT_EQ(0, replay.exitStatus) << replay.output << Stderr();
    const std::vector<FixRecord> records = GuidanceTool::ReadRecordFile(File("out/fixes.rec")).records;
    ASSERT_EQ(30u, records.size());
    // 2024-05-01T23:59:50Z is 1714607990 s (`date -u -d ... +%s`).
    for (std::size_t i = 0; i < records.size(); ++i)
        EXPECT_DOUBLE_EQ(1714607990.0 + i, records[i].utc) << i;
    const std::string summary = ReadBytes(File("out/summary.txt"));
    EXPECT_NE(std::string::npos, summary.find("start                   2024-05-01T23:59:50.0Z")) << summary;
    EXPECT_NE(std::string::npos, summary.find("end                     2024-05-02T00:00:19.0Z")) << summary;
    EXPECT_NE(std::string::npos, summary.find("fixes of quality 2              30 (100.0 %)")) << summary;
    // gpsbabel writes a thousandth of a minute, about 2 m: the fixes sit within it of the line.
    const std::size_t mean = summary.find("cross-track mean");
    ASSERT_NE(std::string::npos, mean);
    EXPECT_LT(std::stod(summary.substr(mean + 16)), 1.0) << summary;
    EXPECT_NE(std::string::npos, summary.find("     1     0  2024-05-01T23:59:5")) << summary;
}

TEST_F(ProgramTest, AReaderThatStopsEarlyIsNotACrash)
{
    // The broken pipe ends the output quietly: status 0 and nothing on stderr.
    const CoreTest::ChildResult result =
        Script("{ $G simulate 2>err.txt; echo $? > status.txt; } | head -c 100 > /dev/null");
    EXPECT_EQ(0, result.exitStatus);
    EXPECT_EQ("0\n", ReadBytes(File("status.txt")));
    EXPECT_EQ("", Stderr());
}

// The demonstration on a short field: its files, the KML read back by GDAL,
// the stick copy, and dump over a damaged record file.
TEST_F(ProgramTest, DemoOutputsReadBackIndependently)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    // South-western hemispheres, so signs and hemisphere letters are exercised.
    WriteField("strip.xml", ToolTest::StraightFieldText(-34.9, -56.2, 60, 8, "Linear"));
    ASSERT_EQ(0, mkdir(File("stick").c_str(), 0777));
    const CoreTest::ChildResult result =
        Run("demo --field strip.xml --passes 2 --output run --stick stick --damaged 0.02 --seed 7");
    ASSERT_EQ(0, result.exitStatus) << result.output << Stderr();
    // Complete files only: nothing partial or temporary is left beside them.
    std::vector<std::string> files = kOutputs;
    files.insert(files.begin() + 3, "drive.nmea");
    EXPECT_EQ(files, ToolTest::ListDirectory(File("run")));
    // The stick has a folder for the run, named by its start (the simulated 1 May 2024, 10:00).
    const std::string copy = "stick/run-2024-05-01T10-00-00Z/";
    EXPECT_EQ(kOutputs, ToolTest::ListDirectory(File(copy)));
    for (const std::string& name : kOutputs)
        EXPECT_TRUE(ReadBytes(File("run/") + name) == ReadBytes(File(copy) + name)) << name;
    // demo's closing lines list every file it wrote, the stick's copies too.
    for (const std::string& name : files)
        EXPECT_NE(std::string::npos, result.output.find("\n  run/" + name + "\n")) << name;
    EXPECT_NE(std::string::npos, result.output.find(copy + "report.html\n")) << result.output;

    const std::vector<FixRecord> records = GuidanceTool::ReadRecordFile(File("run/fixes.rec")).records;
    ASSERT_GT(records.size(), 100u);
    // Every record has the simulated day's date.
    for (const FixRecord& record : records)
        ASSERT_NEAR(1714521600 + record.timeOfDay, record.utc, 1e-6) << record.sequence;

    const CoreTest::ChildResult ogr = CoreTest::RunCommand("ogrinfo -ro -al -q " + File("run/drive.kml"));
    ASSERT_EQ(0, ogr.exitStatus) << ogr.output;
    // The guidance line is drawn every metre from the field's first point.
    const auto guidance = OgrLine(ogr.output, "Guidance line: Test strip");
    ASSERT_GT(guidance.size(), 60u);
    EXPECT_NEAR(-56.2, guidance[0].first, 1e-9);
    EXPECT_NEAR(-34.9, guidance[0].second, 1e-9);
    // Damage one record's block in the middle of the file: dump reads every other.
    std::string bytes = ReadBytes(File("run/fixes.rec"));
    const std::size_t middle = bytes.size() / 2;
    bytes[middle] ^= 0x10;
    ASSERT_TRUE(CoreTest::WriteBytes(File("run/fixes.rec"), bytes));
    const CoreTest::ChildResult dump = Run("dump --csv run/fixes.rec");
    ASSERT_EQ(0, dump.exitStatus) << Stderr();
    // Exactly one record is lost, whichever the flipped byte fell in.
    std::size_t matched = 0;
    std::string expected = FixRecord::CSVHeader() + "\n";
    for (const FixRecord& record : records)
        if (dump.output.compare(expected.size(), record.CSV().size() + 1, record.CSV() + "\n") == 0)
        {
            expected += record.CSV() + "\n";
            ++matched;
        }
    EXPECT_EQ(expected, dump.output);
    EXPECT_EQ(records.size() - 1, matched);
    EXPECT_NE(std::string::npos, Stderr().find(std::to_string(records.size() - 1) + " records")) << Stderr();
}

// Every output lands where its name leads: a symbolic link keeps existing and
// its target gets the new contents and keeps its mode; a new file gets 0666
// less the umask. (FIFOs and devices are written in place by the library's
// replacement routine, which the durability tests cover.)
TEST_F(ProgramTest, OutputsWriteThroughLinksKeepingModes)
{
    ASSERT_EQ(0, Run("simulate --passes 1 --output reference.nmea").exitStatus) << Stderr();
    const std::string reference = ReadBytes(File("reference.nmea"));
    ASSERT_TRUE(CoreTest::WriteBytes(File("target.nmea"), "old"));
    ASSERT_EQ(0, chmod(File("target.nmea").c_str(), 0604));
    ASSERT_EQ(0, symlink("target.nmea", File("link.nmea").c_str()));
    const CoreTest::ChildResult result =
        Script("umask 027; $G simulate --passes 1 --output link.nmea && $G simulate --passes 1 --output new.nmea");
    ASSERT_EQ(0, result.exitStatus) << result.output;
    EXPECT_TRUE(S_ISLNK(CoreTest::ModeOf(File("link.nmea"))));
    EXPECT_EQ(S_IFREG | 0604u, CoreTest::ModeOf(File("target.nmea")));
    EXPECT_EQ(reference, ReadBytes(File("target.nmea")));
    EXPECT_EQ(S_IFREG | 0640u, CoreTest::ModeOf(File("new.nmea")));

    // The record file behaves the same.
    ASSERT_EQ(0, mkdir(File("run").c_str(), 0777));
    ASSERT_EQ(0, symlink("../records.rec", File("run/fixes.rec").c_str()));
    ASSERT_EQ(0, Run("replay --output run --no-stick reference.nmea").exitStatus) << Stderr();
    EXPECT_TRUE(S_ISLNK(CoreTest::ModeOf(File("run/fixes.rec"))));
    EXPECT_GT(GuidanceTool::ReadRecordFile(File("records.rec")).records.size(), 100u);
}

// One table of exit statuses: in every command's help, and kept by failures
// to write standard output.
TEST_F(ProgramTest, ExitStatusesFollowTheTable)
{
    for (const char* command : {"simulate", "replay", "dump", "info", "demo"})
    {
        const CoreTest::ChildResult help = Run(std::string(command) + " --help");
        EXPECT_EQ(0, help.exitStatus) << command;
        EXPECT_NE(std::string::npos, help.output.find("  2       bad usage or bad input\n")) << command;
        EXPECT_NE(std::string::npos, help.output.find("  128+N   interrupted by signal N")) << command;
    }
    ASSERT_EQ(0, Run("simulate --passes 1 --output drive.nmea").exitStatus);
    ASSERT_EQ(0, Run("replay --no-stick --output run drive.nmea").exitStatus);
    const struct
    {
        std::string arguments, message;
    } cases[] = {
        {"dump run/fixes.rec > /dev/full", "guidance: dump: standard output: write failed: No space left on device\n"},
        {"info > /dev/full", "guidance: info: standard output: write failed: No space left on device\n"},
        {"simulate > /dev/full", "guidance: simulate: standard output: write failed: No space left on device\n"},
        {"simulate --output /dev/full", "guidance: simulate: /dev/full: write failed: No space left on device\n"},
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(1, Run(c.arguments).exitStatus) << c.arguments;
        EXPECT_EQ(c.message, Stderr()) << c.arguments;
    }
    EXPECT_TRUE(S_ISCHR(CoreTest::ModeOf("/dev/full")));
}

// A replay reading input that never ends, stopped by a signal once its first
// records are synced: SIGTERM is an interruption with complete outputs, a
// crash says where its log is, and records of a killed run are kept by the
// next run for dump to read.
TEST_F(ProgramTest, SignalsEndARunWithItsOutputsAndRecordsKept)
{
    // A name with markup and non-ASCII letters: the KML must still be well-formed.
    std::string field = ToolTest::StraightFieldText(48.1, 11.5, 60, 6, "Linear");
    field.replace(field.find("Test strip"), 10, "Weide \xe2\x80\x9cS\xc3\xbc\x64\xe2\x80\x9d &amp; &lt;Nord&gt;");
    WriteField("field.xml", field);
    ASSERT_EQ(0, Run("simulate --field field.xml --passes 1 --output drive.nmea").exitStatus);
    auto stopWith = [&](const char* signal) {
        // Waits for the run's first record, after it kept an earlier run's partial file if there was one.
        return Script("had=$(ls run/*.partial 2>/dev/null | wc -l); kept=$(ls run/fixes-inter* 2>/dev/null | wc -l); "
                      "mkfifo in; $G replay --no-stick --field field.xml --output run - < in > out.txt 2> err.txt & "
                      "pid=$!; exec 3> in; cat drive.nmea >&3; for i in $(seq 1200); do "
                      "{ [ $had = 0 ] || [ $(ls run/fixes-inter* 2>/dev/null | wc -l) -gt $kept ]; } && "
                      "[ -s \"$(ls run/*.partial 2>/dev/null | head -n 1)\" ] && break; sleep 0.1; done; kill -" +
                      std::string(signal) + " $pid; wait $pid; echo $? > status.txt; exec 3>&-; rm in");
    };
    stopWith("TERM");
    EXPECT_EQ("143\n", ReadBytes(File("status.txt"))) << Stderr();
    EXPECT_EQ("", Stderr());
    EXPECT_EQ(kOutputs, ToolTest::ListDirectory(File("run")));
    EXPECT_EQ(0, CoreTest::RunCommand("xmllint --noout " + File("run/drive.kml")).exitStatus);

    if (CoreTest::kTargetEmulated)
    {
        // Under the emulator the crash handler's back-trace faults before the
        // tool's report can run: a second killed run stands in for the crash.
        stopWith("KILL");
    }
    else
    {
        stopWith("SEGV");
        EXPECT_EQ("139\n", ReadBytes(File("status.txt")));
        const std::string crash = Stderr();
        const std::size_t log = crash.find("/tmp/guidance_");
        ASSERT_NE(std::string::npos, log) << crash;
        const std::string logPath = crash.substr(log, crash.find(':', log) - log);
        EXPECT_TRUE(CoreTest::FileExists(logPath)) << crash;
        std::remove(logPath.c_str());
    }

    // The crashed run's records and a killed run's are both kept, named by
    // their start times, each by the run after it.
    stopWith("KILL");
    EXPECT_NE(std::string::npos, Stderr().find(": kept the records of an interrupted run: renamed to run/fixes-"));
    ASSERT_EQ(0, Run("replay --no-stick --field field.xml --output run drive.nmea").exitStatus) << Stderr();
    const std::vector<std::string> names = ToolTest::ListDirectory(File("run"));
    const std::string notices = Stderr();
    ASSERT_EQ(8u, names.size()) << notices;
    EXPECT_EQ(1, std::count(notices.begin(), notices.end(), '\n')) << notices;
    // After the three exports: drive.geojson, drive.gpx and drive.kml.
    for (std::size_t i = 3; i <= 4; ++i)
    {
        EXPECT_EQ(0u, names[i].find("fixes-interrupted-20")) << names[i];
        const CoreTest::ChildResult dump = Run("dump run/" + names[i]);
        EXPECT_EQ(0, dump.exitStatus);
        // A block's header and payload are two writes: a run killed between
        // them leaves its last header alone, which the reader skips.
        const std::size_t tail = dump.output.rfind(" blocks of other kinds, ");
        unsigned int damaged = 1;
        EXPECT_TRUE(tail != std::string::npos &&
                    std::sscanf(dump.output.c_str() + tail, " blocks of other kinds, %u bytes", &damaged) == 1 &&
                    (damaged == 0 || damaged == 12) &&
                    dump.output.find(" bytes skipped as damaged, 0 missing", tail) != std::string::npos)
            << dump.output;
    }
}

// Memory does not grow with the drive: 200 passes (about 43 MB of sentences)
// are simulated and replayed, each within 30 MB of address space.
TEST_F(ProgramTest, SimulationAndReplayRunInBoundedMemory)
{
    if (CoreTest::kSanitized || CoreTest::kTargetEmulated)
        GTEST_SKIP() << "the sanitizers' shadow memory and the emulator's guest space need more address space "
                        "than the limit";
    const CoreTest::ChildResult result =
        Script("(ulimit -v 30000; $G simulate --passes 200 2> err.txt | tee drive.nmea "
               "| $G replay --no-stick --output run - > summary.txt 2>> err.txt); "
               "wc -c < drive.nmea > size.txt; rm drive.nmea");
    EXPECT_EQ(0, result.exitStatus) << result.output;
    EXPECT_EQ("", Stderr());
    EXPECT_GT(std::atol(ReadBytes(File("size.txt")).c_str()), 40000000L);
    EXPECT_NE(std::string::npos, ReadBytes(File("summary.txt")).find("Outputs in run/"))
        << ReadBytes(File("summary.txt"));
}

// Progress goes to standard error only when it is a terminal; the other
// tests see none of it in their captured standard error.
TEST_F(ProgramTest, ProgressShowsOnATerminal)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    CoreTest::PseudoTerminal terminal(true);
    ASSERT_EQ(0, Script("$G simulate --passes 1 --output d.nmea 2>" + terminal.SlavePath()).exitStatus);
    const std::string simulated = terminal.Receive(SIZE_MAX, 500);
    EXPECT_NE(std::string::npos, simulated.find("simulating into d.nmea: ")) << simulated;
    EXPECT_NE(std::string::npos, simulated.find(" s of driving")) << simulated;
    ASSERT_EQ(0, Script("$G replay --no-stick --output run d.nmea 2>" + terminal.SlavePath()).exitStatus);
    const std::string replayed = terminal.Receive(SIZE_MAX, 500);
    EXPECT_NE(std::string::npos, replayed.find("replaying d.nmea: 100%")) << replayed;
}

// simulate writes to one pseudo-terminal, the test carries the bytes over to
// a second one, and replay reads that one as its serial device: the record
// file, synced record by record, must be byte for byte the one a replay of
// the same drive from a file writes with its syncs grouped.
TEST_F(ProgramTest, DriveThroughPseudoTerminalsRecordsWhatTheFileDoes)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    WriteField("strip.xml", ToolTest::StraightFieldText(52.0, 0.1, 40, 6, "Linear"));
    const std::string drive = "--field strip.xml --passes 2 --damaged 0.02 --seed 3";
    ASSERT_EQ(0, Run("simulate " + drive + " --output drive.nmea").exitStatus) << Stderr();
    ASSERT_EQ(0, Run("replay --field strip.xml --no-stick --output fromfile drive.nmea").exitStatus) << Stderr();

    CoreTest::PseudoTerminal sender(true);
    CoreTest::PseudoTerminal receiver(true);
    std::atomic<bool> stop(false);
    std::atomic<long> carried(0);
    CoreTest::BoundedThread relay([&] {
        char buffer[4096];
        while (!stop)
        {
            pollfd ready{sender.Master(), POLLIN, 0};
            if (poll(&ready, 1, 100) <= 0 || (ready.revents & POLLIN) == 0)
                continue;
            const ssize_t count = read(sender.Master(), buffer, sizeof buffer);
            for (ssize_t sent = 0, written = 1; count > 0 && sent < count && written > 0; sent += written)
                written = write(receiver.Master(), buffer + sent, count - sent);
            carried += count > 0 ? count : 0;
        }
    });
    // replay starts first and ends after 4 s without data; simulate sends
    // about 25 s of driving 25 times faster than real time.
    const CoreTest::ChildResult live =
        Script("$G replay --field strip.xml --no-stick --output live --idle 4 --serial " + receiver.SlavePath() +
               " --baud 115200 > replay.txt 2>&1 & sleep 1; $G simulate " + drive + " --serial " + sender.SlavePath() +
               " --baud 115200 --speedup 25 2>err.txt || exit 98; wait $!");
    stop = true;
    relay.Join();
    ASSERT_EQ(0, live.exitStatus) << live.output << Stderr() << ReadBytes(File("replay.txt"));
    EXPECT_EQ(static_cast<long>(ReadBytes(File("drive.nmea")).size()), carried.load());

    const auto fromFile = GuidanceTool::ReadRecordFile(File("fromfile/fixes.rec")).records;
    const auto fromSerial = GuidanceTool::ReadRecordFile(File("live/fixes.rec")).records;
    ASSERT_GT(fromFile.size(), 100u);
    EXPECT_TRUE(ReadBytes(File("fromfile/fixes.rec")) == ReadBytes(File("live/fixes.rec")))
        << fromFile.size() << " records from the file, " << fromSerial.size() << " from the serial device";
    EXPECT_EQ(ReadBytes(File("fromfile/summary.txt")), ReadBytes(File("live/summary.txt")));
}

// Ctrl-C ends a serial replay the way silence does: the records, KML and
// summary are completed, not abandoned.
TEST_F(ProgramTest, InterruptedSerialReplayFinishesItsOutputs)
{
    CoreTest::PseudoTerminal receiver(true);
    ASSERT_EQ(0, Run("simulate --passes 1 --output drive.nmea").exitStatus);
    const std::string drive = ReadBytes(File("drive.nmea")).substr(0, 2000);
    ASSERT_EQ(static_cast<ssize_t>(drive.size()), write(receiver.Master(), drive.data(), drive.size()));
    const CoreTest::ChildResult result =
        Script("$G replay --no-stick --output live --idle 60 --serial " + receiver.SlavePath() +
               " > replay.txt 2>&1 & sleep 3; kill -INT $!; wait $!");
    EXPECT_EQ(0, result.exitStatus) << ReadBytes(File("replay.txt"));
    EXPECT_EQ(kOutputs, ToolTest::ListDirectory(File("live")));
    EXPECT_FALSE(GuidanceTool::ReadRecordFile(File("live/fixes.rec")).records.empty());
}

} // namespace
