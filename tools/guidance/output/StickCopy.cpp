#include "StickCopy.h"

#include "IO/Checksums.h"
#include "ToolError.h"
#include "Progress.h"
#include "guidance/Printf.h"
#include "Utilities/FileUtilities.h"
#include "input/UtcTime.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace GuidanceTool
{

namespace
{

const std::size_t kBlock = 65536;

[[noreturn]] void Fail(const std::string& file, const std::string& what)
{
    throw IoFailure(file, what);
}

// A descriptor closed when it goes out of scope.
struct Descriptor
{
    int fd;
    ~Descriptor()
    {
        if (fd >= 0)
            close(fd);
    }
};

// Reads the whole of fd, giving each block to use; false on a read error.
template <typename Use>
bool ReadAll(int fd, Use use)
{
    unsigned char buffer[kBlock];
    for (;;)
    {
        const ssize_t count = read(fd, buffer, sizeof buffer);
        if (count == 0)
            return true;
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        use(buffer, static_cast<std::size_t>(count));
    }
}

// Writes all of data; false on a write error.
bool WriteAll(int fd, const unsigned char* data, std::size_t size)
{
    while (size > 0)
    {
        const ssize_t count = write(fd, data, size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

// Copies one file into a new file and returns the CRC-32 of what it read.
unsigned int CopyFile(const std::string& from, const std::string& to)
{
    Descriptor in{open(from.c_str(), O_RDONLY | O_CLOEXEC)};
    if (in.fd < 0)
        Fail(from, "cannot open for copying");
    struct stat info;
    fstat(in.fd, &info);
    Descriptor out{open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)};
    if (out.fd < 0)
        Fail(to, "cannot create");
    Progress progress("copying " + Core::Utilities::GetFileName(from), static_cast<long long>(info.st_size));
    Core::CRC32 crc;
    long long copied = 0;
    bool written = true;
    const bool read = ReadAll(in.fd, [&](const unsigned char* data, std::size_t size) {
        crc.Update(data, static_cast<int>(size));
        written = written && WriteAll(out.fd, data, size);
        progress.Update(copied += static_cast<long long>(size));
    });
    if (!read)
        Fail(from, "cannot read");
    if (!written)
        Fail(to, "cannot write");
    if (fsync(out.fd) != 0)
        Fail(to, "cannot sync");
    if (close(out.fd) != 0)
    {
        out.fd = -1;
        Fail(to, "cannot close");
    }
    out.fd = -1;
    crc.Finalise();
    return crc.m_crc;
}

// The CRC-32 of a file as it reads back.
unsigned int FileCrc(const std::string& path)
{
    Descriptor in{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (in.fd < 0)
        Fail(path, "cannot open to verify");
    Core::CRC32 crc;
    if (!ReadAll(in.fd, [&](const unsigned char* data, std::size_t size) { crc.Update(data, static_cast<int>(size)); }))
        Fail(path, "cannot read back to verify");
    crc.Finalise();
    return crc.m_crc;
}

} // namespace

const char kStickDirectory[] = "/mnt/usb/";

std::string RunFolderName(double utc)
{
    if (utc < 0)
        return "run-undated";
    // Colons are not allowed in names on the sticks' file systems.
    std::string name = "run-" + IsoTime(utc, 0);
    for (char& c : name)
        if (c == ':')
            c = '-';
    return name;
}

std::string CopyRunToStick(const std::vector<std::string>& files, const std::string& stick, double runStart)
{
    const std::string base = stick + (stick.empty() || stick.back() == '/' ? "" : "/") + RunFolderName(runStart);
    std::string folder = base;
    // mkdir fails on an existing name, so a folder is never shared with an earlier run.
    for (int attempt = 2; mkdir(folder.c_str(), 0777) != 0; ++attempt)
    {
        if (errno != EEXIST)
            Fail(folder, "cannot create the run's folder on the stick");
        folder = base + "-" + std::to_string(attempt);
    }
    for (const std::string& file : files)
    {
        const std::string copy = folder + "/" + Core::Utilities::GetFileName(file);
        const unsigned int written = CopyFile(file, copy);
        const unsigned int readBack = FileCrc(copy);
        if (readBack != written)
            throw ToolError(kExitIoFailure, copy, "the copy reads back different from the original",
                            "CRC-32 " + Printf("%08x", readBack) + ", not " + Printf("%08x", written));
        struct stat info;
        stat(copy.c_str(), &info);
        std::printf("copied %s to %s (%lld bytes, CRC-32 %08x, verified)\n", Core::Utilities::GetFileName(file).c_str(),
                    folder.c_str(), static_cast<long long>(info.st_size), written);
    }
    // The folder's entries reach the stick only when the folder is synced.
    Descriptor directory{open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (directory.fd < 0 || fsync(directory.fd) != 0)
        Fail(folder, "cannot sync the run's folder");
    return folder;
}

} // namespace GuidanceTool
