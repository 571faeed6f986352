// Every durable writer of the library under simulated power loss and injected
// I/O faults. Each writer runs once cleanly and once for every fault it can
// meet (the Nth call of each operation failing with EIO, ENOSPC or EDQUOT, or
// a short write); after every run each crash state is opened with the
// library's own readers and checked against what the writer acknowledged:
//   1. everything acknowledged as durable is present and intact;
//   2. nothing never completely written is accepted;
//   3. each final name holds complete old or complete new contents, and is
//      never missing when an old version existed;
//   4. after an I/O error the next open recovers without losing acknowledged data.
// A writer whose contract promises less is checked for exactly what it promises.
// The figures of each writer go to durability-Durability.txt in the test-results directory.
#include "Formats/AppendOnlyFile.h"
#include "Formats/KMLWriter.h"
#include "IO/XML.h"
#include "Support/DurabilityFigures.h"
#include "Support/EmulatorLimits.h"
#include "Support/PowerLoss.h"
#include "Support/TestSupport.h"
#include "Utilities/FileCopy.h"
#include "Utilities/FileUtilities.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sys/stat.h>

namespace
{

using CoreTest::FileFault;
using CoreTest::FileOp;
using CoreTest::PowerLoss;

// Combinations drawn at each crash point too rich to try exhaustively; fewer
// where every operation is slow. DURABILITY_SAMPLES sets it for a longer campaign.
int SamplesPerPoint()
{
    if (const char* samples = std::getenv("DURABILITY_SAMPLES"))
        return std::atoi(samples);
    return CoreTest::kTargetEmulated || CoreTest::kSanitized ? 8 : 64;
}

// One run of one writer: what it was given, what it acknowledged, and how a
// crash state is judged against that.
class Scenario
{
public:
    virtual ~Scenario() = default;
    // Leaves the old, durable files in dir.
    virtual void Prepare(const std::string& dir) { (void)dir; }
    // Runs the writer, calling power.Acknowledge() for each success it reports.
    virtual void Write(const std::string& dir, PowerLoss& power) = 0;
    // "" when the crash state is sound, else what is wrong.
    virtual std::string Check(const PowerLoss::State& state) = 0;
};

// Makes a fresh scenario for a run; fault is null for the clean run.
typedef std::function<std::unique_ptr<Scenario>(const FileFault* fault)> ScenarioFactory;

typedef CoreTest::DurabilityFigures Figures;

// One recorded run, explored; adds to the figures.
void Run(const ScenarioFactory& make, const FileFault* fault, int samples, Figures& figures, int counts[])
{
    CoreTest::TempDir scratch;
    std::unique_ptr<Scenario> scenario = make(fault);
    PowerLoss power(scratch.Path());
    if (fault != nullptr)
        power.Arm(*fault);
    power.Prepare([&](const std::string& dir) { scenario->Prepare(dir); });
    power.Record([&](const std::string& dir) { scenario->Write(dir, power); });
    if (fault != nullptr && !power.Fired())
        return;
    SCOPED_TRACE(fault != nullptr ? fault->Describe() : "no fault");
    figures.violations += power.Explore([&](const PowerLoss::State& s) { return scenario->Check(s); }, samples);
    figures.states += power.States();
    figures.faults += fault != nullptr ? 1 : 0;
    for (int op = 0; counts != nullptr && op < static_cast<int>(FileOp::Count); ++op)
        counts[op] = power.Calls(static_cast<FileOp>(op));
}

// The clean run, then one run per fault the clean run could have met.
Figures Campaign(const std::string& writer, const ScenarioFactory& make)
{
    Figures figures;
    int counts[static_cast<int>(FileOp::Count)] = {};
    const int samples = SamplesPerPoint();
    Run(make, nullptr, samples, figures, counts);
    for (int op = 0; op < static_cast<int>(FileOp::Count); ++op)
        for (int nth = 1; nth <= counts[op]; ++nth)
            for (int error : {EIO, ENOSPC, EDQUOT, 0})
            {
                if (error == 0 && static_cast<FileOp>(op) != FileOp::Write)
                    continue;
                const FileFault fault{static_cast<FileOp>(op), nth, error};
                Run(make, &fault, samples / 4 + 1, figures, nullptr);
            }
    CoreTest::ReportDurability("Durability", writer, figures);
    return figures;
}

// Bytes that name their version and size, spanning several sectors.
std::string Contents(const std::string& version, std::size_t size)
{
    std::string bytes = version + ":";
    while (bytes.size() < size)
        bytes += static_cast<char>('a' + (bytes.size() * 7 + version.size()) % 26);
    return bytes;
}

// "" when the final name in the crash state holds exactly one of the allowed
// versions, else what it holds instead.
std::string ExpectOneOf(const PowerLoss::State& state, const std::string& name,
                        std::initializer_list<const std::string*> allowed)
{
    const std::string path = state.directory + "/" + name;
    if (!CoreTest::FileExists(path))
        return name + " is missing";
    const std::string contents = CoreTest::ReadBytes(path);
    for (const std::string* version : allowed)
        if (contents == *version)
            return "";
    return name + " holds " + std::to_string(contents.size()) + " bytes of neither version";
}

// ---- The block file -----------------------------------------------------

// Blocks of growing size in a new file, each acknowledged when WriteBlock
// succeeds; after a failure the writer reopens the file and goes on.
class BlockFileScenario : public Scenario
{
public:
    static const int kBlocks = 8;

