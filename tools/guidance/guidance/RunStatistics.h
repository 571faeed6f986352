// The figures of a run, gathered one fix at a time in memory that does not grow
// with the run's length: per pass driven (pass number, start and end, length,
// time on the pass, mean, 95th percentile and maximum absolute cross-track) and
// for the whole run (start, end, duration, distance, mean working speed, area
// worked with overlaps counted once, share of fixes per quality).
// Percentiles come from counts of the distance in whole millimetres, so they
// are exact to a millimetre; only the number of passes driven adds memory, a
// few numbers each.
// Not thread-safe: belongs to the thread that replays.
#ifndef GUIDANCE_GUIDANCE_RUNSTATISTICS_H
#define GUIDANCE_GUIDANCE_RUNSTATISTICS_H

#include "FixRecord.h"

#include <map>
#include <string>
#include <vector>

namespace GuidanceTool
{

// Mean, nearest-rank 95th percentile and maximum of absolute distances.
class DistanceFigures
{
public:
    void Add(double distance);
    long Count() const { return m_count; }
    double Mean() const { return m_count > 0 ? m_sum / m_count : 0; }
    double Percentile95() const;
    double Maximum() const { return m_maximum; }

private:
    // Distances are counted to the millimetre up to 100 m; farther ones share
    // the last count, which bounds the memory (the maximum stays exact).
    static constexpr long kMostMillimetres = 100000;

    long m_count = 0;
    double m_sum = 0;
    double m_maximum = 0;
    std::map<long, long> m_millimetres; // fixes by distance rounded up to the millimetre
};

struct PassFigures
{
    int number = 0;   // 1 for the first pass driven
    int pass = 0;     // the parallel of the guidance line, 0 the line itself, positive to its right
    double start = 0; // time of the first fix (see FixRecord::Time)
    double end = 0;
    double length = 0; // metres driven on the pass
    // Of the absolute cross-track, metres; kept as figures once the pass ends.
    double meanCrossTrack = 0;
    double percentile95 = 0;
    double maximumCrossTrack = 0;
};

class RunStatistics
{
public:
    // A pass counts as driven after this many successive fixes on it (two
    // seconds at 10 Hz); fewer are the ends of headland turns.
    static constexpr int kFixesForPass = 20;

    explicit RunStatistics(double workingWidth) : m_width(workingWidth) {}

    void Add(const FixRecord& point);
    // Closes the pass being driven; call once after the last fix.
    void Finish();

    long Fixes() const { return m_fixes; }
    bool Dated() const { return m_dated; }
    double Start() const { return m_start; }
    double End() const { return m_end; }
    double Distance() const { return m_distance; }
    // Metres per second on passes; 0 before any pass.
    double WorkingSpeed() const;
    // Square metres: the working width times the length of line covered on
    // each pass, a stretch driven twice counted once.
    double AreaWorked() const;
    const std::vector<PassFigures>& Passes() const { return m_passes; }
    const DistanceFigures& CrossTrack() const { return m_crossTrack; }
    // Fixes by quality.
    const std::map<int, long>& Qualities() const { return m_qualities; }

    // The run's figures as text, with units, one per line.
    std::string RunText() const;
    // The table of the passes driven, a header line first.
    std::string PassTable() const;

private:
    // Ends the stretch on one pass, keeping it when long enough.
    void CloseStretch();

    double m_width;
    long m_fixes = 0;
    bool m_dated = false;
    double m_start = 0;
    double m_end = 0;
    double m_distance = 0;
    FixRecord m_previous;
    DistanceFigures m_crossTrack;
    std::map<int, long> m_qualities;
    std::vector<PassFigures> m_passes;

    // The stretch being driven on one pass.
    PassFigures m_stretch;
    DistanceFigures m_stretchCrossTrack;
    long m_stretchFixes = 0;
    double m_stretchFrom = 0; // along-track range covered
    double m_stretchTo = 0;
    // Along-track ranges covered per pass, merged where they overlap.
    std::map<int, std::map<double, double>> m_covered;
};

} // namespace GuidanceTool

#endif
