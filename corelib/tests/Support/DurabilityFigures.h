// The power-loss and fault-injection figures that the test command prints:
// one line per durable writer, "durability: <writer> N states, N faults,
// N violations", in test-results/durability-<program>.txt. Each test program
// has its own file, so programs run in any order or at once never erase
// each other's lines; a program's first report starts its file afresh.
#ifndef CORELIB_TESTS_SUPPORT_DURABILITYFIGURES_H
#define CORELIB_TESTS_SUPPORT_DURABILITYFIGURES_H

#include <string>

namespace CoreTest
{

struct DurabilityFigures
{
    long states = 0;
    int faults = 0;
    int violations = 0;
};

// Adds one writer's figures to the program's results file.
void ReportDurability(const std::string& program, const std::string& writer, const DurabilityFigures& figures);

} // namespace CoreTest

#endif