    static std::string Payload(int index) { return Contents("block" + std::to_string(index), 40 + 260 * index); }

    void Write(const std::string& dir, PowerLoss& power) override
    {
        Core::AppendOnlyFile file;
        bool open = file.Open(dir + "/records");
        for (int i = 0; i < kBlocks; ++i)
        {
            if (!open)
            {
                open = file.Open(dir + "/records");
                continue;
            }
            const std::string payload = Payload(i);
            Core::IO::CDataBuffer buffer;
            buffer.Add(reinterpret_cast<const unsigned char*>(payload.data()),
                       static_cast<unsigned int>(payload.size()));
            if (file.WriteBlock(static_cast<unsigned short>(i), buffer))
            {
                m_acknowledged.push_back(i);
                power.Acknowledge();
            }
            else
            {
                file.Close();
                open = false;
            }
        }
    }

    std::string Check(const PowerLoss::State& state) override
    {
        Core::AppendOnlyFile file;
        const std::string path = state.directory + "/records";
        if (!CoreTest::FileExists(path))
            return state.acknowledged == 0 ? "" : "the record file is missing";
        if (!file.Open(path))
            return "the record file does not open";
        std::string problem = ReadBack(file, state.acknowledged, false);
        if (!problem.empty())
            return problem;
        // The next writer appends after whatever the crash left, and readers
        // find its block too.
        Core::IO::CDataBuffer extra;
        extra.Add(reinterpret_cast<const unsigned char*>("next"), 4);
        if (!file.WriteBlock(kBlocks, extra))
            return "appending after the crash fails";
        file.Reset();
        return ReadBack(file, state.acknowledged, true);
    }

private:
    // Reads every block: each must be one that was written completely, in
    // order, and every acknowledged one must be there.
    std::string ReadBack(Core::AppendOnlyFile& file, int acknowledged, bool withExtra)
    {
        std::vector<int> found;
        unsigned short tag = 0;
        Core::IO::CDataBuffer payload;
        while (file.ReadBlock(tag, payload))
        {
            const std::string bytes(reinterpret_cast<const char*>(payload.Data()), payload.Size());
            payload.Reset();
            if (tag == kBlocks && bytes == "next")
            {
                found.push_back(tag);
                continue;
            }
            if (tag >= kBlocks || bytes != Payload(tag))
                return "a block never written completely was returned (tag " + std::to_string(tag) + ")";
            if (!found.empty() && found.back() >= tag)
                return "blocks out of order";
            found.push_back(tag);
        }
        for (int a = 0; a < acknowledged; ++a)
            if (std::find(found.begin(), found.end(), m_acknowledged[a]) == found.end())
                return "acknowledged block " + std::to_string(m_acknowledged[a]) + " is lost";
        if (withExtra && (found.empty() || found.back() != kBlocks))
            return "the block appended after the crash is not read back";
        return "";
    }

