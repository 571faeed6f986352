#include "IO/DataBuffer.h"

#include "Support/ByteStrings.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <vector>

using Core::IO::CDataBuffer;
using CoreTest::Bytes;
using CoreTest::Hex;

namespace
{

class DataBufferTest : public ::testing::Test
{
protected:
    // The written bytes of a buffer as hex, for readable comparisons.
    static std::string Written(const CDataBuffer& b) { return Hex(b.ToString()); }

    // A buffer holding exactly these bytes (owned copy).
    static CDataBuffer Holding(const std::string& bytes,
                               CDataBuffer::Endianness e = CDataBuffer::BigEndian)
    {
        return CDataBuffer(bytes, e);
    }
};

TEST_F(DataBufferTest, FixedWidthValuesFollowTheBufferByteOrder)
{
    CDataBuffer big(CDataBuffer::BigEndian);
    CDataBuffer little(CDataBuffer::LittleEndian);
    // Any non-zero byte order value reads as little-endian.
    CDataBuffer odd(static_cast<CDataBuffer::Endianness>(7));
    for (CDataBuffer* b : {&big, &little, &odd})
    {
        b->Add(static_cast<unsigned short>(0x0102)).Add(0x01020304u);
        b->Add(0x0102030405060708ull);
        b->Add(1.0f).Add(-2.0);  // 3F800000 and C000000000000000
        b->Add(static_cast<signed char>(-1));
    }
    EXPECT_EQ("01 02 01 02 03 04 01 02 03 04 05 06 07 08 3F 80 00 00 C0 00 00 00 00 00 00 00 FF",
              Written(big));
    EXPECT_EQ("02 01 04 03 02 01 08 07 06 05 04 03 02 01 00 00 80 3F 00 00 00 00 00 00 00 C0 FF",
              Written(little));
    EXPECT_EQ(Written(little), Written(odd));

    for (CDataBuffer* b : {&big, &little})
    {
        EXPECT_EQ(0x0102, b->GetUInt16());
        EXPECT_EQ(0x01020304u, b->GetUInt32());
        EXPECT_EQ(0x0102030405060708ull, b->GetUInt64());
        EXPECT_EQ(1.0f, b->GetFloat());
        EXPECT_EQ(-2.0, b->GetDouble());
        EXPECT_EQ(-1, b->GetInt8());
        EXPECT_FALSE(b->InError());
    }
    CDataBuffer negatives;
    negatives.Add(static_cast<short>(-2)).Add(-3).Add(-4ll);
    EXPECT_EQ(-2, negatives.GetInt16());
    EXPECT_EQ(-3, negatives.GetInt32());
    EXPECT_EQ(-4ll, negatives.GetInt64());
}

TEST_F(DataBufferTest, PackedUnsignedRoundTripsAtEveryWidthBoundary)
{
    struct Case
    {
        unsigned int value;
        const char* bytes;
    };
    // Little-endian groups of seven bits, continuation bit 0x80 on all but the last.
    const Case cases[] = {
        {0, "00"},
        {127, "7F"},
        {128, "80 01"},
        {16383, "FF 7F"},
        {16384, "80 80 01"},
        {(1u << 21) - 1, "FF FF 7F"},
        {1u << 21, "80 80 80 01"},
        {(1u << 28) - 1, "FF FF FF 7F"},
        {1u << 28, "80 80 80 80 01"},
        {0xFFFFFFFFu, "FF FF FF FF 0F"},
    };
    for (const Case& c : cases)
    {
        CDataBuffer b;
        b.AddPackedUInt32(c.value).Add(static_cast<unsigned char>(0xEE));
        EXPECT_EQ(std::string(c.bytes) + " EE", Written(b)) << c.value;
        EXPECT_EQ(c.value, b.GetPackedUInt32());
        EXPECT_EQ(0xEE, b.GetUInt8()) << "the packed read must stop after its last byte";
    }
}

TEST_F(DataBufferTest, PackedSignedMapsPositivesToOddNumbersNotZigZag)
{
    struct Case
    {
        int value;
        const char* bytes;
    };
    const Case cases[] = {
        {1, "01"},
        {2, "03"},
        {0, "00"},
        {-1, "02"},
        {-2, "04"},
        {-64, "80 01"},
        {INT_MAX, "FD FF FF FF 0F"},       // 2 * (2^31 - 1) - 1 = 0xFFFFFFFD
        {INT_MIN + 1, "FE FF FF FF 0F"},   // 2 * (2^31 - 1) = 0xFFFFFFFE
        {INT_MIN, "FF FF FF FF 0F"},
    };
    for (const Case& c : cases)
    {
        CDataBuffer b;
        b.AddPackedInt32(c.value);
        EXPECT_EQ(c.bytes, Written(b)) << c.value;
        EXPECT_EQ(c.value, b.GetPackedInt32());
        EXPECT_FALSE(b.InError());
    }
}

TEST_F(DataBufferTest, PackedReadDropsHighGroupsAndStopsAtTheEnd)
{
    // 0x7F << 28 keeps only its low four bits.
    CDataBuffer full = Holding(Bytes({0xFF, 0xFF, 0xFF, 0xFF, 0x7F}));
    EXPECT_EQ(0xFFFFFFFFu, full.GetPackedUInt32());

    // A group at bit 35 and one at bit 42 are dropped without an undefined shift.
    CDataBuffer overlong = Holding(Bytes({0x81, 0x80, 0x80, 0x80, 0x80, 0x81, 0x01}));
    EXPECT_EQ(1u, overlong.GetPackedUInt32());
    EXPECT_FALSE(overlong.InError());

    CDataBuffer torn = Holding(Bytes({0x85, 0x80}));
    EXPECT_EQ(5u, torn.GetPackedUInt32());
    EXPECT_TRUE(torn.InError());
}

TEST_F(DataBufferTest, FailedReadsSetAStickyFlagAndFollowTheirOutputRules)
{
    CDataBuffer b = Holding(Bytes({1, 2, 3}));
    unsigned int u = 77;
    int i = 77;
    float f = 7.0f;
    double d = 7.0;
    unsigned char bytes[4] = {9, 9, 9, 9};
    EXPECT_FALSE(b.GetUInt32(u));
    EXPECT_EQ(77u, u);
    EXPECT_FALSE(b.GetInt32(i));
    EXPECT_EQ(0, i);
    EXPECT_FALSE(b.GetFloat(f));
    EXPECT_EQ(0.0f, f);
    EXPECT_FALSE(b.GetDouble(d));
    EXPECT_EQ(0.0, d);
    EXPECT_EQ(0u, b.Tell()) << "a failed read moves nothing";
    EXPECT_TRUE(b.InError());

    // The flag only records: an in-bounds read still succeeds while it is set.
    EXPECT_EQ(0x0102, b.GetUInt16());
    EXPECT_TRUE(b.InError());
    b.Rewind();
    EXPECT_TRUE(b.InError()) << "Rewind keeps the flag";
    EXPECT_TRUE(b.SeekTo(2));
    EXPECT_FALSE(b.InError());

    // Seeking to the end fails but still moves the cursor, so the next read fails.
    EXPECT_FALSE(b.SeekTo(b.Length()));
    EXPECT_EQ(3u, b.Tell());
    EXPECT_FALSE(b.InError());
    EXPECT_EQ(0, b.GetUInt8());
    EXPECT_TRUE(b.InError());
    EXPECT_TRUE(b.SeekTo(0));
    EXPECT_TRUE(b.Skip(2));
    EXPECT_FALSE(b.Skip(1));
    EXPECT_EQ(3u, b.Tell());

    // A cursor far out, or a width that would wrap the bounds sum, never reads.
    b.SeekTo(0xFFFFFFFEu);
    EXPECT_FALSE(b.GetUInt32(u));
    EXPECT_FALSE(b.GetData(bytes, 4));
    EXPECT_EQ(9, bytes[0]);

    b.Reset();
    EXPECT_FALSE(b.InError());
    EXPECT_EQ(0u, b.Length());
    EXPECT_EQ(0u, b.Tell());
}

TEST_F(DataBufferTest, RawDataIsBoundedByCapacityButStringDataByLength)
{
    CDataBuffer b(CDataBuffer::BigEndian, 8);
    b.Add(0x41424344u).Reset();
    b.Add(static_cast<unsigned char>('x'));
    // The raw copy checks the capacity: the bytes written before Reset are still there.
    unsigned char raw[8] = {};
    EXPECT_TRUE(b.GetData(raw, 4));
    EXPECT_EQ(0, std::memcmp(raw, "xBCD", 4));
    EXPECT_FALSE(b.GetData(raw, 5));
    EXPECT_TRUE(b.InError());

    // Storage never written reads as zeros, also after growth.
    CDataBuffer fresh(CDataBuffer::BigEndian, 2);
    fresh.Add(0x41424344u);
    unsigned char tail[4] = {9, 9, 9, 9};
    fresh.SeekTo(4094);  // capacity 2 + 4096
    EXPECT_TRUE(fresh.GetData(tail, 4));
    EXPECT_EQ(Bytes({0, 0, 0, 0}), std::string(tail, tail + 4));

    b.SeekTo(0);
    std::string out = "keep:";
    EXPECT_FALSE(b.GetData(out, 2)) << "the string copy checks the written length";
    EXPECT_TRUE(b.GetData(out, 1));
    EXPECT_EQ("keep:x", out);
}

TEST_F(DataBufferTest, SpaceFilledInPlaceCanBeTakenBack)
{
    CDataBuffer b(CDataBuffer::BigEndian, 4);
    b.Add(static_cast<unsigned char>(1));
    unsigned char* space = b.AddSpace(5000);
    space[0] = 2;
    space[4999] = 3;
    EXPECT_EQ(5001u, b.Length());
    EXPECT_EQ(3, b.GetValue(5000)) << "the space lies in the grown storage";
    b.Truncate(2);
    EXPECT_EQ("01 02", Written(b));
    b.Truncate(10);
    EXPECT_EQ(2u, b.Length()) << "truncating never lengthens";
}

TEST_F(DataBufferTest, FixedStringFormsDifferInPadding)
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
    edge.Add(std::string(250, 'q'));
    edge.AddFixedString(std::string("z"), 10);
    EXPECT_EQ(269u, edge.Length());
    EXPECT_EQ(std::string("z") + std::string(18, '\0'), edge.ToString().substr(250));
}

