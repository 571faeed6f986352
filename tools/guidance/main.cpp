// guidance: drives the library from positioning input to guidance records and
// exports. The commands live in the guidance_tool library (Tool.h).
#include "Tool.h"
#include "Utilities/CrashHandler.h"

#include <csignal>

int main(int argc, char** argv)
{
    // An illegal-instruction handler installed before main, by a preloaded
    // library that emulates instructions the processor lacks, must keep
    // seeing them: the crash handler would take each one for a crash.
    struct sigaction earlier = {};
    sigaction(SIGILL, nullptr, &earlier);
    Core::Patterns::StaticSingleton<Core::Utilities::CrashHandler>::ref().Enable("guidance");
    if (earlier.sa_handler != SIG_DFL && earlier.sa_handler != SIG_IGN)
        sigaction(SIGILL, &earlier, nullptr);
    // A reader that closes its end early (`guidance simulate | head`) is not a
    // crash: the write fails with EPIPE instead and output stops quietly.
    std::signal(SIGPIPE, SIG_IGN);
    return GuidanceTool::RunTool(argc, argv);
}
