// The replay's durable outputs beyond the record file: the KML picture of the
// run and the copy of every output to a USB stick.
// Not thread-safe: run on the main thread at the end of a replay.
#ifndef GUIDANCE_EXPORT_H
#define GUIDANCE_EXPORT_H

#include "FixRecord.h"
#include "GuidanceLine.h"
#include "LocalPlane.h"

#include <string>
#include <vector>

namespace GuidanceTool
{

// The KML document of a run: the driven track, the guidance line and each
// pass driven along the line, each with its own line style.
std::string RunKML(const std::vector<FixRecord>& track, GuidanceLine& line, const LocalPlane& plane,
                   const std::string& fieldName);

// Copies each file into directory (the file name kept) a few blocks at a time,
// showing progress: a running percentage when showProgress, else one line per
// file. Throws ToolError naming the first file that could not be copied.
void CopyToStick(const std::vector<std::string>& files, const std::string& directory, bool showProgress);

} // namespace GuidanceTool

#endif
