// The exports of a run of the built program read back by programs that share
// no code with the tool: GPX by gpsbabel, GeoJSON by ogrinfo, the KML by
// ogrinfo and gpsbabel, and the report rendered to a picture by a headless
// browser; and the stick copy's folder per run.
#include "RecordFile.h"
#include "Support/EmulatorLimits.h"
#include "StickCopy.h"
#include "Support/TestSupport.h"
#include "ToolTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <sys/stat.h>

namespace
{

using namespace GuidanceTool;
using CoreTest::RunCommand;

class ExportTest : public ::testing::Test
{
protected:
    // One demonstration run, read back by every test: two passes of the
    // sample field, simulated on 1 May 2024 from 10:00:00 UTC.
    static void SetUpTestSuite()
    {
        s_dir = new CoreTest::TempDir;
        s_points = new std::vector<FixRecord>;
        // Every test skips itself where the tool cannot run.
        if (!CoreTest::TrigonometryWorks())
            return;
        const CoreTest::ChildResult demo = RunCommand("cd " + s_dir->Path() + " && " + ToolTest::GuidanceCommand() +
                                                          " demo --passes 2 --no-stick --output run",
                                                      300);
        ASSERT_EQ(0, demo.exitStatus) << demo.output;
        *s_points = ReadRecordFile(File("fixes.rec")).records;
    }
    static void TearDownTestSuite()
    {
        delete s_points;
        delete s_dir;
    }

    static std::string File(const std::string& name) { return s_dir->File("run/" + name); }

    // Fails unless the coordinates read back are the run's fixes, in order, to 1e-8 degrees.
    static void ExpectTheFixes(const std::vector<double>& latitudes, const std::vector<double>& longitudes)
    {
        ASSERT_EQ(s_points->size(), latitudes.size());
        ASSERT_EQ(s_points->size(), longitudes.size());
        for (std::size_t i = 0; i < latitudes.size(); ++i)
        {
            EXPECT_NEAR((*s_points)[i].latitude, latitudes[i], 1e-8) << i;
            EXPECT_NEAR((*s_points)[i].longitude, longitudes[i], 1e-8) << i;
        }
    }

    static CoreTest::TempDir* s_dir;
    static std::vector<FixRecord>* s_points;
};

CoreTest::TempDir* ExportTest::s_dir = nullptr;
std::vector<FixRecord>* ExportTest::s_points = nullptr;

// The numbers after each occurrence of `key` in text, in order.
std::vector<double> NumbersAfter(const std::string& text, const std::string& key)
{
    std::vector<double> numbers;
    for (std::size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + 1))
        numbers.push_back(std::strtod(text.c_str() + at + key.size(), nullptr));
    return numbers;
}

TEST_F(ExportTest, GpxReadBackByGpsbabelKeepsEveryPointAndTime)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    // gpsbabel reads the track and writes it again as GPX, at its own precision.
    const CoreTest::ChildResult read = RunCommand("gpsbabel -t -i gpx -f " + File("drive.gpx") + " -o gpx -F -");
    ASSERT_EQ(0, read.exitStatus) << read.output;
    ExpectTheFixes(NumbersAfter(read.output, "<trkpt lat=\""), NumbersAfter(read.output, "\" lon=\""));
    // The simulated drive starts at 10:00:00 and runs at 10 Hz; the date is the test's.
    EXPECT_NE(std::string::npos, read.output.find("<time>2024-05-01T10:00:00Z</time>"));
    EXPECT_NE(std::string::npos, read.output.find("<time>2024-05-01T10:00:00.100Z</time>"));
    // A fix from RMC alone has no height, and GPX then gives none.
    const long heights = std::count_if(s_points->begin(), s_points->end(),
                                       [](const FixRecord& fix) { return !std::isnan(fix.altitude); });
    EXPECT_EQ(heights, static_cast<long>(NumbersAfter(read.output, "<ele>").size()));
}

TEST_F(ExportTest, GeoJsonReadBackByOgrinfoHasLongitudeFirst)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    const CoreTest::ChildResult read = RunCommand("ogrinfo -ro -al -q " + File("drive.geojson"));
    ASSERT_EQ(0, read.exitStatus) << read.output;
    std::vector<double> latitudes, longitudes;
    // "POINT Z (lon lat height)", or "POINT (lon lat)" without a height.
    for (std::size_t at = read.output.find("  POINT "); at != std::string::npos;
         at = read.output.find("  POINT ", at + 1))
    {
        std::istringstream coordinates(read.output.substr(read.output.find('(', at) + 1, 80));
        longitudes.emplace_back();
        latitudes.emplace_back();
        coordinates >> longitudes.back() >> latitudes.back();
    }
    ExpectTheFixes(latitudes, longitudes);
    // Unknown figures are null, never a made-up number; the first fix sits on the line's end.
    EXPECT_NE(std::string::npos, read.output.find("xte_m (Real) = (null)"));
}

