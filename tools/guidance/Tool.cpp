#include "Tool.h"

#include "Options.h"
#include "Utilities/FileUtilities.h"
#include "Utilities/LibraryVersion.h"
#include "Utilities/Version.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

namespace GuidanceTool
{

namespace
{

const char kUsage[] =
    "usage: guidance <command> [options]\n"
    "\n"
    "commands:\n"
    "  demo       simulate a drive over the sample field and replay it (the default)\n"
    "  simulate   write a simulated drive as NMEA sentences\n"
    "  replay     measure NMEA input against a field's guidance line and record it\n"
    "  dump       print the records of a record file\n"
    "  info       library version, UTC and GPS time, uptime\n"
    "\n"
    "  guidance <command> --help   describes one command\n"
    "  guidance --version          prints the version\n";

} // namespace

std::string VersionText()
{
    // Fixed when the tool is built, so the text is the same wherever it runs;
    // the device's version file is for `info` to show.
    const std::string revision = Core::Utilities::GetLibraryRevision();
    return "guidance " + Core::Utilities::GetLibraryVersion() + " (built with libCoreLibrary " +
           Core::Utilities::GetLibraryVersion() + (revision.empty() ? "" : ", revision " + revision) + ")";
}

namespace
{

int RunCommand(const std::string& command, const Arguments& args)
{
    if (command == "--help" || command == "-h" || command == "help")
    {
        std::fputs(kUsage, stdout);
        std::fputs(kExitStatusHelp, stdout);
        return kExitSuccess;
    }
    if (command == "--version")
    {
        std::printf("%s\n", VersionText().c_str());
        return kExitSuccess;
    }
    if (command == "simulate")
        return Simulate(args);
    if (command == "replay")
        return Replay(args);
    if (command == "dump")
        return Dump(args);
    if (command == "info")
        return Info(args);
    if (command == "demo")
        return Demo(args);
    throw BadInput(command, "unknown command", "try 'guidance --help'");
}

// Whether everything printed reached standard output. A reader that closed
// its end early (`guidance simulate | head`) wanted no more: not a failure.
void CheckStandardOutput()
{
    errno = 0;
    if ((std::fflush(stdout) != 0 || std::ferror(stdout) != 0) && errno != EPIPE)
        throw IoFailure("standard output", "write failed", errno != 0 ? errno : EIO);
}

} // namespace

int RunTool(int argc, char** argv)
{
    const std::string command = argc > 1 ? argv[1] : "demo";
    const Arguments args(argv + (argc > 1 ? 2 : 1), argv + argc);
    SetCommandName(command);
    try
    {
        const int status = RunCommand(command, args);
        CheckStandardOutput();
        return status;
    }
    catch (const ToolError& error)
    {
        PrintMessage(error.what());
        return error.Status();
    }
    catch (const std::bad_alloc&)
    {
        PrintMessage("out of memory");
        return kExitIoFailure;
    }
}

} // namespace GuidanceTool
