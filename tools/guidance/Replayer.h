// The replay of one run of NMEA input: splits the input into sentences,
// decodes them, turns each fix into a record measured against the guidance
// line (in a plane around the first fix), records it through a RecordWriter,
// and keeps the counts and cross-track statistics of the summary. Memory stays
// bounded however long the input: records go to the file, not into memory,
// and the statistics are kept running.
// Not thread-safe: belongs to the main thread.
#ifndef GUIDANCE_REPLAYER_H
#define GUIDANCE_REPLAYER_H

#include "Field.h"
#include "FixRecord.h"
#include "GuidanceLine.h"
#include "LocalPlane.h"
#include "RecordWriter.h"

#include <memory>
#include <string>
#include <vector>

namespace GuidanceTool
{

struct ReplayCounts
{
    long read = 0;        // non-empty lines
    long decoded = 0;     // sentences decoded (GGA and VTG)
    long checksum = 0;    // rejected because the checksum did not match
    long malformed = 0;   // rejected because a field was missing or bad
    long unsupported = 0; // intact sentences of types guidance does not decode
};

// Cross-track statistics over the fixes between the line's ends, in metres.
struct CrossTrackStatistics
{
    long fixes = 0;
    double mean = 0;         // of the absolute distance
    double percentile95 = 0; // nearest-rank 95th percentile of the absolute distance, to the millimetre
    double maximum = 0;
};

// The statistics above kept running: a sum, a maximum and a histogram of
// millimetre bins, so memory is fixed whatever the number of fixes.
class RunningCrossTrack
{
public:
    RunningCrossTrack();
    void Add(double distance);
    CrossTrackStatistics Statistics() const;

private:
    // Bins of one millimetre up to this distance; beyond it the maximum is used.
    static const int kHistogramMillimetres = 100000;

    long m_fixes = 0;
    double m_sum = 0;
    double m_maximum = 0;
    std::vector<unsigned int> m_histogram;
};

class Replayer
{
public:
    // Records into recordPath (see RecordWriter). Throws ToolError when the
    // record file cannot be created.
    Replayer(const Field& field, const std::string& recordPath);
    Replayer(const Replayer&) = delete;
    Replayer& operator=(const Replayer&) = delete;

    // Takes the next piece of input; complete lines are handled at once.
    void Feed(const std::string& chunk);
    // Ends the input (a last line without a line end counts) and writes every
    // record. Throws ToolError when a record could not be written.
    void Finish();
    // Renames the record file into place (RecordWriter::Commit()).
    void CommitRecords() { m_writer.Commit(); }
    // The file the records are written to until CommitRecords().
    const std::string& RecordPath() const { return m_writer.PartialPath(); }

    // Runs the completions of the records written so far and returns how many
    // are still waiting for the medium.
    int ProcessCompletions();

    const ReplayCounts& Counts() const { return m_counts; }
    // Records made so far.
    long RecordCount() const { return m_recordCount; }
    // Records that reached the file (complete only after Finish()).
    int RecordsWritten() const { return m_writer.Written(); }
    CrossTrackStatistics CrossTrack() const { return m_crossTrack.Statistics(); }
    // Distance between successive fixes, summed, metres.
    double DistanceDriven() const { return m_distance; }
    // The latest record, for a status display; null before the first fix.
    const FixRecord* Latest() const { return m_recordCount == 0 ? nullptr : &m_latest; }

    // The plane and line of the run; null before the first fix.
    const LocalPlane* Plane() const { return m_plane.get(); }
    GuidanceLine* Line() { return m_line.get(); }
    const Field& GetField() const { return m_field; }

    // The summary table; recordsLine is the line that says what the record
    // file holds.
    std::string Summary(const std::string& recordsLine) const;

private:
    // Decodes one line and acts on it.
    void HandleLine(const std::string& line);
    // Measures and records the pending fix, if any.
    void CompletePending();

    Field m_field;
    RecordWriter m_writer;
    std::string m_partialLine;
    ReplayCounts m_counts;
    std::unique_ptr<LocalPlane> m_plane;
    std::unique_ptr<GuidanceLine> m_line;
    bool m_pending = false;
    bool m_pendingHasTrack = false;
    FixRecord m_pendingRecord;
    FixRecord m_latest;
    long m_recordCount = 0;
    RunningCrossTrack m_crossTrack;
    double m_distance = 0;
};

} // namespace GuidanceTool

#endif
