// Identifies the running software and reaches the system console: the version
// and source revision that the installation writes into "../etc/version" and
// "../etc/svn_version" (relative to the current directory), packed 32-bit
// version numbers (major in bits 31..24, minor in 23..16, build in 15..0), and
// a time-stamped printf to "/dev/console".
// Threading: no locks. Concurrent console_printf calls may interleave, and two
// first calls at once may both open the console.
#ifndef CORELIB_UTILITIES_VERSION_H
#define CORELIB_UTILITIES_VERSION_H

#include <string>

namespace Core
{
namespace Utilities
{

// The first line of "../etc/version" without its newline ("" for an empty
// file), or "----" when the file cannot be opened.
std::string GetSoftwareVersion();

// The first line of "../etc/svn_version", "" when that line is longer than 10
// characters, or "---" when the file cannot be opened.
std::string GetSVNRevision();

} // namespace Utilities

// Conversions between "major.minor.build" and the packed 32-bit form.
class Version
{
public:
    // "%d.%d.%d" of the three numbers.
    static std::string FormatVersion(int major, int minor, int build);
    // The text of a packed version: 0x01020003 gives "1.2.3".
    static std::string FormatVersion(int packed);
    // The packed form of "major.minor.build"; each field is decimal, or
    // hexadecimal after a leading "0x", and out-of-range values are masked to
    // their bit widths. Returns 0 when the text has fewer than three
    // dot-separated fields or a field is not a number. A fourth field is
    // ignored: "1.2.3.4" reads as 1.2.3.
    static int ParseVersion(const std::string& text);

    Version() = delete;
};

} // namespace Core

// Writes "<Unix seconds>\t" and the formatted text to "/dev/console" and
// flushes. The console is opened on first use and kept open; when it cannot be
// opened the message is dropped and the next call tries again. The caller
// supplies the line ending.
extern "C" void console_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

#endif
