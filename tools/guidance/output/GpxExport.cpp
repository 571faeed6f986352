// GPX 1.1 of a run, written a fix at a time.
#include "FixSink.h"
#include "UtcTime.h"
#include "Utilities/UTF8.h"

#include <cstdio>

namespace GuidanceTool
{

namespace
{

class GpxExporter : public FixSink
{
public:
    explicit GpxExporter(std::ostream& out) : m_out(out) {}

    void Begin(const RunContext& run) override
    {
        const std::string name = Core::Utilities::HTMLEscape(run.field.name.empty() ? "Drive" : run.field.name);
        m_out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                 "<gpx version=\"1.1\" creator=\"guidance\" xmlns=\"http://www.topografix.com/GPX/1/1\">\n"
                 "<trk><name>"
              << name << "</name><trkseg>\n";
    }

    void Add(const FixRecord& point) override
    {
        // Ten decimals of a degree are about 0.01 mm: the fix, not the file, limits precision.
        char text[128];
        std::snprintf(text, sizeof text, "<trkpt lat=\"%.10f\" lon=\"%.10f\">", point.latitude, point.longitude);
        m_out << text;
        if (!std::isnan(point.altitude))
        {
            std::snprintf(text, sizeof text, "<ele>%.3f</ele>", point.altitude);
            m_out << text;
        }
        // GPX requires a full date-time; a fix without a date has none to give.
        if (point.utc >= 0)
            m_out << "<time>" << IsoTime(point.utc, 2) << "</time>";
        m_out << "</trkpt>\n";
    }

    void End(const RunStatistics&) override { m_out << "</trkseg></trk>\n</gpx>\n"; }

private:
    std::ostream& m_out;
};

} // namespace

std::unique_ptr<FixSink> GpxExport(std::ostream& out)
{
    return std::make_unique<GpxExporter>(out);
}

} // namespace GuidanceTool
