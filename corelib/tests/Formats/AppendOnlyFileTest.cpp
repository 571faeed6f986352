#include "Formats/AppendOnlyFile.h"

#include "Support/ByteStrings.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ostream>
#include <random>
#include <string>
#include <vector>

using Core::AppendOnlyFile;
using Core::AppendOnlyFileBase;
using Core::IO::CDataBuffer;
using CoreTest::Bytes;
using CoreTest::Hex;

namespace
{

struct Block
{
    unsigned short tag;
    std::string payload;
    bool operator==(const Block& other) const { return tag == other.tag && payload == other.payload; }
};

void PrintTo(const Block& b, std::ostream* os)
{
    *os << "{tag " << b.tag << ": " << Hex(b.payload) << "}";
}

// The store in memory: the contract of the file (appends move the read
// position to the end, seeking past the end is allowed) plus knobs that make
// writes come up short or the flush fail, and a record of the largest read asked for.
class MemoryFile : public AppendOnlyFileBase
{
public:
    bool Open(const std::string&) override
    {
        m_open = true;
        m_position = 0;
        return true;
    }
    void Close() override { m_open = false; }
    int Read(unsigned char* buffer, int length) override
    {
        if (!m_open || length < 1)
            return 0;
        m_largestRead = std::max(m_largestRead, length);
        if (m_position >= m_bytes.size())
            return 0;
        const std::size_t count = std::min(static_cast<std::size_t>(length), m_bytes.size() - m_position);
        std::memcpy(buffer, m_bytes.data() + m_position, count);
        m_position += count;
        return static_cast<int>(count);
    }
    int Write(const unsigned char* data, int length) override
    {
        if (!m_open || length < 1)
            return 0;
        const int count = std::min(length, m_writeBudget);
        m_writeBudget -= count;
        m_bytes.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(count));
        m_position = m_bytes.size();
        return count;
    }
    int SeekRead(int offset) override
    {
        if (!m_open || offset < 0)
            return -1;
        m_position = static_cast<std::size_t>(offset);
        return offset;
    }
    int TellRead() override { return m_open ? static_cast<int>(m_position) : -1; }
    bool Flush() override { return m_open && m_flushSucceeds; }

    std::string m_bytes;
    std::size_t m_position = 0;
    bool m_open = true;
    int m_writeBudget = 1 << 30;  // bytes that writes may still store
    bool m_flushSucceeds = true;
    int m_largestRead = 0;
};

// Every block from the start of the store.
std::vector<Block> ReadAllBlocks(AppendOnlyFileBase& file)
{
    std::vector<Block> blocks;
    file.Reset();
    Block b{0, {}};
    CDataBuffer payload;
    while (file.ReadBlock(b.tag, payload))
    {
        b.payload = payload.ToString();
        blocks.push_back(b);
        payload.Reset();
    }
    return blocks;
}

class AppendOnlyFileTest : public ::testing::Test
{
protected:
    // Appends an acknowledged block and remembers where it lies.
    void Append(unsigned short tag, const std::string& payload)
    {
        m_starts.push_back(m_file.m_bytes.size());
        ASSERT_TRUE(m_file.WriteBlock(tag, CDataBuffer(payload)));
        m_written.push_back({tag, payload});
    }

    std::vector<Block> ReadAll() { return ReadAllBlocks(m_file); }

    // Index of the written block holding byte offset, or -1.
    int BlockAt(std::size_t offset) const
    {
        for (std::size_t i = 0; i < m_starts.size(); ++i)
        {
            const std::size_t end = m_starts[i] + 12 + m_written[i].payload.size();
            if (offset >= m_starts[i] && offset < end)
                return static_cast<int>(i);
        }
        return -1;
    }

    // The written blocks not marked as touched, in order.
    std::vector<Block> Untouched(const std::vector<bool>& touched) const
    {
        std::vector<Block> kept;
        for (std::size_t i = 0; i < m_written.size(); ++i)
        {
            if (!touched[i])
                kept.push_back(m_written[i]);
        }
        return kept;
    }

    // True when every block of expected appears in read, in the same order.
    static bool ContainsInOrder(const std::vector<Block>& read, const std::vector<Block>& expected)
    {
        auto next = read.begin();
        for (const Block& b : expected)
        {
            next = std::find(next, read.end(), b);
            if (next == read.end())
                return false;
            ++next;
        }
        return true;
    }

    // Payload bytes rich in sync bytes, zeros and all-ones, so that false
    // sync marks and lengths turn up inside blocks.
    static std::string RiskyBytes(std::mt19937& random, std::size_t n)
    {
        static const unsigned char kRisky[] = {0x5A, 0xA5, 0x00, 0xFF};
        std::string bytes;
        for (std::size_t i = 0; i < n; ++i)
        {
            const unsigned int r = random();
            bytes += static_cast<char>(r % 3 == 0 ? kRisky[(r >> 8) % 4] : (r >> 16));
        }
        return bytes;
    }

