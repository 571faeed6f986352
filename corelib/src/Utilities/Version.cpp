#include "Utilities/Version.h"

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <vector>

namespace Core
{

namespace
{
// Reads the first line of a file, without its newline; false when the file
// cannot be opened. An empty file gives an empty line.
bool ReadFirstLine(const char* path, std::string& line)
{
    std::ifstream file(path);
    if (!file.is_open())
        return false;
    line.clear();
    std::getline(file, line);
    return true;
}

// Splits at '.' into at most three fields, the last keeping any further dots;
// nothing when the text has no dot.
// Private stand-in for the list form of Utilities::SplitString.
std::vector<std::string> SplitVersionFields(const std::string& text)
{
    std::vector<std::string> fields;
    std::string::size_type start = 0;
    for (std::string::size_type dot; fields.size() < 2 && (dot = text.find('.', start)) != std::string::npos;
         start = dot + 1)
        fields.push_back(text.substr(start, dot - start));
    if (!fields.empty())
        fields.push_back(text.substr(start));
    return fields;
}

// strtol in base 16 after a leading "0x", else base 10, clamped to the int
// range; true when at least one character was consumed.
// Private stand-in for Utilities::ParseInt(text, value).
bool ParseVersionField(const std::string& text, int& value)
{
    const int base = text.compare(0, 2, "0x") == 0 ? 16 : 10;
    char* end = nullptr;
    const long parsed = std::strtol(text.c_str(), &end, base);
    value = parsed < INT_MIN ? INT_MIN : parsed > INT_MAX ? INT_MAX : static_cast<int>(parsed);
    return end != text.c_str();
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
    const std::vector<std::string> fields = SplitVersionFields(text);
    if (fields.size() != 3)
        return 0;
    int major = 0, minor = 0, build = 0;
    if (!ParseVersionField(fields[0], major) || !ParseVersionField(fields[1], minor) ||
        !ParseVersionField(fields[2], build))
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
