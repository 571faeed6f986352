#include "Support/EmulatorLimits.h"

#include "Support/TestSupport.h"

#include <cmath>
#include <cstdio>

namespace CoreTest
{

bool TrigonometryWorks()
{
    static const bool works = [] {
        const ChildResult probe = RunInChild([] {
            // volatile keeps the compiler from folding the calls at build time.
            volatile double x = 0.5;
            std::printf("%.3f\n", std::sin(x) + std::cos(x) + std::tan(x) + std::atan(x) + std::atan2(x, 2.0));
        });
        return probe.exited && probe.exitStatus == 0;
    }();
    return works;
}

} // namespace CoreTest