    // Writes blocks of random tags and payloads of 0 to 40 bytes.
    void AppendRandomBlocks(std::mt19937& random, int count)
    {
        for (int i = 0; i < count; ++i)
            Append(static_cast<unsigned short>(random()), RiskyBytes(random, random() % 41));
    }

    MemoryFile m_file;
    std::vector<std::size_t> m_starts;
    std::vector<Block> m_written;
};

TEST_F(AppendOnlyFileTest, EveryAcknowledgedBlockReadsBackAndPayloadsAppend)
{
    Append(1, "");
    Append(0xFFFF, std::string(300, '\x5A'));
    Append(2, Bytes({0x5A, 0xA5, 0, 0, 0, 6}));
    EXPECT_EQ(m_written, ReadAll());

    m_file.Reset();
    unsigned short tag = 0;
    CDataBuffer payload;
    payload.Add("keep");
    EXPECT_TRUE(m_file.ReadBlock(tag, payload));
    EXPECT_TRUE(m_file.ReadBlock(tag, payload));
    EXPECT_EQ("keep" + std::string(300, '\x5A'), payload.ToString()) << "payloads are appended";
    EXPECT_TRUE(m_file.ReadBlock(tag, payload));
    EXPECT_FALSE(m_file.ReadBlock(tag, payload));
    EXPECT_EQ(m_file.m_bytes.size(), m_file.m_position) << "a false result leaves the position at the end";
}

TEST_F(AppendOnlyFileTest, TruncatingTheLastBlockAnywhereKeepsTheEarlierOnes)
{
    std::mt19937 random(7);
    AppendRandomBlocks(random, 2);
    Append(0x5AA5, RiskyBytes(random, 30));
    const std::string whole = m_file.m_bytes;
    const std::vector<Block> earlier(m_written.begin(), m_written.end() - 1);
    for (std::size_t cut = m_starts.back(); cut < whole.size(); ++cut)
    {
        m_file.m_bytes = whole.substr(0, cut);
        ASSERT_EQ(earlier, ReadAll()) << "cut at " << cut;

        // The next block lands after the torn bytes and readers resynchronise past them.
        ASSERT_TRUE(m_file.WriteBlock(9, CDataBuffer(std::string("after"))));
        std::vector<Block> expected = earlier;
        expected.push_back({9, "after"});
        ASSERT_EQ(expected, ReadAll()) << "cut at " << cut;
    }
}

TEST_F(AppendOnlyFileTest, FlippedBytesLoseOnlyTheBlocksTheyTouch)
{
    for (unsigned int seed = 0; seed < 300; ++seed)
    {
        std::mt19937 random(seed);
        m_file.m_bytes.clear();
        m_starts.clear();
        m_written.clear();
        AppendRandomBlocks(random, 6);
        std::vector<bool> touched(m_written.size(), false);
        for (unsigned int flips = 1 + random() % 3; flips > 0; --flips)
        {
            const std::size_t offset = random() % m_file.m_bytes.size();
            m_file.m_bytes[offset] = static_cast<char>(m_file.m_bytes[offset] ^ (1 + random() % 255));
            touched[static_cast<std::size_t>(BlockAt(offset))] = true;
        }
        const std::vector<Block> read = ReadAll();
        ASSERT_TRUE(ContainsInOrder(read, Untouched(touched))) << "seed " << seed;
    }
}

TEST_F(AppendOnlyFileTest, GarbageBeforeBetweenAndInsideBlocksIsSkipped)
{
    // Garbage made of stray sync bytes, whole sync marks and false headers
    // whose lengths reach into the following blocks.
    const std::string pieces[] = {
        Bytes({0x5A}),
        Bytes({0xA5}),
        Bytes({0x5A, 0xA5}),
        Bytes({0x5A, 0x5A, 0xA5, 0xA5}),
        Bytes({0x5A, 0xA5, 0, 0, 0, 5}),
        Bytes({0x5A, 0xA5, 0, 0, 0, 40, 0, 1}),
        Bytes({0x5A, 0xA5, 0xFF, 0xFF, 0xFF, 0xFF}),
        Bytes({0x5A, 0xA5, 0, 0, 0, 6, 0, 1, 0, 0, 0, 1}),
    };
    for (unsigned int seed = 0; seed < 300; ++seed)
    {
        std::mt19937 random(seed);
        m_file.m_bytes.clear();
        m_starts.clear();
        m_written.clear();
        AppendRandomBlocks(random, 5);
        std::vector<bool> touched(m_written.size(), false);
        std::vector<std::size_t> at;
        for (unsigned int n = 1 + random() % 4; n > 0; --n)
            at.push_back(random() % (m_file.m_bytes.size() + 1));
        // From the back, so the offsets found before still hold.
        std::sort(at.rbegin(), at.rend());
        for (std::size_t offset : at)
        {
            std::string garbage = pieces[random() % 8];
            if (random() % 2 == 0)
                garbage += RiskyBytes(random, random() % 10);
            const int inside = BlockAt(offset);
            if (inside >= 0 && offset != m_starts[static_cast<std::size_t>(inside)])
                touched[static_cast<std::size_t>(inside)] = true;
            m_file.m_bytes.insert(offset, garbage);
        }
        const std::vector<Block> read = ReadAll();
        ASSERT_TRUE(ContainsInOrder(read, Untouched(touched))) << "seed " << seed;
    }
}

