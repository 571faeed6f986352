#include "Utilities/Version.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <climits>
#include <regex>
#include <ctime>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using Core::Version;
using Core::Utilities::GetSoftwareVersion;
using Core::Utilities::GetSVNRevision;

namespace
{

// Runs each test from <temp>/bin, so the version files are <temp>/etc/*.
class VersionFilesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char cwd[4096];
        ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
        m_previous = cwd;
        ASSERT_EQ(0, mkdir(m_dir.File("bin").c_str(), 0755));
        ASSERT_EQ(0, mkdir(m_dir.File("etc").c_str(), 0755));
        ASSERT_EQ(0, chdir(m_dir.File("bin").c_str()));
    }
    void TearDown() override { ASSERT_EQ(0, chdir(m_previous.c_str())); }

    void WriteEtc(const std::string& name, const std::string& contents)
    {
        ASSERT_TRUE(CoreTest::WriteBytes(m_dir.File("etc/" + name), contents));
    }

    CoreTest::TempDir m_dir;
    std::string m_previous;
};

TEST_F(VersionFilesTest, MissingFilesGiveDifferentDashFallbacks)
{
    EXPECT_EQ("----", GetSoftwareVersion());
    EXPECT_EQ("---", GetSVNRevision());
}

TEST_F(VersionFilesTest, OnlyTheFirstLineCounts)
{
    WriteEtc("version", "2.5.1\nbuilt on a Tuesday\n");
    WriteEtc("svn_version", "4711\n1234\n");
    EXPECT_EQ("2.5.1", GetSoftwareVersion());
    EXPECT_EQ("4711", GetSVNRevision());

    const std::string longVersion(300, '9');
    WriteEtc("version", longVersion);
    EXPECT_EQ(longVersion, GetSoftwareVersion()) << "the version has no length limit";
}

TEST_F(VersionFilesTest, RevisionsLongerThanTenCharactersAreDropped)
{
    WriteEtc("svn_version", "1234567890\n");
    EXPECT_EQ("1234567890", GetSVNRevision()) << "ten characters without the newline are kept";
    WriteEtc("svn_version", "12345678901\n");
    EXPECT_EQ("", GetSVNRevision());
}

TEST_F(VersionFilesTest, EmptyFilesGiveEmptyTexts)
{
    WriteEtc("version", "");
    WriteEtc("svn_version", "");
    EXPECT_EQ("", GetSoftwareVersion());
    EXPECT_EQ("", GetSVNRevision()) << "the empty first line replaces the fallback";
}

TEST(VersionNumbers, FormatVersionPrintsSignedFieldsAndUnpacksWithAnUnsignedShift)
{
    EXPECT_EQ("1.2.300", Version::FormatVersion(1, 2, 300));
    EXPECT_EQ("-1.0.5", Version::FormatVersion(-1, 0, 5));
    EXPECT_EQ("1.2.3", Version::FormatVersion(0x01020003));
    // 0xFF10FFFF is negative as an int; its major field is still 255.
    EXPECT_EQ("255.16.65535", Version::FormatVersion(static_cast<int>(0xFF10FFFFu)));
}

TEST(VersionNumbers, ParseVersionPacksThreeFieldsAndMasksThem)
{
    const struct
    {
        const char* text;
        unsigned int packed;
    } cases[] = {
        {"1.2.300", 0x0102012Cu},
        {"0x10.1.1", 0x10010001u},
        {"256.1.1", 0x00010001u},      // major masked to 8 bits
        {"1.2.70000", 0x01021170u},    // 70000 & 0xFFFF = 0x1170
        {"1.2.3.4", 0x01020003u},      // the third field "3.4" reads as 3
        {"1.2.3abc", 0x01020003u},     // trailing text is ignored
        {" 7.8.9", 0x07080009u},
        {"-1.0.0", 0xFF000000u},
        {"1.2", 0},
        {"abc", 0},
        {"1.x.3", 0},
        {"1..3", 0},
        {"", 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(static_cast<int>(c.packed), Version::ParseVersion(c.text)) << c.text;

    EXPECT_EQ("1.2.300", Version::FormatVersion(Version::ParseVersion("1.2.300")));
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
        {
            std::fputs("no mount namespace", stderr);
            return;
        }
        if (mount(console.c_str(), "/dev/console", nullptr, MS_BIND, nullptr) != 0 ||
            mount(nullptr, "/dev/console", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0)
        {
            std::perror("read-only console");
            return;
        }
        console_printf("dropped %d\n", 1);
        if (umount("/dev/console") != 0 || mount(console.c_str(), "/dev/console", nullptr, MS_BIND, nullptr) != 0)
        {
            std::perror("writable console");
            return;
        }
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
    const long stamp1 = std::stol(stamps[1]), stamp2 = std::stol(stamps[2]);
    EXPECT_GE(stamp1, before);
    EXPECT_LE(stamp2, after);
}

} // namespace
