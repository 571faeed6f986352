// WriteFile under SIGKILL: a child replaces one file with version after
// version and reports each call that returned true; it is killed at random
// moments. Afterwards the file must hold exactly the last acknowledged version
// or the one being written, never a mixture or a truncation, and besides it
// at most one temporary file may remain.
#include "Utilities/FileUtilities.h"

#include "Support/CrashConsistency.h"
#include "Support/KilledChild.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace
{

TEST(WriteFileCrashConsistencyTest, TargetIsAlwaysOneWholeVersion)
{
    CoreTest::TempDir dir;
    const std::string path = dir.File("settings");
    ASSERT_TRUE(CoreTest::WriteBytes(path, CoreTest::VersionContents(0)));
    std::mt19937 random(112026);
    std::uniform_int_distribution<long> delay(0, CoreTest::kCrashDelayMicroseconds);

    unsigned int last = 0;
    for (unsigned int round = 0; round < CoreTest::kCrashRounds; ++round)
    {
        SCOPED_TRACE("round " + std::to_string(round));
        const unsigned int first = last + 1;
        const CoreTest::KilledChildResult run = CoreTest::RunAndKill(
            [&](CoreTest::ChildReporter& reporter) {
                for (unsigned int version = first; version < first + 1000; ++version)
                    if (Core::Utilities::WriteFile(path, CoreTest::VersionContents(version)))
                        reporter.Report(std::to_string(version));
            },
            delay(random));
        if (!run.reports.empty())
            last = static_cast<unsigned int>(std::stoul(run.reports.back()));
        // The one in progress may have been renamed into place just before the kill.
        ASSERT_NO_FATAL_FAILURE(CoreTest::ExpectOneWholeVersion(dir, "settings", last, last + 1, &last));
    }
}

} // namespace
