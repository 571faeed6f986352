#include "Formats/KMLWriter.h"

#include "Maths/Maths.h"
#include "Utilities/FileLayer.h"
#include "Utilities/StringUtilities.h"
#include "Utilities/UTF8.h"

#include <algorithm>
#include <cstring>
#include <sys/stat.h>

namespace Core
{

namespace
{

// The document is written without line breaks except those that end the
// coordinate lines.
const char* const kHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
                            "<kml xmlns=\"http://www.opengis.net/kml/2.2\""
                            " xmlns:gx=\"http://www.google.com/kml/ext/2.2\">"
                            "<Document>";
const char* const kFooter = "</Document></kml>";

const char* const kLineAbsolute = "<LineString><extrude>0</extrude><tessellate>0</tessellate>"
                                  "<altitudeMode>absolute</altitudeMode><coordinates>";
const char* const kLineGround = "<LineString><extrude>0</extrude><tessellate>0</tessellate>"
                                "<altitudeMode>clampToGround</altitudeMode><coordinates>";
const char* const kLineEnd = "</coordinates></LineString></Placemark>";
const char* const kPolygonAbsolute = "<Polygon><extrude>0</extrude><altitudeMode>absolute</altitudeMode>"
                                     "<outerBoundaryIs><LinearRing><coordinates>";
const char* const kPolygonGround = "<Polygon><extrude>0</extrude><altitudeMode>clampToGround</altitudeMode>"
                                   "<outerBoundaryIs><LinearRing><coordinates>";
const char* const kPolygonEnd = "</coordinates></LinearRing></outerBoundaryIs></Polygon></Placemark>";

// The document replaces its file in one synced step at Close().
const Utilities::ReplacementOptions kFileReplacement = {".XXXXXX", true, true, true, false};

// Buffered bytes beyond this go out to the file at once.
constexpr std::size_t kFileBufferSize = 64 * 1024;

// A coordinate line never comes near this size; longer text would be cut.
constexpr std::size_t kLineBufferSize = 4096;

// The ring outlining a strip of count points: even indices forward, then
// every second index back from the last one down to 2, then 1 and 0. For an
// odd count the way back starts on an even index and repeats the last point.
std::vector<std::size_t> StripRing(std::size_t count)
{
    std::vector<std::size_t> ring;
    for (std::size_t i = 0; i < count; i += 2)
        ring.push_back(i);
    if (count >= 3)
    {
        for (std::size_t i = count - 1; i >= 2; i -= 2)
            ring.push_back(i);
    }
    // Fewer than two points make no strip: leave out what does not exist.
    if (count >= 2)
        ring.push_back(1);
    if (count >= 1)
        ring.push_back(0);
    return ring;
}

} // namespace

KMLWriter::KMLWriter() = default;

KMLWriter::~KMLWriter()
{
    Close();
}

void KMLWriter::Open()
{
    m_output.clear();
    Close();
    WriteHeader();
}

bool KMLWriter::Open(const std::string& path)
{
    m_output.clear();
    Close();
    // A directory cannot be opened as the document's file.
    struct stat status;
    const bool directory = ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    m_file.reset(new Utilities::FileReplacement(path, kFileReplacement));
    if (directory || !m_file->Begin())
        m_file.reset();
    WriteHeader();
    return m_file != nullptr;
}

void KMLWriter::Close()
{
    WriteFooter();
    if (m_file != nullptr)
    {
        FlushFileBuffer();
        // A document that could not be written completely never replaces the
        // file: the failed commit leaves the temporary file to the reset.
        m_file->Commit();
        m_file.reset();
    }
    m_openStyle.clear();
}

void KMLWriter::SetStyle(const std::string& id)
{
    m_style = id;
}

void KMLWriter::BeginStyle(const std::string& id)
{
    Output("<Style id=\"" + Utilities::HTMLEscape(id) + "\">");
    m_openStyle = id;
    if (m_style.empty())
        m_style = id;
}

void KMLWriter::EndStyle()
{
    if (m_openStyle.empty())
        return;
    Output("</Style>");
    m_openStyle.clear();
}

void KMLWriter::OpenStyle(const std::string& id)
{
    if (m_openStyle == id && !m_openStyle.empty())
        return;
    EndStyle();
    BeginStyle(id);
}

void KMLWriter::LineStyle(const std::string& id, const std::string& colour, int width)
{
    OpenStyle(id);
    Output("<LineStyle><color>" + Utilities::HTMLEscape(colour) + "</color><colorMode>normal</colorMode><width>" +
           Utilities::FormatInt(width) + "</width></LineStyle>");
}

void KMLWriter::PolyStyle(const std::string& id, const std::string& colour, bool fill, bool outline)
{
    OpenStyle(id);
    Output("<PolyStyle><color>" + Utilities::HTMLEscape(colour) + "</color><colorMode>normal</colorMode><fill>" +
           Utilities::FormatInt(fill ? 1 : 0) + "</fill><outline>" + Utilities::FormatInt(outline ? 1 : 0) +
           "</outline></PolyStyle>");
}

void KMLWriter::BeginPlacemark(const std::string& name)
{
    Output("<Placemark>");
    if (!name.empty())
        Output("<name>" + Utilities::HTMLEscape(name) + "</name>");
    if (!m_style.empty())
        Output("<styleUrl>#" + Utilities::HTMLEscape(m_style) + "</styleUrl>");
}

template <class Point>
void KMLWriter::Placemark(const std::string& name, const char* geometryStart, const std::vector<Point>& points,
                          const std::vector<std::size_t>* indices, const char* geometryEnd)
{
    EndStyle();
    BeginPlacemark(name);
    Output(geometryStart, std::strlen(geometryStart));
    if (indices == nullptr)
    {
        for (const Point& point : points)
            Output(point);
    }
    else
    {
        for (std::size_t i : *indices)
            Output(points[i]);
    }
    Output(geometryEnd, std::strlen(geometryEnd));
}

void KMLWriter::LineStrip(const std::string& name, const std::vector<Maths::Vector3<double>>& points)
{
    Placemark(name, kLineAbsolute, points, nullptr, kLineEnd);
}

void KMLWriter::LineStrip(const std::string& name, const std::vector<Maths::Vector2<double>>& points)
{
    Placemark(name, kLineGround, points, nullptr, kLineEnd);
}

void KMLWriter::PolyStrip(const std::string& name, const std::vector<Maths::Vector3<double>>& points)
{
    const std::vector<std::size_t> ring = StripRing(points.size());
    Placemark(name, kPolygonAbsolute, points, &ring, kPolygonEnd);
}

void KMLWriter::PolyStrip(const std::string& name, const std::vector<Maths::Vector2<double>>& points)
{
    const std::vector<std::size_t> ring = StripRing(points.size());
    Placemark(name, kPolygonGround, points, &ring, kPolygonEnd);
}

void KMLWriter::PolyRing(const std::string& name, const std::vector<Maths::Vector3<double>>& points)
{
    Placemark(name, kPolygonAbsolute, points, nullptr, kPolygonEnd);
}

void KMLWriter::PolyRing(const std::string& name, const std::vector<Maths::Vector2<double>>& points)
{
    Placemark(name, kPolygonGround, points, nullptr, kPolygonEnd);
}

void KMLWriter::Output(const std::string& text)
{
    Output(text.data(), text.size());
}

void KMLWriter::Output(const char* text, std::size_t length)
{
    if (m_file == nullptr)
    {
        m_output.append(text, length);
        return;
    }
    m_fileBuffer.append(text, length);
    if (m_fileBuffer.size() >= kFileBufferSize)
        FlushFileBuffer();
}

void KMLWriter::FlushFileBuffer()
{
    // Write errors are not reported here: Close() drops a failed document.
    m_file->Write(m_fileBuffer.data(), m_fileBuffer.size());
    m_fileBuffer.clear();
}

void KMLWriter::Output(const Maths::Vector3<double>& point)
{
    char line[kLineBufferSize];
    const int length = std::snprintf(line, sizeof line, "%.24f,%.24f,%.6f\n", Maths::Degrees(point.y),
                                     Maths::Degrees(point.x), point.z);
    if (length > 0)
        Output(line, std::min(static_cast<std::size_t>(length), sizeof line - 1));
}

void KMLWriter::Output(const Maths::Vector2<double>& point)
{
    char line[kLineBufferSize];
    const int length =
        std::snprintf(line, sizeof line, "%.24f,%.24f\n", Maths::Degrees(point.y), Maths::Degrees(point.x));
    if (length > 0)
        Output(line, std::min(static_cast<std::size_t>(length), sizeof line - 1));
}

void KMLWriter::WriteHeader()
{
    Output(kHeader, std::strlen(kHeader));
}

void KMLWriter::WriteFooter()
{
    if (m_file == nullptr && m_output.empty())
        return;
    Output(kFooter, std::strlen(kFooter));
}

} // namespace Core
