#include "RecordWriter.h"

#include "Options.h"
#include "RecordFile.h"
#include "Utilities/FileUtilities.h"

#include <cstdio>
#include <memory>

namespace GuidanceTool
{

namespace
{

typedef Core::WorkerThread::BoundPtr BoundPtr;

// The worker's half: appends one block and notes whether it reached the medium.
class WriteBlock : public Core::Bound<void>
{
public:
    WriteBlock(Core::AppendOnlyFile& file, const std::string& payload, std::shared_ptr<bool> ok)
        : m_file(file), m_payload(payload), m_ok(std::move(ok))
    {
    }
    void Execute() override { *m_ok = m_file.WriteBlock(FixRecord::kBlockTag, m_payload); }

private:
    Core::AppendOnlyFile& m_file;
    Core::IO::CDataBuffer m_payload;
    // Written by the worker before the completion is queued, read by the
    // completion on the main thread: the worker's queue orders the two.
    std::shared_ptr<bool> m_ok;
};

// The main loop's half: counts the write.
class WriteDone : public Core::Bound<void>
{
public:
    WriteDone(RecordWriter& writer, std::shared_ptr<bool> ok) : m_writer(writer), m_ok(std::move(ok)) {}
    void Execute() override { m_writer.Completed(*m_ok); }

private:
    RecordWriter& m_writer;
    std::shared_ptr<bool> m_ok;
};

} // namespace

RecordWriter::RecordWriter(const std::string& path) : m_path(path), m_partialPath(path + ".partial")
{
    // Blocks are appended, so a partial file left by an interrupted run must go first.
    std::remove(m_partialPath.c_str());
    if (!m_file.Open(m_partialPath))
        throw ToolError("cannot create record file '" + m_partialPath + "'");
    m_worker.Start();
    m_running = true;
}

RecordWriter::~RecordWriter()
{
    if (m_running)
    {
        m_worker.StopNow();
        m_worker.Join();
        m_file.Close();
        std::remove(m_partialPath.c_str());
    }
}

void RecordWriter::Append(const FixRecord& record)
{
    auto ok = std::make_shared<bool>(false);
    m_worker.AddItem(BoundPtr(new WriteBlock(m_file, EncodeFixRecord(record), ok)),
                     BoundPtr(new WriteDone(*this, ok)));
}

void RecordWriter::Process()
{
    m_worker.Process();
}

void RecordWriter::Completed(bool ok)
{
    ++(ok ? m_written : m_failed);
}

void RecordWriter::Finish()
{
    m_worker.Stop();
    m_worker.Join();
    m_running = false;
    m_worker.Process();
    m_file.Close();
    if (std::rename(m_partialPath.c_str(), m_path.c_str()) != 0)
        throw ToolError("cannot rename '" + m_partialPath + "' to '" + m_path + "'");
    Core::Utilities::SyncParentDir(m_path);
}

} // namespace GuidanceTool
