// The replay of one run of NMEA input: splits the input into sentences,
// gathers them into fixes (FixAssembler), measures each fix against the
// guidance line (in a plane around the first fix), records it through a
// RecordWriter, and keeps the counts, the run's figures and the checks of the
// input for the summary. Memory stays bounded however long the input: records
// go to the file, not into memory, and the figures are kept running.
// Not thread-safe: belongs to the main thread.
#ifndef GUIDANCE_REPLAYER_H
#define GUIDANCE_REPLAYER_H

#include "Field.h"
#include "FixAssembler.h"
#include "FixRecord.h"
#include "GuidanceLine.h"
#include "InputCheck.h"
#include "LocalPlane.h"
#include "RecordWriter.h"
#include "RunStatistics.h"

#include <memory>
#include <string>
#include <vector>

namespace GuidanceTool
{

struct ReplayCounts
{
    long read = 0;        // non-empty lines
    long decoded = 0;     // sentences decoded (GGA, RMC and VTG)
    long checksum = 0;    // rejected because the checksum did not match
    long malformed = 0;   // rejected because a field was missing or bad
    long unsupported = 0; // intact sentences of types guidance does not decode
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
    // The input paused after complete lines: the open epoch is taken as
    // complete and its fix recorded now rather than when the next epoch's
    // first sentence arrives. For a live receiver, which pauses between
    // epochs.
    void InputPaused();
    // Ends the input (a last line without a line end counts) and writes every
    // record. Throws ToolError when a record could not be written.
    void Finish();
    // Renames the record file into place (RecordWriter::Commit()).
    void CommitRecords() { m_writer.Commit(); }
    // Syncs the records in groups of this many (RecordWriter::SyncEvery()).
    void SyncRecordsEvery(int records) { m_writer.SyncEvery(records); }
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
    // The run's figures: cross-track, distance, passes (complete after Finish()).
    const RunStatistics& Statistics() const { return m_statistics; }
    // Distance between successive fixes, summed, metres.
    double DistanceDriven() const { return m_statistics.Distance(); }
    // What the input lacked, for warnings.
    const InputCheck& Check() const { return m_check; }
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
    // Decodes one line and acts on the fixes it completes.
    void HandleLine(const std::string& line);
    // Measures and records the fixes the assembler has finished.
    void TakeFixes();

    Field m_field;
    RecordWriter m_writer;
    std::string m_partialLine;
    ReplayCounts m_counts;
    std::unique_ptr<LocalPlane> m_plane;
    std::unique_ptr<GuidanceLine> m_line;
    InputCheck m_check;
    FixAssembler m_assembler;
    RunStatistics m_statistics;
    FixRecord m_latest;
    long m_recordCount = 0;
};

} // namespace GuidanceTool

#endif
