// GeoJSON (RFC 7946) of a run, written a fix at a time: a feature collection
// of points in WGS-84 longitude, latitude and height.
#include "FixSink.h"
#include "UtcTime.h"

#include <cstdio>

namespace GuidanceTool
{

namespace
{

// A JSON number, or null for an unknown value.
std::string Number(double value, bool known, int decimals)
{
    if (!known || !std::isfinite(value))
        return "null";
    char text[48];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

class GeoJsonExporter : public FixSink
{
public:
    explicit GeoJsonExporter(std::ostream& out) : m_out(out) {}

    void Begin(const RunContext&) override { m_out << "{\"type\":\"FeatureCollection\",\"features\":[\n"; }

    void Add(const FixRecord& point) override
    {
        const FixRecord& r = point;
        const bool moving = r.speed >= 0;
        m_out << (m_first ? "" : ",\n") << "{\"type\":\"Feature\",\"geometry\":{\"type\":\"Point\",\"coordinates\":["
              << Number(r.longitude, true, 10) << "," << Number(r.latitude, true, 10)
              << (std::isnan(point.altitude) ? "" : "," + Number(point.altitude, true, 3)) << "]},\"properties\":{"
              << "\"time\":" << (point.utc >= 0 ? "\"" + IsoTime(point.utc, 2) + "\"" : "null")
              << ",\"quality\":" << r.fixQuality << ",\"pass\":" << r.pass
              << ",\"xte_m\":" << Number(r.crossTrack, r.onLine != 0, 4)
              << ",\"along_m\":" << Number(r.alongTrack, true, 3)
              << ",\"heading_deg\":" << Number(HeadingToCourse(r.heading), moving, 2)
              << ",\"speed_m_s\":" << Number(r.speed, moving, 3) << "}}";
        m_first = false;
    }

    void End(const RunStatistics&) override { m_out << "\n]}\n"; }

private:
    std::ostream& m_out;
    bool m_first = true;
};

} // namespace

std::unique_ptr<FixSink> GeoJsonExport(std::ostream& out)
{
    return std::make_unique<GeoJsonExporter>(out);
}

} // namespace GuidanceTool
