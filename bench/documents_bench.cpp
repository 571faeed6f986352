// Text documents: the XML model against pugixml, the KML writer against
// fprintf of the same text.
#include "BenchSupport.h"

#include "Formats/KMLWriter.h"
#include "IO/XML.h"
#include "Maths/Maths.h"

#include <pugixml.hpp>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace
{

using namespace CoreBench;

// ---- XML -------------------------------------------------------------------

// A configuration-style document of about size bytes: channels with
// attributes, text values, comments and nested settings.
std::string MakeDocument(std::size_t size)
{
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<configuration version=\"3\">\n";
    for (unsigned int i = 0; text.size() < size; ++i)
    {
        const std::string n = std::to_string(i);
        text += "  <channel id=\"" + n + "\" name=\"Channel " + n + "\" enabled=\"" +
                (i % 3 == 0 ? "false" : "true") + "\">\n";
        text += "    <!-- settings of channel " + n + " -->\n";
        text += "    <offset>" + std::to_string(i * 0.25) + "</offset>\n";
        text += "    <label>Section " + n + " of the implement</label>\n";
        text += "    <limits low=\"-" + n + "\" high=\"" + n + "\" unit=\"mm\" />\n";
        text += "    <rate><minimum>0.5</minimum><maximum>" + n + ".5</maximum></rate>\n";
        text += "  </channel>\n";
    }
    text += "</configuration>\n";
    return text;
}

const std::string& Document()
{
    static const std::string text = MakeDocument(static_cast<std::size_t>(Sized(5 << 20, 256 << 10)));
    return text;
}

// Collects pugixml's output in a string.
struct StringWriter : pugi::xml_writer
{
    std::string text;
    void write(const void* data, std::size_t size) override
    {
        text.append(static_cast<const char*>(data), size);
    }
};

std::size_t CountElements(const Core::IO::XMLNode& node)
{
    std::size_t count = node.Type() == Core::IO::XMLElementNode ? 1 : 0;
    for (const Core::IO::XMLNode& child : node.Children())
        count += CountElements(child);
    return count;
}

std::size_t CountElements(const pugi::xml_node& node)
{
    std::size_t count = node.type() == pugi::node_element ? 1 : 0;
    for (const pugi::xml_node& child : node.children())
        count += CountElements(child);
    return count;
}

// Elements in the parsed documents, the library's artificial root left out.
std::size_t LibraryElements(const Core::IO::XMLDocument& document)
{
    return CountElements(document.RootNode()) - 1;
}

std::size_t PugiElements()
{
    pugi::xml_document document;
    document.load_buffer(Document().data(), Document().size());
    return CountElements(document);
}

void XmlParseLib(benchmark::State& state)
{
    const std::string& text = Document();
    bool parsed = false;
    Core::IO::XMLDocument document;
    for (auto _ : state)
        parsed = document.ParseString(text.c_str());
    SameOutput(state, parsed && LibraryElements(document) == PugiElements(), "parsed trees differ");
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(text.size()));
}

void XmlParseRef(benchmark::State& state)
{
    const std::string& text = Document();
    for (auto _ : state)
    {
        pugi::xml_document document;
        benchmark::DoNotOptimize(document.load_buffer(text.data(), text.size()));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(text.size()));
}

void XmlWriteLib(benchmark::State& state)
{
    Core::IO::XMLDocument document;
    document.ParseString(Document().c_str());
    std::string text;
    for (auto _ : state)
    {
        text = document.GetXML();
        benchmark::DoNotOptimize(text.data());
    }
    // The written text must read back as the same tree.
    Core::IO::XMLDocument reread;
    SameOutput(state, reread.ParseString(text.c_str()) && LibraryElements(reread) == LibraryElements(document),
               "written text does not read back");
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(text.size()));
}

void XmlWriteRef(benchmark::State& state)
{
    pugi::xml_document document;
    document.load_buffer(Document().data(), Document().size());
    std::size_t size = 0;
    for (auto _ : state)
    {
        StringWriter writer;
        document.save(writer, "  ");
        size = writer.text.size();
        benchmark::DoNotOptimize(writer.text.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(size));
}

BENCHMARK(XmlParseLib)->Name("XML/lib/parse")->Unit(benchmark::kMillisecond);
BENCHMARK(XmlParseRef)->Name("XML/ref/parse")->Unit(benchmark::kMillisecond);
BENCHMARK(XmlWriteLib)->Name("XML/lib/write")->Unit(benchmark::kMillisecond);
BENCHMARK(XmlWriteRef)->Name("XML/ref/write")->Unit(benchmark::kMillisecond);

// ---- KML -------------------------------------------------------------------

// A recorded track: latitude, longitude in radians and altitude in metres.
std::vector<Core::Maths::Vector3<double>> Track(std::size_t count)
{
    std::vector<Core::Maths::Vector3<double>> points;
    points.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
    {
        const double t = static_cast<double>(i);
        points.emplace_back(0.9 + t * 1e-7, 0.2 + t * 1.3e-7 + 1e-6 * std::sin(t * 0.01), 120.0 + 0.01 * t);
    }
    return points;
}

std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The text the writer produces for one styled-less line placemark, by fprintf.
void PlainKml(const std::string& path, const std::vector<Core::Maths::Vector3<double>>& points)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr)
        return;
    std::fputs("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
               "<kml xmlns=\"http://www.opengis.net/kml/2.2\" xmlns:gx=\"http://www.google.com/kml/ext/2.2\">"
               "<Document><Placemark><name>track</name>"
               "<LineString><extrude>0</extrude><tessellate>0</tessellate>"
               "<altitudeMode>absolute</altitudeMode><coordinates>",
               file);
    for (const Core::Maths::Vector3<double>& p : points)
        std::fprintf(file, "%.24f,%.24f,%.6f\n", Core::Maths::Degrees(p.y), Core::Maths::Degrees(p.x), p.z);
    std::fputs("</coordinates></LineString></Placemark></Document></kml>", file);
    std::fclose(file);
}

void KmlLib(benchmark::State& state)
{
    const auto points = Track(static_cast<std::size_t>(state.range(0)));
    const std::string path = ScratchFile("track-lib.kml");
    for (auto _ : state)
    {
        Core::KMLWriter writer;
        writer.Open(path);
        writer.LineStrip("track", points);
        writer.Close();
    }
    const std::string plainPath = ScratchFile("track-plain.kml");
    PlainKml(plainPath, points);
    SameOutput(state, ReadFile(path) == ReadFile(plainPath), "KML text differs from the fprintf text");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void KmlRef(benchmark::State& state)
{
    const auto points = Track(static_cast<std::size_t>(state.range(0)));
    const std::string path = ScratchFile("track-ref.kml");
    for (auto _ : state)
        PlainKml(path, points);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(KmlLib)->Name("KML/lib")->Arg(Sized(100000, 10000))->Unit(benchmark::kMillisecond);
BENCHMARK(KmlRef)->Name("KML/ref")->Arg(Sized(100000, 10000))->Unit(benchmark::kMillisecond);

} // namespace
