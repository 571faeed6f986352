// `guidance simulate`: writes a simulated drive as NMEA to a file, to standard
// output, or to a serial device in real time.
#include "Options.h"
#include "SerialLink.h"
#include "Simulator.h"
#include "Tool.h"

#include <cstdio>

namespace GuidanceTool
{

namespace
{

const char kHelp[] =
    "usage: guidance simulate [options]\n"
    "  Writes a drive over the field as NMEA sentences (GGA and VTG at 10 Hz, GSA each\n"
    "  second): the guidance line and its passes to the right, with headland turns,\n"
    "  positioning noise, fix-quality changes, dropouts and some damaged sentences.\n"
    "\n"
    "  --field FILE      field file (default: the built-in sample field)\n"
    "  --output FILE     write to FILE, '-' for standard output (the default)\n"
    "  --serial DEVICE   send to a serial device in real time instead\n"
    "  --baud RATE       serial speed (default 115200)\n"
    "  --speedup N       send N times faster than real time (default 1)\n"
    "  --passes N        number of passes (default 4)\n"
    "  --speed M         speed along the passes, metres per second (default 4)\n"
    "  --damaged SHARE   share of damaged sentences, 0 to 1 (default 0.005)\n"
    "  --steady          no fix-quality changes and no dropouts\n"
    "  --seed N          random seed (default 1)\n";

} // namespace

std::vector<Options::Declaration> SimulationDeclarations()
{
    return {{"field", true}, {"passes", true}, {"speed", true}, {"damaged", true}, {"steady", false}, {"seed", true}};
}

SimulationSettings SimulationSettingsFrom(const Options& options)
{
    SimulationSettings settings;
    settings.passes = options.GetInt("passes", settings.passes);
    settings.speed = options.GetDouble("speed", settings.speed);
    settings.damagedShare = options.GetDouble("damaged", settings.damagedShare);
    settings.disturbances = !options.Has("steady");
    settings.seed = static_cast<unsigned int>(options.GetInt("seed", static_cast<int>(settings.seed)));
    if (settings.passes < 1 || settings.passes > 1000)
        throw ToolError("--passes must be between 1 and 1000");
    if (settings.speed < 0.1 || settings.speed > 50)
        throw ToolError("--speed must be between 0.1 and 50 metres per second");
    if (settings.damagedShare < 0 || settings.damagedShare > 1)
        throw ToolError("--damaged must be between 0 and 1");
    return settings;
}

Field FieldFrom(const Options& options)
{
    return options.Has("field") ? Field::Load(options.Get("field", "")) : Field::Sample();
}

int Simulate(const Arguments& args)
{
    Options options({{"output", true}, {"serial", true}, {"baud", true}, {"speedup", true}});
    options.Declare(SimulationDeclarations());
    if (!options.ParseOrHelp(args, kHelp))
        return 0;
    if (!options.Positional().empty())
        throw ToolError("simulate takes no file arguments (use --output)");
    if (options.Has("serial") && options.Has("output"))
        throw ToolError("give either --output or --serial, not both");

    const Field field = FieldFrom(options);
    const SimulationSettings settings = SimulationSettingsFrom(options);
    if (options.Has("serial"))
    {
        const double speedup = options.GetDouble("speedup", 1);
        if (speedup <= 0)
            throw ToolError("--speedup must be greater than 0");
        SerialLink link(options.Get("serial", ""), options.GetInt("baud", SerialLink::kDefaultBaud));
        link.SendPaced(SimulateDrive(field, settings), speedup);
        return 0;
    }
    WriteOutput(options.Get("output", "-"), JoinEpochs(SimulateDrive(field, settings)));
    return 0;
}

} // namespace GuidanceTool
