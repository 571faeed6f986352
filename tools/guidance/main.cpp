// guidance: drives the library from positioning input to guidance records and
// exports. The commands live in the guidance_tool library (Tool.h).
#include "Tool.h"
#include "ToolError.h"
#include "Utilities/CrashHandler.h"
#include "Utilities/FileUtilities.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <unistd.h>

namespace
{

const char kModuleName[] = "guidance";
const int kCrashSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGSYS, SIGQUIT, SIGXCPU, SIGXFSZ};

// The crash log the library's handler has just written: named by the second
// it started writing, which may lie a moment back.
std::string FindCrashLog(const std::string& prefix, const std::string& suffix)
{
    const long now = static_cast<long>(std::time(nullptr));
    for (long second = now; second > now - 5; --second)
    {
        const std::string path = prefix + std::to_string(second) + suffix;
        if (access(path.c_str(), F_OK) == 0)
            return path;
    }
    return "";
}

// Runs after the library wrote its crash logs: says where they are, and ends
// with the signal's status instead of the library's 0.
void ReportCrash(int signal)
{
    const std::string local = FindCrashLog(std::string("/tmp/") + kModuleName + "_", ".crash");
    const std::string stick =
        FindCrashLog(std::string(Core::Utilities::kUSBMountPoint) + "module_" + kModuleName + "_", ".txt");
    GuidanceTool::PrintMessage((local.empty() ? std::string("no crash log") : local) + ": crashed: " +
                               strsignal(signal) + (stick.empty() ? "" : " (copy on the stick: " + stick + ")"));
    _exit(GuidanceTool::kExitInterrupted + signal);
}

} // namespace

int main(int argc, char** argv)
{
    // An illegal-instruction handler installed before main, by a preloaded
    // library that emulates instructions the processor lacks, must keep
    // seeing them: the crash handler would take each one for a crash.
    struct sigaction earlier = {};
    sigaction(SIGILL, nullptr, &earlier);
    auto& crashHandler = Core::Patterns::StaticSingleton<Core::Utilities::CrashHandler>::ref();
    crashHandler.Enable(kModuleName);
    for (const int signal : kCrashSignals)
        crashHandler.SetHandler(signal, ReportCrash);
    if (earlier.sa_handler != SIG_DFL && earlier.sa_handler != SIG_IGN)
        sigaction(SIGILL, &earlier, nullptr);
    // Until a command catches them, Ctrl-C and SIGTERM end the program as
    // they would any other, not as the crash handler's "Ctrl-C" line.
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    // A reader that closes its end early (`guidance simulate | head`) is not a
    // crash: the write fails with EPIPE instead and output stops quietly.
    std::signal(SIGPIPE, SIG_IGN);
    const int status = GuidanceTool::RunTool(argc, argv);
    // Closing standard output reports what a last write could not deliver.
    if (std::fclose(stdout) != 0 && errno != EPIPE && status == GuidanceTool::kExitSuccess)
    {
        GuidanceTool::PrintMessage(std::string("standard output: close failed: ") + std::strerror(errno));
        return GuidanceTool::kExitIoFailure;
    }
    return status;
}
