#include "IO/DataBuffer.h"

#include "Support/ByteStrings.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <tuple>
#include <type_traits>
#include <vector>

using Core::IO::CDataBuffer;
using CoreTest::Bytes;
using CoreTest::Hex;

namespace
{

// The constructors must not compete: the borrowing form needs its byte order
// spelled out, so three arguments always mean the copying form.
static_assert(!std::is_constructible_v<CDataBuffer, unsigned char*, unsigned int, bool>);
static_assert(std::is_constructible_v<CDataBuffer, unsigned char*, unsigned int, CDataBuffer::Endianness>);
static_assert(std::is_constructible_v<CDataBuffer, unsigned char*, unsigned int, bool, CDataBuffer::Endianness>);
// Moves must not throw, so containers of buffers move rather than copy them.
static_assert(std::is_nothrow_move_constructible_v<CDataBuffer> && std::is_nothrow_move_assignable_v<CDataBuffer>);
// Any 32-bit value is a defined byte order (zero big-endian, the rest little-endian).
static_assert(std::is_same_v<std::uint32_t, std::underlying_type_t<CDataBuffer::Endianness>>);

// The written bytes of a buffer as hex, for readable comparisons.
std::string Written(const CDataBuffer& b)
{
    return Hex(b.ToString());
}

TEST(DataBufferTest, FixedWidthValuesFollowTheBufferByteOrder)
{
    CDataBuffer big(CDataBuffer::BigEndian);
    CDataBuffer little(CDataBuffer::LittleEndian);
    // Any non-zero byte order value reads as little-endian.
    CDataBuffer odd(static_cast<CDataBuffer::Endianness>(7));
    for (CDataBuffer* b : {&big, &little, &odd})
    {
        b->Add(static_cast<unsigned short>(0x0102)).Add(0x01020304u).Add(0x0102030405060708ull);
        b->Add(1.0f).Add(-2.0);  // 3F800000 and C000000000000000
        // -2 in two's complement at 8, 16 and 64 bits: FE, FFFE, FFFFFFFFFFFFFFFE.
        b->Add(static_cast<signed char>(-2)).Add(static_cast<short>(-2)).Add(-2ll);
    }
    EXPECT_EQ("01 02 01 02 03 04 01 02 03 04 05 06 07 08 3F 80 00 00 C0 00 00 00 00 00 00 00"
              " FE FF FE FF FF FF FF FF FF FF FE",
              Written(big));
    EXPECT_EQ("02 01 04 03 02 01 08 07 06 05 04 03 02 01 00 00 80 3F 00 00 00 00 00 00 00 C0"
              " FE FE FF FE FF FF FF FF FF FF FF",
              Written(little));
    EXPECT_EQ(Written(little), Written(odd));
    EXPECT_EQ("01 02 ", CDataBuffer(std::string("\x01\x02")).ToHex());
    for (CDataBuffer* b : {&big, &little})
    {
        // Braces read the values in order.
        const std::tuple read{b->GetUInt16(), b->GetUInt32(), b->GetUInt64(), b->GetFloat(),
                              b->GetDouble(), b->GetInt8(),   b->GetInt16(),  b->GetInt64()};
        EXPECT_EQ(std::tuple(0x0102, 0x01020304u, 0x0102030405060708ull, 1.0f, -2.0, -2, -2, -2ll), read);
        EXPECT_FALSE(b->InError());
        unsigned int length = 0;
        EXPECT_EQ(std::pair(b->Data(), 37u), (std::pair{b->Data(length), length}));
    }
}

TEST(DataBufferTest, PackedUnsignedRoundTripsAtEveryWidthBoundary)
{
    // Little-endian groups of seven bits, continuation bit 0x80 on all but the last.
    const std::pair<unsigned int, const char*> cases[] = {
        {0, "00"}, {127, "7F"}, {128, "80 01"}, {16383, "FF 7F"}, {16384, "80 80 01"},
        {(1u << 21) - 1, "FF FF 7F"}, {1u << 21, "80 80 80 01"}, {(1u << 28) - 1, "FF FF FF 7F"},
        {1u << 28, "80 80 80 80 01"}, {0xFFFFFFFFu, "FF FF FF FF 0F"},
    };
    for (const auto& c : cases)
    {
        CDataBuffer b;
        b.AddPackedUInt32(c.first).Add(static_cast<unsigned char>(0xEE));
        EXPECT_EQ(std::string(c.second) + " EE", Written(b)) << c.first;
        EXPECT_EQ(c.first, b.GetPackedUInt32());
        EXPECT_EQ(0xEE, b.GetUInt8()) << "the packed read must stop after its last byte";
    }
    // Groups at bit 35 and 42 are dropped without an undefined shift; 0x7F << 28 keeps its low four bits.
    EXPECT_EQ(1u, CDataBuffer(Bytes({0x81, 0x80, 0x80, 0x80, 0x80, 0x81, 0x01})).GetPackedUInt32());
    EXPECT_EQ(0xFFFFFFFFu, CDataBuffer(Bytes({0xFF, 0xFF, 0xFF, 0xFF, 0x7F})).GetPackedUInt32());
    CDataBuffer torn(Bytes({0x85, 0x80}));
    EXPECT_EQ(5u, torn.GetPackedUInt32());
    EXPECT_TRUE(torn.InError());
}

TEST(DataBufferTest, PackedSignedMapsPositivesToOddNumbersNotZigZag)
{
    // 2 * (2^31 - 1) - 1 = 0xFFFFFFFD for INT_MAX; 2 * (2^31 - 1) = 0xFFFFFFFE for INT_MIN + 1.
    const std::pair<int, const char*> cases[] = {
        {1, "01"}, {2, "03"}, {0, "00"}, {-1, "02"}, {-2, "04"}, {-64, "80 01"},
        {INT_MAX, "FD FF FF FF 0F"}, {INT_MIN + 1, "FE FF FF FF 0F"}, {INT_MIN, "FF FF FF FF 0F"},
    };
    for (const auto& c : cases)
    {
        CDataBuffer b;
        b.AddPackedInt32(c.first);
        EXPECT_EQ(c.second, Written(b)) << c.first;
        EXPECT_EQ(c.first, b.GetPackedInt32());
    }
}

TEST(DataBufferTest, FailedReadsSetAStickyFlagAndFollowTheirOutputRules)
{
    CDataBuffer b(Bytes({1, 2, 3}));
    unsigned int u = 77;
    int i = 77;
    long long l = 77;
    float f = 7.0f;
    EXPECT_FALSE(b.GetUInt32(u) || b.GetInt32(i) || b.GetInt64(l) || b.GetFloat(f));
    EXPECT_EQ(std::tuple(77u, 0, 0ll, 0.0f), std::tuple(u, i, l, f))
        << "an unsigned target is left alone, a signed or floating one zeroed";
    EXPECT_EQ(std::tuple(0ll, 0u, true), (std::tuple{b.GetInt64(), b.Tell(), b.InError()}))
        << "a value-returning read gives 0; a failed read moves nothing and sets the flag";
    // The flag only records: an in-bounds read still succeeds while it is set.
    EXPECT_EQ(0x0102, b.GetUInt16());
    b.Rewind();
    EXPECT_TRUE(b.InError()) << "Rewind keeps the flag";
    EXPECT_TRUE(b.SeekTo(2) && !b.InError()) << "a successful seek clears the flag";

    // Seeking or skipping to the end fails but still moves the cursor.
    EXPECT_FALSE(b.SeekTo(3));
    EXPECT_EQ(std::tuple(3u, false), std::tuple(b.Tell(), b.InError()));
    EXPECT_TRUE(b.SeekTo(1) && !b.Skip(2));
    EXPECT_EQ(std::tuple(0, true), (std::tuple{b.GetUInt8(), b.InError()}));

    // A cursor far out, or a width that would wrap the bounds sum, never reads.
    unsigned char bytes[4] = {9, 9, 9, 9};
    b.SeekTo(0xFFFFFFFEu);
    EXPECT_FALSE(b.GetUInt32(u) || b.GetData(bytes, 4));
    EXPECT_EQ(9, bytes[0]);
    b.Reset();
    EXPECT_FALSE(b.InError());
    signed char c = 7;
    short h = 7;
    EXPECT_FALSE(b.GetInt8(c) || b.GetInt16(h));
    EXPECT_EQ(0, c + h);
}

TEST(DataBufferTest, RawDataIsBoundedByCapacityButStringDataByLength)
{
    CDataBuffer b(CDataBuffer::BigEndian, 8);
    b.Add(0x41424344u).Reset();
    b.Add(static_cast<unsigned char>('x'));
    // The raw copy checks the capacity: the bytes written before Reset are still there.
    unsigned char raw[8] = {};
    EXPECT_TRUE(b.GetData(raw, 4));
    EXPECT_EQ(0, std::memcmp(raw, "xBCD", 4));
    EXPECT_FALSE(b.GetData(raw, 5));
    b.SeekTo(0);
    std::string out = "keep:";
    EXPECT_TRUE(!b.GetData(out, 2) && b.GetData(out, 1)) << "the string copy checks the written length";
    EXPECT_EQ("keep:x", out);

    // Storage never written reads as zeros, also after growth (capacity 2 + 4096).
    CDataBuffer grown(CDataBuffer::BigEndian, 2);
    grown.Add(0x41424344u).SeekTo(4094);
    EXPECT_TRUE(grown.GetData(raw, 4));
    EXPECT_EQ(0, std::memcmp(raw, "\0\0\0\0", 4));
}

TEST(DataBufferTest, GrowthRoundsTheShortfallUpToWholePagesAndSpaceCanBeTakenBack)
{
    CDataBuffer b;
    b.Add(std::string(256, 'x'));
    EXPECT_EQ(256u, b.Capacity());
    b.Add(static_cast<unsigned char>(1));
    EXPECT_EQ(4352u, b.Capacity());
    b.Reserve(4352 + 4096);
    EXPECT_EQ(8448u, b.Capacity()) << "a shortfall of exactly one page stays one page";
    b.Reserve(8449);
    EXPECT_EQ(12544u, b.Capacity());
    EXPECT_EQ(std::string(256, 'x') + '\x01', b.ToString());

    CDataBuffer space(CDataBuffer::BigEndian, 0);
    space.AddSpace(5000)[4999] = 3;
    EXPECT_EQ(8192u, space.Capacity());
    EXPECT_EQ(3, space.GetValue(4999));
    space.Truncate(2);
    space.Truncate(10);
    EXPECT_EQ(2u, space.Length()) << "truncating never lengthens";
}

TEST(DataBufferTest, FixedStringFormsDifferInPadding)
{
    CDataBuffer b;
    b.AddFixedString("ab", 4).AddFixedString("abcdef", 4);
    EXPECT_EQ("61 62 00 00 61 62 63 64", Written(b));
    EXPECT_EQ(Bytes({'a', 'b', 0, 0}), b.GetFixedString(4));
    std::string out = ">";
    EXPECT_TRUE(b.GetFixedString(out, 4));
    EXPECT_EQ(">abcd", out);
    EXPECT_FALSE(b.GetFixedString(out, 1));

    // The string form pads a short string to 2n - len bytes, a long one to n.
    CDataBuffer s;
    s.AddFixedString(std::string("ab"), 4).AddFixedString(std::string("abcdef"), 4);
    s.AddFixedString(std::string(), 3);
    EXPECT_EQ("61 62 00 00 00 00 61 62 63 64 00 00 00 00 00 00", Written(s));

    // The padding past the field needs its own room: 250 written + 2 * 10 - 1.
    CDataBuffer edge;
    edge.Add(std::string(250, 'q')).AddFixedString(std::string("z"), 10);
    EXPECT_EQ(std::string("z") + std::string(18, '\0'), edge.ToString().substr(250));
}

TEST(DataBufferTest, TerminatedStringsAppendAndStayInsideTheStorage)
{
    CDataBuffer b;
    b.AddString("hello").AddString(std::string("hi")).Add("bare").Add(std::string("!"));
    EXPECT_EQ("68 65 6C 6C 6F 00 68 69 00 62 61 72 65 21", Written(b));
    char dst[8];
    EXPECT_FALSE(b.GetString(dst, 6)) << "6 bytes with the terminator do not fit in 6";
    EXPECT_EQ(0u, b.Tell());
    EXPECT_TRUE(b.GetString(dst, 7));
    EXPECT_STREQ("hello", dst);
    std::string out = "say ";
    b.GetString(out);
    EXPECT_EQ("say hi", out);
    EXPECT_EQ(9u, b.Tell());

    // A borrowed array of exactly four bytes with no terminator anywhere.
    std::unique_ptr<unsigned char[]> lent(new unsigned char[4]{'a', 'b', 'c', 'd'});
    CDataBuffer unterminated(lent.get(), 4, true, CDataBuffer::BigEndian);
    EXPECT_EQ("abcd", unterminated.GetString());
    EXPECT_EQ("", unterminated.GetString()) << "a cursor beyond the storage reads an empty string";
    unterminated.SeekTo(1);
    EXPECT_TRUE(unterminated.GetString(dst, 5));
    EXPECT_STREQ("bcd", dst);
    unterminated.SeekTo(1000);
    EXPECT_TRUE(unterminated.GetString(dst, 5));
    EXPECT_STREQ("", dst);
}

TEST(DataBufferTest, CopiesAreDeepUnlessBorrowed)
{
    CDataBuffer original(CDataBuffer::LittleEndian, 16);
    original.Add(0x01020304u).Add(0x05060708u).Reset();
    original.Add(static_cast<unsigned char>(0xAA));
    // A copy takes every allocated byte, not only the written one.
    CDataBuffer copy(original);
    EXPECT_EQ(16u, copy.Capacity());
    EXPECT_EQ(CDataBuffer::LittleEndian, copy.GetEndianness());
    unsigned char raw[8];
    EXPECT_TRUE(copy.GetData(raw, 8));
    EXPECT_EQ(Bytes({0xAA, 3, 2, 1, 8, 7, 6, 5}), std::string(raw, raw + 8));

    CDataBuffer borrowed(original, true);
    CDataBuffer assigned;
    assigned = original;
    original.Add(static_cast<unsigned char>(0xBB));
    EXPECT_EQ(0xBB, borrowed.GetValue(1)) << "a borrowing copy sees the lender's bytes";
    EXPECT_EQ(3, copy.GetValue(1)) << "a deep copy does not";
    EXPECT_EQ("AA", Written(assigned));
    CDataBuffer moved(std::move(assigned));
    EXPECT_EQ("AA", Written(moved));

    // Growing a borrowed buffer copies it first and leaves the lender intact.
    std::vector<unsigned char> lender = {1, 2, 3};
    CDataBuffer grown(lender.data(), 3, true, CDataBuffer::BigEndian);
    grown.Add(static_cast<unsigned char>(4));
    EXPECT_EQ("01 02 03 04", Written(grown));
    EXPECT_EQ((std::vector<unsigned char>{1, 2, 3}), lender);
}

} // namespace
