// guidance: the bench tool that drives the library from positioning input to
// guidance records and exports. `guidance info` (the default) shows the
// library's version and the clocks as the library reads them.
#include "CoreLibrary.h"

#include <cstdio>
#include <cstring>
#include <ctime>

namespace
{

int Usage(std::FILE* out, int status)
{
    std::fprintf(out, "usage: guidance [info | --help]\n"
                      "  info   library and software versions, UTC time, GPS week and time of week, uptime\n");
    return status;
}

int Info()
{
    std::printf("libCoreLibrary %s\n", CORELIB_VERSION);
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
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 1 || (argc == 2 && std::strcmp(argv[1], "info") == 0))
        return Info();
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0)
        return Usage(stdout, 0);
    return Usage(stderr, 2);
}
