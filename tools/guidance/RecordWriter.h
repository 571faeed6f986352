// Appends fix records to the replay's record file on a worker thread, so the
// main loop never waits for the medium: each record is one block, synced
// before its completion comes back to the main loop through Process().
// The file is written as "<path>.partial" and renamed to path by Finish(), so
// an interrupted run leaves no incomplete file under the final name.
// Threading: every member belongs to the main thread; only the queued writes
// run on the worker.
#ifndef GUIDANCE_RECORDWRITER_H
#define GUIDANCE_RECORDWRITER_H

#include "FixRecord.h"
#include "Formats/AppendOnlyFile.h"
#include "Threading/WorkerThread.h"

#include <string>

namespace GuidanceTool
{

class RecordWriter
{
public:
    // Creates "<path>.partial" afresh and starts the worker. Throws ToolError
    // when the file cannot be created.
    explicit RecordWriter(const std::string& path);
    // Stops the worker if Finish() was not called; the partial file is removed.
    ~RecordWriter();
    RecordWriter(const RecordWriter&) = delete;
    RecordWriter& operator=(const RecordWriter&) = delete;

    // Queues the record for writing.
    void Append(const FixRecord& record);
    // Runs the completions of the writes finished so far.
    void Process();
    // Writes everything queued, stops the worker and renames the file into place.
    // Throws ToolError when the rename fails.
    void Finish();

    // Records queued but not yet written.
    int Outstanding() { return m_worker.GetQueueSize(); }
    int Written() const { return m_written; }
    int Failed() const { return m_failed; }

    // Called on the main thread by a write's completion.
    void Completed(bool ok);

private:
    std::string m_path;
    std::string m_partialPath;
    Core::AppendOnlyFile m_file;
    Core::WorkerThread m_worker;
    bool m_running = false;
    int m_written = 0;
    int m_failed = 0;
};

} // namespace GuidanceTool

#endif
