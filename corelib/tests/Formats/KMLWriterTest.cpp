#include "Formats/KMLWriter.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <numeric>
#include <sstream>

using Core::KMLWriter;
using V2 = Core::Maths::Vector2<double>;
using V3 = Core::Maths::Vector3<double>;

namespace
{

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
                            "<kml xmlns=\"http://www.opengis.net/kml/2.2\""
                            " xmlns:gx=\"http://www.google.com/kml/ext/2.2\"><Document>";
const std::string kFooter = "</Document></kml>";
const double kDegree = M_PI / 180.0;

// A coordinate to ten decimals: the independent reader prints 15 significant digits.
std::string TenDecimals(double v)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.10f", v);
    return text;
}

// Placemarks as an independent reader lists them: name -> coordinates to ten decimals
// in reading order (2 or 3 numbers per point, as the geometry has them).
std::map<std::string, std::vector<std::string>> ReadWithOgr(const std::string& path)
{
    std::map<std::string, std::vector<std::string>> placemarks;
    auto run = CoreTest::RunCommand("ogrinfo -al -q " + path + " 2>/dev/null");
    EXPECT_EQ(0, run.exitStatus) << run.output;
    std::istringstream in(run.output);
    std::string line, name;
    const std::string nameField = "  Name (String) = ";
    while (std::getline(in, line))
        if (line.rfind(nameField, 0) == 0)
            name = line.substr(nameField.size());
        else if (line.rfind("  LINESTRING", 0) == 0 || line.rfind("  POLYGON", 0) == 0)
        {
            std::string numbers = line.substr(line.find_last_of('(') + 1);
            std::replace_if(numbers.begin(), numbers.end(), [](char c) { return c == ',' || c == ')'; }, ' ');
            std::istringstream values(numbers);
            for (double v; values >> v;)
                placemarks[name].push_back(TenDecimals(v));
        }
    return placemarks;
}

class KMLWriterTest : public ::testing::Test
{
protected:
    KMLWriter writer;
    CoreTest::TempDir dir;
};

TEST_F(KMLWriterTest, InMemoryDocumentHasTheExactForm)
{
    // Styles of one id share an element, and the first style is the default.
    writer.Open();
    writer.LineStyle("s", "ff0000ff", 2);
    writer.PolyStyle("s", "7f00ff00", true, false);
    writer.PolyStyle("t", "ffffffff", false, true);
    writer.LineStrip("a", {V3(0, 0, 12.5), V3(0, 0, -3.25)});
    writer.SetStyle("t");
    writer.PolyRing("q", std::vector<V2>{});
    const std::string expected =
        kHeader +
        "<Style id=\"s\"><LineStyle><color>ff0000ff</color><colorMode>normal</colorMode>"
        "<width>2</width></LineStyle><PolyStyle><color>7f00ff00</color><colorMode>normal</colorMode>"
        "<fill>1</fill><outline>0</outline></PolyStyle></Style>"
        "<Style id=\"t\"><PolyStyle><color>ffffffff</color><colorMode>normal</colorMode>"
        "<fill>0</fill><outline>1</outline></PolyStyle></Style>"
        "<Placemark><name>a</name><styleUrl>#s</styleUrl>"
        "<LineString><extrude>0</extrude><tessellate>0</tessellate><altitudeMode>absolute</altitudeMode>"
        "<coordinates>"
        "0.000000000000000000000000,0.000000000000000000000000,12.500000\n"
        "0.000000000000000000000000,0.000000000000000000000000,-3.250000\n"
        "</coordinates></LineString></Placemark>"
        "<Placemark><name>q</name><styleUrl>#t</styleUrl><Polygon>";
    EXPECT_EQ(expected, writer.AsString().substr(0, expected.size()));
}

TEST_F(KMLWriterTest, NamesAndIdsAreEscaped)
{
    writer.Open();
    writer.BeginStyle("a\"b");
    writer.EndStyle();
    writer.EndStyle();
    writer.BeginPlacemark("fields & <lanes>");
    writer.SetStyle("");
    writer.BeginPlacemark("");
    EXPECT_EQ(kHeader +
                  "<Style id=\"a&quot;b\"></Style>"
                  "<Placemark><name>fields &amp; &lt;lanes&gt;</name><styleUrl>#a&quot;b</styleUrl>"
                  "<Placemark>",
              writer.AsString());
}

