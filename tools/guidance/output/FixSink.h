// The one interface every exporter of a run implements: it is told about the
// run, then given the fixes one at a time in driving order, then the finished
// statistics. An exporter writes as the fixes come, or keeps a summary of
// bounded size, so that its memory does not grow with the run's length.
// Each exporter writes to an output stream; the caller checks the stream and
// owns the file behind it.
// Not thread-safe: an exporter belongs to the thread that replays.
#ifndef GUIDANCE_OUTPUT_FIXSINK_H
#define GUIDANCE_OUTPUT_FIXSINK_H

#include "CrossTrackBands.h"
#include "Field.h"
#include "FixRecord.h"
#include "GuidanceLine.h"
#include "LocalPlane.h"
#include "RunStatistics.h"

#include <memory>
#include <ostream>

namespace GuidanceTool
{

// What an exporter knows of the run before its first fix.
struct RunContext
{
    const Field& field;
    const LocalPlane& plane; // the plane of the run's first fix
    GuidanceLine& line;      // the field's line in that plane
};

class FixSink
{
public:
    virtual ~FixSink() = default;
    virtual void Begin(const RunContext& run) = 0;
    virtual void Add(const FixRecord& point) = 0;
    virtual void End(const RunStatistics& statistics) = 0;
};

// GPX 1.1: one track of the fixes with their times and heights.
std::unique_ptr<FixSink> GpxExport(std::ostream& out);
// GeoJSON (RFC 7946): one point feature per fix, longitude first, with the
// fix's guidance figures as properties.
std::unique_ptr<FixSink> GeoJsonExport(std::ostream& out);
// KML to explore: the track in folders per pass, coloured by cross-track band
// with a legend, every fix time-stamped for a time slider, the guidance line
// and the passes driven, and a view on the field.
std::unique_ptr<FixSink> KmlExport(std::ostream& out);
// A self-contained HTML page: map, cross-track over time, histogram, the
// per-pass table and the summary, drawn in inline SVG.
std::unique_ptr<FixSink> ReportExport(std::ostream& out);

} // namespace GuidanceTool

#endif
