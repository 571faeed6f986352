// Assertion handlers: how the library reports a broken invariant of its own.
// Both handlers print the same one-line report on standard error; the release
// handler then carries on by default, the debug handler ends the process with
// exit status 1 (an ordinary exit, never abort(), so no crash log is written).
// Threading: no lock; reports from several threads may interleave on stderr and
// the flags are plain booleans meant to be set once at start-up.
#ifndef CORELIB_UTILITIES_ASSERT_H
#define CORELIB_UTILITIES_ASSERT_H

#include <string>

namespace Core
{

// Handler compiled into shipped code: reports and continues unless told to exit.
class ReleaseAssertHandler
{
public:
    // Whether Invoke() exits with status 1 after reporting. Initially false.
    static bool m_alwaysAbort;

    // Prints "Assertion <expression> failed at line <line> in <file>. <message>"
    // and a newline to std::cerr, flushed; then calls exit(1) if m_alwaysAbort.
    static void Invoke(const std::string& expression, const std::string& message, int line,
                       const std::string& file);

    // Sets m_alwaysAbort of this class only.
    static void AlwaysAbort(bool alwaysAbort);

    ReleaseAssertHandler() = delete;
};

// Handler for debug builds: reports and exits with status 1 unless told not to.
class DebugAssertHandler
{
public:
    // Whether Invoke() exits with status 1 after reporting. Initially true.
    static bool m_alwaysAbort;

    // Same report as ReleaseAssertHandler::Invoke; exits with status 1 if m_alwaysAbort.
    static void Invoke(const std::string& expression, const std::string& message, int line,
                       const std::string& file);

    // Sets m_alwaysAbort of this class only.
    static void AlwaysAbort(bool alwaysAbort);

    DebugAssertHandler() = delete;
};

} // namespace Core

#endif
