#include "RecordWriter.h"

#include "OutputFile.h"
#include "RecordFile.h"
#include "ToolError.h"
#include "Utilities/FileLayer.h"
#include "Utilities/FileUtilities.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <dirent.h>
#include <memory>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace GuidanceTool
{

namespace
{

typedef Core::WorkerThread::BoundPtr BoundPtr;

const char kPartialSuffix[] = ".partial";
// A file is read far faster than its records reach the medium; past this
// many queued records the reader waits for the writes, so that memory stays
// bounded whatever the input's length.
const int kMostQueued = 256;
// Copied a piece at a time into an output that is not a regular file.
const std::size_t kCopyPiece = 65536;

// What the worker's write left for its completion.
struct WriteResult
{
    bool ok = false;
    int error = 0;
};

// The worker's half: appends one block and notes whether it reached the medium.
class WriteBlock : public Core::Bound<void>
{
public:
    WriteBlock(Core::AppendOnlyFile& file, const std::string& payload, std::shared_ptr<WriteResult> result)
        : m_file(file), m_payload(payload), m_result(std::move(result))
    {
    }
    void Execute() override
    {
        errno = 0;
        m_result->ok = m_file.WriteBlock(FixRecord::kBlockTag, m_payload);
        m_result->error = errno != 0 ? errno : EIO;
    }

private:
    Core::AppendOnlyFile& m_file;
    Core::IO::CDataBuffer m_payload;
    // Written by the worker before the completion is queued, read by the
    // completion on the main thread: the worker's queue orders the two.
    std::shared_ptr<WriteResult> m_result;
};

// The main loop's half: counts the write.
class WriteDone : public Core::Bound<void>
{
public:
    WriteDone(RecordWriter& writer, std::shared_ptr<WriteResult> result) : m_writer(writer), m_result(std::move(result))
    {
    }
    void Execute() override { m_writer.Completed(m_result->ok, m_result->error); }

private:
    RecordWriter& m_writer;
    std::shared_ptr<WriteResult> m_result;
};

// UTC as 20261125T021500Z: sorts by time and is a valid file name everywhere.
std::string TimeStamp(std::time_t when)
{
    std::tm utc{};
    gmtime_r(&when, &utc);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y%m%dT%H%M%SZ", &utc);
    return stamp;
}

bool Exists(const std::string& path)
{
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

// path's directory, "." for a bare name.
std::string DirectoryOf(const std::string& path)
{
    const std::string name = Core::Utilities::GetFileName(path);
    return path.size() == name.size() ? "." : path.substr(0, path.size() - name.size() - 1);
}

// Renames from to to through the file layer and syncs the directory.
void RenameDurably(const std::string& from, const std::string& to)
{
    if (Core::Utilities::Files().Rename(from.c_str(), to.c_str()) != 0)
        throw IoFailure(from, "cannot rename to '" + to + "'");
    if (!Core::Utilities::SyncDirectoryOf(to))
        throw IoFailure(DirectoryOf(to), "cannot sync the directory");
}

// "<stem>-interrupted-<stamp><ext>", numbered when that name is taken.
std::string InterruptedName(const std::string& path, const std::string& stamp)
{
    const std::string stem = Core::Utilities::RemoveFileExtension(path);
    const std::string extension = path.substr(stem.size());
    std::string name = stem + "-interrupted-" + stamp + extension;
    for (int n = 2; Exists(name); ++n)
        name = stem + "-interrupted-" + stamp + "-" + std::to_string(n) + extension;
    return name;
}

} // namespace

void KeepInterruptedRecords(const std::string& path)
{
    const std::string directory = DirectoryOf(path);
    const std::string name = Core::Utilities::GetFileName(path);
    DIR* entries = opendir(directory.c_str());
    if (entries == nullptr)
        throw IoFailure(directory, "cannot list the directory");
    std::vector<std::string> partials;
    while (const dirent* entry = readdir(entries))
    {
        const std::string found = entry->d_name;
        const std::size_t suffix = found.size() - std::min(found.size(), sizeof kPartialSuffix - 1);
        if (found.compare(0, name.size() + 1, name + ".") == 0 &&
            found.compare(suffix, std::string::npos, kPartialSuffix) == 0)
            partials.push_back(found);
    }
    closedir(entries);
    for (const std::string& partial : partials)
    {
        // "<name>.<stamp>.partial"; a bare "<name>.partial" of an older
        // version is named by the time it was last written.
        const std::size_t stampLength = partial.size() - name.size() - (sizeof kPartialSuffix - 1);
        std::string stamp = stampLength > 1 ? partial.substr(name.size() + 1, stampLength - 1) : "";
        const std::string from = directory + "/" + partial;
        struct stat info;
        if (stamp.empty())
            stamp = TimeStamp(stat(from.c_str(), &info) == 0 ? info.st_mtime : std::time(nullptr));
        const std::string to = InterruptedName(directory + "/" + name, stamp);
        RenameDurably(from, to);
        PrintMessage(from + ": kept the records of an interrupted run: renamed to " + to);
    }
}

bool GroupedSyncFile::Flush()
{
    ++m_unsynced;
    if (m_unsynced < m_group && std::chrono::steady_clock::now() - m_lastSync < std::chrono::seconds(1))
        return true;
    return SyncNow();
}

bool GroupedSyncFile::SyncNow()
{
    m_unsynced = 0;
    m_lastSync = std::chrono::steady_clock::now();
    return AppendOnlyFile::Flush();
}

RecordWriter::RecordWriter(const std::string& path) : m_path(path)
{
    KeepInterruptedRecords(path);
    m_partialPath = path + "." + TimeStamp(std::time(nullptr)) + kPartialSuffix;
    errno = 0;
    if (!m_file.Open(m_partialPath))
        throw IoFailure(m_partialPath, "cannot create the record file", errno != 0 ? errno : EIO);
    // The worker inherits the signal mask: Ctrl-C and SIGTERM must reach the
    // main thread, never interrupt a write.
    sigset_t interruptions;
    sigset_t previous;
    sigemptyset(&interruptions);
    sigaddset(&interruptions, SIGINT);
    sigaddset(&interruptions, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &interruptions, &previous);
    m_worker.Start();
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    m_running = true;
}

RecordWriter::~RecordWriter()
{
    if (m_running)
    {
        m_worker.StopNow();
        m_worker.Join();
    }
    m_file.Close();
    // Nothing to keep in an empty file.
    struct stat info;
    if (!m_partialPath.empty() && stat(m_partialPath.c_str(), &info) == 0 && info.st_size == 0)
        unlink(m_partialPath.c_str());
}

void RecordWriter::Append(const FixRecord& record)
{
    if (m_worker.GetQueueSize() >= kMostQueued)
    {
        m_worker.Drain();
        m_worker.Process();
    }
    auto result = std::make_shared<WriteResult>();
    m_worker.AddItem(BoundPtr(new WriteBlock(m_file, EncodeFixRecord(record), result)),
                     BoundPtr(new WriteDone(*this, result)));
}

void RecordWriter::Process()
{
    m_worker.Process();
}

void RecordWriter::Completed(bool ok, int error)
{
    ++(ok ? m_written : m_failed);
    if (!ok && m_firstError == 0)
        m_firstError = error;
}

void RecordWriter::Finish()
{
    m_worker.Stop();
    m_worker.Join();
    m_running = false;
    m_worker.Process();
    // The last group: its records count as lost when the sync fails.
    const int unsynced = m_file.Unsynced();
    errno = 0;
    if (unsynced > 0 && !m_file.SyncNow())
    {
        m_written -= unsynced;
        m_failed += unsynced;
        if (m_firstError == 0)
            m_firstError = errno != 0 ? errno : EIO;
    }
    m_file.Close();
    if (m_failed > 0)
        throw IoFailure(m_partialPath,
                        "cannot append " + std::to_string(m_failed) + " of " + std::to_string(m_failed + m_written) +
                            " records",
                        m_firstError);
}

void RecordWriter::Commit()
{
    // Copied rather than renamed, so that the record file is replaced like
    // every other output: its target when it is a symbolic link, in place
    // when it is a device, keeping its mode.
    std::FILE* records = std::fopen(m_partialPath.c_str(), "rb");
    if (records == nullptr)
        throw IoFailure(m_partialPath, "cannot read the records back");
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> closer(records, std::fclose);
    OutputFile output(m_path);
    std::vector<char> piece(kCopyPiece);
    for (std::size_t count; (count = std::fread(piece.data(), 1, piece.size(), records)) > 0;)
        output.Write(std::string(piece.data(), count));
    if (std::ferror(records))
        throw IoFailure(m_partialPath, "cannot read the records back");
    output.Commit();
    // Synced in full under the final name: the partial file holds nothing more.
    Core::Utilities::Files().Unlink(m_partialPath.c_str());
    m_partialPath.clear();
}

} // namespace GuidanceTool
