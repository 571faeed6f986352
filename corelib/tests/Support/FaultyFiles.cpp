#include "Support/FaultyFiles.h"

#include <cerrno>
#include <cstring>

namespace CoreTest
{

const char* FileOpName(FileOp op)
{
    static const char* const kNames[] = {"open", "mkstemp", "write", "sync", "close", "rename", "unlink", "truncate"};
    return op < FileOp::Count ? kNames[static_cast<int>(op)] : "?";
}

std::string FileFault::Describe() const
{
    const std::string which = "call " + std::to_string(nth) + " of " + FileOpName(op);
    if (error == 0)
        return which + " writes short";
    return which + " fails with " + strerrorname_np(error);
}

void FaultyFiles::Arm(const FileFault& fault)
{
    m_fault = fault;
    m_calls.fill(0);
    m_fired = false;
}

bool FaultyFiles::Inject(FileOp op)
{
    const int call = ++m_calls[static_cast<int>(op)];
    if (op != m_fault.op || call != m_fault.nth)
        return false;
    m_fired = true;
    errno = m_fault.error;
    return true;
}

int FaultyFiles::Open(const char* path, int flags, mode_t mode)
{
    return Inject(FileOp::Open) ? -1 : PosixFileLayer::Open(path, flags, mode);
}

int FaultyFiles::CreateTemporary(char* pathTemplate)
{
    return Inject(FileOp::CreateTemporary) ? -1 : PosixFileLayer::CreateTemporary(pathTemplate);
}

ssize_t FaultyFiles::Write(int fd, const void* data, std::size_t length)
{
    if (!Inject(FileOp::Write))
        return PosixFileLayer::Write(fd, data, length);
    if (m_fault.error != 0)
        return -1;
    // A short write: the medium took part of the request.
    return PosixFileLayer::Write(fd, data, length > 1 ? length / 2 : length);
}

int FaultyFiles::Sync(int fd)
{
    return Inject(FileOp::Sync) ? -1 : PosixFileLayer::Sync(fd);
}

int FaultyFiles::Close(int fd)
{
    // The descriptor is released even when close reports an error, as on Linux.
    if (Inject(FileOp::Close))
    {
        const int error = errno;
        PosixFileLayer::Close(fd);
        errno = error;
        return -1;
    }
    return PosixFileLayer::Close(fd);
}

int FaultyFiles::Rename(const char* from, const char* to)
{
    return Inject(FileOp::Rename) ? -1 : PosixFileLayer::Rename(from, to);
}

int FaultyFiles::Unlink(const char* path)
{
    return Inject(FileOp::Unlink) ? -1 : PosixFileLayer::Unlink(path);
}

int FaultyFiles::Truncate(int fd, off_t length)
{
    return Inject(FileOp::Truncate) ? -1 : PosixFileLayer::Truncate(fd, length);
}

} // namespace CoreTest
