#include "GuidanceLine.h"

#include "Maths/Maths.h"

#include <cmath>

namespace GuidanceTool
{

using Core::Maths::Math;
using Core::Maths::Vector2;
using Core::Maths::Vector3;

GuidanceLine::GuidanceLine(const Field& field, const LocalPlane& plane)
    : m_line(static_cast<Core::SplineInterpolator::SplineTypes>(field.splineType)), m_width(field.workingWidth)
{
    for (const GeoPoint& point : field.points)
    {
        const Vector2<double> p = plane.ToPlane(point.latitude, point.longitude);
        m_line.AddPoint(Vector3<double>(p.x, p.y, 0), true);
    }
}

const Core::PolyLine& GuidanceLine::Pass(int pass)
{
    auto found = m_passes.find(pass);
    if (found == m_passes.end())
    {
        if (m_passes.size() >= kPassesKept)
            m_passes.clear();
        // Offsets are positive to the right, like pass numbers.
        found = m_passes.emplace(pass, m_line.Offset(pass * m_width)).first;
    }
    return found->second;
}

void GuidanceLine::Measure(FixRecord& record)
{
    const Vector3<double> position(record.x, record.y, 0);
    unsigned int segment = 0;
    double distance = 0;
    double along = 0;
    Vector3<double> nearest;
    if (!m_line.DistanceToNearest(position, segment, distance, along, nearest))
        return;
    record.alongTrack = along;
    record.onLine = along > 0 && along < m_line.Length() ? 1 : 0;
    if (std::fabs(distance) > kFarthestMeasured)
    {
        record.onLine = 0;
        record.crossTrack = distance;
        return;
    }
    // Nearest-point distances are positive on the left; pass numbers grow to the right.
    record.pass = static_cast<int>(std::lround(-distance / m_width));

    const Core::PolyLine& pass = Pass(record.pass);
    double passAlong = 0;
    if (!pass.DistanceToNearest(position, segment, distance, passAlong, nearest))
        return;
    record.crossTrack = distance;
    record.headingError = 0;
    if (record.speed >= 0)
    {
        double error = Core::Maths::ClampAngle(record.heading - pass.SegmentHeading(segment));
        // Alternate passes are driven against the line's direction: measure
        // the error from the direction actually driven.
        if (error > Math<double>::HALF_PI)
            error -= Math<double>::PI;
        else if (error < -Math<double>::HALF_PI)
            error += Math<double>::PI;
        record.headingError = error;
    }
}

std::vector<Vector2<double>> GuidanceLine::SampleCurve(double step) const
{
    std::vector<Vector2<double>> points;
    const double length = m_line.Length();
    const int count = std::max(1, static_cast<int>(std::ceil(length / step)));
    for (int i = 0; i <= count; ++i)
    {
        unsigned int segment = 0;
        Vector3<double> point;
        m_line.GetAlongTrack(length * i / count, segment, point);
        points.push_back(Vector2<double>(point.x, point.y));
    }
    return points;
}

} // namespace GuidanceTool
