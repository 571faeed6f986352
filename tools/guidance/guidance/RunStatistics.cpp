#include "RunStatistics.h"

#include "SpeedUnits.h"
#include "UtcTime.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace GuidanceTool
{

void DistanceFigures::Add(double distance)
{
    distance = std::fabs(distance);
    ++m_count;
    m_sum += distance;
    m_maximum = std::max(m_maximum, distance);
    ++m_millimetres[std::min(kMostMillimetres, static_cast<long>(std::ceil(distance * 1000.0)))];
}

double DistanceFigures::Percentile95() const
{
    const long rank = static_cast<long>(std::ceil(0.95 * m_count));
    long seen = 0;
    for (const auto& [millimetres, count] : m_millimetres)
        if ((seen += count) >= rank)
            return std::min(millimetres / 1000.0, m_maximum);
    return 0;
}

void RunStatistics::Add(const FixRecord& point)
{
    const FixRecord& record = point;
    const double time = point.Time();
    if (m_fixes == 0)
    {
        m_start = time;
        m_dated = point.utc >= 0;
    }
    else
        m_distance += std::hypot(record.x - m_previous.x, record.y - m_previous.y);
    m_end = time;
    ++m_fixes;
    ++m_qualities[record.fixQuality];

    const bool samePass = m_stretchFixes > 0 && record.onLine && record.pass == m_stretch.pass;
    if (!samePass)
        CloseStretch();
    if (record.onLine)
    {
        if (m_stretchFixes == 0)
        {
            m_stretch = PassFigures();
            m_stretchCrossTrack = DistanceFigures();
            m_stretch.pass = record.pass;
            m_stretch.start = time;
            m_stretchFrom = m_stretchTo = record.alongTrack;
        }
        else
            m_stretch.length += std::hypot(record.x - m_previous.x, record.y - m_previous.y);
        m_stretch.end = time;
        m_stretchCrossTrack.Add(record.crossTrack);
        m_stretchFrom = std::min(m_stretchFrom, record.alongTrack);
        m_stretchTo = std::max(m_stretchTo, record.alongTrack);
        ++m_stretchFixes;
        m_crossTrack.Add(record.crossTrack);
    }
    m_previous = point;
}

void RunStatistics::Finish()
{
    CloseStretch();
}

void RunStatistics::CloseStretch()
{
    const long fixes = m_stretchFixes;
    m_stretchFixes = 0;
    if (fixes < kFixesForPass)
        return;
    m_stretch.number = static_cast<int>(m_passes.size()) + 1;
    m_stretch.meanCrossTrack = m_stretchCrossTrack.Mean();
    m_stretch.percentile95 = m_stretchCrossTrack.Percentile95();
    m_stretch.maximumCrossTrack = m_stretchCrossTrack.Maximum();
    m_passes.push_back(m_stretch);
    // Merge the stretch's range with the ranges it touches on the same pass.
    std::map<double, double>& ranges = m_covered[m_stretch.pass];
    double from = m_stretchFrom;
    double to = m_stretchTo;
    auto next = ranges.upper_bound(from);
    if (next != ranges.begin() && std::prev(next)->second >= from)
        --next;
    while (next != ranges.end() && next->first <= to)
    {
        from = std::min(from, next->first);
        to = std::max(to, next->second);
        next = ranges.erase(next);
    }
    ranges[from] = to;
}

double RunStatistics::WorkingSpeed() const
{
    double length = 0;
    double time = 0;
    for (const PassFigures& pass : m_passes)
    {
        length += pass.length;
        time += pass.end - pass.start;
    }
    return time > 0 ? length / time : 0;
}

double RunStatistics::AreaWorked() const
{
    double length = 0;
    for (const auto& [pass, ranges] : m_covered)
        for (const auto& [from, to] : ranges)
            length += to - from;
    return length * m_width;
}

namespace
{

// A time of the run: ISO 8601 when dated, else the time of day.
std::string TimeText(double time, bool dated)
{
    if (dated)
        return IsoTime(time, 1);
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%04.1f (no date)", static_cast<int>(time / 3600),
                  static_cast<int>(std::fmod(time, 3600) / 60), std::fmod(time, 60));
    return text;
}

} // namespace

std::string RunStatistics::RunText() const
{
    std::string text;
    char line[768];
    std::snprintf(line, sizeof line,
                  "  start                   %s\n"
                  "  end                     %s\n"
                  "  duration                %10.1f s\n"
                  "  distance driven         %10.1f m\n"
                  "  mean working speed      %10.2f m/s (%.1f km/h)\n"
                  "  area worked             %10.1f m2 (%.3f ha)\n",
                  TimeText(m_start, m_dated).c_str(), TimeText(m_end, m_dated).c_str(), m_end - m_start, m_distance,
                  WorkingSpeed(), WorkingSpeed() * kKmhPerMetrePerSecond, AreaWorked(), AreaWorked() / 10000);
    text += line;
    for (const auto& [quality, count] : m_qualities)
    {
        // RMC alone gives no quality.
        const std::string label = quality < 0 ? "of unknown quality" : "of quality " + std::to_string(quality);
        std::snprintf(line, sizeof line, "  fixes %-18s%10ld (%.1f %%)\n", label.c_str(), count,
                      100.0 * count / m_fixes);
        text += line;
    }
    return text;
}

std::string RunStatistics::PassTable() const
{
    char line[256];
    std::string text = "  pass  line  start                     end                       length_m  time_s  "
                       "xte_mean_m  xte_p95_m  xte_max_m\n";
    for (const PassFigures& pass : m_passes)
    {
        std::snprintf(line, sizeof line, "  %4d  %4d  %-24s  %-24s  %8.1f  %6.1f  %10.3f  %9.3f  %9.3f\n", pass.number,
                      pass.pass, TimeText(pass.start, m_dated).c_str(), TimeText(pass.end, m_dated).c_str(),
                      pass.length, pass.end - pass.start, pass.meanCrossTrack, pass.percentile95,
                      pass.maximumCrossTrack);
        text += line;
    }
    return text;
}

} // namespace GuidanceTool
