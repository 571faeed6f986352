#include "Support/DurabilityFigures.h"

#include <cstdio>
#include <set>
#include <sys/stat.h>

namespace CoreTest
{

void ReportDurability(const std::string& program, const std::string& writer, const DurabilityFigures& figures)
{
    static std::set<std::string> started;
    const std::string directory = std::string(CORELIB_BINARY_DIR) + "/test-results";
    mkdir(directory.c_str(), 0755);
    const bool first = started.insert(program).second;
    std::FILE* out = std::fopen((directory + "/durability-" + program + ".txt").c_str(), first ? "w" : "a");
    if (out != nullptr)
    {
        std::fprintf(out, "durability: %s %ld states, %d faults, %d violations\n", writer.c_str(), figures.states,
                     figures.faults, figures.violations);
        std::fclose(out);
    }
}

} // namespace CoreTest
