// `guidance info`: the version and the clocks as the library reads them.
#include "Options.h"
#include "Tool.h"
#include "Utilities/Time.h"
#include "Utilities/Version.h"

#include <cstdio>
#include <ctime>

namespace GuidanceTool
{

int Info(const Arguments& args)
{
    Options options({});
    if (!options.ParseOrHelp(args, "usage: guidance info\n"
                                   "  Prints the library and software versions, the UTC and GPS time, and the uptime.\n"))
        return 0;
    if (!options.Positional().empty())
        throw BadInput(options.Positional()[0], "info takes no arguments");

    std::printf("%s\n", VersionText().c_str());
    std::printf("Software version:  %s (revision %s)\n", Core::Utilities::GetSoftwareVersion().c_str(),
                Core::Utilities::GetSVNRevision().c_str());
    const Core::Time now = Core::Time::Now();
    const std::time_t seconds = now.Seconds();
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &utc);
    std::printf("UTC time:          %s.%06ld (Unix %ld)\n", stamp, static_cast<long>(now.Microseconds()),
                static_cast<long>(now.Seconds()));

    int week = 0;
    double timeOfWeek = 0;
    now.AsGPSTime(week, timeOfWeek);
    std::printf("GPS week:          %d\n", week);
    std::printf("GPS time of week:  %.6f s (%d leap seconds)\n", timeOfWeek, Core::Time::s_leapSeconds);
    std::printf("Monotonic uptime:  %.6f s\n", Core::MonotonicTime::Now().AsDouble());
    return kExitSuccess;
}

} // namespace GuidanceTool
