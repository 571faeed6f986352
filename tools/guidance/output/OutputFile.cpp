#include "OutputFile.h"

#include "ToolError.h"

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace GuidanceTool
{

namespace
{

// Written out whenever this much is waiting.
const std::size_t kBufferSize = 65536;

// A unique temporary name beside the target, synced, renamed, directory synced,
// and a failed rename reported.
const Core::Utilities::ReplacementOptions kReplacement = {".XXXXXX", true, true, true, false};

// The permission bits a new file gets: 0666 less the umask.
mode_t NewFileMode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

OutputFile::OutputFile(const std::string& path)
    : m_path(path == "-" ? "standard output" : path), m_standardOutput(path == "-"), m_replacement(path, kReplacement)
{
    if (m_standardOutput)
        return;
    // Following symbolic links: the mode of the file that is replaced.
    struct stat previous;
    const bool existed = stat(path.c_str(), &previous) == 0;
    errno = 0;
    if (!m_replacement.Begin())
        throw IoFailure(path, "cannot create a temporary file to replace it", errno != 0 ? errno : EIO);
    const std::string& temporary = m_replacement.TemporaryName();
    if (!temporary.empty() && chmod(temporary.c_str(), existed ? previous.st_mode & 07777 : NewFileMode()) != 0)
        throw IoFailure(temporary, "cannot set the mode");
}

std::string OutputFile::Shown() const
{
    return m_replacement.TemporaryName().empty() ? m_path : m_replacement.TemporaryName();
}

bool OutputFile::Write(const std::string& text)
{
    m_buffer += text;
    if (m_buffer.size() >= kBufferSize)
        Flush();
    return !m_readerGone;
}

void OutputFile::Flush()
{
    if (m_buffer.empty() || m_readerGone)
        return;
    errno = 0;
    if (m_standardOutput)
    {
        std::fflush(stdout);
        std::size_t written = 0;
        while (written < m_buffer.size())
        {
            const ssize_t count = write(STDOUT_FILENO, m_buffer.data() + written, m_buffer.size() - written);
            if (count < 0 && errno == EINTR)
                continue;
            // A reader that closed its end early (`guidance simulate | head`) wants no more.
            if (count < 0 && errno == EPIPE)
            {
                m_readerGone = true;
                break;
            }
            if (count <= 0)
                throw IoFailure(m_path, "write failed", count < 0 ? errno : ENOSPC);
            written += static_cast<std::size_t>(count);
        }
    }
    else if (!m_replacement.Write(m_buffer.data(), m_buffer.size()))
        throw IoFailure(Shown(), "write failed", errno != 0 ? errno : ENOSPC);
    m_buffer.clear();
}

void OutputFile::Commit()
{
    Flush();
    if (m_standardOutput)
        return;
    const std::string shown = Shown();
    errno = 0;
    if (!m_replacement.Commit())
    {
        const int error = errno != 0 ? errno : EIO;
        // A write or sync failure leaves the temporary file: it holds nothing
        // the previous version does not.
        const bool failedBeforeRename = m_replacement.Failed();
        m_replacement.Abandon();
        throw IoFailure(failedBeforeRename ? shown : m_path,
                        failedBeforeRename ? "sync failed" : "cannot rename into place or sync the directory", error);
    }
}

} // namespace GuidanceTool
