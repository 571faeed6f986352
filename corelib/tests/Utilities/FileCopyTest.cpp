// The one-call and incremental copies on real files: the destination is the
// old file or the complete new one, where temporary files are left or removed,
// and the cumulative progress figures.
#include "Utilities/FileCopy.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

namespace
{

using Core::Utilities::CIncrementalFileCopy;
using Core::Utilities::SafeFileCopy;
typedef std::vector<std::pair<int, int>> Calls;

// Records every progress call as (copied, total).
class ProgressLog
{
public:
    ProgressLog() : m_callback(this, &ProgressLog::Record) {}
    Core::Utilities::CopyProgress* Callback() { return &m_callback; }
    Calls calls;

private:
    void Record(int copied, int total) { calls.emplace_back(copied, total); }
    Core::Functor<void, int, int>::Method<ProgressLog> m_callback;
};

class FileCopyTest : public ::testing::Test
{
protected:
    // size bytes that differ from block to block, so a repeated or missing
    // block shows.
    static std::string Pattern(size_t size)
    {
        std::string bytes(size, '\0');
        for (size_t i = 0; i < size; ++i)
        {
            bytes[i] = static_cast<char>((i * 7 + i / 4096) % 251);
        }
        return bytes;
    }

    // Writes a source of size bytes and an old destination; returns the source.
    std::string MakeFiles(size_t size)
    {
        source = Pattern(size);
        EXPECT_TRUE(CoreTest::WriteBytes(dir.File("source"), source));
        EXPECT_TRUE(CoreTest::WriteBytes(dir.File("dest"), "old contents"));
        return source;
    }

    // Replaces the destination with a non-empty directory, which no file can
    // be renamed over.
    void MakeDestinationADirectory()
    {
        ASSERT_EQ(0, unlink(dir.File("dest").c_str()));
        ASSERT_EQ(0, mkdir(dir.File("dest").c_str(), 0700));
        ASSERT_TRUE(CoreTest::WriteBytes(dir.File("dest/keep"), "kept"));
    }

    // Names in the directory that look like a temporary for "dest". Listed
    // with readdir64: a 32-bit readdir fails on the large directory offsets a
    // 64-bit host returns under the processor emulator, and would list nothing.
    std::vector<std::string> Temporaries() const
    {
        std::vector<std::string> found;
        DIR* listing = opendir(dir.Path().c_str());
        EXPECT_NE(nullptr, listing);
        while (listing != nullptr)
        {
            const dirent64* entry = readdir64(listing);
            if (entry == nullptr)
            {
                closedir(listing);
                break;
            }
            const std::string name = entry->d_name;
            if (name.size() == std::string("dest.XXXXXX").size() && name.compare(0, 5, "dest.") == 0)
            {
                found.push_back(name);
            }
        }
        return found;
    }

