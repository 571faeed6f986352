#include "Utilities/Version.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <ctime>
#include <optional>
#include <regex>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using Core::Version;

namespace
{

// The version files are read from ../etc: the test runs from <temp>/bin.
TEST(VersionFiles, FirstLinesGiveTheTextsAndMissingFilesTheDashFallbacks)
{
    CoreTest::TempDir dir;
    char previous[4096];
    ASSERT_NE(nullptr, getcwd(previous, sizeof previous));
    ASSERT_EQ(0, mkdir(dir.File("bin").c_str(), 0755));
    ASSERT_EQ(0, mkdir(dir.File("etc").c_str(), 0755));
    ASSERT_EQ(0, chdir(dir.File("bin").c_str()));

    const std::optional<std::string> missing;
    const std::string longVersion(300, '9');
    const struct
    {
        std::optional<std::string> version, revision;
        std::string expectedVersion, expectedRevision;
    } cases[] = {
        {missing, missing, "----", "---"},
        {"2.5.1\nbuilt on a Tuesday\n", "4711\n1234\n", "2.5.1", "4711"},
        // The version has no length limit; a revision keeps ten characters without the newline.
        {longVersion, "1234567890\n", longVersion, "1234567890"},
        {missing, "12345678901\n", "----", ""},
        {"", "", "", ""},  // an empty first line replaces the fallback
    };
    for (const auto& c : cases)
    {
        for (const auto& [name, contents] : {std::pair("../etc/version", c.version), {"../etc/svn_version", c.revision}})
            contents ? (void)CoreTest::WriteBytes(name, *contents) : (void)std::remove(name);
        EXPECT_EQ(c.expectedVersion, Core::Utilities::GetSoftwareVersion());
        EXPECT_EQ(c.expectedRevision, Core::Utilities::GetSVNRevision()) << c.revision.value_or("(missing)");
    }
    ASSERT_EQ(0, chdir(previous));
}

TEST(VersionNumbers, FormatPrintsSignedFieldsAndParseMasksThemIntoAnUnsignedPacking)
{
    EXPECT_EQ("-1.0.5", Version::FormatVersion(-1, 0, 5));
    // 0xFF10FFFF is negative as an int; its major field is still 255.
    EXPECT_EQ("255.16.65535", Version::FormatVersion(static_cast<int>(0xFF10FFFFu)));

    const std::pair<const char*, unsigned int> cases[] = {
        {"1.2.300", 0x0102012Cu},
        {"0x10.1.1", 0x10010001u},
        {"256.1.1", 0x00010001u},    // major masked to 8 bits
        {"1.2.70000", 0x01021170u},  // 70000 & 0xFFFF = 0x1170
        {"1.2.3.4", 0x01020003u},    // the third field "3.4" reads as 3
        {"-1.0.0", 0xFF000000u},
        {"1.2", 0},
        {"1.x.3", 0},  // a field that does not parse
        {"1..3", 0},
    };
    for (const auto& [text, packed] : cases)
        EXPECT_EQ(static_cast<int>(packed), Version::ParseVersion(text)) << text;
}

// In a private mount namespace of a child, a file of the test stands in for
// "/dev/console": first mounted read-only (so the open fails), then writable.
TEST(ConsolePrintf, StampsEachMessageAndRetriesAFailedOpen)
{
    CoreTest::TempDir dir;
    const std::string console = dir.File("console");
    ASSERT_TRUE(CoreTest::WriteBytes(console, ""));
    const long before = static_cast<long>(std::time(nullptr));
    auto child = CoreTest::RunInChild([&] {
        if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return (void)std::fputs("no mount namespace", stderr);
        if (mount(console.c_str(), "/dev/console", nullptr, MS_BIND, nullptr) != 0 ||
            mount(nullptr, "/dev/console", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0)
            return std::perror("read-only console");
        console_printf("dropped %d\n", 1);
        if (umount("/dev/console") != 0 || mount(console.c_str(), "/dev/console", nullptr, MS_BIND, nullptr) != 0)
            return std::perror("writable console");
        console_printf("first %s", "part");
        console_printf(" and %d\n", 2);
    });
    const long after = static_cast<long>(std::time(nullptr));
    if (child.output == "no mount namespace")
        GTEST_SKIP() << "no private mount namespace here to stand in for /dev/console";
    ASSERT_TRUE(child.exited);
    EXPECT_EQ("", child.output);

    const std::string written = CoreTest::ReadBytes(console);
    std::smatch stamps;
    ASSERT_TRUE(std::regex_match(written, stamps, std::regex("(\\d+)\tfirst part(\\d+)\t and 2\n"))) << written
        << "the failed first call wrote nothing and did not stop the second from opening";
    EXPECT_GE(std::stol(stamps[1]), before);
    EXPECT_LE(std::stol(stamps[2]), after);
}

} // namespace