    std::vector<int> m_acknowledged;
};

TEST(DurabilityTest, BlockFileKeepsEveryAcknowledgedBlockAndNoTornOne)
{
    const Figures figures =
        Campaign("block file", [](const FileFault*) { return std::make_unique<BlockFileScenario>(); });
    EXPECT_EQ(0, figures.violations);
    EXPECT_GT(figures.faults, 0) << "the writer bypasses the file layer";
}

// ---- Whole-file replacement --------------------------------------------

// A final name with an old version, replaced by one call; acknowledged when
// the call reports success and, for WriteFile, again after SyncParentDir.
class ReplacementScenario : public Scenario
{
public:
    enum Writer
    {
        WriteFile,
        SafeCopy,
        IncrementalCopy,
        XML,
        KML
    };

    ReplacementScenario(Writer writer, const FileFault* fault)
        : m_writer(writer), m_old(Contents("old", 700)), m_new(writer == XML   ? NewDocument("")
                                                               : writer == KML ? NewTrack("")
                                                                               : Contents("new", 9000)),
          m_faultFired(false), m_reportedFailure(false), m_fault(fault)
    {
        CoreTest::WriteBytes(m_source.File("source"), m_new);
    }

    void Prepare(const std::string& dir) override { CoreTest::WriteBytes(dir + "/" + Name(), m_old); }

    void Write(const std::string& dir, PowerLoss& power) override
    {
        const std::string path = dir + "/" + Name();
        bool ok = false;
        switch (m_writer)
        {
        case WriteFile:
            ok = Core::Utilities::WriteFile(path, m_new);
            if (ok && !(power.Fired() && m_fault->op == FileOp::Rename))
                power.Acknowledge();
            Core::Utilities::SyncParentDir(path);
            break;
        case SafeCopy: ok = Core::Utilities::SafeFileCopy(m_source.File("source"), path, nullptr); break;
        case IncrementalCopy:
        {
            Core::Utilities::CIncrementalFileCopy copy(m_source.File("source"), path, nullptr);
            while (!copy.Finished())
                copy.Idle(1);
            ok = copy.Idle(0);
            break;
        }
        case XML: ok = NewDocument(path).empty(); break;
        case KML: ok = NewTrack(path).empty(); break;
        }
        m_faultFired = m_fault != nullptr && power.Fired();
        // A KML document reports nothing after opening, but one whose bytes
        // could not all be written must not replace the old file.
        m_reportedFailure =
            !ok || (m_writer == KML && m_faultFired && m_fault->op == FileOp::Write && m_fault->error != 0);
        if (ok && !Unreported())
            power.Acknowledge();
    }

