// The tool's outputs under simulated power loss and I/O faults: replay (with
// its stick copy) and simulate run in this process with the power-loss layer
// recording their output directory, once cleanly and once per write, sync
// and rename failing in turn (EIO, ENOSPC, EDQUOT, a write cut short). A run
// that met a fault exits non-zero with one line naming the file and the
// system's reason, and leaves only complete copies on the stick. Every
// crash state is checked against the previous run's outputs (prepared as the
// durable start) and a clean run's new ones:
//   - each final name holds its complete old or complete new contents, and
//     is never missing while its old contents are nowhere else;
//   - the records of a replay still being written are intact and the run's,
//     in order, and hold every record synced before the crash with none
//     missing among them; those of an interrupted earlier run survive
//     unchanged;
//   - after the tool returned 0, every new output is there in full.
// The directory is treated generically: whatever the commands write there is
// checked. The figures go to durability-Tool.txt in the test-results directory.
#include "RecordFile.h"
#include "Support/DurabilityFigures.h"
#include "Support/EmulatorLimits.h"
#include "Support/PowerLoss.h"
#include "ToolTestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <sys/stat.h>

namespace
{

using CoreTest::FileFault;
using CoreTest::FileOp;
using CoreTest::PowerLoss;
typedef std::map<std::string, std::string> Files;

// Fewer fixes and samples where every operation is slow.
const bool kSlow = CoreTest::kTargetEmulated || CoreTest::kSanitized;
const int kSamplesPerPoint = kSlow ? 4 : 16;
const char kOldPartial[] = "fixes.rec.20260101T000000Z.partial";

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// A power-loss layer that acknowledges every successful sync of the record
// file being written, noting how many of its bytes the run then relied on.
class RecordSyncs : public PowerLoss
{
public:
    using PowerLoss::PowerLoss;

    int Open(const char* path, int flags, mode_t mode) override
    {
        const int fd = PowerLoss::Open(path, flags, mode);
        if (fd >= 0 && EndsWith(path, ".partial") && (flags & O_ACCMODE) != O_RDONLY)
            m_records.insert(fd);
        return fd;
    }
    int Close(int fd) override
    {
        m_records.erase(fd);
        return PowerLoss::Close(fd);
    }
    int Sync(int fd) override
    {
        const int result = PowerLoss::Sync(fd);
        struct stat info;
        if (m_records.count(fd) == 0 || fstat(fd, &info) != 0)
            return result;
        // A failed sync loses what was written since the last one for good.
        if (result != 0)
            m_lost += info.st_size - m_written;
        m_written = info.st_size;
        if (result == 0)
        {
            synced.push_back(info.st_size - m_lost);
            Acknowledge();
        }
        return result;
    }

    // Bytes of the record file durable at each acknowledgement.
    std::vector<off_t> synced;

private:
    std::set<int> m_records;
    off_t m_written = 0;
    off_t m_lost = 0;
};

// One command explored: the previous outputs it starts from, the clean run's
// new ones, and its words for an output directory and a stick directory.
class ToolExploration
{
public:
    typedef std::function<std::vector<std::string>(const std::string& dir, const std::string& stick)> Command;

    ToolExploration(const Files& old, const Command& command) : m_old(old), m_command(command)
    {
        CoreTest::TempDir reference;
        CoreTest::TempDir stick;
        Prepare(reference.Path());
        EXPECT_EQ(
            0, ToolTest::RunTool(command(reference.Path(), stick.Path()), reference.File("out"), reference.File("err")))
            << CoreTest::ReadBytes(reference.File("err"));
        m_new = CoreTest::ReadDirectory(reference.Path());
        m_new.erase("out");
        m_new.erase("err");
        // The records of the reference run, which every record file of a recorded run must begin.
        if (m_new.count("fixes.rec") != 0)
        {
            const auto contents = GuidanceTool::ReadRecordFile(reference.File("fixes.rec"));
            m_records = contents.records;
            m_blockBytes = m_records.empty() ? 0 : m_new["fixes.rec"].size() / m_records.size();
            EXPECT_EQ(m_new["fixes.rec"].size(), m_blockBytes * m_records.size()) << "blocks of unequal size";
        }
    }

