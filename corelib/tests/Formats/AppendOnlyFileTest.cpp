#include "Formats/AppendOnlyFile.h"

#include "Support/ByteStrings.h"
#include "Support/MemoryBlockStore.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

using Core::AppendOnlyFile;
using Core::AppendOnlyFileBase;
using Core::IO::CDataBuffer;
using CoreTest::Bytes;
using CoreTest::Hex;
using MemoryFile = CoreTest::MemoryBlockStore;

namespace
{

using Block = std::pair<unsigned short, std::string>;  // tag and payload

// Every block from the start of the store.
std::vector<Block> ReadAllBlocks(AppendOnlyFileBase& file)
{
    std::vector<Block> blocks;
    file.Reset();
    Block b;
    for (CDataBuffer payload; file.ReadBlock(b.first, payload); payload.Reset())
    {
        b.second = payload.ToString();
        blocks.push_back(b);
    }
    return blocks;
}

class AppendOnlyFileTest : public ::testing::Test
{
protected:
    // Appends an acknowledged block and remembers where it starts.
    void Append(unsigned short tag, const std::string& payload)
    {
        m_starts.push_back(m_file.m_bytes.size());
        ASSERT_TRUE(m_file.WriteBlock(tag, CDataBuffer(payload)));
        m_written.push_back({tag, payload});
    }

    // Bytes rich in sync bytes, zeros and all-ones, so that false sync marks
    // and lengths turn up inside payloads and garbage.
    static std::string RiskyBytes(std::mt19937& random, std::size_t n)
    {
        static const unsigned char kRisky[] = {0x5A, 0xA5, 0x00, 0xFF};
        std::string bytes;
        for (unsigned int r = random(); bytes.size() < n; r = random())
            bytes += static_cast<char>(r % 3 == 0 ? kRisky[(r >> 8) % 4] : (r >> 16));
        return bytes;
    }

