// `guidance replay` and `guidance demo`: guidance over NMEA input from a file,
// standard input or a serial device, with records, KML, a summary and a copy
// to the USB stick.
#include "Export.h"
#include "Replayer.h"
#include "SerialLink.h"
#include "Tool.h"
#include "Utilities/CrashHandler.h"
#include "Utilities/FileUtilities.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <thread>
#include <sys/stat.h>
#include <unistd.h>

namespace GuidanceTool
{

namespace
{

const char kReplayHelp[] =
    "usage: guidance replay [options] [FILE]\n"
    "  Reads NMEA sentences from FILE ('-' or none: standard input) or a serial device,\n"
    "  measures every fix against the field's guidance line (nearest pass, cross-track,\n"
    "  along-track and heading error), records the fixes, and writes into the output\n"
    "  directory: fixes.rec (records; see 'guidance dump'), drive.kml and summary.txt.\n"
    "\n"
    "  --field FILE      field file (default: the built-in sample field)\n"
    "  --output DIR      output directory (default: out)\n"
    "  --serial DEVICE   read from a serial device until --idle seconds pass without\n"
    "                    data, or until interrupted (Ctrl-C)\n"
    "  --baud RATE       serial speed (default 115200)\n"
    "  --idle SECONDS    end a serial replay after this long without data (default 10)\n"
    "  --stick DIR       copy the outputs to DIR (default: /mnt/usb/ when a stick is present)\n"
    "  --no-stick        do not copy the outputs\n";

const char kDemoHelp[] =
    "usage: guidance demo [options]\n"
    "  Simulates a drive over a field (the built-in sample field by default), writes\n"
    "  it to drive.nmea in the output directory, replays it and prints the summary.\n"
    "\n"
    "  --field FILE      field file\n"
    "  --output DIR      output directory (default: out)\n"
    "  --stick DIR       copy the outputs to DIR (default: /mnt/usb/ when a stick is present)\n"
    "  --no-stick        do not copy the outputs\n"
    "  and the simulation options of 'guidance simulate': --passes, --speed, --damaged,\n"
    "  --steady, --seed\n";

const char kRecordFile[] = "fixes.rec";
const char kKmlFile[] = "drive.kml";
const char kSummaryFile[] = "summary.txt";
const char kDriveFile[] = "drive.nmea";
const char kStickDirectory[] = "/mnt/usb/";

// Set by the interrupt handler; the serial loop ends at its next round.
volatile std::sig_atomic_t s_interrupted = 0;

void OnInterrupt(int)
{
    s_interrupted = 1;
}

// Where the run's outputs go; created when missing.
std::string PrepareOutputDirectory(const std::string& directory)
{
    if (mkdir(directory.c_str(), 0777) != 0 && errno != EEXIST)
        throw ToolError("cannot create output directory '" + directory + "': " + std::strerror(errno));
    struct stat info;
    if (stat(directory.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        throw ToolError("'" + directory + "' is not a directory");
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
            throw ToolError("stick directory '" + stick + "' does not exist");
        return stick;
    }
    return Core::Utilities::USBPresent() ? kStickDirectory : "";
}

// Shows fixes, records written, their rate and the cross-track on one line, at most five times a second.
class StatusLine
{
public:
    explicit StatusLine(bool enabled) : m_enabled(enabled), m_last(std::chrono::steady_clock::now()) {}

    void Update(const Replayer& replayer)
    {
        const FixRecord* latest = replayer.Latest();
        const auto now = std::chrono::steady_clock::now();
        const double elapsed = std::chrono::duration<double>(now - m_last).count();
        if (!m_enabled || latest == nullptr || elapsed < 0.2)
            return;
        const long written = replayer.RecordsWritten();
        std::printf("\r  fixes %7ld   recorded %7ld   rate %6.1f /s   pass %3d   cross-track %+7.3f m ",
                    static_cast<long>(replayer.Records().size()), written, (written - m_lastWritten) / elapsed,
                    latest->pass, latest->crossTrack);
        std::fflush(stdout);
        m_last = now;
        m_lastWritten = written;
        m_shown = true;
    }

    // Ends the status line so that later output starts on a fresh line.
    void Close()
    {
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

// Reads a file (or standard input for "-") into the replayer in pieces.
void FeedFile(const std::string& path, Replayer& replayer, StatusLine& status)
{
    std::FILE* file = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        throw ToolError("cannot read '" + path + "': " + std::strerror(errno));
    char buffer[65536];
    std::size_t count;
    while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0)
    {
        replayer.Feed(std::string(buffer, count));
        status.Update(replayer);
    }
    const bool failed = std::ferror(file) != 0;
    if (file != stdin)
        std::fclose(file);
    if (failed)
        throw ToolError("error reading '" + path + "'");
}

// Reads a serial device into the replayer until it stays silent for idle
// seconds or the user interrupts.
void FeedSerial(SerialLink& link, double idle, Replayer& replayer, StatusLine& status)
{
    auto& crashHandler = Core::Patterns::StaticSingleton<Core::Utilities::CrashHandler>::ref();
    crashHandler.SetAutoExit(false);
    crashHandler.SetHandler(SIGINT, OnInterrupt);
    crashHandler.SetHandler(SIGTERM, OnInterrupt);
    auto lastData = std::chrono::steady_clock::now();
    while (!s_interrupted)
    {
        const auto before = std::chrono::steady_clock::now();
        const std::string chunk = link.Read(0.2);
        const auto now = std::chrono::steady_clock::now();
        if (!chunk.empty())
        {
            lastData = now;
            replayer.Feed(chunk);
            status.Update(replayer);
            continue;
        }
        if (std::chrono::duration<double>(now - lastData).count() >= idle)
            break;
        // A device that went away reports nothing at once: wait out the round.
        std::this_thread::sleep_until(before + std::chrono::milliseconds(200));
    }
}

// The replay proper, after the options are checked: input already opened.
int RunReplay(const Field& field, const std::string& outputDirectory, const std::string& stick,
              const std::function<void(Replayer&, StatusLine&)>& feed)
{
    const std::string directory = PrepareOutputDirectory(outputDirectory);
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    Replayer replayer(field, directory + kRecordFile);
    StatusLine status(terminal);
    feed(replayer, status);
    // Input outruns the medium: keep the status moving while the records land.
    while (replayer.ProcessCompletions() > 0)
    {
        status.Update(replayer);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    replayer.Finish();
    status.Close();

    std::vector<std::string> outputs = {directory + kRecordFile};
    if (replayer.Plane() != nullptr)
    {
        WriteOutput(directory + kKmlFile, RunKML(replayer.Records(), *replayer.Line(), *replayer.Plane(), field.name));
        outputs.push_back(directory + kKmlFile);
    }
    const std::string summary = "Replay of " + (field.name.empty() ? std::string("the field") : field.name) + "\n" +
                                replayer.Summary();
    WriteOutput(directory + kSummaryFile, summary);
    outputs.push_back(directory + kSummaryFile);
    std::fputs(summary.c_str(), stdout);
    if (replayer.RecordsFailed() > 0)
        std::printf("  %d records could not be written\n", replayer.RecordsFailed());
    std::string names;
    for (const std::string& path : outputs)
        names += " " + Core::Utilities::GetFileName(path);
    std::printf("Outputs in %s:%s\n", directory.c_str(), names.c_str());
    if (!stick.empty())
        CopyToStick(outputs, stick, terminal);
    return replayer.RecordsFailed() > 0 ? 1 : 0;
}

} // namespace

int Replay(const Arguments& args)
{
    Options options({{"field", true},
                     {"output", true},
                     {"serial", true},
                     {"baud", true},
                     {"idle", true},
                     {"stick", true},
                     {"no-stick", false}});
    if (!options.ParseOrHelp(args, kReplayHelp))
        return 0;
    if (options.Positional().size() > 1)
        throw ToolError("replay reads one input file");
    if (options.Has("serial") && !options.Positional().empty())
        throw ToolError("give either an input file or --serial, not both");

    // Check every input before the first output is created.
    const Field field = FieldFrom(options);
    const std::string output = options.Get("output", "out");
    const std::string stick = StickFrom(options);
    if (options.Has("serial"))
    {
        const double idle = options.GetDouble("idle", 10);
        if (idle <= 0)
            throw ToolError("--idle must be greater than 0");
        SerialLink link(options.Get("serial", ""), options.GetInt("baud", SerialLink::kDefaultBaud));
        return RunReplay(field, output, stick,
                         [&](Replayer& replayer, StatusLine& status) { FeedSerial(link, idle, replayer, status); });
    }
    const std::string input = options.Positional().empty() ? "-" : options.Positional()[0];
    if (input != "-")
    {
        struct stat info;
        if (access(input.c_str(), R_OK) != 0 || stat(input.c_str(), &info) != 0)
            throw ToolError("cannot read '" + input + "': " + std::strerror(errno));
        if (S_ISDIR(info.st_mode))
            throw ToolError("'" + input + "' is a directory, not NMEA input");
    }
    return RunReplay(field, output, stick,
                     [&](Replayer& replayer, StatusLine& status) { FeedFile(input, replayer, status); });
}

int Demo(const Arguments& args)
{
    Options options({{"output", true}, {"stick", true}, {"no-stick", false}});
    options.Declare(SimulationDeclarations());
    if (!options.ParseOrHelp(args, kDemoHelp))
        return 0;
    if (!options.Positional().empty())
        throw ToolError("demo takes no file arguments");
    const Field field = FieldFrom(options);
    const SimulationSettings settings = SimulationSettingsFrom(options);
    const std::string stick = StickFrom(options);
    const std::string directory = PrepareOutputDirectory(options.Get("output", "out"));

    std::printf("%s\n", VersionText().c_str());
    std::printf("Field: %s (%zu points, working width %.2f m, %s spline)\n",
                field.name.empty() ? "unnamed" : field.name.c_str(), field.points.size(), field.workingWidth,
                Field::kSplineNames[field.splineType]);
    const std::vector<Epoch> drive = SimulateDrive(field, settings);
    WriteOutput(directory + kDriveFile, JoinEpochs(drive));
    std::printf("Simulated %d passes: %.1f s of driving, %s\n", settings.passes,
                drive.empty() ? 0.0 : drive.back().elapsed, (directory + kDriveFile).c_str());
    const std::string input = directory + kDriveFile;
    return RunReplay(field, directory, stick,
                     [&](Replayer& replayer, StatusLine& status) { FeedFile(input, replayer, status); });
}

} // namespace GuidanceTool
