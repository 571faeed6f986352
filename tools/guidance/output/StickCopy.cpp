#include "StickCopy.h"

#include "IO/Checksums.h"
#include "OutputFile.h"
#include "Printf.h"
#include "Progress.h"
#include "ToolError.h"
#include "UtcTime.h"
#include "Utilities/FileUtilities.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace GuidanceTool
{

namespace
{

const std::size_t kPiece = 65536;

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

// Reads the whole of path a piece at a time, giving each piece to use, and
// returns the CRC-32 of what it read. what names the step in a failure.
template <typename Use>
unsigned int ReadWhole(const std::string& path, const std::string& what, Use use)
{
    Descriptor in{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (in.fd < 0)
        throw IoFailure(path, "cannot open " + what);
    Core::CRC32 crc;
    std::string piece(kPiece, '\0');
    for (;;)
    {
        const ssize_t count = read(in.fd, &piece[0], piece.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw IoFailure(path, "cannot read " + what);
        if (count == 0)
            break;
        crc.Update(reinterpret_cast<const unsigned char*>(piece.data()), static_cast<int>(count));
        use(piece.substr(0, static_cast<std::size_t>(count)));
    }
    crc.Finalise();
    return crc.m_crc;
}

} // namespace

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
            throw IoFailure(folder, "cannot create the run's folder on the stick");
        folder = base + "-" + std::to_string(attempt);
    }
    for (const std::string& file : files)
    {
        const std::string name = Core::Utilities::GetFileName(file);
        // Written through a synced temporary file renamed into place, so the
        // final name only ever holds a complete copy.
        OutputFile copy(folder + "/" + name);
        struct stat info;
        Progress progress("copying " + name, stat(file.c_str(), &info) == 0 ? info.st_size : 0);
        long long copied = 0;
        const unsigned int original = ReadWhole(file, "for copying", [&](const std::string& piece) {
            copy.Write(piece);
            progress.Update(copied += static_cast<long long>(piece.size()));
        });
        copy.Commit();
        progress.Close();
        const unsigned int readBack = ReadWhole(copy.Path(), "to verify the copy", [](const std::string&) {});
        if (readBack != original)
            throw ToolError(kExitIoFailure, copy.Path(), "the copy reads back different from the original",
                            "CRC-32 " + Printf("%08x", readBack) + ", not " + Printf("%08x", original));
        std::printf("copied %s to %s (%lld bytes, CRC-32 %08x, verified)\n", name.c_str(), folder.c_str(), copied,
                    original);
    }
    return folder;
}

} // namespace GuidanceTool
