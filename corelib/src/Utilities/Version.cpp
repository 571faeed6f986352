#include "Utilities/Version.h"

#include "Utilities/FileUtilities.h"
#include "Utilities/StringUtilities.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <vector>

namespace Core
{

namespace
{
// Reads the first line of a file, without its newline; false when the file
// cannot be opened. An empty file gives an empty line.
bool ReadFirstLine(const char* path, std::string& line)
{
    std::string contents;
    if (!Utilities::ReadFile(path, contents))
        return false;
    line = contents.substr(0, contents.find('\n'));
    return true;
}
} // namespace

namespace Utilities
{

std::string GetSoftwareVersion()
{
    std::string version;
    return ReadFirstLine("../etc/version", version) ? version : "----";
}

std::string GetSVNRevision()
{
    std::string revision = "---";
    if (ReadFirstLine("../etc/svn_version", revision) && revision.size() > 10)
        revision.clear();
    return revision;
}

} // namespace Utilities

std::string Version::FormatVersion(int major, int minor, int build)
{
    char text[40];
    std::snprintf(text, sizeof text, "%d.%d.%d", major, minor, build);
    return text;
}

std::string Version::FormatVersion(int packed)
{
    const unsigned int bits = static_cast<unsigned int>(packed);
    return FormatVersion(static_cast<int>(bits >> 24), static_cast<int>((bits >> 16) & 255),
                         static_cast<int>(bits & 65535));
}

int Version::ParseVersion(const std::string& text)
{
    // At most three fields: the third keeps any further dots ("1.2.3.4" reads as 1.2.3).
    std::vector<std::string> fields;
    Utilities::SplitString(text, '.', fields, 3);
    if (fields.size() != 3)
        return 0;
    int major = 0, minor = 0, build = 0;
    if (!Utilities::ParseInt(fields[0], major) || !Utilities::ParseInt(fields[1], minor) ||
        !Utilities::ParseInt(fields[2], build))
        return 0;
    const unsigned int packed = (static_cast<unsigned int>(major) & 255) << 24 |
                                (static_cast<unsigned int>(minor) & 255) << 16 |
                                (static_cast<unsigned int>(build) & 65535);
    return static_cast<int>(packed);
}

} // namespace Core

extern "C" void console_printf(const char* format, ...)
{
    // Opened once and never closed; a failed open is retried on the next call.
    static std::FILE* console = nullptr;
    if (!console)
        console = std::fopen("/dev/console", "w");
    if (!console)
        return;
    std::fprintf(console, "%lld\t", static_cast<long long>(std::time(nullptr)));
    va_list args;
    va_start(args, format);
    std::vfprintf(console, format, args);
    va_end(args);
    std::fflush(console);
}
