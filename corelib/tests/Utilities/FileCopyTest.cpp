// The one-call and incremental copies on real files: the destination is the
// old file or the complete new one, where temporary files are left or removed,
// and the cumulative progress figures.
#include "Utilities/FileCopy.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace
{

using Core::Utilities::CIncrementalFileCopy;
using Core::Utilities::SafeFileCopy;
using CoreTest::ReadBytes;
typedef std::vector<std::pair<int, int>> Calls;

// Records every progress call as (copied, total).
struct ProgressLog : Core::Utilities::CopyProgress
{
    void Execute(int copied, int total) override { calls.emplace_back(copied, total); }
    Calls calls;
};

class FileCopyTest : public ::testing::Test
{
protected:
    // Writes a source of size bytes and an old destination.
    void MakeFiles(size_t size)
    {
        content = CoreTest::Pattern(size);
        EXPECT_TRUE(CoreTest::WriteBytes(source, content));
        EXPECT_TRUE(CoreTest::WriteBytes(dest, "old contents"));
        progress.calls.clear();
    }

    // How many names in the directory look like a temporary for dest.
    long Temporaries() const
    {
        const std::vector<std::string> names = dir.List();
        return std::count_if(names.begin(), names.end(), [](const std::string& name) {
            return name.size() == std::string("dest.XXXXXX").size() && name.compare(0, 5, "dest.") == 0;
        });
    }

    CoreTest::TempDir dir;
    const std::string source = dir.File("source"), dest = dir.File("dest");
    std::string content;
    ProgressLog progress;
};

TEST_F(FileCopyTest, BothCopiesReplaceTheDestinationWithCumulativeProgress)
{
    const Calls expected = {{4096, 10000}, {8192, 10000}, {10000, 10000}};
    MakeFiles(10000);
    EXPECT_TRUE(SafeFileCopy(source, dest, &progress));
    EXPECT_EQ(content, ReadBytes(dest));
    EXPECT_EQ(expected, progress.calls);
    EXPECT_EQ(0, Temporaries());

    MakeFiles(10000);
    CIncrementalFileCopy copy(source, dest, &progress);
    EXPECT_TRUE(copy.Idle(0) && copy.Idle(-3));
    EXPECT_TRUE(progress.calls.empty()) << "no blocks asked for, none copied";
    EXPECT_EQ(1, Temporaries()) << "the temporary sits beside the destination";
    EXPECT_TRUE(copy.Idle(1) && copy.Idle(1));
    EXPECT_FALSE(copy.Finished()) << "one block per Idle(1)";
    EXPECT_EQ("old contents", ReadBytes(dest));
    EXPECT_TRUE(copy.Idle(5) && copy.Finished());
    EXPECT_EQ(content, ReadBytes(dest));
    EXPECT_EQ(expected, progress.calls);
    EXPECT_EQ(0, Temporaries());

    // From an empty source, 0 bytes of 0 are copied from the start, so the
    // first Idle finalises.
    MakeFiles(0);
    CIncrementalFileCopy empty(source, dest, nullptr);
    EXPECT_TRUE(empty.Finished() && empty.Idle(0));
    EXPECT_TRUE(CoreTest::FileExists(dest));
    EXPECT_EQ("", ReadBytes(dest));
    EXPECT_EQ(0, Temporaries());
}

TEST_F(FileCopyTest, FailedCopiesKeepTheDestinationAndOnlyAFailedReadLeavesItsTemporary)
{
    MakeFiles(10000);
    // Missing source or directory: nothing is created, and an incremental
    // copy reports it on its first Idle.
    const std::pair<std::string, std::string> unusable[] = {{dir.File("missing"), dest},
                                                            {source, dir.File("nowhere/dest")}};
    for (const auto& [from, to] : unusable)
    {
        SCOPED_TRACE(to);
        EXPECT_FALSE(SafeFileCopy(from, to, &progress));
        CIncrementalFileCopy copy(from, to, &progress);
        EXPECT_TRUE(copy.Finished() && !copy.Idle(1));
    }
    EXPECT_TRUE(progress.calls.empty());
    {
        CIncrementalFileCopy abandoned(source, dest, nullptr);
        EXPECT_TRUE(abandoned.Idle(1));
        EXPECT_EQ(1, Temporaries());
    }
    EXPECT_EQ(0, Temporaries()) << "an abandoned copy removes its temporary";

    // No file can be renamed over a non-empty directory. Both copies remove
    // their temporary; the incremental one does not count it as a failure.
    ASSERT_EQ(0, unlink(dest.c_str()));
    ASSERT_EQ(0, mkdir(dest.c_str(), 0700));
    ASSERT_TRUE(CoreTest::WriteBytes(dir.File("dest/keep"), "kept"));
    EXPECT_FALSE(SafeFileCopy(source, dest, nullptr));
    EXPECT_EQ(0, Temporaries());
    CIncrementalFileCopy copy(source, dest, nullptr);
    EXPECT_TRUE(copy.Idle(5) && copy.Finished());
    EXPECT_TRUE(copy.Idle(1)) << "a finalised copy stays quiet";
    EXPECT_EQ(0, Temporaries());
    EXPECT_EQ("kept", ReadBytes(dir.File("dest/keep")));

    // A directory opens as a stream but every read fails.
    ASSERT_EQ(0, mkdir(dir.File("unreadable").c_str(), 0700));
    EXPECT_FALSE(SafeFileCopy(dir.File("unreadable"), dest, nullptr));
    EXPECT_EQ(1, Temporaries()) << "a failed read leaves its temporary";
}

TEST_F(FileCopyTest, IncrementalCompletionFollowsTheSizeTakenAtConstruction)
{
    // Grown after construction: finalised once 5000 bytes are copied, with
    // the whole last block.
    MakeFiles(5000);
    {
        CIncrementalFileCopy copy(source, dest, &progress);
        ASSERT_TRUE(CoreTest::WriteBytes(source, CoreTest::Pattern(10000)));
        EXPECT_TRUE(copy.Idle(1) && !copy.Finished());
        EXPECT_TRUE(copy.Idle(1) && copy.Finished());
    }
    EXPECT_EQ(CoreTest::Pattern(10000).substr(0, 8192), ReadBytes(dest));
    EXPECT_EQ((Calls{{4096, 5000}, {8192, 5000}}), progress.calls);

    // Shrunk after construction: never finishes, and Idle keeps saying so.
    MakeFiles(10000);
    {
        CIncrementalFileCopy copy(source, dest, &progress);
        ASSERT_EQ(0, truncate(source.c_str(), 100));
        EXPECT_TRUE(copy.Idle(5) && copy.Idle(5) && !copy.Finished());
    }
    EXPECT_EQ((Calls{{100, 10000}}), progress.calls);
    EXPECT_EQ("old contents", ReadBytes(dest));
    EXPECT_EQ(0, Temporaries());
}

} // namespace
