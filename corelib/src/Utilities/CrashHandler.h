// Turns a fatal signal into a crash log and an orderly exit. Enabled once at
// start-up with the module's name, it handles the fatal signals and the
// terminate requests (SIGINT, SIGTERM). A crash writes
// "/tmp/<name>_<seconds>.crash" (through a ".partial" file renamed when
// complete) and, when the USB stick is present, a copy
// kUSBMountPoint + "module_<name>_<seconds>.txt"; both hold the signal, the software
// version, the fault address, the instruction pointer and a symbolised
// back-trace. Then the application's handlers for that signal run and the
// process exits with status 0. A terminate request prints one line, runs the
// handlers and exits unless auto-exit is off.
// Threading: the instance is made on first use under the runtime's guard; the
// handler list is not locked, so register handlers at start-up before any
// signal can arrive. The crash path formats with stdio and allocates: it is
// not async-signal-safe, which is accepted because the process ends.
#ifndef CORELIB_UTILITIES_CRASHHANDLER_H
#define CORELIB_UTILITIES_CRASHHANDLER_H

#include "Utilities/StaticSingleton.h"

#include <csignal>
#include <string>
#include <vector>

namespace Core
{
namespace Utilities
{

class CrashHandler
{
public:
    // An application handler chained after the library's for one signal.
    struct SignalHandler
    {
        // The handler, called with the signal number.
        void (*m_handler)(int);
        // The signal it handles.
        int m_signal;
    };

    // No name, no handlers, auto-exit on.
    CrashHandler();
    CrashHandler(const CrashHandler&) = delete;
    CrashHandler& operator=(const CrashHandler&) = delete;

    // Stores name (used in the log names and headers) and installs
    // CrashHandlerFn, with an empty mask and SA_SIGINFO | SA_RESTART, for
    // SIGSEGV, SIGILL, SIGPIPE, SIGSYS, SIGFPE, SIGBUS, SIGQUIT, SIGABRT,
    // SIGSTKFLT, SIGSTOP (refused by the system, harmlessly), SIGXCPU, SIGXFSZ,
    // SIGINT and SIGTERM. Returns the result of the last sigaction (SIGTERM's).
    // Calling it again renames the module and re-installs the same actions.
    int Enable(const std::string& name);
    // Appends a handler for signal; several may share a signal and all run,
    // in registration order.
    void SetHandler(int signal, void (*handler)(int));
    // Whether SIGINT and SIGTERM end the process after the handlers ran.
    // Fatal signals always end it.
    void SetAutoExit(bool autoExit);

    // The installed signal handler. For SIGINT and SIGTERM it prints
    // "Ctrl-C Detected. Terminating", runs the handlers for the signal, and
    // exits with status 0 or returns as auto-exit says. For every other signal
    // it writes the crash logs, runs the handlers for the signal and exits
    // with status 0; it never returns.
    static void CrashHandlerFn(int signal, siginfo_t* info, void* context);

private:
    // Runs, in registration order, every handler registered for signal.
    void RunHandlers(int signal) const;

    std::string m_name;
    std::vector<SignalHandler> m_handlers;
    bool m_autoExit;
};

} // namespace Utilities

// The process-wide crash handler lives in the library, shared by every module.
extern template class Patterns::StaticSingleton<Utilities::CrashHandler>;

} // namespace Core

#endif
