#include "IO/Checksums.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#ifdef CORELIB_TEST_HAVE_ZLIB
#include <zlib.h>
#endif

namespace
{

const unsigned char* Bytes(const std::string& s)
{
    return reinterpret_cast<const unsigned char*>(s.data());
}

unsigned int Crc(const std::string& s)
{
    return Core::CRC32(Bytes(s), static_cast<int>(s.size())).m_crc;
}

std::string RandomBytes(std::size_t n, unsigned int seed)
{
    std::mt19937 random(seed);
    std::string s(n, '\0');
    for (char& c : s)
        c = static_cast<char>(random());
    return s;
}

// Reference tables from the bit-at-a-time definition: shift right, XOR the
// reflected polynomial when a 1 falls out.
template <typename T>
std::vector<T> BitwiseTable(T reflectedPolynomial)
{
    std::vector<T> table;
    for (unsigned int i = 0; i < 256; ++i)
    {
        T v = static_cast<T>(i);
        for (int bit = 0; bit < 8; ++bit)
            v = static_cast<T>((v & 1) != 0 ? (v >> 1) ^ reflectedPolynomial : v >> 1);
        table.push_back(v);
    }
    return table;
}

TEST(Crc32Test, MatchesPublishedCheckValues)
{
    struct Case
    {
        const char* text;
        unsigned int crc;
    };
    const Case cases[] = {
        {"", 0x00000000u},
        {"a", 0xE8B7BE43u},
        {"abc", 0x352441C2u},
        {"123456789", 0xCBF43926u},
        {"The quick brown fox jumps over the lazy dog", 0x414FA339u},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.crc, Crc(c.text)) << c.text;

    EXPECT_EQ(0u, Core::CRC32(Bytes("abc"), -3).m_crc) << "a negative length reads nothing";
    Core::CRC32 fresh;
    EXPECT_EQ(0xFFFFFFFFu, fresh.m_crc);
}

TEST(Crc32Test, TableIsTheReflectedTable)
{
    Core::CRC32 start;
    EXPECT_TRUE(Core::CRC32::m_tableInitialised);
    const std::vector<unsigned int> expected = BitwiseTable<unsigned int>(0xEDB88320u);
    for (unsigned int i = 0; i < 256; ++i)
        ASSERT_EQ(expected[i], Core::CRC32::_CRCTable[i]) << i;
    EXPECT_EQ(0x80u, Core::CRC32::Reflect(0x01, 8));
    EXPECT_EQ(0xCu, Core::CRC32::Reflect(0x3, 4));
    EXPECT_EQ(0x80000000u, Core::CRC32::Reflect(0x1, 32));
}

TEST(Crc32Test, AnySplitOfTheInputGivesTheSameCrc)
{
    // Odd lengths and offsets cover the eight-byte steps and the byte-wise tail.
    const std::string data = RandomBytes(67, 1);
    for (std::size_t split = 0; split <= data.size(); ++split)
    {
        Core::CRC32 crc;
        crc.Update(data.substr(0, split));
        crc.Update(Bytes(data) + split, static_cast<int>(data.size() - split));
        crc.Finalise();
        ASSERT_EQ(Crc(data), crc.m_crc) << split;
    }
}

#ifdef CORELIB_TEST_HAVE_ZLIB
TEST(Crc32Test, AgreesWithZlibOnEveryLengthAndAlignment)
{
    // Short inputs go byte by byte or sixteen at a time, longer ones may be
    // folded by carry-less multiplication; every path must give zlib's value.
    const std::string data = RandomBytes(1 << 16, 2);
    for (std::size_t offset = 0; offset < 8; ++offset)
    {
        for (std::size_t length = 0; length < 300; ++length)
        {
            const uLong expected = crc32(0, Bytes(data) + offset, static_cast<uInt>(length));
            ASSERT_EQ(expected, Crc(data.substr(offset, length))) << offset << "+" << length;
        }
    }
    EXPECT_EQ(crc32(0, Bytes(data), static_cast<uInt>(data.size())), Crc(data));
}
#endif

TEST(Crc32Test, ThreadsStartingTogetherAllSeeACompleteTable)
{
    // In a fresh process, so the table is built while the threads race for it.
    const CoreTest::ChildResult result = CoreTest::RunInChild([] {
        std::vector<std::thread> threads;
        std::vector<unsigned int> results(8);
        for (unsigned int& r : results)
            threads.emplace_back([&r] { r = Crc("123456789"); });
        for (std::thread& t : threads)
            t.join();
        for (unsigned int r : results)
        {
            if (r != 0xCBF43926u)
                _exit(1);
        }
    });
    EXPECT_TRUE(result.exited);
    EXPECT_EQ(0, result.exitStatus) << result.output;
}

TEST(Fcs16Test, MatchesTheCheckValueAndTheFrameResidue)
{
    CFCS16 fcs;
    EXPECT_EQ(0xFFFF, fcs.Checksum());
    fcs.Update(std::string("123456789"));
    EXPECT_EQ(0x906E, fcs.Finalise());
    EXPECT_EQ(0x906E, fcs.Checksum());

    // A frame followed by its FCS, low byte first, is good only after Finalise.
    CFCS16 receiver;
    receiver.Update(std::string("123456789") + "\x6E\x90");
    EXPECT_EQ(0xF0B8, receiver.Checksum());
    EXPECT_FALSE(receiver.Validate());
    receiver.Finalise();
    EXPECT_TRUE(receiver.Validate());
    EXPECT_TRUE(receiver.Validate()) << "Validate does not change the register";

    CFCS16 damaged;
    damaged.Update(std::string("123456780") + "\x6E\x90");
    damaged.Finalise();
    EXPECT_FALSE(damaged.Validate());
}

TEST(Fcs16Test, IntegersAreFedMostSignificantByteFirst)
{
    CFCS16 asInt;
    asInt.Update(0x01020304);
    CFCS16 asBytes;
    asBytes.Update(std::string("\x01\x02\x03\x04"));
    EXPECT_EQ(asBytes.Checksum(), asInt.Checksum());

    CFCS16 nothing;
    nothing.Update(Bytes("abc"), 0);
    nothing.Update(Bytes("abc"), -1);
    EXPECT_EQ(0xFFFF, nothing.Checksum());
}

TEST(Fcs16Test, TableIsTheReflectedTable)
{
    const std::vector<unsigned short> expected = BitwiseTable<unsigned short>(0x8408);
    for (unsigned int i = 0; i < 256; ++i)
        ASSERT_EQ(expected[i], CFCS16::_FCSTable[i]) << i;
}

} // namespace
