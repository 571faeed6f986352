// How the tool ends: its exit statuses, and the error that carries a failure
// up to the command's end as one message on standard error:
//   guidance: <command>: <file>: <what failed>: <reason>
// Not thread-safe: the command name is set once by RunTool on the main thread.
#ifndef GUIDANCE_TOOLERROR_H
#define GUIDANCE_TOOLERROR_H

#include <stdexcept>
#include <string>

namespace GuidanceTool
{

// The exit statuses of every command.
enum ExitStatus
{
    kExitSuccess = 0,
    kExitIoFailure = 1,     // a file or device could not be read or written
    kExitBadInput = 2,      // bad usage or bad input
    kExitNothingUsable = 3, // a replay's input gave no fix near the field; the warnings say why
    kExitInterrupted = 128  // plus the signal's number: 130 Ctrl-C, 143 SIGTERM
};

// The table above as the help text of every command prints it.
extern const char kExitStatusHelp[];

class ToolError : public std::runtime_error
{
public:
    // subject: the file, device or option concerned (may be empty); what:
    // what failed; reason: why (may be empty).
    ToolError(ExitStatus status, const std::string& subject, const std::string& what, const std::string& reason = "");
    ExitStatus Status() const { return m_status; }

private:
    ExitStatus m_status;
};

// A bad command line or bad input.
ToolError BadInput(const std::string& subject, const std::string& what, const std::string& reason = "");
// A failed system call on subject: the reason is strerror(errno).
ToolError IoFailure(const std::string& subject, const std::string& what);
// The same for an errno saved earlier.
ToolError IoFailure(const std::string& subject, const std::string& what, int error);

// The command being run, for messages ("replay", ...).
void SetCommandName(const std::string& name);
// Prints "guidance: <command>: <text>" as one line on standard error.
void PrintMessage(const std::string& text);

} // namespace GuidanceTool

#endif