TEST_F(AppendOnlyFileTest, StrayAndFalseSyncMarksBeforeABlockAreSkipped)
{
    // Sync marks split across every refill of the six-byte look-ahead, and
    // headers rejected for their length.
    const std::string prefixes[] = {
        "",
        Bytes({0x5A}),
        Bytes({0x5A, 0x5A, 0x5A, 0x5A, 0x5A}),
        Bytes({0x5A, 0x5A, 0x5A, 0x5A, 0x5A, 0x5A, 0x5A}),
        Bytes({1, 2, 3, 4, 5, 0x5A}),
        Bytes({1, 2, 3, 4, 0x5A, 0x5A}),
        Bytes({0xA5, 0x5A, 0xA5}),
        Bytes({0x5A, 0xA5, 0, 0, 0, 5}),
        Bytes({0x5A, 0xA5, 0, 0, 0, 0, 0x5A}),
        Bytes({0x5A, 0xA5, 0x5A, 0xA5, 0, 0}),
    };
    for (const std::string& prefix : prefixes)
    {
        MemoryFile file;
        file.m_bytes = prefix;
        ASSERT_TRUE(file.WriteBlock(3, CDataBuffer(std::string("xyz"))));
        ASSERT_TRUE(file.WriteBlock(4, CDataBuffer(std::string())));
        EXPECT_EQ((std::vector<Block>{{3, "xyz"}, {4, ""}}), ReadAllBlocks(file)) << Hex(prefix);
    }
}

TEST_F(AppendOnlyFileTest, ABlockInsideARejectedClaimIsStillFound)
{
    // A false header claiming 64 bytes swallows the real block; its body
    // arrives in full but fails the CRC check.
    m_file.m_bytes = Bytes({0x5A, 0xA5, 0, 0, 0, 64, 0x77, 0x77, 0, 0, 0, 0});
    Append(1, "hidden");
    m_file.m_bytes += std::string(80, '\0');
    Append(2, "next");
    EXPECT_EQ(m_written, ReadAll());

    // A claim that runs past the end of the store.
    m_file.m_bytes = Bytes({0x5A, 0xA5, 0, 0, 1, 0});
    m_written.clear();
    Append(3, "short claim");
    EXPECT_EQ(m_written, ReadAll());
}

TEST_F(AppendOnlyFileTest, TagOfARejectedCandidateIsLeftBehind)
{
    Append(1, "good");
    // Length 8: tag 0x7777, CRC 0, two payload bytes whose CRC is not 0.
    m_file.m_bytes += Bytes({0x5A, 0xA5, 0, 0, 0, 8, 0x77, 0x77, 0, 0, 0, 0, 1, 2});
    m_file.Reset();
    unsigned short tag = 0;
    CDataBuffer payload;
    EXPECT_TRUE(m_file.ReadBlock(tag, payload));
    EXPECT_EQ(1, tag);
    EXPECT_FALSE(m_file.ReadBlock(tag, payload));
    EXPECT_EQ(0x7777, tag);
    EXPECT_EQ("good", payload.ToString());
}

TEST_F(AppendOnlyFileTest, AHugeDamagedLengthIsNotReadInOnePiece)
{
    for (unsigned int top : {0xFFu, 0x7Fu})
    {
        m_file.m_bytes = Bytes({0x5A, 0xA5, top, 0xFF, 0xFF, 0xF0});
        m_written.clear();
        Append(5, std::string(100, 'p'));
        EXPECT_EQ(m_written, ReadAll());
        EXPECT_LE(m_file.m_largestRead, 1 << 20) << "the reader asked for the whole claimed length";
    }
}