    MemoryFile m_file;
    std::vector<std::size_t> m_starts;
    std::vector<Block> m_written;
};

TEST_F(AppendOnlyFileTest, FlippedBytesAndGarbageLoseOnlyTheBlocksTheyTouch)
{
    // Stray sync bytes, whole sync marks and false headers whose lengths reach
    // into the following blocks, each followed by risky bytes.
    const std::string garbage[] = {Bytes({0x5A}),
                                   Bytes({0xA5}),
                                   Bytes({0x5A, 0x5A, 0xA5, 0xA5}),
                                   Bytes({0x5A, 0xA5, 0, 0, 0, 40, 0, 1}),
                                   Bytes({0x5A, 0xA5, 0xFF, 0xFF, 0xFF, 0xFF}),
                                   Bytes({0x5A, 0xA5, 0, 0, 0, 6, 0, 1, 0, 0, 0, 1}),
                                   Bytes({0x5A, 0xA5, 0x7F, 0xFF, 0xFF, 0xF0})};
    // Even seeds flip bytes, odd seeds insert garbage (also at the very end).
    const unsigned int kSeeds = 600;
    const std::size_t kBlocks = 6, kMaxPayload = 40, kMaxDamages = 4, kMaxGarbageTail = 9;
    for (unsigned int seed = 0; seed < kSeeds; ++seed)
    {
        std::mt19937 random(seed);
        const bool flip = seed % 2 == 0;
        m_file.m_bytes.clear();
        m_starts.clear();
        m_written.clear();
        for (std::size_t i = 0; i < kBlocks; ++i)
            Append(static_cast<unsigned short>(random()), RiskyBytes(random, random() % (kMaxPayload + 1)));
        std::vector<std::size_t> offsets(1 + random() % kMaxDamages);
        for (std::size_t& at : offsets)
            at = random() % (m_file.m_bytes.size() + (flip ? 0 : 1));
        // From the back, so that the block starts still hold.
        std::sort(offsets.rbegin(), offsets.rend());
        std::vector<bool> touched(kBlocks, false);
        for (std::size_t at : offsets)
        {
            const std::size_t block = std::upper_bound(m_starts.begin(), m_starts.end(), at) - m_starts.begin() - 1;
            // Garbage exactly at a block's start leaves that block whole.
            touched[block] = touched[block] || flip || at != m_starts[block];
            if (flip)
                m_file.m_bytes[at] = static_cast<char>(m_file.m_bytes[at] ^ (1 + random() % 255));
            else
                m_file.m_bytes.insert(at, garbage[random() % std::size(garbage)] +
                                              RiskyBytes(random, random() % (kMaxGarbageTail + 1)));
        }
        const std::vector<Block> read = ReadAllBlocks(m_file);
        // A huge claimed length must not be read, or allocated, in one piece.
        ASSERT_LE(m_file.m_largestRead, 1 << 20) << "seed " << seed;
        auto next = read.begin();
        for (std::size_t i = 0; i < kBlocks; ++i)
        {
            if (touched[i])
                continue;
            next = std::find(next, read.end(), m_written[i]);
            ASSERT_NE(read.end(), next) << "seed " << seed << ": lost block " << i;
            ++next;
        }
    }
}

TEST_F(AppendOnlyFileTest, ReadsAppendPayloadsAndLeaveARejectedCandidatesTag)
{
    Append(1, "good");
    Append(2, "more");
    // Length 8: tag 0x7777, CRC 0, two payload bytes whose CRC is not 0.
    m_file.m_bytes += Bytes({0x5A, 0xA5, 0, 0, 0, 8, 0x77, 0x77, 0, 0, 0, 0, 1, 2});
    m_file.Reset();
    unsigned short tag = 0;
    CDataBuffer payload;
    payload.Add("keep:");
    EXPECT_TRUE(m_file.ReadBlock(tag, payload) && m_file.ReadBlock(tag, payload) && !m_file.ReadBlock(tag, payload));
    EXPECT_EQ(0x7777, tag);
    EXPECT_EQ("keep:goodmore", payload.ToString());
    EXPECT_EQ(m_file.m_bytes.size(), m_file.m_position) << "a false result leaves the position at the end";
}

// ---- The store on disk

class AppendOnlyDiskFileTest : public ::testing::Test
{
protected:
    CoreTest::TempDir m_dir;
    std::string m_path = m_dir.File("blocks.dat");
};

TEST_F(AppendOnlyDiskFileTest, FileHoldsTheExactBlockBytes)
{
    AppendOnlyFile file;
    ASSERT_TRUE(file.Open(m_path) && file.WriteBlock(0x0102, CDataBuffer(std::string("abc"))) &&
                file.WriteBlock(0xBEEF, CDataBuffer()));
    // "abc": length 3 + 6 = 9, tag 01 02, CRC-32 of "abc" = 0x352441C2 (the
    // published value). Empty payload: length 6, tag BE EF, CRC 0.
    EXPECT_EQ(Hex(Bytes({0x5A, 0xA5, 0, 0, 0, 9, 0x01, 0x02, 0x35, 0x24, 0x41, 0xC2, 'a', 'b', 'c',
                         0x5A, 0xA5, 0, 0, 0, 6, 0xBE, 0xEF, 0, 0, 0, 0})),
              Hex(CoreTest::ReadBytes(m_path)));
}

TEST_F(AppendOnlyDiskFileTest, ReadingAndAppendingShareOnePosition)
{
    AppendOnlyFile writer;
    unsigned short tag = 0;
    CDataBuffer payload;
    EXPECT_EQ(-1, writer.TellRead()) << "closed";
    ASSERT_TRUE(writer.Open(m_path) && writer.WriteBlock(1, CDataBuffer(std::string("one"))));
    EXPECT_FALSE(writer.ReadBlock(tag, payload)) << "the position is at the end after appending";
    EXPECT_EQ(0, writer.Reset());
    EXPECT_TRUE(writer.ReadBlock(tag, payload));
    // Appending in the middle of reading moves the reader to the end.
    ASSERT_TRUE(writer.WriteBlock(2, CDataBuffer(std::string("two"))));
    EXPECT_EQ(30, writer.TellRead());

    // A second object starts reading at the beginning without a reset, and a
    // block appended by another object becomes readable where it stands.
    AppendOnlyFile reader;
    ASSERT_TRUE(reader.Open(m_path));
    EXPECT_EQ(0, reader.TellRead());
    EXPECT_EQ(2u, ReadAllBlocks(reader).size());
    EXPECT_TRUE(writer.WriteBlock(3, CDataBuffer(std::string("three"))) && reader.ReadBlock(tag, payload));
    EXPECT_EQ(3, tag);
}

TEST_F(AppendOnlyDiskFileTest, FileReadsTheSameBlocksAsTheByteLevelReader)
{
    // The file reader takes intact blocks from its read-ahead buffer and
    // leaves everything else to the byte-level search that the in-memory
    // store uses. Blocks of every size around the 64 KiB buffer, with damage
    // scattered through them, must come out the same from both.
    std::mt19937 random(11);
    MemoryFile memory;
    std::vector<Block> written;
    for (int i = 0; i < 200; ++i)
    {
        const std::size_t size = i % 10 == 0 ? 60000 + random() % 10000 : random() % 300;
        std::string payload(size, '\0');
        for (char& c : payload)
            c = static_cast<char>(random() % 3 == 0 ? 0x5A : random());
        ASSERT_TRUE(memory.WriteBlock(static_cast<unsigned short>(i), CDataBuffer(payload)));
        written.push_back({static_cast<unsigned short>(i), payload});
    }
    ASSERT_EQ(written, ReadAllBlocks(memory)) << "undamaged";
    for (int damage = 0; damage < 40; ++damage)
    {
        const std::size_t at = random() % memory.m_bytes.size();
        memory.m_bytes[at] = static_cast<char>(memory.m_bytes[at] ^ (1 << random() % 8));
    }
    memory.m_bytes.resize(memory.m_bytes.size() - 50);
    ASSERT_TRUE(CoreTest::WriteBytes(m_path, memory.m_bytes));

    AppendOnlyFile file;
    ASSERT_TRUE(file.Open(m_path));
    const std::vector<Block> expected = ReadAllBlocks(memory);
    EXPECT_GT(expected.size(), 120u);
    EXPECT_EQ(expected, ReadAllBlocks(file));
    EXPECT_EQ(memory.TellRead(), file.TellRead());
}

} // namespace
