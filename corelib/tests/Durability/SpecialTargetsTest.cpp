// Replacing a file that is not a plain file: the temporary-file-and-rename
// routine must not turn a link, a device or a pipe into a regular file.
#include "Support/TestSupport.h"
#include "Utilities/FileCopy.h"
#include "Utilities/FileUtilities.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace
{

using CoreTest::TempDir;

TEST(SpecialTargetsTest, LinksKeepExistingAndTheirTargetIsReplaced)
{
    TempDir dir;
    ASSERT_TRUE(CoreTest::WriteBytes(dir.File("target"), "old"));
    // A relative link, a link to a link, and a link whose target does not exist yet.
    ASSERT_EQ(0, symlink("target", dir.File("link").c_str()));
    ASSERT_EQ(0, symlink(dir.File("link").c_str(), dir.File("chain").c_str()));
    ASSERT_EQ(0, symlink("absent", dir.File("dangling").c_str()));
    const std::pair<const char*, const char*> cases[] = {
        {"link", "target"}, {"chain", "target"}, {"dangling", "absent"}};
    for (const auto& [name, target] : cases)
    {
        SCOPED_TRACE(name);
        const std::string contents = std::string("new through ") + name;
        EXPECT_TRUE(Core::Utilities::WriteFile(dir.File(name), contents));
        EXPECT_EQ(static_cast<mode_t>(S_IFLNK), CoreTest::ModeOf(dir.File(name)) & S_IFMT);
        EXPECT_EQ(contents, CoreTest::ReadBytes(dir.File(target)));
    }
    EXPECT_EQ((std::vector<std::string>{"absent", "chain", "dangling", "link", "target"}), dir.List())
        << "no temporary file is left and nothing else appears";
}

TEST(SpecialTargetsTest, DevicesAndPipesAreWrittenInPlace)
{
    TempDir dir;
    // A character device (a null device of the test's own, never the
    // system's) reached through a link: the device stays, the link too.
    if (mknod(dir.File("null").c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0)
    {
        ASSERT_EQ(0, symlink("null", dir.File("sink").c_str()));
        EXPECT_TRUE(Core::Utilities::WriteFile(dir.File("sink"), "discarded"));
        EXPECT_EQ(static_cast<mode_t>(S_IFLNK), CoreTest::ModeOf(dir.File("sink")) & S_IFMT);
        EXPECT_EQ(static_cast<mode_t>(S_IFCHR), CoreTest::ModeOf(dir.File("null")) & S_IFMT);
        ASSERT_EQ(0, unlink(dir.File("null").c_str()));
        ASSERT_EQ(0, unlink(dir.File("sink").c_str()));
    }

    // A pipe with a reader waiting: the bytes arrive through it, for a whole
    // file and for a copy.
    ASSERT_EQ(0, mkfifo(dir.File("pipe").c_str(), 0600));
    const int reader = open(dir.File("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    ASSERT_TRUE(CoreTest::WriteBytes(dir.File("source"), "copied"));
    EXPECT_TRUE(Core::Utilities::WriteFile(dir.File("pipe"), "written "));
    EXPECT_TRUE(Core::Utilities::SafeFileCopy(dir.File("source"), dir.File("pipe"), nullptr));
    char received[64] = {};
    EXPECT_EQ(14, read(reader, received, sizeof received));
    EXPECT_STREQ("written copied", received);
    close(reader);
    EXPECT_EQ(static_cast<mode_t>(S_IFIFO), CoreTest::ModeOf(dir.File("pipe")) & S_IFMT);

    // A link to a descriptor's pipe, as "/dev/stdout" is when output is piped:
    // the pipe has no name of its own to put a temporary file beside.
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    ASSERT_EQ(0, symlink(("/proc/self/fd/" + std::to_string(ends[1])).c_str(), dir.File("stdout").c_str()));
    EXPECT_TRUE(Core::Utilities::WriteFile(dir.File("stdout"), "piped"));
    close(ends[1]);
    char piped[16] = {};
    EXPECT_EQ(5, read(ends[0], piped, sizeof piped));
    EXPECT_STREQ("piped", piped);
    close(ends[0]);
    EXPECT_EQ((std::vector<std::string>{"pipe", "source", "stdout"}), dir.List());
}

} // namespace