    // The clean run and one per write, sync and rename failing in turn, with
    // EIO, ENOSPC and EDQUOT in turn and, for writes, a write cut short;
    // reports the figures.
    CoreTest::DurabilityFigures Run(const std::string& writer)
    {
        const int kErrors[] = {EIO, ENOSPC, EDQUOT, 0};
        CoreTest::DurabilityFigures figures;
        RunOnce(nullptr, kSamplesPerPoint, figures);
        for (const FileOp op : {FileOp::Write, FileOp::Sync, FileOp::Rename})
            for (int nth = 1;; ++nth)
            {
                const FileFault fault{op, nth, kErrors[nth % (op == FileOp::Write ? 4 : 3)]};
                if (!RunOnce(&fault, kSamplesPerPoint / 4 + 1, figures))
                    break;
            }
        CoreTest::ReportDurability("Tool", writer, figures);
        return figures;
    }

private:
    void Prepare(const std::string& dir) const
    {
        for (const auto& [name, contents] : m_old)
            ASSERT_TRUE(CoreTest::WriteBytes(dir + "/" + name, contents));
    }

    // False when the fault never fired: the run meets no more of its kind.
    bool RunOnce(const FileFault* fault, int samples, CoreTest::DurabilityFigures& figures)
    {
        CoreTest::TempDir scratch;
        // Outside the recorded directory: the stick's copies are not
        // modelled, but their writes meet the faults.
        const std::string stick = scratch.File("stick");
        mkdir(stick.c_str(), 0777);
        RecordSyncs power(scratch.Path());
        if (fault != nullptr)
            power.Arm(*fault);
        power.Prepare([&](const std::string& dir) { Prepare(dir); });
        int status = -1;
        std::vector<std::string> words;
        power.Record([&](const std::string& dir) {
            words = m_command(dir, stick);
            status = ToolTest::RunTool(words, scratch.File("out"), scratch.File("err"));
            if (status == 0)
                power.Acknowledge();
        });
        if (fault != nullptr && !power.Fired())
            return false;
        const std::string what = fault != nullptr ? fault->Describe() : "no fault";
        SCOPED_TRACE(what);
        const std::string wrong = CheckRun(fault, status, words[0], scratch.Path(), stick);
        EXPECT_EQ("", wrong);
        figures.violations += wrong.empty() ? 0 : 1;
        figures.violations +=
            power.Explore([&](const PowerLoss::State& s) { return Check(s, fault != nullptr, power.synced); }, samples);
        figures.states += power.States();
        figures.faults += fault != nullptr ? 1 : 0;
        return true;
    }

    // How a run ended: "" when it exited 0 with no fault (or a write cut
    // short that the next write completed), or else exited non-zero with one
    // line naming a file under scratch and ending in the system's reason;
    // and every copy on the stick is complete.
    std::string CheckRun(const FileFault* fault, int status, const std::string& command, const std::string& scratch,
                         const std::string& stick) const
    {
        const std::string errors = CoreTest::ReadBytes(scratch + "/err");
        if (fault == nullptr || (fault->error == 0 && status == 0))
            return status == 0 ? "" : "a clean run failed: " + errors;
        if (status == 0)
            return "a run that met the fault exited 0";
        // The last line: notices about earlier runs' records may precede it.
        const std::string message = errors.substr(errors.rfind('\n', errors.size() - 2) + 1);
        const std::string reason = fault->error != 0 ? std::strerror(fault->error) : "";
        if (message.find("guidance: " + command + ": " + scratch) != 0 ||
            message.find(": " + reason) == std::string::npos)
            return "the message does not name the file and the reason: " + errors;
        for (const std::string& folder : ToolTest::ListDirectory(stick))
            for (const auto& [name, copy] : CoreTest::ReadDirectory(stick + "/" + folder))
                if (m_new.count(name) == 0 ||
                    (copy != m_new.at(name) && (m_old.count(name) == 0 || copy != m_old.at(name))))
                    return "the stick's " + folder + "/" + name + " is not a complete copy";
        return "";
    }

