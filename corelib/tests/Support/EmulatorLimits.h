// Probes for faults of the processor emulator rather than of the library.
// The device's C library enters sin, cos, tan, atan and atan2 with a
// floating-point status instruction that older processors decode as a plain
// status read; the user-mode emulator raises an illegal-instruction signal for
// it instead. Tests that need those functions skip on such an emulator and run
// everywhere else.
#ifndef CORELIB_TESTS_SUPPORT_EMULATORLIMITS_H
#define CORELIB_TESTS_SUPPORT_EMULATORLIMITS_H

namespace CoreTest
{

// True when sin, cos, tan, atan and atan2 can be called in this process without a signal.
// Probed once, in a child process.
bool TrigonometryWorks();

} // namespace CoreTest

// Skips the current test when the emulator cannot run the C library's trigonometry.
#define CORETEST_REQUIRE_TRIGONOMETRY()                                                                        \
    do                                                                                                         \
    {                                                                                                          \
        if (!CoreTest::TrigonometryWorks())                                                                    \
            GTEST_SKIP() << "the processor emulator cannot run the C library's trigonometry";              \
    } while (0)

#endif
