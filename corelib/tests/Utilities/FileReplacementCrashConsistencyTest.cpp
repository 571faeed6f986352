// Replacing files under SIGKILL: a child replaces one file with version after
// version and reports each replacement the library acknowledged; it is killed
// at random moments. Afterwards the file must hold the last acknowledged
// version or the one being written, never a mixture or a truncation, and
// besides it at most one temporary file may remain.
#include "Utilities/FileCopy.h"
#include "Utilities/FileUtilities.h"

#include "Support/CrashConsistency.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

TEST(WriteFileCrashConsistencyTest, TargetIsAlwaysOneWholeVersion)
{
    CoreTest::TempDir dir;
    const std::string path = dir.File("settings");
    ASSERT_TRUE(CoreTest::WriteBytes(path, CoreTest::VersionContents(0)));
    CoreTest::KillVersionWriterRounds(
        dir, "settings",
        [&](unsigned int version) { return Core::Utilities::WriteFile(path, CoreTest::VersionContents(version)); },
        112026);
}

// The source lives in a directory of its own so that only the copy's
// temporary file can appear beside the destination.
TEST(SafeFileCopyCrashConsistencyTest, DestinationIsAlwaysOneWholeVersion)
{
    CoreTest::TempDir sources;
    CoreTest::TempDir dir;
    const std::string source = sources.File("source");
    const std::string destination = dir.File("copy");
    ASSERT_TRUE(CoreTest::WriteBytes(destination, CoreTest::VersionContents(0)));
    CoreTest::KillVersionWriterRounds(
        dir, "copy",
        [&](unsigned int version) {
            return CoreTest::WriteBytes(source, CoreTest::VersionContents(version)) &&
                   Core::Utilities::SafeFileCopy(source, destination, nullptr);
        },
        212026);
}

} // namespace