    // Records of the run in a record file still being written: "" when each
    // is intact and the run's, in order, with none missing among the first
    // durable ones unless a write failed (past those, unsynced blocks may be
    // lost in any order; every reader names the numbers missing); count
    // becomes the number read.
    std::string CheckRecords(const std::string& path, bool faulty, std::size_t durable, std::size_t& count) const
    {
        const auto contents = GuidanceTool::ReadRecordFile(path);
        if (contents.otherBlocks != 0)
            return "unknown blocks";
        int last = 0;
        for (const GuidanceTool::FixRecord& record : contents.records)
        {
            const int expected = last + 1;
            last = record.sequence;
            if (last < expected || (!faulty && static_cast<std::size_t>(expected) <= durable && last != expected))
                return "record " + std::to_string(last) + " follows " + std::to_string(expected - 1);
            if (static_cast<std::size_t>(last) > m_records.size() || !(record == m_records[last - 1]))
                return "record " + std::to_string(last) + " is not the run's";
        }
        count = std::max(count, contents.records.size());
        return "";
    }

    std::string Check(const PowerLoss::State& state, bool faulty, const std::vector<off_t>& synced) const
    {
        const Files files = CoreTest::ReadDirectory(state.directory);
        // Records the run synced before the crash.
        const std::size_t acknowledged = static_cast<std::size_t>(state.acknowledged);
        const std::size_t durable =
            acknowledged > 0 && m_blockBytes > 0 ? synced[std::min(acknowledged, synced.size()) - 1] / m_blockBytes : 0;
        std::size_t records = 0;
        for (const auto& [name, contents] : files)
        {
            const bool old = m_old.count(name) != 0 && m_old.at(name) == contents;
            const bool fresh = m_new.count(name) != 0 && m_new.at(name) == contents;
            if (EndsWith(name, ".partial") && name != kOldPartial)
            {
                const std::string wrong = CheckRecords(state.directory + "/" + name, faulty, durable, records);
                if (!wrong.empty())
                    return name + ": " + wrong;
            }
            else if (m_old.count(name) != 0 || m_new.count(name) != 0)
            {
                if (!old && !fresh)
                    return name + " is neither old nor new (" + std::to_string(contents.size()) + " bytes)";
                if (name == "fixes.rec" && fresh)
                    records = m_records.size();
            }
            // Anything else must be a temporary beside a final name: "<name>.XXXXXX".
            else if (name.size() < 7 || name[name.size() - 7] != '.' ||
                     (m_old.count(name.substr(0, name.size() - 7)) == 0 &&
                      m_new.count(name.substr(0, name.size() - 7)) == 0))
                return "unexpected file " + name;
        }
        for (const auto& [name, contents] : m_old)
        {
            bool kept = files.count(name) != 0;
            // A name may go only when its contents moved to a new name (the interrupted run's records).
            for (const auto& [other, moved] : files)
                kept = kept || (m_old.count(other) == 0 && moved == contents);
            if (!kept)
                return name + " is missing";
        }
        if (records < durable)
            return std::to_string(durable) + " records were synced, " + std::to_string(records) + " are left";
        if (acknowledged > synced.size())
            for (const auto& [name, contents] : m_new)
                if (files.count(name) == 0 || files.at(name) != contents)
                    return "the run succeeded but " + name + " is not new";
        return "";
    }

