// guidance: drives the library from positioning input to guidance records and
// exports. The commands live in the guidance_tool library (Tool.h).
#include "Tool.h"
#include "Utilities/CrashHandler.h"

#include <csignal>

int main(int argc, char** argv)
{
    Core::Patterns::StaticSingleton<Core::Utilities::CrashHandler>::ref().Enable("guidance");
    // A reader that closes its end early (`guidance simulate | head`) is not a
    // crash: the write fails with EPIPE instead and output stops quietly.
    std::signal(SIGPIPE, SIG_IGN);
    return GuidanceTool::RunTool(argc, argv);
}
