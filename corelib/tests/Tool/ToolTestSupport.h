// Helpers for the guidance tool's tests: running the built program (through
// the emulator when the tests are cross-built) or its logic in this process,
// and small field files.
#ifndef CORELIB_TESTS_TOOL_TOOLTESTSUPPORT_H
#define CORELIB_TESTS_TOOL_TOOLTESTSUPPORT_H

#include "SentenceWriter.h"
#include "Support/TestSupport.h"

#include <string>
#include <vector>

namespace ToolTest
{

// The shell command that starts the program, for composing pipelines.
std::string GuidanceCommand();

// Runs the tool in this process with its standard output and error sent to
// files; returns the exit status. Under a test's file layer the run's writes
// can fail or be recorded like any other code's.
int RunTool(const std::vector<std::string>& words, const std::string& out, const std::string& errors);

using CoreTest::ListDirectory;

// A field file's text: a straight line of the given length heading north-east
// from (latitude, longitude), with the given working width and spline name.
std::string StraightFieldText(double latitude, double longitude, double length, double width,
                              const std::string& spline);

// A fix of RTK quality on the sample field's first point, moved north by
// `north` metres, at `time` seconds of the day, heading 21 degrees at 2 m/s.
GuidanceTool::FixReport FixNorthOfStart(double north, double time);

} // namespace ToolTest

#endif
