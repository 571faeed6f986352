// The copy of a run's outputs to a USB stick: into a folder of their own named
// by the run's start ("run-2024-05-01T10-00-00Z", then "-2", "-3" when that
// name is taken), created only when no such folder exists, so that no earlier
// run's copy is ever overwritten. Every file goes through an OutputFile (a
// synced temporary file renamed into place), is read back, and its CRC-32
// compared with that of the original; the copy says what it copied.
// Not thread-safe: runs on the main thread at the end of a replay.
#ifndef GUIDANCE_OUTPUT_STICKCOPY_H
#define GUIDANCE_OUTPUT_STICKCOPY_H

#include <string>
#include <vector>

namespace GuidanceTool
{

// The folder name of a run starting at utc (seconds since 1970; negative
// when the run has no date, which gives "run-undated").
std::string RunFolderName(double utc);

// Copies files into a new folder under stick and returns its path; prints a
// line per file (name, bytes, CRC-32) on standard output. Throws ToolError
// naming the file, the step that failed and the reason.
std::string CopyRunToStick(const std::vector<std::string>& files, const std::string& stick, double runStart);

} // namespace GuidanceTool

#endif
