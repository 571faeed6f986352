// A program written as a user of the installed library: it includes the
// umbrella header, calls into the library and names the library file it
// loaded, so the test can tell the installed copy from the build tree's. The
// installed headers and library must be of one version.
#include "CoreLibrary.h"

#include <cstdio>
#include <fstream>
#include <string>

int main()
{
    const Core::Time t(2.5);
    if (t.Seconds() != 2 || t.Microseconds() != 500000)
    {
        std::puts("wrong value from the library");
        return 1;
    }
    if (Core::Utilities::GetLibraryVersion() != CORELIB_VERSION_STRING)
    {
        std::printf("headers of %s, library %s\n", CORELIB_VERSION_STRING,
                    Core::Utilities::GetLibraryVersion().c_str());
        return 1;
    }
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
    {
        const auto path = line.find('/');
        if (path != std::string::npos && line.find("libCoreLibrary.so") != std::string::npos)
        {
            std::printf("library: %s\n", line.c_str() + path);
            return 0;
        }
    }
    std::puts("libCoreLibrary.so is not mapped");
    return 1;
}
