#include "Utilities/FileLayer.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace Core
{
namespace Utilities
{

namespace
{

PosixFileLayer s_posix;
FileLayer* s_layer = &s_posix;

// Links followed before giving up, as the kernel does (ELOOP).
const int kMaxLinkDepth = 40;

// The directory part of path for syncing: "." when it has no '/', "/" for a
// file in the root.
std::string DirectoryOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The file a write to path lands in: path itself, or the end of its chain of
// symbolic links (which need not exist yet).
std::string FinalTarget(const std::string& path)
{
    std::string current = path;
    for (int depth = 0; depth < kMaxLinkDepth; ++depth)
    {
        struct stat status;
        if (lstat(current.c_str(), &status) != 0 || !S_ISLNK(status.st_mode))
            return current;
        char link[PATH_MAX];
        const ssize_t length = readlink(current.c_str(), link, sizeof link - 1);
        if (length < 0)
            return current;
        const std::string next(link, static_cast<std::size_t>(length));
        current = next[0] == '/' ? next : DirectoryOf(current) + "/" + next;
    }
    return current;
}

// True when the suffix asks mkstemp for a unique name.
bool UniqueSuffix(const char* suffix)
{
    const std::size_t length = std::strlen(suffix);
    return length >= 6 && std::strcmp(suffix + length - 6, "XXXXXX") == 0;
}

} // namespace

FileLayer::~FileLayer() = default;

int PosixFileLayer::Open(const char* path, int flags, mode_t mode)
{
    return ::open(path, flags | O_CLOEXEC, mode);
}

int PosixFileLayer::CreateTemporary(char* pathTemplate)
{
    return ::mkostemp(pathTemplate, O_CLOEXEC);
}

ssize_t PosixFileLayer::Write(int fd, const void* data, std::size_t length)
{
    return ::write(fd, data, length);
}

ssize_t PosixFileLayer::Read(int fd, void* buffer, std::size_t length)
{
    return ::read(fd, buffer, length);
}

int PosixFileLayer::Sync(int fd)
{
    return ::fsync(fd);
}

void PosixFileLayer::SyncAll()
{
    ::sync();
}

int PosixFileLayer::Close(int fd)
{
    return ::close(fd);
}

int PosixFileLayer::Rename(const char* from, const char* to)
{
    return ::rename(from, to);
}

int PosixFileLayer::Unlink(const char* path)
{
    return ::unlink(path);
}

int PosixFileLayer::Truncate(int fd, off_t length)
{
    return ::ftruncate(fd, length);
}

int PosixFileLayer::Stat(const char* path, struct stat* status)
{
    return ::stat(path, status);
}

FileLayer& Files()
{
    return *s_layer;
}

FileLayer* SetFiles(FileLayer* layer)
{
    FileLayer* previous = s_layer;
    s_layer = layer != nullptr ? layer : &s_posix;
    return previous;
}

bool WriteAll(int fd, const void* data, std::size_t length)
{
    const char* bytes = static_cast<const char*>(data);
    while (length > 0)
    {
        const ssize_t written = Files().Write(fd, bytes, length);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
        {
            // A write that makes no progress and sets no error is a full medium.
            if (written == 0)
                errno = ENOSPC;
            return false;
        }
        bytes += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

bool SyncDirectoryOf(const std::string& path)
{
    const int fd = Files().Open(DirectoryOf(path).c_str(), O_RDONLY | O_DIRECTORY, 0);
    if (fd < 0)
        return false;
    // A filesystem that cannot sync directories (EINVAL) offers nothing more.
    const bool synced = Files().Sync(fd) == 0 || errno == EINVAL;
    Files().Close(fd);
    return synced;
}

FileReplacement::FileReplacement(const std::string& path, const ReplacementOptions& options)
    : m_path(path), m_options(options), m_fd(-1), m_inPlace(false), m_failed(false)
{
}

FileReplacement::~FileReplacement()
{
    Abandon();
}

bool FileReplacement::Begin()
{
    // Devices, pipes and sockets cannot be renamed over: write into them,
    // through the name as given, since a link such as "/dev/stdout" may lead
    // to a pipe that has no name of its own. A directory is left to the
    // rename, which fails.
    struct stat status;
    m_inPlace = Files().Stat(m_path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
    if (m_inPlace)
    {
        m_fd = Files().Open(m_path.c_str(), O_WRONLY | O_TRUNC, 0);
        return m_fd >= 0;
    }
    m_target = FinalTarget(m_path);
    m_temporary = m_target + m_options.suffix;
    if (UniqueSuffix(m_options.suffix))
        m_fd = Files().CreateTemporary(&m_temporary[0]);
    else
        m_fd = Files().Open(m_temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (m_fd < 0)
        m_temporary.clear();
    return m_fd >= 0;
}

bool FileReplacement::Write(const void* data, std::size_t length)
{
    if (m_fd < 0 || (m_failed && !m_options.renameDespiteErrors))
        return false;
    if (!WriteAll(m_fd, data, length))
        m_failed = true;
    return !m_failed;
}

bool FileReplacement::Commit()
{
    if (m_fd < 0)
        return false;
    if (m_inPlace)
        return CloseDescriptor() && !m_failed;
    // A failed fsync is not retried: the kernel may have dropped the unwritten
    // pages already, and a second fsync would report success over the loss.
    if (m_options.syncFile && !m_failed && Files().Sync(m_fd) != 0)
        m_failed = true;
    if (!CloseDescriptor())
        m_failed = true;
    if (m_failed && !m_options.renameDespiteErrors)
        return false;
    const std::string temporary = m_temporary;
    m_temporary.clear();
    if (Files().Rename(temporary.c_str(), m_target.c_str()) != 0)
    {
        if (!m_options.checkRename)
            return true;
        Files().Unlink(temporary.c_str());
        return false;
    }
    if (m_options.syncDirectory && !SyncDirectoryOf(m_target))
        return false;
    return true;
}

void FileReplacement::Abandon(bool remove)
{
    CloseDescriptor();
    if (remove && !m_temporary.empty())
        Files().Unlink(m_temporary.c_str());
    m_temporary.clear();
}

bool FileReplacement::CloseDescriptor()
{
    if (m_fd < 0)
        return true;
    const int fd = m_fd;
    m_fd = -1;
    return Files().Close(fd) == 0;
}

bool ReplaceFile(const std::string& path, const std::string& contents, const ReplacementOptions& options)
{
    // Whatever fails, the destructor removes a temporary file still left.
    FileReplacement replacement(path, options);
    if (!replacement.Begin())
        return false;
    replacement.Write(contents.data(), contents.size());
    return replacement.Commit();
}

} // namespace Utilities
} // namespace Core
