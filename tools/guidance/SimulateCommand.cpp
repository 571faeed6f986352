// `guidance simulate`: writes a simulated drive as NMEA to a file, to standard
// output, or to a serial device in real time.
#include "Interruption.h"
#include "Options.h"
#include "OutputFile.h"
#include "Progress.h"
#include "SerialLink.h"
#include "Simulator.h"
#include "Tool.h"

#include <chrono>
#include <climits>
#include <cstdio>

namespace GuidanceTool
{

namespace
{

const char kHelp[] = "usage: guidance simulate [options]\n"
                     "  Writes a drive over the field as NMEA sentences (GGA and VTG at 10 Hz, GSA each\n"
                     "  second): the guidance line and its passes to the right, with headland turns,\n"
                     "  positioning noise, fix-quality changes, dropouts and some damaged sentences.\n"
                     "  An existing output file is replaced only once the drive is complete (a symbolic\n"
                     "  link's target is replaced; a device or FIFO is written in place). Interrupted,\n"
                     "  the output holds the drive up to the interruption.\n"
                     "\n"
                     "  --field FILE      field file (default: the built-in sample field)\n"
                     "  --output FILE     write to FILE, '-' for standard output (the default)\n"
                     "  --serial DEVICE   send to a serial device in real time instead\n"
                     "  --baud RATE       serial speed (default 115200)\n"
                     "  --speedup N       send N times faster than real time, 0.01 to 1000 (default 1)\n"
                     "  --passes N        number of passes, 1 to 1000 (default 4)\n"
                     "  --speed M         speed along the passes, 0.1 to 50 metres per second (default 4)\n"
                     "  --damaged SHARE   share of damaged sentences, 0 to 1 (default 0.005)\n"
                     "  --steady          no fix-quality changes and no dropouts\n"
                     "  --seed N          random seed, 0 to 2147483647 (default 1)\n"
                     "  A field file holds 2 to 1000 points within 20 km of the first, and a working\n"
                     "  width of 0.5 to 1000 m.\n";

const double kFastestSpeedup = 1000;
const double kSlowestSpeedup = 0.01;

} // namespace

std::vector<Options::Declaration> SimulationDeclarations()
{
    return {{"field", true},   {"width", true},   {"passes", true}, {"speed", true},
            {"damaged", true}, {"steady", false}, {"seed", true}};
}

SimulationSettings SimulationSettingsFrom(const Options& options)
{
    SimulationSettings settings;
    settings.passes = options.GetInt("passes", settings.passes, 1, 1000);
    settings.speed = options.GetDouble("speed", settings.speed, 0.1, 50);
    settings.damagedShare = options.GetDouble("damaged", settings.damagedShare, 0, 1);
    settings.disturbances = !options.Has("steady");
    settings.seed = static_cast<unsigned int>(options.GetInt("seed", static_cast<int>(settings.seed), 0, INT_MAX));
    return settings;
}

int BaudFrom(const Options& options)
{
    return options.GetInt("baud", SerialLink::kDefaultBaud, 0, INT_MAX);
}

Field FieldFrom(const Options& options)
{
    // 0 leaves a field file's own width; KML and GeoJSON files have none.
    const double width =
        options.Has("width") ? options.GetDouble("width", 0, Field::kNarrowestWidth, Field::kWidestWidth) : 0;
    if (!options.Has("field"))
    {
        if (width > 0)
            throw BadInput("--width", "needs a --field file");
        return Field::Sample();
    }
    return Field::Load(options.Get("field", ""), width);
}

int Simulate(const Arguments& args)
{
    Options options({{"output", true}, {"serial", true}, {"baud", true}, {"speedup", true}});
    options.Declare(SimulationDeclarations());
    if (!options.ParseOrHelp(args, kHelp))
        return kExitSuccess;
    if (!options.Positional().empty())
        throw BadInput(options.Positional()[0], "simulate takes no file arguments", "use --output");
    if (options.Has("serial") && options.Has("output"))
        throw BadInput("--serial", "give either --output or --serial, not both");

    const Field field = FieldFrom(options);
    const SimulationSettings settings = SimulationSettingsFrom(options);
    CatchInterruptions();
    if (options.Has("serial"))
    {
        const double speedup = options.GetDouble("speedup", 1, kSlowestSpeedup, kFastestSpeedup);
        SerialLink link(options.Get("serial", ""), BaudFrom(options));
        const auto start = std::chrono::steady_clock::now();
        SimulateDrive(field, settings, [&](const Epoch& epoch) {
            link.SendAt(epoch, start, speedup);
            return InterruptingSignal() == 0;
        });
        link.Drain();
        return InterruptedStatus();
    }
    const std::string path = options.Get("output", "-");
    OutputFile output(path);
    // The drive's length is not known ahead: the seconds simulated so far show.
    Progress progress("simulating into " + path, 0, "s of driving");
    bool wanted = true;
    SimulateDrive(field, settings, [&](const Epoch& epoch) {
        wanted = output.Write(epoch.text);
        if (path != "-")
            progress.Update(static_cast<long long>(epoch.elapsed));
        return wanted && InterruptingSignal() == 0;
    });
    progress.Close();
    if (wanted)
        output.Commit();
    return InterruptedStatus();
}

} // namespace GuidanceTool
