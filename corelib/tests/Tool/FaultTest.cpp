// The tool's outputs under I/O faults: simulate, replay and the stick copy are
// run in this process with every write, sync and rename failing in turn (with
// EIO, ENOSPC or EDQUOT, or a write cut short). However a run ends, each
// output holds its old contents or its complete new ones; a failed run exits
// non-zero and says which file failed and why.
#include "Support/EmulatorLimits.h"
#include "Support/FaultyFiles.h"
#include "Support/TestSupport.h"
#include "ToolTestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <sys/stat.h>

namespace
{

using CoreTest::FileOp;
using CoreTest::ReadBytes;

class FaultTest : public ::testing::Test
{
protected:
    std::string File(const std::string& name) const { return m_dir.File(name); }
    int Run(const std::vector<std::string>& words)
    {
        return ToolTest::RunTool(words, File("out.txt"), File("err.txt"));
    }

    // The named outputs' contents.
    std::map<std::string, std::string> Contents(const std::vector<std::string>& outputs) const
    {
        std::map<std::string, std::string> contents;
        for (const std::string& name : outputs)
            contents[name] = ReadBytes(File(name));
        return contents;
    }

    // Runs the command with each write, sync and rename failing in turn, after
    // putting back the outputs an earlier run (oldWords) left; newWords is the
    // command itself. Returns the faults injected.
    // A stick directory, when given, holds a folder per run: every file in
    // any of them must be a complete copy of the same-named output in run/.
    int RunUnderEveryFault(const std::vector<std::string>& oldWords, const std::vector<std::string>& newWords,
                           const std::vector<std::string>& outputs, const std::string& stick = "")
    {
        EXPECT_EQ(0, Run(newWords)) << ReadBytes(File("err.txt"));
        const auto fresh = Contents(outputs);
        EXPECT_EQ(0, Run(oldWords)) << ReadBytes(File("err.txt"));
        const auto old = Contents(outputs);
        for (const auto& [name, contents] : old)
            EXPECT_NE(contents, fresh.at(name)) << name << ": the check cannot tell old from new";

        const int kErrors[] = {EIO, ENOSPC, EDQUOT, 0};
        CoreTest::FaultyFiles files;
        int injected = 0;
        for (const FileOp op : {FileOp::Write, FileOp::Sync, FileOp::Rename})
            for (int nth = 1;; ++nth)
            {
                for (const auto& [name, contents] : old)
                    CoreTest::WriteBytes(File(name), contents);
                // Short writes for writes only; the others fail with each error in turn.
                const int error = kErrors[nth % (op == FileOp::Write ? 4 : 3)];
                files.Arm({op, nth, error});
                int status = 0;
                {
                    CoreTest::ScopedFiles scope(files);
                    status = Run(newWords);
                }
                if (!files.Fired())
                    break;
                ++injected;
                const std::string fault = CoreTest::FileFault{op, nth, error}.Describe();
                // The last line: notices about earlier failed runs' records may precede it.
                const std::string errors = ReadBytes(File("err.txt"));
                const std::string message = errors.substr(errors.rfind('\n', errors.size() - 2) + 1);
                for (const auto& [name, contents] : Contents(outputs))
                    EXPECT_TRUE(contents == old.at(name) || contents == fresh.at(name))
                        << fault << ": " << name << " is neither old nor new (" << contents.size() << " bytes)";
                for (const std::string& folder :
                     stick.empty() ? std::vector<std::string>() : ToolTest::ListDirectory(File(stick)))
                    for (const std::string& name : ToolTest::ListDirectory(File(stick + "/" + folder)))
                    {
                        const std::string copy = ReadBytes(File(stick + "/" + folder + "/" + name));
                        const std::string output = "run/" + name;
                        EXPECT_TRUE(old.count(output) != 0 && (copy == old.at(output) || copy == fresh.at(output)))
                            << fault << ": " << folder << "/" << name << " is not a complete copy";
                    }
                if (error == 0 && status == 0)
                    continue; // the short write was completed by the next one
                EXPECT_NE(0, status) << fault;
                // A line naming the file and ending in the system's reason.
                EXPECT_EQ(0u, message.find("guidance: " + newWords[0] + ": " + m_dir.Path()))
                    << fault << ": " << errors;
                const std::string reason = error != 0 ? std::strerror(error) : "";
                EXPECT_NE(std::string::npos, message.find(": " + reason)) << fault << ": " << errors;
            }
        std::printf("guidance %s: %d faults injected\n", newWords[0].c_str(), injected);
        return injected;
    }

    CoreTest::TempDir m_dir;
};

TEST_F(FaultTest, SimulateKeepsTheOldDriveOrWritesTheWholeNewOne)
{
    const std::string drive = File("drive.nmea");
    EXPECT_GT(RunUnderEveryFault({"simulate", "--passes", "1", "--seed", "2", "--output", drive},
                                 {"simulate", "--passes", "1", "--output", drive}, {"drive.nmea"}),
              3);
}

TEST_F(FaultTest, ReplayAndStickCopyKeepTheOldOutputsOrWriteAllTheNewOnes)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    ASSERT_EQ(0, mkdir(File("stick").c_str(), 0777));
    // The first two seconds of two drives: twenty fixes each.
    for (const char* seed : {"1", "2"})
    {
        ASSERT_EQ(0, Run({"simulate", "--passes", "1", "--steady", "--seed", seed, "--output", File("all.nmea")}));
        const std::string all = ReadBytes(File("all.nmea"));
        std::size_t end = 0;
        for (int line = 0; line < 42; ++line)
            end = all.find('\n', end) + 1;
        ASSERT_TRUE(CoreTest::WriteBytes(File(std::string("drive") + seed + ".nmea"), all.substr(0, end)));
    }
    auto replay = [&](const std::string& input) {
        return std::vector<std::string>{"replay", "--output", File("run"), "--stick", File("stick"), File(input)};
    };
    EXPECT_GT(RunUnderEveryFault(replay("drive2.nmea"), replay("drive1.nmea"),
                                 {"run/fixes.rec", "run/drive.kml", "run/drive.gpx", "run/drive.geojson",
                                  "run/report.html", "run/summary.txt"},
                                 "stick"),
              40);
}

} // namespace
