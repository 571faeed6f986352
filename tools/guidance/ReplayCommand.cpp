// `guidance replay` and `guidance demo`: guidance over NMEA input from a file,
// standard input or a serial device, with records, a summary, the exports
// (KML, GPX, GeoJSON), the report page and a copy to the USB stick.
#include "FixSink.h"
#include "Interruption.h"
#include "OutputFile.h"
#include "OutputStream.h"
#include "Progress.h"
#include "RecordFile.h"
#include "Replayer.h"
#include "SerialFeed.h"
#include "SerialLink.h"
#include "StickCopy.h"
#include "Tool.h"
#include "Utilities/FileUtilities.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <thread>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace GuidanceTool
{

namespace
{

const char kReplayHelp[] = "usage: guidance replay [options] [FILE]\n"
                           "  Reads NMEA sentences from FILE ('-' or none: standard input) or a serial device,\n"
                           "  measures every fix against the field's guidance line (nearest pass, cross-track,\n"
                           "  along-track and heading error), records the fixes, and writes into the output\n"
                           "  directory: fixes.rec (records; see 'guidance dump'), summary.txt (the run's and\n"
                           "  each pass's figures), report.html (map, cross-track over time, histogram and\n"
                           "  tables in one page), drive.kml (to explore, with a time slider), drive.gpx and\n"
                           "  drive.geojson. Input that gives nothing usable (no sentences, no position fix,\n"
                           "  a track far from the field) is reported on standard error and ends with status 3.\n"
                           "  Previous outputs are replaced only when the run completes: after any failure\n"
                           "  they are left as they were. Records an interrupted run synced are kept as\n"
                           "  fixes-interrupted-<start time>.rec by the next run. Ctrl-C ends a serial replay\n"
                           "  normally; it cuts a file replay short with its outputs complete up to there.\n"
                           "\n"
                           "  --field FILE      field file (default: the built-in sample field): the tool's\n"
                           "                    own, or a KML or GeoJSON file whose first LineString is the line\n"
                           "  --width METRES    the working width of a KML or GeoJSON field\n"
                           "  --output DIR      output directory (default: out)\n"
                           "  --serial DEVICE   read from a serial device until --idle seconds pass without\n"
                           "                    data, or until interrupted (Ctrl-C)\n"
                           "  --baud RATE       serial speed (default 115200)\n"
                           "  --idle SECONDS    end a serial replay after this long without data, 0.1 to\n"
                           "                    86400 (default 10)\n"
                           "  --sync-every N    sync the records every N records (or every second), 1 to\n"
                           "                    65536; default 1 for a serial device, 4096 otherwise\n"
                           "  --stick DIR       copy the outputs into a new folder run-<start time> in DIR\n"
                           "                    (default: /mnt/usb/ when a stick is present), verified by CRC-32\n"
                           "  --no-stick        do not copy the outputs\n";

const char kDemoHelp[] = "usage: guidance demo [options]\n"
                         "  Simulates a drive over a field (the built-in sample field by default), writes\n"
                         "  it to drive.nmea in the output directory, replays it and prints the summary.\n"
                         "\n"
                         "  --field FILE      field file (and --width for a KML or GeoJSON one)\n"
                         "  --output DIR      output directory (default: out)\n"
                         "  --stick DIR       copy the outputs into a new folder run-<start time> in DIR\n"
                         "                    (default: /mnt/usb/ when a stick is present)\n"
                         "  --no-stick        do not copy the outputs\n"
                         "  and the simulation options of 'guidance simulate': --passes, --speed, --damaged,\n"
                         "  --steady, --seed\n";

const char kRecordFile[] = "fixes.rec";
const char kKmlFile[] = "drive.kml";
const char kGpxFile[] = "drive.gpx";
const char kGeoJsonFile[] = "drive.geojson";
const char kReportFile[] = "report.html";
const char kSummaryFile[] = "summary.txt";
const char kDriveFile[] = "drive.nmea";

// The serial loop's round: the longest wait for a device's bytes.
const std::chrono::milliseconds kPollInterval(200);
// The wait between looks at the records still on their way to the medium.
const std::chrono::milliseconds kDrainInterval(50);
const double kLongestIdle = 86400;
const double kShortestIdle = 0.1;
// Records per sync. A receiver's fixes are synced one by one: nothing else
// holds them. A file can be read again after a power cut, so its records are
// synced in groups, as fast as the medium takes them.
const int kFileSyncGroup = 4096;
const int kLargestSyncGroup = 65536;
// Input is read in pieces of this size.
const std::size_t kInputPiece = 65536;

// Where the run's outputs go; created when missing.
std::string PrepareOutputDirectory(const std::string& directory)
{
    if (mkdir(directory.c_str(), 0777) != 0 && errno != EEXIST)
        throw IoFailure(directory, "cannot create the output directory");
    struct stat info;
    if (stat(directory.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        throw BadInput(directory, "not a directory");
    return directory.back() == '/' ? directory : directory + "/";
}

// The stick directory chosen by the options: --stick, none with --no-stick,
// else the device's stick when one is mounted.
std::string StickFrom(const Options& options)
{
    if (options.Has("no-stick"))
        return "";
    if (options.Has("stick"))
    {
        const std::string stick = options.Get("stick", "");
        struct stat info;
        if (stick.empty() || stat(stick.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
            throw BadInput(stick, "no such stick directory");
        return stick;
    }
    return Core::Utilities::USBPresent() ? Core::Utilities::kUSBMountPoint : "";
}

// Shows fixes, records written, their rate and the cross-track on one line, at most five times a second.
class StatusLine
{
public:
    explicit StatusLine(bool enabled) : m_enabled(enabled), m_last(std::chrono::steady_clock::now()) {}

    // Redraws the line when it is due, or at once when forced.
    void Update(const Replayer& replayer, bool force = false)
    {
        const FixRecord* latest = replayer.Latest();
        const auto now = std::chrono::steady_clock::now();
        const double elapsed = std::max(1e-3, std::chrono::duration<double>(now - m_last).count());
        if (!m_enabled || latest == nullptr || (!force && now - m_last < Progress::kRedrawInterval))
            return;
        const long written = replayer.RecordsWritten();
        std::printf("\r  fixes %7ld   recorded %7ld   rate %6.1f /s   pass %3d   cross-track %+7.3f m ",
                    replayer.RecordCount(), written, (written - m_lastWritten) / elapsed, latest->pass,
                    latest->crossTrack);
        std::fflush(stdout);
        m_last = now;
        m_lastWritten = written;
        m_shown = true;
    }

    // Shows the last fix, then ends the status line so that later output
    // starts on a fresh line.
    void Close(const Replayer& replayer)
    {
        if (m_shown)
            Update(replayer, true);
        if (m_shown)
            std::printf("\n");
        m_shown = false;
    }

private:
    bool m_enabled;
    std::chrono::steady_clock::time_point m_last;
    long m_lastWritten = 0;
    bool m_shown = false;
};

// Reads a file (or standard input for "-") into the replayer in pieces, until
// its end or an interruption.
void FeedFile(const std::string& path, Replayer& replayer, StatusLine& status)
{
    const int fd = path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        throw BadInput(path, "cannot open the input", std::strerror(errno));
    std::unique_ptr<int, void (*)(int*)> closer(path == "-" ? nullptr : new int(fd), [](int* f) {
        close(*f);
        delete f;
    });
    if (fd == STDIN_FILENO && isatty(fd))
        PrintMessage("reading NMEA from standard input; Ctrl-D ends");
    struct stat info;
    const bool regular = fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
    Progress progress("replaying " + path, regular ? static_cast<long long>(info.st_size) : 0);
    long long done = 0;
    std::vector<char> buffer(kInputPiece);
    while (InterruptingSignal() == 0)
    {
        const ssize_t count = read(fd, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw IoFailure(path, "read failed");
        if (count == 0)
            return;
        replayer.Feed(std::string(buffer.data(), static_cast<std::size_t>(count)));
        status.Update(replayer);
        progress.Update(done += count);
    }
}

// Reads a serial device into the replayer until it stays silent for idle
// seconds or the user interrupts.
void FeedSerial(SerialLink& link, double idle, Replayer& replayer, StatusLine& status)
{
    SerialFeed feed(link, replayer);
    while (InterruptingSignal() == 0)
    {
        const auto before = std::chrono::steady_clock::now();
        if (feed.Step(kPollInterval) != SerialFeed::Event::Quiet)
        {
            status.Update(replayer);
            continue;
        }
        if (feed.EpochOpen())
            continue;
        if (std::chrono::duration<double>(std::chrono::steady_clock::now() - feed.LastData()).count() >= idle)
            break;
        // A device that went away reports nothing at once: wait out the round.
        std::this_thread::sleep_until(before + kPollInterval);
    }
}

// The files a replay wrote, and whether its input gave anything usable.
struct ReplayResult
{
    bool usable = false;
    std::vector<std::string> written; // paths, in the output directory and on the stick
};

// One export of the run: its file, the stream over it and the exporter.
struct Export
{
    Export(const std::string& path, std::unique_ptr<FixSink> (*make)(std::ostream&))
        : file(path), stream(file), sink(make(stream))
    {
    }
    OutputFile file;
    OutputStream stream;
    std::unique_ptr<FixSink> sink;
};

// The replay proper, after the options are checked: input already opened;
// input names it in warnings. Every output is prepared in full before the
// first replaces its previous version, so a failure on the way leaves all of
// them as they were.
ReplayResult RunReplay(const Field& field, const std::string& outputDirectory, const std::string& stick,
                       const std::string& input, int syncEvery, const std::function<void(Replayer&, StatusLine&)>& feed)
{
    const std::string directory = PrepareOutputDirectory(outputDirectory);
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    Replayer replayer(field, directory + kRecordFile);
    replayer.SyncRecordsEvery(syncEvery);
    StatusLine status(terminal);
    feed(replayer, status);
    // Input outruns the medium: keep the status moving while the records land.
    while (replayer.ProcessCompletions() > 0)
    {
        status.Update(replayer);
        std::this_thread::sleep_for(kDrainInterval);
    }
    status.Close(replayer);
    replayer.Finish();

    ReplayResult result;
    result.usable = replayer.Check().Usable();
    std::string warnings;
    for (const std::string& warning : replayer.Check().Warnings())
    {
        PrintMessage(input + ": " + warning);
        warnings += "  warning: " + warning + "\n";
    }
    // The exports are drawn from the records as they reached the file, read
    // back one at a time; without a fix there is nothing to draw.
    std::vector<std::unique_ptr<Export>> exports;
    if (replayer.Plane() != nullptr)
        for (const auto& [name, make] :
             {std::make_pair(kKmlFile, &KmlExport), std::make_pair(kGpxFile, &GpxExport),
              std::make_pair(kGeoJsonFile, &GeoJsonExport), std::make_pair(kReportFile, &ReportExport)})
        {
            exports.push_back(std::make_unique<Export>(directory + name, make));
            exports.back()->sink->Begin(RunContext{field, *replayer.Plane(), *replayer.Line()});
        }
    const RecordFileContents written = ReadRecordFile(replayer.RecordPath(), [&](const FixRecord& record) {
        for (const auto& output : exports)
            output->sink->Add(record);
    });
    for (const auto& output : exports)
        output->sink->End(replayer.Statistics());
    const std::string summary = "Replay of " + (field.name.empty() ? std::string("the field") : field.name) + "\n" +
                                replayer.Summary(written.CountsText()) + warnings;
    OutputFile summaryFile(directory + kSummaryFile);
    summaryFile.Write(summary);

    std::vector<std::string> outputs = {directory + kRecordFile, directory + kSummaryFile};
    for (const auto& output : exports)
    {
        output->stream.Commit();
        outputs.push_back(output->file.Path());
    }
    summaryFile.Commit();
    replayer.CommitRecords();
    std::fputs(summary.c_str(), stdout);
    std::string names;
    for (const std::string& path : outputs)
        names += " " + Core::Utilities::GetFileName(path);
    std::printf("Outputs in %s:%s\n", directory.c_str(), names.c_str());
    result.written = outputs;
    if (!stick.empty())
    {
        const RunStatistics& run = replayer.Statistics();
        const std::string folder = CopyRunToStick(outputs, stick, run.Dated() ? run.Start() : -1);
        for (const std::string& path : outputs)
            result.written.push_back(folder + "/" + Core::Utilities::GetFileName(path));
    }
    return result;
}

// The exit status of a replay that was not cut short.
int StatusOf(const ReplayResult& result)
{
    return result.usable ? kExitSuccess : kExitNothingUsable;
}

} // namespace

int Replay(const Arguments& args)
{
    Options options({{"field", true},
                     {"width", true},
                     {"output", true},
                     {"serial", true},
                     {"baud", true},
                     {"idle", true},
                     {"sync-every", true},
                     {"stick", true},
                     {"no-stick", false}});
    if (!options.ParseOrHelp(args, kReplayHelp))
        return kExitSuccess;
    if (options.Positional().size() > 1)
        throw BadInput(options.Positional()[1], "replay reads one input file");
    if (options.Has("serial") && !options.Positional().empty())
        throw BadInput(options.Positional()[0], "give either an input file or --serial, not both");

    // Check every input before the first output is created.
    const Field field = FieldFrom(options);
    const std::string output = options.Get("output", "out");
    const std::string stick = StickFrom(options);
    if (options.Has("serial"))
    {
        const double idle = options.GetDouble("idle", 10, kShortestIdle, kLongestIdle);
        SerialLink link(options.Get("serial", ""), BaudFrom(options));
        const int syncEvery = options.GetInt("sync-every", 1, 1, kLargestSyncGroup);
        CatchInterruptions();
        const ReplayResult result =
            RunReplay(field, output, stick, options.Get("serial", ""), syncEvery,
                      [&](Replayer& replayer, StatusLine& status) { FeedSerial(link, idle, replayer, status); });
        // Ctrl-C is how a serial replay is meant to end.
        if (InterruptingSignal() != 0 && InterruptingSignal() != SIGINT)
            return InterruptedStatus();
        return StatusOf(result);
    }
    const std::string input = options.Positional().empty() ? "-" : options.Positional()[0];
    if (input != "-")
    {
        struct stat info;
        if (access(input.c_str(), R_OK) != 0 || stat(input.c_str(), &info) != 0)
            throw BadInput(input, "cannot read the input", std::strerror(errno));
        if (S_ISDIR(info.st_mode))
            throw BadInput(input, "a directory, not NMEA input");
    }
    const int syncEvery = options.GetInt("sync-every", kFileSyncGroup, 1, kLargestSyncGroup);
    CatchInterruptions();
    const ReplayResult result =
        RunReplay(field, output, stick, input == "-" ? "standard input" : input, syncEvery,
                  [&](Replayer& replayer, StatusLine& status) { FeedFile(input, replayer, status); });
    return InterruptingSignal() != 0 ? InterruptedStatus() : StatusOf(result);
}

int Demo(const Arguments& args)
{
    Options options({{"output", true}, {"stick", true}, {"no-stick", false}});
    options.Declare(SimulationDeclarations());
    if (!options.ParseOrHelp(args, kDemoHelp))
        return kExitSuccess;
    if (!options.Positional().empty())
        throw BadInput(options.Positional()[0], "demo takes no file arguments");
    const Field field = FieldFrom(options);
    const SimulationSettings settings = SimulationSettingsFrom(options);
    const std::string stick = StickFrom(options);
    const std::string directory = PrepareOutputDirectory(options.Get("output", "out"));

    std::printf("%s\n", VersionText().c_str());
    std::printf("Field: %s (%zu points, working width %.2f m, %s spline)\n",
                field.name.empty() ? "unnamed" : field.name.c_str(), field.points.size(), field.workingWidth,
                Field::kSplineNames[field.splineType]);
    CatchInterruptions();
    OutputFile driveFile(directory + kDriveFile);
    double driven = 0;
    SimulateDrive(field, settings, [&](const Epoch& epoch) {
        driveFile.Write(epoch.text);
        driven = epoch.elapsed;
        return InterruptingSignal() == 0;
    });
    driveFile.Commit();
    std::printf("Simulated %d passes: %.1f s of driving, %s\n", settings.passes, driven,
                (directory + kDriveFile).c_str());
    // Cut short while simulating: the drive so far is kept, the replay's previous outputs too.
    if (InterruptingSignal() != 0)
        return InterruptedStatus();
    const std::string input = directory + kDriveFile;
    const ReplayResult result =
        RunReplay(field, directory, stick, input, kFileSyncGroup,
                  [&](Replayer& replayer, StatusLine& status) { FeedFile(input, replayer, status); });
    std::printf("Files written:\n  %s\n", input.c_str());
    for (const std::string& path : result.written)
        std::printf("  %s\n", path.c_str());
    return InterruptingSignal() != 0 ? InterruptedStatus() : StatusOf(result);
}

} // namespace GuidanceTool
