// The guidance tool's commands. Each takes the words after its name, prints
// its results on standard output, and returns the exit status; bad input
// throws ToolError, which RunTool turns into one message on standard error and
// status 2.
// Not thread-safe: commands run on the main thread.
#ifndef GUIDANCE_TOOL_H
#define GUIDANCE_TOOL_H

#include "Field.h"
#include "Options.h"
#include "Simulator.h"

#include <string>
#include <vector>

namespace GuidanceTool
{

typedef std::vector<std::string> Arguments;

// The whole program: dispatches on the first word. Returns the exit status.
int RunTool(int argc, char** argv);

int Simulate(const Arguments& args);
int Replay(const Arguments& args);
int Dump(const Arguments& args);
int Info(const Arguments& args);
int Demo(const Arguments& args);

// "guidance <version> (software <installed version>)".
std::string VersionText();

// The field named by --field, or the built-in sample field.
Field FieldFrom(const Options& options);
// The declarations of the options FieldFrom and SimulationSettingsFrom read.
std::vector<Options::Declaration> SimulationDeclarations();
// The simulation options (--passes, --speed, --damaged, --steady, --seed).
SimulationSettings SimulationSettingsFrom(const Options& options);

// Replaces path with contents through a temporary file and a rename, then syncs
// the directory; "-" writes to standard output. Throws ToolError on failure.
void WriteOutput(const std::string& path, const std::string& contents);

} // namespace GuidanceTool

#endif
