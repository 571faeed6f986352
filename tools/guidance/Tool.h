// The guidance tool's commands. Each takes the words after its name, prints
// its results on standard output, and returns the exit status (ToolError.h);
// a failure throws ToolError, which RunTool turns into one message on standard
// error and the error's status.
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

// The whole program: dispatches on the first word, then checks that standard
// output was written. Returns the exit status.
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
// The serial speed chosen by --baud.
int BaudFrom(const Options& options);
// The simulation options (--passes, --speed, --damaged, --steady, --seed).
SimulationSettings SimulationSettingsFrom(const Options& options);

} // namespace GuidanceTool

#endif