    Files m_old;
    Command m_command;
    Files m_new;
    std::vector<GuidanceTool::FixRecord> m_records;
    std::size_t m_blockBytes = 0;
};

// The outputs of a command run into a fresh directory.
Files OutputsOf(const ToolExploration::Command& command)
{
    CoreTest::TempDir dir;
    CoreTest::TempDir logs;
    EXPECT_EQ(0, ToolTest::RunTool(command(dir.Path(), logs.Path()), logs.File("out"), logs.File("err")))
        << CoreTest::ReadBytes(logs.File("err"));
    return CoreTest::ReadDirectory(dir.Path());
}

class PowerLossTest : public ::testing::Test
{
protected:
    // A short drive along a short strip, cut to its first fixes.
    std::string Drive(const std::string& seed, int lines)
    {
        const std::string all = m_inputs.File("all.nmea");
        EXPECT_EQ(0, ToolTest::RunTool(
                         {"simulate", "--passes", "1", "--steady", "--seed", seed, "--field", Field(), "--output", all},
                         m_inputs.File("out"), m_inputs.File("err")));
        const std::string text = CoreTest::ReadBytes(all);
        std::size_t end = 0;
        for (int line = 0; line < lines && end < text.size(); ++line)
            end = text.find('\n', end) + 1;
        const std::string path = m_inputs.File("drive" + seed + ".nmea");
        EXPECT_TRUE(CoreTest::WriteBytes(path, text.substr(0, end)));
        return path;
    }

    std::string Field()
    {
        const std::string path = m_inputs.File("field.xml");
        CoreTest::WriteBytes(path, ToolTest::StraightFieldText(52.0, 5.0, 30.0, 6.0, "NaturalCubic"));
        return path;
    }

    CoreTest::TempDir m_inputs;
};

// Records synced one by one, as a receiver's are, and in groups, as a file's are.
TEST_F(PowerLossTest, ReplayKeepsEverySyncedRecordAndEachOutputOldOrNew)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    const int lines = kSlow ? 22 : 34;
    const std::string field = Field();
    for (const std::string syncEvery : {"1", "3"})
    {
        auto replay = [&](const std::string& input) {
            // The stick copy is explored once: it is the same for both.
            return [field, input, syncEvery](const std::string& dir, const std::string& stick) {
                std::vector<std::string> words = {"replay", "--output",     dir,      "--field",
                                                  field,    "--sync-every", syncEvery};
                if (syncEvery == "1")
                    words.push_back("--no-stick");
                else
                    words.insert(words.end(), {"--stick", stick});
                words.push_back(input);
                return words;
            };
        };
        Files old = OutputsOf(replay(Drive("2", lines)));
        ASSERT_EQ(1u, old.count("fixes.rec"));
        // An earlier run cut off by the power, its last block torn.
        old[kOldPartial] = old["fixes.rec"].substr(0, old["fixes.rec"].size() - 9);
        ToolExploration exploration(old, replay(Drive("1", lines)));
        const auto figures = exploration.Run("guidance replay, a sync every " + syncEvery + " records");
        EXPECT_EQ(0, figures.violations);
        EXPECT_GT(figures.faults, 10) << "the tool bypasses the file layer";
    }
}

TEST_F(PowerLossTest, SimulateKeepsTheOldDriveOrWritesTheWholeNewOne)
{
    CORETEST_REQUIRE_TRIGONOMETRY();
    const std::string field = Field();
    auto simulate = [&](const std::string& seed) {
        return [field, seed](const std::string& dir, const std::string&) {
            return std::vector<std::string>{"simulate", "--passes", "1",        "--seed",           seed,
                                            "--field",  field,      "--output", dir + "/drive.nmea"};
        };
    };
    ToolExploration exploration(OutputsOf(simulate("2")), simulate("1"));
    const auto figures = exploration.Run("guidance simulate");
    EXPECT_EQ(0, figures.violations);
    EXPECT_GT(figures.faults, 2) << "the tool bypasses the file layer";
}

} // namespace
