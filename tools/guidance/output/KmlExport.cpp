// drive.kml to explore: a view on the field, the guidance line and the passes
// driven, and the track in one folder per stretch driven (a pass or a turn),
// split where its cross-track band changes and coloured by band, with a time
// for every fix so that a time slider plays the drive. Written a fix at a
// time: only the piece of track being drawn is held, and at most kLongestPiece
// fixes of it.
#include "FixSink.h"
#include "Printf.h"
#include "UtcTime.h"
#include "Utilities/UTF8.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <vector>

namespace GuidanceTool
{

namespace
{

const std::size_t kLongestPiece = 1000;
const char kTurnStyle[] = "turn";

// KML colours are aabbggrr; the bands are given as #rrggbb.
std::string KmlColour(const std::string& rgb)
{
    return "ff" + rgb.substr(5, 2) + rgb.substr(3, 2) + rgb.substr(1, 2);
}

std::string Coordinate(double latitude, double longitude)
{
    return Printf("%.10f,%.10f", longitude, latitude);
}

class KmlExporter : public FixSink
{
public:
    explicit KmlExporter(std::ostream& out) : m_out(out) {}

    void Begin(const RunContext& run) override
    {
        m_plane = &run.plane;
        m_line = &run.line;
        const std::string name = Core::Utilities::HTMLEscape(run.field.name.empty() ? "the field" : run.field.name);
        m_out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                 "<kml xmlns=\"http://www.opengis.net/kml/2.2\" xmlns:gx=\"http://www.google.com/kml/ext/2.2\">\n"
                 "<Document><name>Drive over "
              << name << "</name>\n"
              << LookAt(run.field) << "<description><![CDATA[Track coloured by absolute cross-track:<br/>";
        for (int band = 0; band < kCrossTrackBands; ++band)
            m_out << "<span style=\"color:" << kCrossTrackBand[band].colour << "\">&#9632;</span> "
                  << kCrossTrackBand[band].label << "<br/>";
        m_out << "<span style=\"color:#999999\">&#9632;</span> turns and fixes off the line]]></description>\n";
        for (int band = 0; band < kCrossTrackBands; ++band)
            m_out << Style("band" + std::to_string(band), KmlColour(kCrossTrackBand[band].colour), 3);
        m_out << Style(kTurnStyle, "ff999999", 2) << Style("guidance", "ff0000c0", 3) << Style("pass", "ffd6a67a", 1);
        std::string points;
        for (const auto& p : run.line.SampleCurve(1.0))
            points += Geodetic(p.x, p.y) + "\n";
        m_out << "<Placemark><name>Guidance line: " << name
              << "</name><styleUrl>#guidance</styleUrl><LineString><coordinates>\n"
              << points << "</coordinates></LineString></Placemark>\n<Folder><name>Track</name>\n";
    }

    void Add(const FixRecord& point) override
    {
        const FixRecord& r = point;
        const bool newStretch = m_fixes == 0 || r.onLine != m_last.onLine || (r.onLine && r.pass != m_last.pass);
        const std::string style = r.onLine ? "band" + std::to_string(CrossTrackBandOf(r.crossTrack)) : kTurnStyle;
        if (newStretch || style != m_style || m_piece.size() >= kLongestPiece)
        {
            // Each piece starts where the last ended, so that the track has no
            // gaps and a stretch of one fix still has a line to show.
            FlushPiece();
            if (!m_piece.empty())
                m_piece.erase(m_piece.begin(), m_piece.end() - 1);
            if (newStretch)
                OpenStretch(r);
            m_style = style;
        }
        m_piece.push_back(point);
        m_last = point;
        ++m_fixes;
    }

