#include "InputCheck.h"

#include "Printf.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace GuidanceTool
{

namespace
{

// A drop of more than this in the time of day is midnight passing, not time going back.
const double kMidnightDrop = 23 * 3600.0;

// Metres from p to the segment from a to b.
double DistanceToSegment(double px, double py, double ax, double ay, double bx, double by)
{
    const double dx = bx - ax;
    const double dy = by - ay;
    const double lengthSquared = dx * dx + dy * dy;
    const double t = lengthSquared > 0 ? std::clamp(((px - ax) * dx + (py - ay) * dy) / lengthSquared, 0.0, 1.0) : 0;
    return std::hypot(px - ax - t * dx, py - ay - t * dy);
}

} // namespace

double InputCheck::DistanceToField(double x, double y, const LocalPlane& plane)
{
    if (m_fieldX.empty())
        for (const GeoPoint& point : m_field.points)
        {
            const Core::Maths::Vector2<double> p = plane.ToPlane(point.latitude, point.longitude);
            m_fieldX.push_back(p.x);
            m_fieldY.push_back(p.y);
        }
    double nearest = INFINITY;
    for (std::size_t i = 0; i + 1 < m_fieldX.size(); ++i)
        nearest =
            std::min(nearest, DistanceToSegment(x, y, m_fieldX[i], m_fieldY[i], m_fieldX[i + 1], m_fieldY[i + 1]));
    return nearest;
}

void InputCheck::Fix(const FixRecord& point, const LocalPlane& plane)
{
    const double distance = DistanceToField(point.x, point.y, plane);
    const double time = point.Time();
    ++m_fixes;
    if (m_fixes == 1)
    {
        m_firstDistance = m_nearest = distance;
        m_lastTime = time;
        return;
    }
    m_nearest = std::min(m_nearest, distance);
    const double step = time - m_lastTime;
    if (step < 0 && !(point.utc < 0 && step < -kMidnightDrop))
    {
        if (m_backwards++ == 0)
            m_firstBackwards = Printf("time goes backwards at fix %ld (by %.1f s)", m_fixes, -step);
    }
    else if (step > kLongestGap)
    {
        if (m_jumps++ == 0)
            m_firstJump = Printf("time jumps forward at fix %ld (by %.1f s)", m_fixes, step);
    }
    m_lastTime = time;
}

bool InputCheck::Usable() const
{
    return m_fixes > 0 && m_nearest <= kFarFromField;
}

std::vector<std::string> InputCheck::Warnings() const
{
    std::vector<std::string> warnings;
    long sentences = 0;
    for (const auto& [type, count] : m_types)
        sentences += count;
    if (m_bytes == 0)
        warnings.push_back("the input is empty");
    else if (sentences == 0)
        warnings.push_back("no NMEA sentences in " + std::to_string(m_bytes) +
                           " bytes of input (binary data, or only blank lines)");
    else if (m_fixes == 0)
    {
        std::string counts;
        for (const auto& [type, count] : m_types)
            counts += (counts.empty() ? "" : ", ") + type + " " + std::to_string(count);
        for (const auto& [what, count] : m_noPosition)
            counts += ", " + what + " " + std::to_string(count);
        warnings.push_back(std::to_string(sentences) + " sentences but no position fix: " + counts);
    }
    if (m_fixes > 0 && m_firstDistance > kFarFromField)
        warnings.push_back(Printf("the first fix is %.1f km from the field's guidance line", m_firstDistance / 1000) +
                           (Usable() ? "" : ", and no fix comes within 5 km of it"));
    if (m_backwards > 0)
        warnings.push_back(m_firstBackwards + ", steps back in all: " + std::to_string(m_backwards));
    if (m_jumps > 0)
        warnings.push_back(m_firstJump + ", gaps over 60 s in all: " + std::to_string(m_jumps));
    return warnings;
}

} // namespace GuidanceTool
