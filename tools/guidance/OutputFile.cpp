#include "OutputFile.h"

#include "ToolError.h"
#include "Utilities/FileUtilities.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace GuidanceTool
{

namespace
{

// Written out whenever this much is waiting.
const std::size_t kBufferSize = 65536;

// As many links as the system itself follows before giving up with ELOOP.
const int kMostLinks = 40;

void SyncDirectory(const std::string& path)
{
    const std::string directory = DirectoryOf(path);
    const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        throw IoFailure(directory, "cannot open the directory to sync it");
    const bool synced = fsync(fd) == 0;
    const int error = errno;
    close(fd);
    if (!synced)
        throw IoFailure(directory, "cannot sync the directory", error);
}

} // namespace

std::string DirectoryOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
}

OutputTarget ResolveOutput(const std::string& path)
{
    OutputTarget target;
    target.path = path;
    for (int links = 0;; ++links)
    {
        struct stat info;
        if (lstat(target.path.c_str(), &info) != 0)
        {
            if (errno != ENOENT)
                throw IoFailure(target.path, "cannot examine the output");
            return target;
        }
        if (!S_ISLNK(info.st_mode))
        {
            target.exists = true;
            target.regular = S_ISREG(info.st_mode);
            target.mode = info.st_mode & 07777;
            return target;
        }
        if (links == kMostLinks)
            throw IoFailure(path, "cannot follow the symbolic link", ELOOP);
        char link[PATH_MAX];
        const ssize_t length = readlink(target.path.c_str(), link, sizeof link - 1);
        if (length < 0)
            throw IoFailure(target.path, "cannot read the symbolic link");
        const std::string destination(link, static_cast<std::size_t>(length));
        target.path = destination[0] == '/' ? destination : DirectoryOf(target.path) + "/" + destination;
    }
}

OutputFile::OutputFile(const std::string& path) : m_path(path == "-" ? "standard output" : path)
{
    if (path == "-")
    {
        m_target.regular = false;
        m_fd = STDOUT_FILENO;
        return;
    }
    m_target = ResolveOutput(path);
    if (!m_target.regular)
    {
        m_fd = open(m_target.path.c_str(), O_WRONLY | O_CLOEXEC);
        if (m_fd < 0)
            throw IoFailure(path, "cannot open for writing");
        return;
    }
    m_temporary = m_target.path + "." + std::to_string(getpid()) + ".tmp";
    // 0666 less the umask for a new file; an existing one's mode is copied at Commit().
    m_fd = open(m_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (m_fd < 0)
        throw IoFailure(m_temporary, "cannot create the temporary file");
}

OutputFile::~OutputFile()
{
    if (m_fd >= 0 && m_fd != STDOUT_FILENO)
        close(m_fd);
    if (!m_temporary.empty())
        unlink(m_temporary.c_str());
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
    const std::string& shown = m_temporary.empty() ? m_path : m_temporary;
    std::size_t written = 0;
    while (written < m_buffer.size() && !m_readerGone)
    {
        const ssize_t count = write(m_fd, m_buffer.data() + written, m_buffer.size() - written);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EPIPE)
            m_readerGone = true;
        else if (count <= 0)
            throw IoFailure(shown, "write failed", count < 0 ? errno : ENOSPC);
        else
            written += static_cast<std::size_t>(count);
    }
    m_buffer.clear();
}

void OutputFile::Commit()
{
    Flush();
    if (m_temporary.empty())
    {
        // Pipes, terminals and character devices cannot be synced; only a
        // failure the device itself reports counts.
        if (fsync(m_fd) != 0 && errno != EINVAL && errno != EROFS && errno != ENOTSUP)
            throw IoFailure(m_path, "sync failed");
        return;
    }
    if (m_target.exists && fchmod(m_fd, m_target.mode) != 0)
        throw IoFailure(m_temporary, "cannot set the mode");
    if (fsync(m_fd) != 0)
        throw IoFailure(m_temporary, "sync failed");
    const int fd = m_fd;
    m_fd = -1;
    if (close(fd) != 0)
        throw IoFailure(m_temporary, "close failed");
    RenameDurably(m_temporary, m_target.path);
    m_temporary.clear();
}

void RenameDurably(const std::string& from, const std::string& to)
{
    if (rename(from.c_str(), to.c_str()) != 0)
        throw IoFailure(to, "cannot rename '" + from + "' into place");
    SyncDirectory(to);
}

void WriteOutput(const std::string& path, const std::string& contents)
{
    OutputFile output(path);
    if (output.Write(contents))
        output.Commit();
}

} // namespace GuidanceTool
