// Ctrl-C (SIGINT) and SIGTERM as requests to stop: once caught, the signal is
// noted and the command ends at its next step with its outputs complete up to
// that point. Caught without restarting system calls, so a read waiting for
// input returns at once.
// Threading: catch on the main thread before starting any other thread (or
// block the signals in them); the note is read on the main thread.
#ifndef GUIDANCE_INTERRUPTION_H
#define GUIDANCE_INTERRUPTION_H

namespace GuidanceTool
{

// Installs the handler for SIGINT and SIGTERM.
void CatchInterruptions();
// The signal that asked the command to stop, or 0.
int InterruptingSignal();
// The exit status of a run the signal cut short, or kExitSuccess without one.
int InterruptedStatus();

} // namespace GuidanceTool

#endif
