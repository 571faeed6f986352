#include "Utilities/FileUtilities.h"

#include "Utilities/FileLayer.h"
#include "Utilities/FilesystemSize.h"

#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <glob.h>
#include <unistd.h>

namespace Core
{
namespace Utilities
{

namespace
{

// Filesystem types of the device's internal flash; statfs on the stick's mount
// point reports one of them when no stick is mounted there.
const uint32_t kCramfsMagic = 0x28CD3D45;
const uint32_t kJffs2Magic = 0x72B6;
const uint32_t kSquashfsMagic = 0x73717368;

const size_t kReadBlockSize = 4096;

// The C locale's isalnum, whatever the global locale says about high bytes.
bool IsAsciiAlphanumeric(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Position of the dot that starts the extension: the last dot, provided no '/'
// follows it; npos when there is none.
size_t ExtensionDot(const std::string& path)
{
    const size_t dot = path.rfind('.');
    const size_t slash = path.rfind('/');
    if (dot == std::string::npos || (slash != std::string::npos && slash > dot))
        return std::string::npos;
    return dot;
}

// Bytes times blocks in 32-bit arithmetic, as KiB: wraps at 4 GiB on purpose.
unsigned int WrappedKiB(uint32_t blockSize, uint32_t blocks)
{
    return static_cast<uint32_t>(blockSize * blocks) >> 10;
}

} // namespace

namespace Internal
{

void FilesystemSizeKiB(const struct statfs64& status, unsigned int& freeKiB, unsigned int& totalKiB)
{
    const uint32_t type = static_cast<uint32_t>(status.f_type);
    if (type == kCramfsMagic || type == kJffs2Magic || type == kSquashfsMagic)
    {
        freeKiB = 0;
        totalKiB = 0;
        return;
    }
    const uint32_t blockSize = static_cast<uint32_t>(status.f_bsize);
    freeKiB = WrappedKiB(blockSize, static_cast<uint32_t>(status.f_bavail));
    totalKiB = WrappedKiB(blockSize, static_cast<uint32_t>(status.f_blocks));
}

} // namespace Internal

bool ReadFile(const std::string& path, std::string& contents)
{
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return false;
    char block[kReadBlockSize];
    size_t count;
    do
    {
        count = std::fread(block, 1, sizeof block, file);
        contents.append(block, count);
    } while (count == sizeof block);
    std::fclose(file);
    return true;
}

bool WriteFile(const std::string& path, const std::string& contents)
{
    // The temporary file sits beside the target so that the rename stays within
    // one filesystem and is atomic. Syncing is the caller's choice, and a
    // failed rename is not reported.
    static const ReplacementOptions kOptions = {"XXXXXX", false, false, false, false};
    return ReplaceFile(path, contents, kOptions);
}

bool FileExists(const std::string& path)
{
    return access(path.c_str(), R_OK) == 0;
}

bool FileDelete(const std::string& path)
{
    return unlink(path.c_str()) == 0;
}

bool Glob(const std::string& pattern, std::list<std::string>& paths)
{
    glob_t matches;
    const int result = glob(pattern.c_str(), 0, nullptr, &matches);
    if (result == 0)
    {
        for (size_t i = 0; i < matches.gl_pathc; ++i)
            paths.push_back(matches.gl_pathv[i]);
    }
    globfree(&matches);
    return result == 0 || result == GLOB_NOMATCH;
}

std::string GetFileName(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string GetFileExtension(const std::string& path)
{
    const size_t dot = ExtensionDot(path);
    return dot == std::string::npos ? "" : path.substr(dot + 1);
}

std::string RemoveFileExtension(const std::string& path)
{
    const size_t dot = ExtensionDot(path);
    return dot == std::string::npos ? path : path.substr(0, dot);
}

std::string GetParentPath(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash != std::string::npos)
        return path.substr(0, slash);
    char directory[4096];
    if (getcwd(directory, sizeof directory - 1) == nullptr)
    {
        std::perror("GetParentPath getcwd");
        return "";
    }
    return directory;
}

std::string SanitizeFilename(const std::string& name, const std::string& replacement)
{
    std::string result;
    result.reserve(name.size());
    for (char c : name)
    {
        if (IsAsciiAlphanumeric(c) || c == '-' || c == '_' || c == '.')
            result += c;
        else
            result += replacement;
    }
    return result;
}

void SyncParentDir(const std::string& path)
{
    const std::string parent = GetParentPath(path);
    if (parent.empty())
    {
        std::fputs("SyncParentDir: unable to determine parent path\n", stderr);
        Files().SyncAll();
        return;
    }
    const int descriptor = Files().Open(parent.c_str(), O_RDONLY | O_DIRECTORY, 0);
    if (descriptor < 0)
    {
        std::perror("SyncParentDir:open");
    }
    else
    {
        if (Files().Sync(descriptor) != 0)
            std::perror("SyncParentDir fsync");
        Files().Close(descriptor);
    }
    // The whole-system flush follows even a successful directory fsync: it also
    // writes out the data of the renamed file, which WriteFile never fsyncs.
    Files().SyncAll();
}

bool MountedFilesystemStatus(const std::string& path, unsigned int& freeKiB, unsigned int& totalKiB)
{
    // The 64-bit form, so that a large filesystem does not fail with EOVERFLOW
    // on a 32-bit device; the sizes are narrowed to 32 bits afterwards anyway.
    struct statfs64 status;
    if (statfs64(path.c_str(), &status) != 0)
        return false;
    Internal::FilesystemSizeKiB(status, freeKiB, totalKiB);
    return true;
}

bool USBStatus(unsigned int& freeKiB, unsigned int& totalKiB)
{
    return MountedFilesystemStatus("/mnt/usb/", freeKiB, totalKiB);
}

bool USBPresent()
{
    unsigned int freeKiB = 0;
    unsigned int totalKiB = 0;
    return USBStatus(freeKiB, totalKiB) && totalKiB > 0;
}

} // namespace Utilities
} // namespace Core
