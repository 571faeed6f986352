// The field's guidance line in the local plane, and the measures of a position
// against it: the nearest pass (a parallel of the line at a whole number of
// working widths, positive to the right), the signed cross-track distance to
// that pass, the along-track distance and the heading error. A position more
// than kFarthestMeasured from the line is off the field: it gets no pass.
// Not thread-safe: queries update the lines' caches.
#ifndef GUIDANCE_GUIDANCELINE_H
#define GUIDANCE_GUIDANCELINE_H

#include "Field.h"
#include "FixRecord.h"
#include "Guidance/PolySpline.h"
#include "LocalPlane.h"

#include <map>
#include <memory>

namespace GuidanceTool
{

class GuidanceLine
{
public:
    // Metres from the line beyond which a position is not measured against a pass.
    static constexpr double kFarthestMeasured = 5000.0;

    // The field's line in the given plane, drawn with the field's spline.
    GuidanceLine(const Field& field, const LocalPlane& plane);
    GuidanceLine(const GuidanceLine&) = delete;
    GuidanceLine& operator=(const GuidanceLine&) = delete;

    // Fills pass, crossTrack, alongTrack, headingError and onLine of a record
    // whose x, y and heading are set. Without a heading (speed < 0) the
    // heading error is 0.
    void Measure(FixRecord& record);

    // The guidance line itself.
    const Core::PolySpline& Line() const { return m_line; }
    // The parallel line of a pass (pass 0 is the guidance line's own points).
    const Core::PolyLine& Pass(int pass);
    // Points along the drawn curve, about every `step` metres, ends included.
    std::vector<Core::Maths::Vector2<double>> SampleCurve(double step) const;

private:
    Core::PolySpline m_line;
    double m_width;
    // Passes built lately, by number: at most kPassesKept, so memory stays
    // bounded however many passes a drive visits.
    static const std::size_t kPassesKept = 16;
    std::map<int, Core::PolyLine> m_passes;
};

} // namespace GuidanceTool

#endif
