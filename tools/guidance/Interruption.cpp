#include "Interruption.h"

#include "ToolError.h"

#include <csignal>

namespace GuidanceTool
{

namespace
{

volatile std::sig_atomic_t s_signal = 0;

void NoteSignal(int signal)
{
    s_signal = signal;
}

} // namespace

void CatchInterruptions()
{
    // Replaces the crash handler's action for these two, which would report
    // every one of them as Ctrl-C.
    struct sigaction action = {};
    action.sa_handler = NoteSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int InterruptingSignal()
{
    return s_signal;
}

int InterruptedStatus()
{
    return s_signal == 0 ? kExitSuccess : kExitInterrupted + s_signal;
}

} // namespace GuidanceTool
