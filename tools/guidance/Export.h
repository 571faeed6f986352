// The replay's durable outputs beyond the record file: the KML picture of the
// run and the copy of every output to a USB stick.
// Not thread-safe: run on the main thread at the end of a replay.
#ifndef GUIDANCE_EXPORT_H
#define GUIDANCE_EXPORT_H

#include "FixRecord.h"
#include "GuidanceLine.h"
#include "LocalPlane.h"
#include "OutputFile.h"

#include <string>
#include <vector>

namespace GuidanceTool
{

// Where the device mounts the USB stick.
extern const char kStickDirectory[];

// Writes the KML document of a run into output: the driven track, the
// guidance line and each pass driven along the line, each with its own line
// style. The track is read from the record file twice (once to find the
// passes driven, once to draw it), so memory does not grow with the run.
void WriteRunKML(OutputFile& output, const std::string& recordPath, GuidanceLine& line, const LocalPlane& plane,
                 const std::string& fieldName);

// Copies each file into directory (the file name kept) a piece at a time
// through an OutputFile, showing progress: a running percentage when
// showProgress, else one line per file. Throws ToolError naming the first
// file that could not be copied and why.
void CopyToStick(const std::vector<std::string>& files, const std::string& directory, bool showProgress);

} // namespace GuidanceTool

#endif