    CoreTest::TempDir dir;
    std::string source;
    ProgressLog progress;
};

TEST_F(FileCopyTest, SafeCopyReplacesTheDestinationWithCumulativeProgress)
{
    MakeFiles(10000);
    EXPECT_TRUE(SafeFileCopy(dir.File("source"), dir.File("dest"), progress.Callback()));
    EXPECT_EQ(source, CoreTest::ReadBytes(dir.File("dest")));
    EXPECT_EQ((Calls{{4096, 10000}, {8192, 10000}, {10000, 10000}}), progress.calls);
    EXPECT_TRUE(Temporaries().empty());
    // Without a callback, and from an empty source.
    ASSERT_TRUE(CoreTest::WriteBytes(dir.File("empty"), ""));
    EXPECT_TRUE(SafeFileCopy(dir.File("empty"), dir.File("dest"), nullptr));
    EXPECT_EQ("", CoreTest::ReadBytes(dir.File("dest")));
}

TEST_F(FileCopyTest, SafeCopyKeepsTheTemporaryAfterAReadErrorButNotAfterAFailedRename)
{
    MakeFiles(100);
    // Missing source or directory: nothing is created.
    EXPECT_FALSE(SafeFileCopy(dir.File("missing"), dir.File("dest"), progress.Callback()));
    EXPECT_FALSE(SafeFileCopy(dir.File("source"), dir.File("nowhere/dest"), progress.Callback()));
    EXPECT_TRUE(Temporaries().empty());
    EXPECT_TRUE(progress.calls.empty());

    // A directory opens as a stream but every read fails.
    ASSERT_EQ(0, mkdir(dir.File("unreadable").c_str(), 0700));
    EXPECT_FALSE(SafeFileCopy(dir.File("unreadable"), dir.File("dest"), nullptr));
    EXPECT_EQ("old contents", CoreTest::ReadBytes(dir.File("dest")));
    ASSERT_EQ(1u, Temporaries().size()) << "a failed read leaves its temporary file";
    ASSERT_EQ(0, unlink(dir.File(Temporaries()[0]).c_str()));

    MakeDestinationADirectory();
    EXPECT_FALSE(SafeFileCopy(dir.File("source"), dir.File("dest"), nullptr));
    EXPECT_TRUE(Temporaries().empty()) << "a failed rename removes its temporary file";
    EXPECT_EQ("kept", CoreTest::ReadBytes(dir.File("dest/keep")));
}

TEST_F(FileCopyTest, IncrementalCopyMovesAtMostTheGivenBlocksAndSwapsOnlyAtTheEnd)
{
    MakeFiles(10000);
    CIncrementalFileCopy copy(dir.File("source"), dir.File("dest"), progress.Callback());
    EXPECT_FALSE(copy.Finished());
    EXPECT_TRUE(copy.Idle(0));
    EXPECT_TRUE(copy.Idle(-3));
    EXPECT_TRUE(progress.calls.empty());
    EXPECT_EQ(1u, Temporaries().size()) << "the temporary sits beside the destination";

    EXPECT_TRUE(copy.Idle(1));
    EXPECT_TRUE(copy.Idle(1));
    EXPECT_FALSE(copy.Finished());
    EXPECT_EQ("old contents", CoreTest::ReadBytes(dir.File("dest")));
    EXPECT_TRUE(copy.Idle(5));
    EXPECT_TRUE(copy.Finished());
    EXPECT_EQ(source, CoreTest::ReadBytes(dir.File("dest")));
    EXPECT_EQ((Calls{{4096, 10000}, {8192, 10000}, {10000, 10000}}), progress.calls);
    EXPECT_TRUE(Temporaries().empty());
}

TEST_F(FileCopyTest, IncrementalCopyOfAnEmptySourceFinishesOnTheFirstIdle)
{
    MakeFiles(0);
    CIncrementalFileCopy copy(dir.File("source"), dir.File("dest"), progress.Callback());
    EXPECT_TRUE(copy.Finished()) << "0 bytes copied of 0";
    EXPECT_TRUE(copy.Idle(0));
    EXPECT_TRUE(CoreTest::FileExists(dir.File("dest")));
    EXPECT_EQ("", CoreTest::ReadBytes(dir.File("dest")));
    EXPECT_TRUE(Temporaries().empty());
}

TEST_F(FileCopyTest, IncrementalFailuresAndAbandonedCopiesRemoveTheirTemporary)
{
    MakeFiles(10000);
    {
        CIncrementalFileCopy missing(dir.File("missing"), dir.File("dest"), nullptr);
        EXPECT_TRUE(missing.Finished());
        EXPECT_FALSE(missing.Idle(1));
        CIncrementalFileCopy nowhere(dir.File("source"), dir.File("nowhere/dest"), nullptr);
        EXPECT_FALSE(nowhere.Idle(1));
    }
    {
        CIncrementalFileCopy abandoned(dir.File("source"), dir.File("dest"), nullptr);
        EXPECT_TRUE(abandoned.Idle(1));
        EXPECT_EQ(1u, Temporaries().size());
    }
    EXPECT_TRUE(Temporaries().empty());
    EXPECT_EQ("old contents", CoreTest::ReadBytes(dir.File("dest")));
}

TEST_F(FileCopyTest, IncrementalFailedRenameRemovesTheTemporaryWithoutReportingFailure)
{
    MakeFiles(100);
    MakeDestinationADirectory();
    CIncrementalFileCopy copy(dir.File("source"), dir.File("dest"), nullptr);
    EXPECT_TRUE(copy.Idle(1));
    EXPECT_TRUE(copy.Finished());
    EXPECT_TRUE(copy.Idle(1)) << "a finalised copy stays quiet";
    EXPECT_TRUE(Temporaries().empty());
    EXPECT_EQ("kept", CoreTest::ReadBytes(dir.File("dest/keep")));
}

TEST_F(FileCopyTest, IncrementalCompletionFollowsTheSizeTakenAtConstruction)
{
    // Grown after construction: finalised once 5000 bytes are copied, with
    // the whole last block.
    MakeFiles(5000);
    {
        CIncrementalFileCopy copy(dir.File("source"), dir.File("dest"), progress.Callback());
        ASSERT_TRUE(CoreTest::WriteBytes(dir.File("source"), Pattern(10000)));
        EXPECT_TRUE(copy.Idle(1));
        EXPECT_FALSE(copy.Finished());
        EXPECT_TRUE(copy.Idle(1));
        EXPECT_TRUE(copy.Finished());
    }
    EXPECT_EQ(Pattern(10000).substr(0, 8192), CoreTest::ReadBytes(dir.File("dest")));
    EXPECT_EQ((Calls{{4096, 5000}, {8192, 5000}}), progress.calls);

    // Shrunk after construction: never finishes, and Idle keeps saying so.
    progress.calls.clear();
    MakeFiles(10000);
    {
        CIncrementalFileCopy copy(dir.File("source"), dir.File("dest"), progress.Callback());
        ASSERT_EQ(0, truncate(dir.File("source").c_str(), 100));
        EXPECT_TRUE(copy.Idle(5));
        EXPECT_TRUE(copy.Idle(5));
        EXPECT_FALSE(copy.Finished());
    }
    EXPECT_EQ((Calls{{100, 10000}}), progress.calls);
    EXPECT_EQ("old contents", CoreTest::ReadBytes(dir.File("dest")));
    EXPECT_TRUE(Temporaries().empty());
}

} // namespace