TEST_F(DataBufferTest, TerminatedStringsAppendAndRefuseAFullDestination)
{
    CDataBuffer b;
    b.AddString("hello").AddString(std::string("hi")).Add("bare").Add(std::string("!"));
    EXPECT_EQ("68 65 6C 6C 6F 00 68 69 00 62 61 72 65 21", Written(b));

    char dst[8];
    std::memset(dst, '#', sizeof(dst));
    EXPECT_FALSE(b.GetString(dst, 6)) << "6 bytes with the terminator do not fit in 6";
    EXPECT_TRUE(b.InError());
    EXPECT_EQ(0u, b.Tell());
    EXPECT_TRUE(b.GetString(dst, 7));
    EXPECT_STREQ("hello", dst);
    EXPECT_EQ(6u, b.Tell());

    std::string out = "say ";
    b.GetString(out);
    EXPECT_EQ("say hi", out);
    EXPECT_EQ(9u, b.Tell());
}

TEST_F(DataBufferTest, UncheckedStringReadsStopAtTheEndOfTheStorage)
{
    // A borrowed array of exactly four bytes with no terminator anywhere.
    std::unique_ptr<unsigned char[]> lent(new unsigned char[4]{'a', 'b', 'c', 'd'});
    CDataBuffer b(lent.get(), 4, true, CDataBuffer::BigEndian);
    EXPECT_EQ("abcd", b.GetString());
    EXPECT_EQ(5u, b.Tell());
    EXPECT_EQ("", b.GetString()) << "a cursor beyond the storage reads an empty string";
    char dst[5];
    b.SeekTo(1);
    EXPECT_TRUE(b.GetString(dst, 5));
    EXPECT_STREQ("bcd", dst);
    b.SeekTo(1000);
    EXPECT_TRUE(b.GetString(dst, 5));
    EXPECT_STREQ("", dst);
    EXPECT_FALSE(b.GetString(dst, 1));
}

