// Appends fix records to the replay's record file on a worker thread, so the
// main loop never waits for the medium: each record is one block, synced
// before its completion comes back to the main loop through Process() (or,
// for a file replay, synced in groups).
// The records are written to "<file>.<start time>.partial" beside the record
// file and copied over it by Commit() through an OutputFile, so a run that
// fails or is cut short leaves the previous record file as it was. The
// records a run synced are never deleted: a partial file left by an earlier
// run is renamed "<name>-interrupted-<its start time><ext>" and reported on
// standard error before the new run starts.
// Threading: every member belongs to the main thread; only the queued writes
// run on the worker, which never receives Ctrl-C or SIGTERM.
#ifndef GUIDANCE_RECORDWRITER_H
#define GUIDANCE_RECORDWRITER_H

#include "FixRecord.h"
#include "Formats/AppendOnlyFile.h"
#include "Threading/WorkerThread.h"

#include <chrono>
#include <string>

namespace GuidanceTool
{

// The block file the records go to. The block writer syncs after every
// block; in groups, a sync happens only once a group's blocks or a second of
// them are waiting, and SyncNow() syncs whatever is left. A file replay reads
// far faster than one sync per record allows, while a power cut during it
// loses at most a group: the input file is still there to replay.
// Threading: used by the worker thread alone once records are queued.
class GroupedSyncFile : public Core::AppendOnlyFile
{
public:
    void SyncEvery(int blocks) { m_group = blocks; }
    bool Flush() override;
    bool SyncNow();
    // Blocks written since the last sync.
    int Unsynced() const { return m_unsynced; }

private:
    int m_group = 1;
    int m_unsynced = 0;
    std::chrono::steady_clock::time_point m_lastSync = std::chrono::steady_clock::now();
};

class RecordWriter
{
public:
    // Keeps any earlier partial file, creates this run's and starts the
    // worker. Throws ToolError naming the file and the reason on failure.
    explicit RecordWriter(const std::string& path);
    // Stops the worker if Finish() was not called. The partial file stays,
    // unless it is empty, for the next run to keep.
    ~RecordWriter();
    RecordWriter(const RecordWriter&) = delete;
    RecordWriter& operator=(const RecordWriter&) = delete;

    // Syncs the records in groups of this many rather than one by one (see
    // GroupedSyncFile); call before the first Append().
    void SyncEvery(int records) { m_file.SyncEvery(records); }
    // Queues the record for writing; waits for earlier writes while too
    // many are queued.
    void Append(const FixRecord& record);
    // Runs the completions of the writes finished so far.
    void Process();
    // Writes everything queued and stops the worker. Throws ToolError naming
    // the partial file and the reason when any record could not be written.
    void Finish();
    // Replaces the record file with the finished partial file's records, then
    // removes the partial file. Throws ToolError, the partial file kept.
    void Commit();

    // The file the records are written to until Commit().
    const std::string& PartialPath() const { return m_partialPath; }
    // Records queued but not yet written.
    int Outstanding() { return m_worker.GetQueueSize(); }
    int Written() const { return m_written; }
    int Failed() const { return m_failed; }

    // Called on the main thread by a write's completion; error is the errno
    // of a failed write.
    void Completed(bool ok, int error);

private:
    std::string m_path;
    std::string m_partialPath;
    GroupedSyncFile m_file;
    Core::WorkerThread m_worker;
    bool m_running = false;
    int m_written = 0;
    int m_failed = 0;
    int m_firstError = 0;
};

// Renames every partial record file an earlier run left beside path to
// "<name>-interrupted-<start time><ext>" and says so on standard error.
// Throws ToolError when one cannot be renamed.
void KeepInterruptedRecords(const std::string& path);

} // namespace GuidanceTool

#endif
