// `guidance info`: the version and the clocks as the library reads them.
#include "Options.h"
#include "Tool.h"
#include "UtcTime.h"
#include "Utilities/Time.h"
#include "Utilities/Version.h"

#include <cstdio>
#include <ctime>

namespace GuidanceTool
{

namespace
{

// GPS time has run ahead of UTC by 18 s since the leap second at the end of 2016.
const int kCurrentLeapSeconds = 18;

} // namespace

int Info(const Arguments& args)
{
    Options options({{"leap-seconds", true}});
    if (!options.ParseOrHelp(args, "usage: guidance info [--leap-seconds N]\n"
                                   "  Prints the tool's version, the device's software version file, the UTC and\n"
                                   "  GPS time, and the uptime.\n"
                                   "\n"
                                   "  --leap-seconds N  GPS time minus UTC, 0 to 100 seconds (default 18, the\n"
                                   "                    offset since 2017)\n"))
        return 0;
    if (!options.Positional().empty())
        throw BadInput(options.Positional()[0], "info takes no arguments");
    const int leapSeconds = options.GetInt("leap-seconds", kCurrentLeapSeconds, 0, 100);

    std::printf("%s\n", VersionText().c_str());
    // The library reads the file relative to the working directory.
    std::printf("Device software version file ../etc/version: %s (revision file: %s)\n",
                Core::Utilities::GetSoftwareVersion().c_str(), Core::Utilities::GetSVNRevision().c_str());
    const Core::Time now = Core::Time::Now();
    const std::time_t seconds = now.Seconds();
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &utc);
    std::printf("UTC time:          %s.%06ld (Unix %ld)\n", stamp, static_cast<long>(now.Microseconds()),
                static_cast<long>(now.Seconds()));

    // Worked out here from UTC: the GPS epoch is fixed, only the leap seconds vary.
    int week = 0;
    double timeOfWeek = 0;
    GpsTime(now.Seconds() + now.Microseconds() * 1e-6, leapSeconds, week, timeOfWeek);
    std::printf("GPS week:          %d\n", week);
    std::printf("GPS time of week:  %.6f s (GPS - UTC = %d leap seconds)\n", timeOfWeek, leapSeconds);
    std::printf("Monotonic uptime:  %.6f s\n", Core::MonotonicTime::Now().AsDouble());
    return kExitSuccess;
}

} // namespace GuidanceTool
