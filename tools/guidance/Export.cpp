#include "Export.h"

#include "Formats/KMLWriter.h"
#include "Maths/Maths.h"
#include "Options.h"
#include "Utilities/FileCopy.h"
#include "Utilities/FileUtilities.h"

#include <cstdio>
#include <map>
#include <sys/stat.h>

namespace GuidanceTool
{

namespace
{

using Core::Maths::Vector2;

// KML colours are aabbggrr.
const char kTrackColour[] = "ff00ffff";    // yellow
const char kGuidanceColour[] = "ff0000ff"; // red
const char kPassColour[] = "ffff9900";     // light blue

const int kFixesForDrivenPass = 20;

// Plane points as (latitude, longitude) in radians, the writer's form.
std::vector<Vector2<double>> ToGeodetic(const std::vector<Vector2<double>>& points, const LocalPlane& plane)
{
    std::vector<Vector2<double>> geodetic;
    for (const Vector2<double>& point : points)
    {
        double latitude = 0;
        double longitude = 0;
        plane.ToGeodetic(point, latitude, longitude);
        geodetic.push_back(Vector2<double>(Core::Maths::Radians(latitude), Core::Maths::Radians(longitude)));
    }
    return geodetic;
}

// Shows one file's progress as a percentage on the terminal.
class ProgressLine
{
public:
    explicit ProgressLine(const std::string& name) : m_name(name) {}
    void Show(int copied, int total)
    {
        const int percent = total > 0 ? static_cast<int>(100.0 * copied / total) : 100;
        std::printf("\rcopying %s %3d%%", m_name.c_str(), percent);
        std::fflush(stdout);
    }

private:
    std::string m_name;
};

long long FileSize(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : -1;
}

} // namespace

std::string RunKML(const std::vector<FixRecord>& track, GuidanceLine& line, const LocalPlane& plane,
                   const std::string& fieldName)
{
    Core::KMLWriter kml;
    kml.Open();
    kml.LineStyle("track", kTrackColour, 2);
    kml.LineStyle("guidance", kGuidanceColour, 3);
    kml.LineStyle("pass", kPassColour, 2);
    kml.EndStyle();

    std::vector<Vector2<double>> driven;
    // Fixes on each pass; a pass counts as driven after a few seconds on it.
    std::map<int, int> fixesOnPass;
    for (const FixRecord& record : track)
    {
        driven.push_back(Vector2<double>(Core::Maths::Radians(record.latitude), Core::Maths::Radians(record.longitude)));
        if (record.onLine)
            ++fixesOnPass[record.pass];
    }
    kml.SetStyle("guidance");
    kml.LineStrip(fieldName.empty() ? "Guidance line" : "Guidance line: " + fieldName,
                  ToGeodetic(line.SampleCurve(1.0), plane));
    kml.SetStyle("pass");
    for (const auto& [pass, fixes] : fixesOnPass)
    {
        if (fixes < kFixesForDrivenPass)
            continue;
        std::vector<Vector2<double>> points;
        for (const auto& point : line.Pass(pass).GetPoints())
            points.push_back(Vector2<double>(point.x, point.y));
        if (points.size() >= 2)
            kml.LineStrip("Pass " + std::to_string(pass), ToGeodetic(points, plane));
    }
    if (driven.size() >= 2)
    {
        kml.SetStyle("track");
        kml.LineStrip("Driven track", driven);
    }
    kml.Close();
    return kml.AsString();
}

void CopyToStick(const std::vector<std::string>& files, const std::string& directory, bool showProgress)
{
    for (const std::string& file : files)
    {
        const std::string name = Core::Utilities::GetFileName(file);
        const std::string destination = directory + (directory.back() == '/' ? "" : "/") + name;
        ProgressLine progress(name);
        Core::Functor<void, int, int>::Method<ProgressLine> callback(&progress, &ProgressLine::Show);
        Core::Utilities::CIncrementalFileCopy copy(file, destination, showProgress ? &callback : nullptr);
        // A few blocks per round, as an idle loop would, until done or failed.
        // The first round always runs: an empty file is finished before it
        // starts but is only renamed into place by a round.
        bool ok = true;
        do
            ok = copy.Idle(16);
        while (ok && !copy.Finished());
        // A failed final rename is not reported by the copy; the size is.
        ok = ok && FileSize(destination) == FileSize(file);
        if (showProgress)
            std::printf("\n");
        if (!ok)
            throw ToolError("cannot copy '" + file + "' to '" + destination + "'");
        if (!showProgress)
            std::printf("copied %s to %s (%lld bytes)\n", name.c_str(), directory.c_str(), FileSize(destination));
    }
}

} // namespace GuidanceTool