TEST_F(ExportTest, KmlPassesTwoReadersWithATimeForEveryFix)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    const CoreTest::ChildResult ogr = RunCommand("ogrinfo -ro -so " + File("drive.kml"));
    EXPECT_EQ(0, ogr.exitStatus) << ogr.output;
    EXPECT_NE(std::string::npos, ogr.output.find(": pass 1")) << ogr.output;
    EXPECT_NE(std::string::npos, ogr.output.find("Passes driven")) << ogr.output;
    // Pieces of track share their end points, so count the distinct times.
    const CoreTest::ChildResult babel = RunCommand("gpsbabel -t -i kml -f " + File("drive.kml") +
                                                   " -o unicsv,utc=0 -F - | cut -d, -f4,5 | "
                                                   "grep 2024/05/01 | sort -u | wc -l");
    ASSERT_EQ(0, babel.exitStatus) << babel.output;
    EXPECT_EQ(s_points->size(), std::stoul(babel.output));
}

// Counts the pixels of a PNG picture, and those of one colour, with Python's
// own zlib: 8-bit RGB or RGBA, not interlaced, as browsers write them.
const char kPixelCounter[] = R"(
import struct, sys, zlib
data = open(sys.argv[1], 'rb').read()
width, height, depth, kind = struct.unpack('>IIBB', data[16:26])
chunks, at = b'', 8
while at < len(data):
    length, name = struct.unpack('>I4s', data[at:at + 8])
    if name == b'IDAT': chunks += data[at + 8:at + 8 + length]
    at += 12 + length
raw, size = zlib.decompress(chunks), {2: 3, 6: 4}[kind]
stride, previous, colours, wanted = width * size, bytearray(width * size), {}, bytes.fromhex(sys.argv[2])
for row in range(height):
    start = row * (stride + 1)
    kind_, line = raw[start], bytearray(raw[start + 1:start + 1 + stride])
    for i in range(stride):
        a = line[i - size] if i >= size else 0
        b, c = previous[i], previous[i - size] if i >= size else 0
        p = a + b - c
        pred = [0, a, b, (a + b) // 2, a if abs(p - a) <= abs(p - b) and abs(p - a) <= abs(p - c) else (b if abs(p - b) <= abs(p - c) else c)][kind_]
        line[i] = (line[i] + pred) & 255
    for i in range(0, stride, size):
        key = bytes(line[i:i + 3]); colours[key] = colours.get(key, 0) + 1
    previous = line
print(width * height, len(colours), colours.get(wanted, 0))
)";

TEST_F(ExportTest, ReportRendersInABrowserWithoutErrors)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    const std::string page = CoreTest::ReadBytes(File("report.html"));
    // Self-contained: nothing to fetch, so it shows the same off line.
    EXPECT_EQ(std::string::npos, page.find(" src=")) << "the page loads a resource";
    EXPECT_EQ(std::string::npos, page.find(" href=")) << "the page links a resource";
    const std::string picture = File("report.png");
    const CoreTest::ChildResult browser =
        RunCommand("chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --window-size=900,2000 "
                   "--enable-logging=stderr --v=0 --screenshot=" +
                       picture + " file://" + File("report.html") + " 2>&1",
                   120);
    ASSERT_EQ(0, browser.exitStatus) << browser.output;
    EXPECT_EQ(std::string::npos, browser.output.find(":CONSOLE")) << browser.output;
    ASSERT_TRUE(CoreTest::WriteBytes(File("counter.py"), kPixelCounter));
    // The track's best band, 1a9850, is drawn on the map only when the SVG renders.
    const CoreTest::ChildResult count = RunCommand("python3 " + File("counter.py") + " " + picture + " 1a9850");
    ASSERT_EQ(0, count.exitStatus) << count.output;
    long pixels = 0, colours = 0, band = 0;
    std::istringstream(count.output) >> pixels >> colours >> band;
    EXPECT_EQ(900 * 2000, pixels);
    EXPECT_GT(colours, 20) << "a blank or nearly blank picture";
    EXPECT_GT(band, 50) << "the map's track is missing";
}

TEST(StickCopyTest, ASecondCopyOfTheSameRunNeverOverwritesTheFirst)
{
    CoreTest::TempDir dir;
    ASSERT_TRUE(CoreTest::WriteBytes(dir.File("fixes.rec"), std::string(200000, 'r')));
    ASSERT_TRUE(CoreTest::WriteBytes(dir.File("empty.txt"), ""));
    ASSERT_EQ(0, mkdir(dir.File("stick").c_str(), 0777));
    // 2024-05-01T08:30:00Z is 1714552200 s (`date -u -d ... +%s`).
    const std::vector<std::string> files = {dir.File("fixes.rec"), dir.File("empty.txt")};
    const std::string first = CopyRunToStick(files, dir.File("stick"), 1714552200);
    ASSERT_TRUE(CoreTest::WriteBytes(dir.File("fixes.rec"), "changed"));
    const std::string second = CopyRunToStick(files, dir.File("stick"), 1714552200);
    EXPECT_EQ(dir.File("stick/run-2024-05-01T08-30-00Z"), first);
    EXPECT_EQ(dir.File("stick/run-2024-05-01T08-30-00Z-2"), second);
    EXPECT_EQ(std::string(200000, 'r'), CoreTest::ReadBytes(first + "/fixes.rec"));
    EXPECT_EQ("changed", CoreTest::ReadBytes(second + "/fixes.rec"));
    EXPECT_EQ((std::vector<std::string>{"empty.txt", "fixes.rec"}), ToolTest::ListDirectory(second));
}

} // namespace