    std::string Check(const PowerLoss::State& state) override
    {
        const bool exists = CoreTest::FileExists(state.directory + "/" + Name());
        // WriteFile promises durability only once the caller has synced; what
        // it acknowledged first is the new file for the next open.
        const int durable = m_writer == WriteFile ? 2 : 1;
        if (state.acknowledged >= durable || (state.live && state.acknowledged > 0))
            return ExpectOneOf(state, Name(), {&m_new});
        if (m_writer == WriteFile && !state.live)
            return exists ? "" : Name() + " is missing";
        // The XML writer renames whatever reached its temporary file.
        if (m_faultFired && m_writer == XML && (m_fault->op == FileOp::Write || m_fault->op == FileOp::Sync))
            return exists ? "" : Name() + " is missing";
        if (state.live && StrayFiles(state))
            return "a temporary file is left behind";
        if (state.live && m_reportedFailure)
            return ExpectOneOf(state, Name(), {&m_old});
        return ExpectOneOf(state, Name(), {&m_old, &m_new});
    }

private:
    // True when the live directory holds more than the final name, which
    // only some contracts allow: SafeFileCopy keeps the temporary file of a
    // failed copy, WriteFile that of an unreported rename, and nobody can
    // remove a file whose unlink failed.
    bool StrayFiles(const PowerLoss::State& state) const
    {
        if (m_writer == SafeCopy || (m_faultFired && (m_fault->op == FileOp::Unlink || m_fault->op == FileOp::Rename)))
            return false;
        return CoreTest::ListDirectory(state.directory) != std::vector<std::string>{Name()};
    }

    std::string Name() const { return m_writer == XML ? "doc.xml" : m_writer == KML ? "track.kml" : "data"; }

    // True when the writer's contract does not report the injected fault, so
    // its success says nothing: the XML writer reports its rename alone, the
    // KML writer reports nothing after opening, and WriteFile and the
    // incremental copy do not count a failed rename as a failure.
    bool Unreported() const
    {
        if (!m_faultFired)
            return false;
        switch (m_writer)
        {
        case XML: return m_fault->op == FileOp::Write || m_fault->op == FileOp::Sync;
        case KML: return true;
        default: return m_fault->op == FileOp::Rename;
        }
    }

    // The new XML document, written to path or returned as text when path is empty.
    static std::string NewDocument(const std::string& path)
    {
        Core::IO::XMLDocument document;
        Core::IO::XMLNode* field = document.RootNode().AddNode("field");
        for (int i = 0; i < 40; ++i)
            field->AddNode("point")->AddData(Contents("point" + std::to_string(i), 40));
        if (path.empty())
            return document.GetXML();
        return document.WriteXML(path) ? "" : "not written";
    }

    // Writes the track to path, or returns it as text when path is empty.
    static std::string NewTrack(const std::string& path)
    {
        Core::KMLWriter writer;
        if (path.empty())
            writer.Open();
        else if (!writer.Open(path))
            return "not opened";
        writer.LineStyle("track", "ff0000ff", 2);
        std::vector<Core::Maths::Vector3<double>> points;
        for (int i = 0; i < 60; ++i)
            points.push_back(Core::Maths::Vector3<double>(0.9 + i * 1e-5, -0.02 + i * 2e-5, 80.0 + i));
        writer.LineStrip("drive", points);
        writer.Close();
        return path.empty() ? writer.AsString() : "";
    }

    Writer m_writer;
    std::string m_old;
    std::string m_new;
    CoreTest::TempDir m_source;
    bool m_faultFired;
    bool m_reportedFailure;
    const FileFault* m_fault;
};

TEST(DurabilityTest, ReplacedFilesHoldOneWholeVersion)
{
    const std::pair<const char*, ReplacementScenario::Writer> writers[] = {
        {"WriteFile", ReplacementScenario::WriteFile},
        {"SafeFileCopy", ReplacementScenario::SafeCopy},
        {"CIncrementalFileCopy", ReplacementScenario::IncrementalCopy},
        {"XML writing", ReplacementScenario::XML},
        {"KML export", ReplacementScenario::KML},
    };
    for (const auto& [name, writer] : writers)
    {
        SCOPED_TRACE(name);
        const ReplacementScenario::Writer chosen = writer;
        const Figures figures = Campaign(
            name, [chosen](const FileFault* fault) { return std::make_unique<ReplacementScenario>(chosen, fault); });
        EXPECT_EQ(0, figures.violations);
        EXPECT_GT(figures.faults, 0) << "the writer bypasses the file layer";
    }
}

} // namespace
