#include "ToolError.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace GuidanceTool
{

namespace
{

std::string s_command = "guidance";

std::string JoinParts(const std::string& subject, const std::string& what, const std::string& reason)
{
    return (subject.empty() ? "" : subject + ": ") + what + (reason.empty() ? "" : ": " + reason);
}

} // namespace

const char kExitStatusHelp[] = "\n"
                               "exit status:\n"
                               "  0       success\n"
                               "  1       a file or device could not be read or written\n"
                               "  2       bad usage or bad input\n"
                               "  3       the input gave nothing usable: no sentences, no position\n"
                               "          fix, or no fix within 5 km of the field (see the warnings)\n"
                               "  128+N   interrupted by signal N (130 Ctrl-C, 143 SIGTERM)\n";

ToolError::ToolError(ExitStatus status, const std::string& subject, const std::string& what, const std::string& reason)
    : std::runtime_error(JoinParts(subject, what, reason)), m_status(status)
{
}

ToolError BadInput(const std::string& subject, const std::string& what, const std::string& reason)
{
    return ToolError(kExitBadInput, subject, what, reason);
}

ToolError IoFailure(const std::string& subject, const std::string& what)
{
    return IoFailure(subject, what, errno);
}

ToolError IoFailure(const std::string& subject, const std::string& what, int error)
{
    return ToolError(kExitIoFailure, subject, what, std::strerror(error));
}

void SetCommandName(const std::string& name)
{
    s_command = name;
}

void PrintMessage(const std::string& text)
{
    std::fflush(stdout);
    std::fprintf(stderr, "guidance: %s: %s\n", s_command.c_str(), text.c_str());
}

} // namespace GuidanceTool