TEST_F(KMLWriterTest, StripRingOrderForEvenAndOddCounts)
{
    // Point i lies at longitude i degrees, so the longitudes a fresh document
    // holds after write() name the indices.
    const auto writtenIndices = [this](const std::function<void()>& write) {
        writer.Open();
        write();
        // Each coordinate line ends in a newline, its longitude first after
        // the last tag or newline before it.
        const std::string kml = writer.AsString();
        std::vector<int> written;
        for (std::size_t end = kml.find('\n'); end != std::string::npos; end = kml.find('\n', end + 1))
            written.push_back(std::lround(std::strtod(kml.c_str() + kml.find_last_of(">\n", end - 1) + 1, nullptr)));
        return written;
    };
    const struct { int count; std::vector<int> ring; } cases[] = {
        {2, {0, 1, 0}}, {4, {0, 2, 3, 1, 0}}, {5, {0, 2, 4, 4, 2, 1, 0}}, {6, {0, 2, 4, 5, 3, 1, 0}}};
    for (const auto& c : cases)
    {
        std::vector<V2> points;
        std::vector<V3> withAltitudes;
        for (int i = 0; i < c.count; ++i)
        {
            points.emplace_back(0.0, i * kDegree);
            withAltitudes.emplace_back(0.0, i * kDegree, 10.0);
        }
        EXPECT_EQ(c.ring, writtenIndices([&] { writer.PolyStrip("strip", points); })) << c.count << " points";
        EXPECT_EQ(c.ring, writtenIndices([&] { writer.PolyStrip("strip", withAltitudes); }))
            << c.count << " with altitudes";
        std::vector<int> inOrder(c.count);
        std::iota(inOrder.begin(), inOrder.end(), 0);
        EXPECT_EQ(inOrder, writtenIndices([&] { writer.PolyRing("ring", withAltitudes); })) << "a ring is not closed";
    }
}

TEST_F(KMLWriterTest, FootersFollowTheOutputsGuard)
{
    writer.Open();
    writer.Close();
    writer.Close();
    EXPECT_EQ(kHeader + kFooter + kFooter, writer.AsString()) << "every in-memory Close appends a footer";

    const std::string path = dir.File("track.kml");
    ASSERT_TRUE(writer.Open(path));
    EXPECT_EQ("", writer.AsString());
    writer.Close();
    writer.Close();
    EXPECT_EQ(kHeader + kFooter, CoreTest::ReadBytes(path)) << "a file gets one footer";

    {
        KMLWriter scoped;
        ASSERT_TRUE(scoped.Open(path));
        scoped.BeginPlacemark("x");
    }
    EXPECT_EQ(kHeader + "<Placemark><name>x</name>" + kFooter, CoreTest::ReadBytes(path)) << "the destructor closes";

    EXPECT_FALSE(writer.Open(dir.File("missing/track.kml")));
    writer.BeginPlacemark("y");
    EXPECT_EQ(kHeader + "<Placemark><name>y</name>", writer.AsString()) << "a failed open writes to memory";
}

TEST_F(KMLWriterTest, IndependentReadersListThePlacemarksWritten)
{
    const std::vector<V3> track = {V3(0.5, 0.1, 12.5), V3(0.5001, 0.1002, 13.0), V3(-0.7, -2.9, -40.0)};
    const std::vector<V2> field = {V2(0.9, 0.01), V2(0.9, 0.02), V2(0.91, 0.01), V2(0.91, 0.02)};
    const std::string path = dir.File("export.kml");
    ASSERT_TRUE(writer.Open(path));
    writer.LineStyle("track", "ff0000ff", 3);
    writer.PolyStyle("area", "7f00ff00", true, true);
    writer.LineStrip("track & trace", track);
    writer.PolyStrip("strip", field);
    writer.PolyRing("ring", {field[0], field[1], field[2], field[3], field[0]});
    writer.LineStrip("ground", field);
    writer.Close();

    // Longitude and latitude in degrees, then the altitude where there is one.
    std::map<std::string, std::vector<std::string>> expected;
    auto add = [&](const std::string& name, const V2& p, std::vector<std::string> altitude = {}) {
        altitude.insert(altitude.begin(), {TenDecimals(p.y / kDegree), TenDecimals(p.x / kDegree)});
        expected[name].insert(expected[name].end(), altitude.begin(), altitude.end());
    };
    for (const V3& p : track)
        add("track & trace", V2(p.x, p.y), {TenDecimals(p.z)});
    for (int i : {0, 2, 3, 1, 0})
        add("strip", field[i]);
    for (int i : {0, 1, 2, 3, 0})
        add("ring", field[i]);
    for (const V2& p : field)
        add("ground", p);

    EXPECT_EQ(expected, ReadWithOgr(path));
}

} // namespace
