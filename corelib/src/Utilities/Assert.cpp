#include "Utilities/Assert.h"

#include <cstdlib>
#include <iostream>

namespace Core
{

bool ReleaseAssertHandler::m_alwaysAbort = false;
bool DebugAssertHandler::m_alwaysAbort = true;

namespace
{
// The one report line shared by both handlers; std::endl flushes it before any exit.
void Report(const std::string& expression, const std::string& message, int line, const std::string& file)
{
    std::cerr << "Assertion " << expression << " failed at line " << line << " in " << file << ". "
              << message << std::endl;
}
} // namespace

void ReleaseAssertHandler::Invoke(const std::string& expression, const std::string& message, int line,
                                  const std::string& file)
{
    Report(expression, message, line, file);
    // exit(), not abort(): atexit handlers and static destructors run, no core file.
    if (m_alwaysAbort)
        std::exit(1);
}

void ReleaseAssertHandler::AlwaysAbort(bool alwaysAbort)
{
    m_alwaysAbort = alwaysAbort;
}

void DebugAssertHandler::Invoke(const std::string& expression, const std::string& message, int line,
                                const std::string& file)
{
    Report(expression, message, line, file);
    if (m_alwaysAbort)
        std::exit(1);
}

void DebugAssertHandler::AlwaysAbort(bool alwaysAbort)
{
    m_alwaysAbort = alwaysAbort;
}

} // namespace Core