    void End(const RunStatistics& statistics) override
    {
        FlushPiece();
        if (m_fixes > 0)
            m_out << "</Folder>\n";
        m_out << "</Folder>\n<Folder><name>Passes driven</name>\n";
        std::set<int> drawn;
        for (const PassFigures& pass : statistics.Passes())
        {
            if (!drawn.insert(pass.pass).second)
                continue;
            m_out << "<Placemark><name>Pass " << pass.pass
                  << "</name><styleUrl>#pass</styleUrl><LineString><coordinates>\n";
            for (const auto& p : m_line->Pass(pass.pass).GetPoints())
                m_out << Geodetic(p.x, p.y) << "\n";
            m_out << "</coordinates></LineString></Placemark>\n";
        }
        m_out << "</Folder>\n</Document></kml>\n";
    }

private:
    static std::string Style(const std::string& id, const std::string& colour, int width)
    {
        return "<Style id=\"" + id + "\"><LineStyle><color>" + colour + "</color><width>" + std::to_string(width) +
               "</width></LineStyle></Style>\n";
    }

    // A view from above the middle of the field's points, far enough to see them all.
    static std::string LookAt(const Field& field)
    {
        double minLat = 90, maxLat = -90, minLon = 180, maxLon = -180;
        for (const GeoPoint& p : field.points)
        {
            minLat = std::min(minLat, p.latitude), maxLat = std::max(maxLat, p.latitude);
            minLon = std::min(minLon, p.longitude), maxLon = std::max(maxLon, p.longitude);
        }
        const double centre = (minLat + maxLat) / 2;
        const double extent =
            std::max((maxLat - minLat) * 111320.0, (maxLon - minLon) * 111320.0 * std::cos(centre * M_PI / 180));
        return Printf("<LookAt><longitude>%.8f</longitude><latitude>%.8f</latitude><altitude>0</altitude>"
                      "<heading>0</heading><tilt>0</tilt><range>%.0f</range></LookAt>\n",
                      (minLon + maxLon) / 2, centre, std::max(200.0, 2.5 * extent));
    }

    std::string Geodetic(double x, double y) const
    {
        double latitude = 0;
        double longitude = 0;
        m_plane->ToGeodetic(Core::Maths::Vector2<double>(x, y), latitude, longitude);
        return Coordinate(latitude, longitude);
    }

    void OpenStretch(const FixRecord& r)
    {
        if (m_fixes > 0)
            m_out << "</Folder>\n";
        ++m_stretches;
        m_out << "<Folder><name>"
              << (r.onLine ? Printf("Stretch %d: pass %d", m_stretches, r.pass)
                           : Printf("Stretch %d: turn", m_stretches))
              << "</name>\n";
    }

    // Writes the piece of track held: with a time per fix when the fixes are
    // dated, else as a plain line.
    void FlushPiece()
    {
        if (m_piece.size() < 2 || m_piece.back().sequence == m_flushedUpTo)
            return;
        m_flushedUpTo = m_piece.back().sequence;
        m_out << "<Placemark><styleUrl>#" << m_style << "</styleUrl>";
        if (m_piece.front().utc >= 0)
        {
            m_out << "<gx:Track>\n";
            for (const FixRecord& p : m_piece)
                m_out << "<when>" << IsoTime(p.utc, 2) << "</when>";
            m_out << "\n";
            for (const FixRecord& p : m_piece)
                m_out << "<gx:coord>" << Printf("%.10f %.10f", p.longitude, p.latitude) << "</gx:coord>\n";
            m_out << "</gx:Track></Placemark>\n";
            return;
        }
        m_out << "<LineString><coordinates>\n";
        for (const FixRecord& p : m_piece)
            m_out << Coordinate(p.latitude, p.longitude) << "\n";
        m_out << "</coordinates></LineString></Placemark>\n";
    }

    std::ostream& m_out;
    const LocalPlane* m_plane = nullptr;
    GuidanceLine* m_line = nullptr;
    std::vector<FixRecord> m_piece;
    std::string m_style;
    FixRecord m_last;
    long m_fixes = 0;
    int m_stretches = 0;
    int m_flushedUpTo = -1;
};

} // namespace

std::unique_ptr<FixSink> KmlExport(std::ostream& out)
{
    return std::make_unique<KmlExporter>(out);
}

} // namespace GuidanceTool
