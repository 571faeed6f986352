#include "IO/Checksums.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
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

TEST(Crc32Test, MatchesPublishedCheckValuesWhateverTheSplit)
{
    const std::pair<const char*, unsigned int> cases[] = {
        {"", 0x00000000u}, {"a", 0xE8B7BE43u}, {"abc", 0x352441C2u}, {"123456789", 0xCBF43926u},
        {"The quick brown fox jumps over the lazy dog", 0x414FA339u},
    };
    for (const auto& c : cases)
    {
        const std::string text = c.first;
        // Every split exercises the eight-byte steps and the byte-wise tail.
        for (std::size_t split = 0; split <= text.size(); ++split)
        {
            Core::CRC32 crc;
            crc.Update(text.substr(0, split));
            crc.Update(Bytes(text) + split, static_cast<int>(text.size() - split));
            crc.Finalise();
            ASSERT_EQ(c.second, crc.m_crc) << text << " split at " << split;
        }
    }
    EXPECT_EQ(0u, Core::CRC32(Bytes("abc"), -3).m_crc) << "a negative length reads nothing";
    EXPECT_EQ(0xCu, Core::CRC32::Reflect(0x3, 4)) << "any width reflects, not only the table's 8 and 32";
}

#ifdef CORELIB_TEST_HAVE_ZLIB
TEST(Crc32Test, AgreesWithZlibOnEveryLengthAndAlignment)
{
    // Short inputs go byte by byte or sixteen at a time, longer ones may be
    // folded by carry-less multiplication; every path must give zlib's value.
    std::mt19937 random(2);
    std::string data(1 << 16, '\0');
    std::generate(data.begin(), data.end(), [&] { return static_cast<char>(random()); });
    for (std::size_t offset = 0; offset < 8; ++offset)
        for (std::size_t length = 0; length < 300; ++length)
            ASSERT_EQ(crc32(0, Bytes(data) + offset, static_cast<uInt>(length)), Crc(data.substr(offset, length)))
                << offset << "+" << length;
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
        if (std::count(results.begin(), results.end(), 0xCBF43926u) != 8)
            _exit(1);
    });
    EXPECT_TRUE(result.exited && result.exitStatus == 0) << result.output;
}

TEST(Fcs16Test, TableIsTheReflectedBitwiseTable)
{
    // The bit-at-a-time definition: shift right, XOR the reflected polynomial
    // 0x8408 when a 1 falls out.
    for (unsigned int i = 0; i < 256; ++i)
    {
        unsigned int v = i;
        for (int bit = 0; bit < 8; ++bit)
            v = (v & 1) != 0 ? (v >> 1) ^ 0x8408 : v >> 1;
        ASSERT_EQ(v, CFCS16::_FCSTable[i]) << i;
    }
}

TEST(Fcs16Test, MatchesTheCheckValueAndTheFrameResidue)
{
    CFCS16 fcs;
    fcs.Update(std::string("123456789"));
    EXPECT_EQ(0x906E, fcs.Finalise());

    // A frame followed by its FCS, low byte first, is good only after Finalise.
    // The frame goes in partly as an integer, most significant byte first.
    CFCS16 receiver;
    receiver.Update(0x31323334);  // "1234"
    receiver.Update(std::string("56789") + "\x6E\x90");
    receiver.Update(Bytes("abc"), -1);
    EXPECT_EQ(0xF0B8, receiver.Checksum());
    EXPECT_FALSE(receiver.Validate());
    receiver.Finalise();
    EXPECT_TRUE(receiver.Validate() && receiver.Validate()) << "Validate does not change the register";

    CFCS16 damaged;
    damaged.Update(std::string("123456780") + "\x6E\x90");
    damaged.Finalise();
    EXPECT_FALSE(damaged.Validate());
}

} // namespace
