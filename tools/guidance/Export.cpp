#include "Export.h"

#include "Formats/KMLWriter.h"
#include "Maths/Maths.h"
#include "RecordFile.h"
#include "ToolError.h"
#include "Utilities/FileUtilities.h"

#include <cstdio>
#include <map>
#include <memory>

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
// Track points formatted at a time, and bytes copied to the stick at a time.
const std::size_t kTrackPiece = 4096;
const std::size_t kCopyPiece = 65536;

Vector2<double> TrackPoint(const FixRecord& record)
{
    return Vector2<double>(Core::Maths::Radians(record.latitude), Core::Maths::Radians(record.longitude));
}

// The coordinate lines of the points as the KML writer formats them.
std::string CoordinateText(const std::vector<Vector2<double>>& points)
{
    Core::KMLWriter coordinates;
    for (const Vector2<double>& point : points)
        coordinates.Output(point);
    return coordinates.AsString();
}

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
    void Show(long copied, long total)
    {
        const int percent = total > 0 ? static_cast<int>(100.0 * copied / total) : 100;
        std::printf("\rcopying %s %3d%%", m_name.c_str(), percent);
        std::fflush(stdout);
    }

private:
    std::string m_name;
};

} // namespace

const char kStickDirectory[] = "/mnt/usb/";

void WriteRunKML(OutputFile& output, const std::string& recordPath, GuidanceLine& line, const LocalPlane& plane,
                 const std::string& fieldName)
{
    // Fixes on each pass; a pass counts as driven after a few seconds on it.
    std::map<int, int> fixesOnPass;
    std::size_t fixes = 0;
    FixRecord first;
    ReadRecordFile(recordPath, [&](const FixRecord& record) {
        if (fixes++ == 0)
            first = record;
        if (record.onLine)
            ++fixesOnPass[record.pass];
    });

    Core::KMLWriter kml;
    kml.Open();
    kml.LineStyle("track", kTrackColour, 2);
    kml.LineStyle("guidance", kGuidanceColour, 3);
    kml.LineStyle("pass", kPassColour, 2);
    kml.EndStyle();
    kml.SetStyle("guidance");
    kml.LineStrip(fieldName.empty() ? "Guidance line" : "Guidance line: " + fieldName,
                  ToGeodetic(line.SampleCurve(1.0), plane));
    kml.SetStyle("pass");
    for (const auto& [pass, count] : fixesOnPass)
    {
        if (count < kFixesForDrivenPass)
            continue;
        std::vector<Vector2<double>> points;
        for (const auto& point : line.Pass(pass).GetPoints())
            points.push_back(Vector2<double>(point.x, point.y));
        if (points.size() >= 2)
            kml.LineStrip("Pass " + std::to_string(pass), ToGeodetic(points, plane));
    }
    if (fixes < 2)
    {
        kml.Close();
        output.Write(kml.AsString());
        return;
    }
    // The track placemark is drawn through its first point alone, and the
    // document split after that point: the rest of the track streams in
    // between, formatted by the writer itself.
    kml.SetStyle("track");
    kml.LineStrip("Driven track", {TrackPoint(first)});
    kml.Close();
    const std::string& document = kml.AsString();
    const std::string firstLine = CoordinateText({TrackPoint(first)});
    const std::size_t split = document.rfind(firstLine) + firstLine.size();
    output.Write(document.substr(0, split));
    std::vector<Vector2<double>> piece;
    bool skippedFirst = false;
    ReadRecordFile(recordPath, [&](const FixRecord& record) {
        if (!skippedFirst)
        {
            skippedFirst = true;
            return;
        }
        piece.push_back(TrackPoint(record));
        if (piece.size() == kTrackPiece)
        {
            output.Write(CoordinateText(piece));
            piece.clear();
        }
    });
    output.Write(CoordinateText(piece));
    output.Write(document.substr(split));
}

void CopyToStick(const std::vector<std::string>& files, const std::string& directory, bool showProgress)
{
    for (const std::string& file : files)
    {
        const std::string name = Core::Utilities::GetFileName(file);
        const std::string destination = directory + (directory.back() == '/' ? "" : "/") + name;
        std::FILE* source = std::fopen(file.c_str(), "rb");
        if (source == nullptr)
            throw IoFailure(file, "cannot open for copying");
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> closer(source, std::fclose);
        std::fseek(source, 0, SEEK_END);
        const long total = std::ftell(source);
        std::rewind(source);
        ProgressLine progress(name);
        OutputFile copy(destination);
        char buffer[kCopyPiece];
        long copied = 0;
        for (std::size_t count; (count = std::fread(buffer, 1, sizeof buffer, source)) > 0;)
        {
            copy.Write(std::string(buffer, count));
            copied += static_cast<long>(count);
            if (showProgress)
                progress.Show(copied, total);
        }
        if (std::ferror(source))
            throw IoFailure(file, "cannot read for copying");
        copy.Commit();
        if (showProgress)
            std::printf("\n");
        else
            std::printf("copied %s to %s (%ld bytes)\n", name.c_str(), directory.c_str(), copied);
    }
}

} // namespace GuidanceTool
