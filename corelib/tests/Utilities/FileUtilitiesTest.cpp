#include "Utilities/FileUtilities.h"
#include "Utilities/FilesystemSize.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <linux/magic.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace Core::Utilities;
using CoreTest::ReadBytes;
using CoreTest::RunInChild;
using CoreTest::WriteBytes;
using Names = std::vector<std::string>;

namespace
{

class FileUtilitiesTest : public ::testing::Test
{
protected:
    // Bytes 0..255 repeated: zeros and high bytes included, and no two blocks
    // of 4096 alike at a shifted offset.
    static std::string Pattern(size_t size)
    {
        std::string bytes(size, '\0');
        for (size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
        return bytes;
    }

    // The text a child wrote on stdout and stderr while running body.
    static std::string OutputOf(const std::function<void()>& body)
    {
        const CoreTest::ChildResult child = RunInChild(body);
        EXPECT_TRUE(child.exited && child.exitStatus == 0) << child.output;
        return child.output;
    }

    // Entries of the temporary directory, sorted. readdir64, because the 32-bit
    // readdir fails on hosts whose inode numbers do not fit in 32 bits.
    std::vector<std::string> Entries() const
    {
        std::vector<std::string> names;
        if (DIR* dir = opendir(m_dir.Path().c_str()))
        {
            while (const struct dirent64* entry = readdir64(dir))
            {
                const std::string name = entry->d_name;
                if (name != "." && name != "..")
                    names.push_back(name);
            }
            closedir(dir);
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    CoreTest::TempDir m_dir;
};

TEST_F(FileUtilitiesTest, PathPiecesSplitOnlyAtTheLastSlashAndDot)
{
    struct Case
    {
        const char* path;
        const char* name;
        const char* extension;
        const char* withoutExtension;
        const char* parent;
    } cases[] = {
        {"archive.tar.gz", "archive.tar.gz", "gz", "archive.tar", nullptr},
        {"/mnt/usb.d/file", "file", "", "/mnt/usb.d/file", "/mnt/usb.d"},
        {".profile", ".profile", "profile", "", nullptr},
        {"a.b/c", "c", "", "a.b/c", "a.b"},
        {"dir/", "", "", "dir/", "dir"},
        {"dir/name.", "name.", "", "dir/name", "dir"},
        {"a/b/c", "c", "", "a/b/c", "a/b"},
        // The root directory is not given back as "/".
        {"/file", "file", "", "/file", ""},
        {"/", "", "", "/", ""},
        {"", "", "", "", nullptr},
    };
    for (const Case& c : cases)
    {
        EXPECT_EQ(c.name, GetFileName(c.path)) << c.path;
        EXPECT_EQ(c.extension, GetFileExtension(c.path)) << c.path;
        EXPECT_EQ(c.withoutExtension, RemoveFileExtension(c.path)) << c.path;
        if (c.parent != nullptr)
        {
            EXPECT_EQ(c.parent, GetParentPath(c.path)) << c.path;
        }
    }
}

TEST_F(FileUtilitiesTest, ParentOfABareNameIsTheWorkingDirectory)
{
    char* real = realpath(m_dir.Path().c_str(), nullptr);
    ASSERT_NE(nullptr, real);
    const std::string expected = real;
    std::free(real);

    EXPECT_EQ(expected, OutputOf([this] {
                  if (chdir(m_dir.Path().c_str()) == 0)
                      std::fputs(GetParentPath("name").c_str(), stdout);
              }));
}

TEST_F(FileUtilitiesTest, VanishedWorkingDirectoryIsReportedAndGivesNoParent)
{
    const std::string gone = m_dir.File("gone");
    const std::string output = OutputOf([&gone] {
        if (mkdir(gone.c_str(), 0700) != 0 || chdir(gone.c_str()) != 0 || rmdir(gone.c_str()) != 0)
            return;
        std::fprintf(stdout, "[%s]\n", GetParentPath("name").c_str());
        std::fflush(stdout);
        SyncParentDir("name");
    });
    EXPECT_EQ("GetParentPath getcwd: No such file or directory\n[]\n"
              "GetParentPath getcwd: No such file or directory\n"
              "SyncParentDir: unable to determine parent path\n",
              output);
}

TEST_F(FileUtilitiesTest, SyncParentDirReportsEachFailureInItsOwnWords)
{
    ASSERT_TRUE(WriteBytes(m_dir.File("plain"), "x"));
    struct Case
    {
        std::string path;
        const char* output;
    } cases[] = {
        {m_dir.File("file"), ""},
        {"/file", "SyncParentDir: unable to determine parent path\n"},
        {m_dir.File("missing/file"), "SyncParentDir:open: No such file or directory\n"},
        {m_dir.File("plain/file"), "SyncParentDir:open: Not a directory\n"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.output, OutputOf([&c] { SyncParentDir(c.path); })) << c.path;
}

TEST_F(FileUtilitiesTest, ReadFileAppendsEveryByteAtEachBlockBoundary)
{
    for (size_t size : {0u, 1u, 4095u, 4096u, 4097u, 8192u, 10000u})
    {
        const std::string path = m_dir.File("in" + std::to_string(size));
        ASSERT_TRUE(WriteBytes(path, Pattern(size)));
        std::string contents = "kept";
        EXPECT_TRUE(ReadFile(path, contents)) << size;
        EXPECT_EQ("kept" + Pattern(size), contents) << size;
    }

    std::string contents = "kept";
    EXPECT_FALSE(ReadFile(m_dir.File("missing"), contents));
    EXPECT_EQ("kept", contents);
}

TEST_F(FileUtilitiesTest, WriteFileReplacesAndLeavesNoTemporaryBehind)
{
    const std::string path = m_dir.File("out.bin");
    EXPECT_TRUE(WriteFile(path, Pattern(5000)));
    EXPECT_EQ(Pattern(5000), ReadBytes(path));
    EXPECT_TRUE(WriteFile(path, "short"));
    EXPECT_EQ("short", ReadBytes(path));
    EXPECT_TRUE(WriteFile(path, ""));
    EXPECT_TRUE(CoreTest::FileExists(path));
    EXPECT_EQ("", ReadBytes(path));
    EXPECT_EQ(Names{"out.bin"}, Entries());

    EXPECT_FALSE(WriteFile(m_dir.File("missing/out.bin"), "x"));
    EXPECT_EQ(Names{"out.bin"}, Entries());
}

TEST_F(FileUtilitiesTest, ShortWriteKeepsTheOldFileAndRemovesTheTemporary)
{
    const std::string path = m_dir.File("config.xml");
    ASSERT_TRUE(WriteBytes(path, "old"));
    // A file-size limit makes the write fail part-way, as a full disk would.
    const std::string output = OutputOf([&path] {
        std::signal(SIGXFSZ, SIG_IGN);
        const struct rlimit limit = {100, 100};
        setrlimit(RLIMIT_FSIZE, &limit);
        std::fputs(WriteFile(path, std::string(10000, 'n')) ? "true" : "false", stdout);
    });
    EXPECT_EQ("false", output);
    EXPECT_EQ("old", ReadBytes(path));
    EXPECT_EQ(Names{"config.xml"}, Entries());
}

TEST_F(FileUtilitiesTest, ConcurrentReaderSeesTheOldOrTheCompleteNewFile)
{
    const std::string path = m_dir.File("state");
    const std::string first(300000, 'a');
    const std::string second(200000, 'b');
    ASSERT_TRUE(WriteFile(path, first));

    std::atomic<bool> done(false);
    std::thread writer([&] {
        for (int i = 0; i < 40; ++i)
            WriteFile(path, (i % 2 == 0) ? second : first);
        done = true;
    });
    int reads = 0;
    int torn = 0;
    while (!done || reads == 0)
    {
        const std::string seen = ReadBytes(path);
        torn += (seen != first && seen != second);
        ++reads;
    }
    writer.join();
    EXPECT_EQ(0, torn) << "of " << reads << " reads";
    EXPECT_EQ(Names{"state"}, Entries());
}

TEST_F(FileUtilitiesTest, ExistsAndDelete)
{
    const std::string path = m_dir.File("f");
    EXPECT_FALSE(FileExists(path));
    EXPECT_FALSE(FileDelete(path));
    ASSERT_TRUE(WriteBytes(path, "x"));
    EXPECT_TRUE(FileExists(path));
    EXPECT_TRUE(FileDelete(path));
    EXPECT_FALSE(FileExists(path));

    // Without read permission a file counts as absent (root may read anything).
    ASSERT_TRUE(WriteBytes(path, "x"));
    ASSERT_EQ(0, chmod(path.c_str(), 0200));
    if (geteuid() != 0)
    {
        EXPECT_FALSE(FileExists(path));
    }
}

TEST_F(FileUtilitiesTest, GlobAppendsSortedMatchesAndNoMatchIsSuccess)
{
    for (const char* name : {"b.txt", "a.txt", "c.log"})
        ASSERT_TRUE(WriteBytes(m_dir.File(name), ""));
    std::list<std::string> paths{"kept"};
    EXPECT_TRUE(Glob(m_dir.File("*.txt"), paths));
    EXPECT_EQ((std::list<std::string>{"kept", m_dir.File("a.txt"), m_dir.File("b.txt")}), paths);
    EXPECT_TRUE(Glob(m_dir.File("*.none"), paths));
    EXPECT_EQ(3u, paths.size());
}

TEST_F(FileUtilitiesTest, SanitizedNameIsOnePathComponent)
{
    EXPECT_EQ("a_b_c_.txt", SanitizeFilename("a b/c?.txt", "_"));
    EXPECT_EQ("abc.txt", SanitizeFilename("a b/c?.txt", ""));
    EXPECT_EQ("x--y", SanitizeFilename("x/y", "--"));
    EXPECT_EQ("Az09-_.", SanitizeFilename("Az09-_.", "!"));
    // Latin-1 and UTF-8 letters are not ASCII letters; nor is a zero byte.
    EXPECT_EQ("caf__x_", SanitizeFilename(std::string("caf\xC3\xA9x\0", 7), "_"));
    EXPECT_EQ("..", SanitizeFilename("..", "_"));
    EXPECT_EQ("", SanitizeFilename("", "_"));
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
    EXPECT_EQ(7u, freeKiB);
    EXPECT_EQ(8u, totalKiB);
}

TEST(FilesystemSize, FlashFilesystemsReportNothingAndLargeOnesWrapAt4GiB)
{
    struct statfs status = {};
    status.f_bsize = 4096;
    status.f_bavail = 1000;
    status.f_blocks = 3000;
    unsigned int freeKiB = 1, totalKiB = 1;
    for (unsigned long magic : {CRAMFS_MAGIC, JFFS2_SUPER_MAGIC, SQUASHFS_MAGIC})
    {
        status.f_type = static_cast<decltype(status.f_type)>(magic);
        Internal::FilesystemSizeKiB(status, freeKiB, totalKiB);
        EXPECT_EQ(0u, freeKiB) << std::hex << magic;
        EXPECT_EQ(0u, totalKiB) << std::hex << magic;
    }

    status.f_type = EXT4_SUPER_MAGIC;
    Internal::FilesystemSizeKiB(status, freeKiB, totalKiB);
    EXPECT_EQ(4000u, freeKiB);
    EXPECT_EQ(12000u, totalKiB);

    // 4 GiB + 8 KiB in 4 KiB blocks wraps to 8 KiB; 8 GiB - 1 KiB in 1 KiB
    // blocks wraps to 4 GiB - 1 KiB.
    status.f_blocks = (1u << 20) + 2;
    status.f_bavail = 0x7FFFFF;
    status.f_bsize = 4096;
    Internal::FilesystemSizeKiB(status, freeKiB, totalKiB);
    EXPECT_EQ(8u, totalKiB);
    EXPECT_EQ(0x3FFFFCu, freeKiB); // 0x7FFFFF * 4096 = 0x7_FFFF_F000 -> 0xFFFFF000 bytes
    status.f_bsize = 1024;
    status.f_blocks = (8u << 20) - 1;
    Internal::FilesystemSizeKiB(status, freeKiB, totalKiB);
    EXPECT_EQ((4u << 20) - 1, totalKiB);
}

TEST(UsbStick, StatusIsThatOfTheMountPoint)
{
    unsigned int freeKiB = 0, totalKiB = 0, mountFree = 0, mountTotal = 0;
    const bool mounted = MountedFilesystemStatus("/mnt/usb/", mountFree, mountTotal);
    EXPECT_EQ(mounted, USBStatus(freeKiB, totalKiB));
    EXPECT_EQ(mounted && mountTotal > 0, USBPresent());
}

} // namespace
