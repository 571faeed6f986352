#include "Tool.h"

#include "Options.h"
#include "Utilities/FileUtilities.h"
#include "Utilities/LibraryVersion.h"
#include "Utilities/Version.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

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
    const std::string revision = Core::Utilities::GetLibraryRevision();
    return "guidance " + Core::Utilities::GetLibraryVersion() + " (" +
           (revision.empty() ? "" : "revision " + revision + ", ") + "software " +
           Core::Utilities::GetSoftwareVersion() + ")";
}

void WriteOutput(const std::string& path, const std::string& contents)
{
    if (path == "-")
    {
        const bool written = std::fwrite(contents.data(), 1, contents.size(), stdout) == contents.size();
        if ((!written || std::fflush(stdout) != 0) && errno != EPIPE)
            throw ToolError("cannot write to standard output");
        return;
    }
    if (!Core::Utilities::WriteFile(path, contents))
        throw ToolError("cannot write '" + path + "'");
    Core::Utilities::SyncParentDir(path);
}

int RunTool(int argc, char** argv)
{
    const std::string command = argc > 1 ? argv[1] : "demo";
    const Arguments args(argv + (argc > 1 ? 2 : 1), argv + argc);
    try
    {
        if (command == "--help" || command == "-h" || command == "help")
        {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (command == "--version")
        {
            std::printf("%s\n", VersionText().c_str());
            return 0;
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
        throw ToolError("unknown command '" + command + "' (try 'guidance --help')");
    }
    catch (const ToolError& error)
    {
        std::fflush(stdout);
        std::fprintf(stderr, "guidance: %s\n", error.what());
        return 2;
    }
}

} // namespace GuidanceTool