TEST_F(AppendOnlyFileTest, IncompleteWritesAreReportedAndSkipped)
{
    Append(1, "first");
    m_file.m_writeBudget = 7;  // part of the next header only
    EXPECT_FALSE(m_file.WriteBlock(2, CDataBuffer(std::string("lost"))));
    m_file.m_writeBudget = 12 + 2;  // the header and part of the payload
    EXPECT_FALSE(m_file.WriteBlock(3, CDataBuffer(std::string("lost too"))));
    m_file.m_writeBudget = 1 << 30;
    m_file.m_flushSucceeds = false;
    EXPECT_FALSE(m_file.WriteBlock(4, CDataBuffer(std::string("not synced"))));
    m_file.m_flushSucceeds = true;
    Append(5, "last");
    EXPECT_EQ((std::vector<Block>{{1, "first"}, {4, "not synced"}, {5, "last"}}), ReadAll());

    m_file.Close();
    unsigned short tag = 0;
    CDataBuffer payload;
    EXPECT_FALSE(m_file.ReadBlock(tag, payload));
    EXPECT_FALSE(m_file.WriteBlock(1, payload));
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
    ASSERT_TRUE(file.Open(m_path));
    ASSERT_TRUE(file.WriteBlock(0x0102, CDataBuffer(std::string("abc"))));
    ASSERT_TRUE(file.WriteBlock(0xBEEF, CDataBuffer()));
    file.Close();
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
    EXPECT_FALSE(writer.ReadBlock(tag, payload)) << "closed";
    EXPECT_EQ(-1, writer.TellRead());
    EXPECT_FALSE(writer.Flush());
    ASSERT_TRUE(writer.Open(m_path));
    EXPECT_TRUE(CoreTest::FileExists(m_path));
    EXPECT_FALSE(writer.ReadBlock(tag, payload)) << "empty";
    ASSERT_TRUE(writer.WriteBlock(1, CDataBuffer(std::string("one"))));
    EXPECT_FALSE(writer.ReadBlock(tag, payload)) << "the position is at the end after appending";
    EXPECT_EQ(0, writer.Reset());
    EXPECT_TRUE(writer.ReadBlock(tag, payload));
    EXPECT_EQ(1, tag);
    EXPECT_EQ(15, writer.TellRead());

    // Appending in the middle of reading moves the reader to the end.
    ASSERT_TRUE(writer.WriteBlock(2, CDataBuffer(std::string("two"))));
    EXPECT_EQ(30, writer.TellRead());
    EXPECT_EQ(15, writer.SeekRead(15));
    EXPECT_TRUE(writer.ReadBlock(tag, payload));
    EXPECT_EQ("onetwo", payload.ToString());

    // A second object starts reading at the beginning without a reset.
    AppendOnlyFile reader;
    ASSERT_TRUE(reader.Open(m_path));
    EXPECT_EQ(0, reader.TellRead());
    EXPECT_TRUE(reader.ReadBlock(tag, payload));
    EXPECT_EQ(1, tag);
    // A block appended by another object becomes readable where the reader stands.
    EXPECT_TRUE(reader.ReadBlock(tag, payload));
    EXPECT_FALSE(reader.ReadBlock(tag, payload));
    ASSERT_TRUE(writer.WriteBlock(3, CDataBuffer(std::string("three"))));
    EXPECT_TRUE(reader.ReadBlock(tag, payload));
    EXPECT_EQ(3, tag);
    EXPECT_EQ(-1, reader.SeekRead(-1));
}

TEST_F(AppendOnlyDiskFileTest, LargeAndDamagedBlocksReadBackThroughTheFile)
{
    std::mt19937 random(3);
    std::vector<Block> written;
    for (std::size_t size : {100000u, 1u, 200000u, 0u, 70000u})
    {
        std::string bytes(size, '\0');
        for (char& c : bytes)
            c = static_cast<char>(random());
        written.push_back({static_cast<unsigned short>(size), bytes});
    }
    {
        AppendOnlyFile file;
        ASSERT_TRUE(file.Open(m_path));
        for (const Block& b : written)
            ASSERT_TRUE(file.WriteBlock(b.tag, CDataBuffer(b.payload)));
    }
    // Damage the first block's payload: the reader must step back from its
    // rejected body and resynchronise through it.
    std::string bytes = CoreTest::ReadBytes(m_path);
    bytes[5000] = static_cast<char>(bytes[5000] ^ 0x40);
    ASSERT_TRUE(CoreTest::WriteBytes(m_path, bytes));

    AppendOnlyFile file;
    ASSERT_TRUE(file.Open(m_path));
    const std::vector<Block> read = ReadAllBlocks(file);
    EXPECT_EQ(std::vector<Block>(written.begin() + 1, written.end()), read);
}

} // namespace