TEST_F(DataBufferTest, GrowthRoundsTheShortfallUpToWholePages)
{
    CDataBuffer b;
    EXPECT_EQ(256u, b.Capacity());
    b.Add(std::string(256, 'x'));
    EXPECT_EQ(256u, b.Capacity());
    b.Add(static_cast<unsigned char>(1));
    EXPECT_EQ(4352u, b.Capacity());
    b.Reserve(4352 + 4096);
    EXPECT_EQ(8448u, b.Capacity()) << "a shortfall of exactly one page stays one page";
    b.Reserve(8449);
    EXPECT_EQ(12544u, b.Capacity());
    EXPECT_EQ(std::string(256, 'x') + '\x01', b.ToString());

    CDataBuffer empty(CDataBuffer::BigEndian, 0);
    empty.AddPackedUInt32(300);
    EXPECT_EQ(4096u, empty.Capacity());
    EXPECT_EQ("AC 02", Written(empty));
}

TEST_F(DataBufferTest, CopiesAreDeepUnlessBorrowed)
{
    CDataBuffer original(CDataBuffer::LittleEndian, 16);
    original.Add(0x01020304u).Add(0x05060708u);
    original.GetUInt32();
    original.Reset();
    original.Add(static_cast<unsigned char>(0xAA));

    // A copy takes every allocated byte, not only the written one.
    CDataBuffer copy(original);
    EXPECT_EQ(16u, copy.Capacity());
    EXPECT_EQ(1u, copy.Length());
    EXPECT_EQ(0u, copy.Tell());
    EXPECT_EQ(CDataBuffer::LittleEndian, copy.GetEndianness());
    unsigned char raw[8];
    EXPECT_TRUE(copy.GetData(raw, 8));
    EXPECT_EQ(Bytes({0xAA, 3, 2, 1, 8, 7, 6, 5}), std::string(raw, raw + 8));

    CDataBuffer borrowed(original, true);
    original.Add(static_cast<unsigned char>(0xBB));
    EXPECT_EQ(0xBB, borrowed.GetValue(1)) << "a borrowing copy sees the lender's bytes";
    EXPECT_EQ(3, copy.GetValue(1)) << "a deep copy does not";

    CDataBuffer assigned;
    assigned = original;
    original.Reset();
    original.Add(static_cast<unsigned char>(0xCC));
    EXPECT_EQ("AA BB", Written(assigned));

    CDataBuffer moved(std::move(assigned));
    EXPECT_EQ("AA BB", Written(moved));
    EXPECT_EQ(0u, assigned.Length());
    assigned.Add(static_cast<unsigned char>(1));
    EXPECT_EQ("01", Written(assigned)) << "a moved-from buffer is still usable";
}

TEST_F(DataBufferTest, GrowingABorrowedBufferLeavesTheLenderIntact)
{
    std::vector<unsigned char> lender = {1, 2, 3};
    {
        CDataBuffer b(lender.data(), 3, true, CDataBuffer::BigEndian);
        b.Add(static_cast<unsigned char>(4));
        EXPECT_EQ("01 02 03 04", Written(b));
    }
    EXPECT_EQ((std::vector<unsigned char>{1, 2, 3}), lender);
}

TEST_F(DataBufferTest, HexListsEveryWrittenByteWithATrailingSpace)
{
    EXPECT_EQ("", CDataBuffer().ToHex());
    EXPECT_EQ("0A FF ", Holding(Bytes({0x0A, 0xFF})).ToHex());
}

} // namespace
