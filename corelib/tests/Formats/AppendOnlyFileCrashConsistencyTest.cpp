// The block file under SIGKILL: a child appends numbered blocks and reports
// each one WriteBlock acknowledged; it is killed at random moments, round
// after round, into the same file. Every acknowledged block must read back
// intact, in order, however many torn blocks earlier kills left behind.
#include "Formats/AppendOnlyFile.h"

#include "Support/CrashConsistency.h"
#include "Support/KilledChild.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

using Core::AppendOnlyFile;
using Core::IO::CDataBuffer;

namespace
{

constexpr unsigned int kRounds = 60;
constexpr unsigned int kBlocksPerRound = 1000;

unsigned short TagOf(unsigned int sequence)
{
    return static_cast<unsigned short>(0x100 + sequence % 7);
}

// The block numbered sequence: its number, then bytes derived from it. Every
// tenth block is tens of kilobytes so that kills also land inside a long write.
CDataBuffer Payload(unsigned int sequence)
{
    CDataBuffer payload;
    payload.Add(sequence);
    const unsigned int size = sequence % 10 == 0 ? 20000 + sequence % 1000 : sequence % 600;
    unsigned int state = sequence * 2654435761u + 1;
    for (unsigned int i = 0; i < size; ++i)
    {
        state = state * 1103515245u + 12345u;
        payload.Add(static_cast<unsigned char>(state >> 24));
    }
    return payload;
}

void AppendUntilKilled(const std::string& path, unsigned int first, CoreTest::ChildReporter& reporter)
{
    AppendOnlyFile file;
    if (!file.Open(path))
        return;
    for (unsigned int sequence = first; sequence < first + kBlocksPerRound; ++sequence)
    {
        if (file.WriteBlock(TagOf(sequence), Payload(sequence)))
            reporter.Report(std::to_string(sequence));
    }
}

// Reads the whole file; fails the test on any block that is not one the
// child could have written or that comes out of order.
std::set<unsigned int> ReadBackSequences(const std::string& path)
{
    std::set<unsigned int> sequences;
    AppendOnlyFile file;
    EXPECT_TRUE(file.Open(path));
    unsigned short tag = 0;
    CDataBuffer payload;
    long long previous = -1;
    while (file.ReadBlock(tag, payload))
    {
        const unsigned int sequence = payload.GetUInt32();
        EXPECT_FALSE(payload.InError());
        EXPECT_GT(static_cast<long long>(sequence), previous) << "blocks out of order";
        EXPECT_EQ(TagOf(sequence), tag) << "block " << sequence;
        EXPECT_EQ(Payload(sequence).ToString(), payload.ToString()) << "block " << sequence;
        previous = sequence;
        sequences.insert(sequence);
        payload.Reset();
    }
    return sequences;
}

TEST(AppendOnlyFileCrashConsistencyTest, AcknowledgedBlocksSurviveKillsAtRandomMoments)
{
    CoreTest::TempDir dir;
    const std::string path = dir.File("blocks");
    std::mt19937 random(20261121);
    std::uniform_int_distribution<unsigned int> reports(0, 4);
    std::uniform_int_distribution<long> delay(0, CoreTest::kCrashDelayMicroseconds);

    std::set<unsigned int> acknowledged;
    for (unsigned int round = 0; round < kRounds; ++round)
    {
        SCOPED_TRACE("round " + std::to_string(round));
        const unsigned int first = round * kBlocksPerRound;
        const unsigned int killAfter = reports(random);
        const CoreTest::KilledChildResult run = CoreTest::RunAndKill(
            [&](CoreTest::ChildReporter& reporter) { AppendUntilKilled(path, first, reporter); }, killAfter,
            delay(random));
        ASSERT_GE(run.reports.size(), killAfter) << "the child stopped acknowledging blocks";
        for (const std::string& line : run.reports)
            acknowledged.insert(static_cast<unsigned int>(std::stoul(line)));

        const std::set<unsigned int> found = ReadBackSequences(path);
        for (unsigned int sequence : acknowledged)
            ASSERT_TRUE(found.count(sequence)) << "acknowledged block " << sequence << " lost";
    }
}

} // namespace
