#include "Utilities/FileUtilities.h"
#include "Utilities/FilesystemSize.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <linux/magic.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

using namespace Core::Utilities;
using CoreTest::ReadBytes;
using CoreTest::RunInChild;
using CoreTest::WriteBytes;

namespace
{

class FileUtilitiesTest : public ::testing::Test
{
protected:
    // The text a child wrote on stdout and stderr while running body.
    static std::string OutputOf(const std::function<void()>& body)
    {
        const CoreTest::ChildResult child = RunInChild(body);
        EXPECT_TRUE(child.exited && child.exitStatus == 0) << child.output;
        return child.output;
    }

    CoreTest::TempDir m_dir;
};

TEST_F(FileUtilitiesTest, PathPiecesSplitOnlyAtTheLastSlashAndDot)
{
    struct PathCase
    {
        const char* path;
        const char* name;
        const char* extension;
        const char* withoutExtension;
    };
    const PathCase cases[] = {{"archive.tar.gz", "archive.tar.gz", "gz", "archive.tar"},
                              {"/mnt/usb.d/file", "file", "", "/mnt/usb.d/file"},
                              {".profile", ".profile", "profile", ""},
                              // A trailing dot gives the extension "", so nothing is removed, not even the dot.
                              {"dir/name.", "name.", "", "dir/name."}};
    for (const auto& c : cases)
    {
        EXPECT_EQ(c.name, GetFileName(c.path)) << c.path;
        EXPECT_EQ(c.extension, GetFileExtension(c.path)) << c.path;
        EXPECT_EQ(c.withoutExtension, RemoveFileExtension(c.path)) << c.path;
    }
    EXPECT_EQ("dir", GetParentPath("dir/"));
    EXPECT_EQ("", GetParentPath("/file")) << "the root is not given back as \"/\"";
    EXPECT_EQ("abc.txt", SanitizeFilename("a b/c?.txt", ""));
    // UTF-8 letters and zero bytes are not ASCII letters; dots pass.
    EXPECT_EQ("caf--x-..", SanitizeFilename(std::string("caf\xC3\xA9x\0..", 9), "-"));
}

TEST_F(FileUtilitiesTest, ParentOfABareNameIsTheWorkingDirectoryOrAReportedFailure)
{
    char* real = realpath(m_dir.Path().c_str(), nullptr);
    ASSERT_NE(nullptr, real);
    const std::string directory = real;
    std::free(real);
    EXPECT_EQ(directory, OutputOf([&directory] {
                  if (chdir(directory.c_str()) == 0)
                      std::fputs(GetParentPath("name").c_str(), stdout);
              }));

    const std::string gone = m_dir.File("gone");
    EXPECT_EQ("GetParentPath getcwd: No such file or directory\n[]\n"
              "GetParentPath getcwd: No such file or directory\n"
              "SyncParentDir: unable to determine parent path\n",
              OutputOf([&gone] {
                  if (mkdir(gone.c_str(), 0700) != 0 || chdir(gone.c_str()) != 0 || rmdir(gone.c_str()) != 0)
                      return;
                  std::fprintf(stdout, "[%s]\n", GetParentPath("name").c_str());
                  std::fflush(stdout);
                  SyncParentDir("name");
              }));
}

TEST_F(FileUtilitiesTest, SyncParentDirReportsEachFailureInItsOwnWords)
{
    ASSERT_TRUE(WriteBytes(m_dir.File("plain"), "x"));
    const std::pair<std::string, const char*> cases[] = {
        {m_dir.File("file"), ""},
        {"/file", "SyncParentDir: unable to determine parent path\n"},
        {m_dir.File("missing/file"), "SyncParentDir:open: No such file or directory\n"},
        {m_dir.File("plain/file"), "SyncParentDir:open: Not a directory\n"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.second, OutputOf([&c] { SyncParentDir(c.first); })) << c.first;
}

TEST_F(FileUtilitiesTest, ReadFileAppendsEveryByteAtEachBlockBoundary)
{
    for (size_t size : {0u, 4095u, 4096u, 4097u, 10000u})
    {
        const std::string path = m_dir.File("in" + std::to_string(size));
        ASSERT_TRUE(WriteBytes(path, CoreTest::Pattern(size)));
        std::string contents = "kept";
        EXPECT_TRUE(ReadFile(path, contents)) << size;
        EXPECT_EQ("kept" + CoreTest::Pattern(size), contents) << size;
    }
    std::string contents = "kept";
    EXPECT_FALSE(ReadFile(m_dir.File("missing"), contents));
    EXPECT_EQ("kept", contents);
}

TEST_F(FileUtilitiesTest, ExistsDeleteAndGlob)
{
    const std::string path = m_dir.File("b.txt");
    EXPECT_FALSE(FileDelete(path));
    for (const char* name : {"b.txt", "a.txt", "c.log"})
        ASSERT_TRUE(WriteBytes(m_dir.File(name), ""));
    std::list<std::string> paths{"kept"};
    EXPECT_TRUE(Glob(m_dir.File("*.txt"), paths));
    EXPECT_EQ((std::list<std::string>{"kept", m_dir.File("a.txt"), path}), paths) << "appended, sorted";
    EXPECT_TRUE(FileDelete(path));
    EXPECT_FALSE(FileExists(path));
}

// free and total KiB of path as the stat program reports them, formed with the
// same 32-bit wrap; false when stat fails.
bool StatProgramKiB(const std::string& path, unsigned int& freeKiB, unsigned int& totalKiB)
{
    const CoreTest::ChildResult stat = CoreTest::RunCommand("stat -f -c '%s %a %b' '" + path + "'");
    unsigned long long blockSize = 0, available = 0, blocks = 0;
    std::istringstream fields(stat.output);
    if (!(fields >> blockSize >> available >> blocks))
        return false;
    freeKiB = static_cast<uint32_t>(blockSize * available) >> 10;
    totalKiB = static_cast<uint32_t>(blockSize * blocks) >> 10;
    return true;
}

TEST_F(FileUtilitiesTest, FilesystemSizesMatchTheStatProgram)
{
    // Other programs change the free space while we look: the value must lie
    // between what the stat program saw just before and just after.
    bool matched = false;
    for (int attempt = 0; attempt < 20 && !matched; ++attempt)
    {
        unsigned int freeBefore = 0, totalBefore = 0, freeAfter = 0, totalAfter = 0;
        unsigned int freeKiB = 0, totalKiB = 0;
        ASSERT_TRUE(StatProgramKiB(m_dir.Path(), freeBefore, totalBefore));
        ASSERT_TRUE(MountedFilesystemStatus(m_dir.Path(), freeKiB, totalKiB));
        ASSERT_TRUE(StatProgramKiB(m_dir.Path(), freeAfter, totalAfter));
        matched = totalKiB == totalBefore && totalKiB == totalAfter &&
                  freeKiB >= std::min(freeBefore, freeAfter) && freeKiB <= std::max(freeBefore, freeAfter);
    }
    EXPECT_TRUE(matched);

    unsigned int freeKiB = 7, totalKiB = 8;
    EXPECT_FALSE(MountedFilesystemStatus(m_dir.File("missing"), freeKiB, totalKiB));
    EXPECT_EQ(std::make_pair(7u, 8u), std::make_pair(freeKiB, totalKiB));
}

TEST(FilesystemSize, FlashFilesystemsReportNothingAndLargeOnesWrapAt4GiB)
{
    struct statfs64 status = {};
    status.f_bsize = 4096;
    status.f_bavail = 0x7FFFFF;      // 0x7_FFFF_F000 bytes, wrapped 0xFFFF_F000
    status.f_blocks = (1u << 20) + 2; // 4 GiB + 8 KiB, wrapped 8 KiB
    unsigned int freeKiB = 1, totalKiB = 1;
    for (unsigned long magic : {CRAMFS_MAGIC, JFFS2_SUPER_MAGIC, SQUASHFS_MAGIC})
    {
        status.f_type = static_cast<decltype(status.f_type)>(magic);
        Internal::FilesystemSizeKiB(status, freeKiB, totalKiB);
        EXPECT_EQ(std::make_pair(0u, 0u), std::make_pair(freeKiB, totalKiB)) << std::hex << magic;
    }
    status.f_type = EXT4_SUPER_MAGIC;
    Internal::FilesystemSizeKiB(status, freeKiB, totalKiB);
    EXPECT_EQ(std::make_pair(0x3FFFFCu, 8u), std::make_pair(freeKiB, totalKiB));
}

} // namespace
