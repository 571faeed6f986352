#include "IO/Encodings.h"

#include "Support/ByteStrings.h"

#include <gtest/gtest.h>

#include <string>

using Core::IO::CAscii85;
using Core::IO::CBase64;
using Core::IO::CDataBuffer;
using CoreTest::Bytes;
using CoreTest::Hex;

namespace
{

TEST(Base64Test, EncodesTheStandardVectorsFromAllWrittenBytes)
{
    // RFC 4648, section 10, plus the two highest digits.
    const char* const cases[][2] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"}, {"\xFF\xFF\xFF", "////"}, {"\xFB\xFF", "+/8="},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c[1], CBase64::Encode(CDataBuffer(std::string(c[0])))) << c[0];
    // Wherever the cursor stands, and without the bytes allocated but not written.
    CDataBuffer buffer(CDataBuffer::BigEndian, 16);
    buffer.Add("Man").Skip(2);
    EXPECT_EQ("TWFu", CBase64::Encode(buffer));
    EXPECT_EQ(2u, buffer.Tell());
}

TEST(Ascii85Test, EncodesWholeGroupsInTheBufferByteOrder)
{
    // Groups checked against a separate Ascii85 encoder; zero is the one-character 'z'.
    const std::pair<std::string, const char*> cases[] = {
        {"Man", ""}, {"Man X", "9jqo^"}, {Bytes({0, 0, 0, 1}), "!!!!\""},
        {Bytes({0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}), "s8W-!z"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.second, CAscii85::Encode(CDataBuffer(c.first))) << Hex(c.first);
    CDataBuffer little(std::string(" naM!"), CDataBuffer::LittleEndian);
    EXPECT_EQ("9jqo^", CAscii85::Encode(little));

    // Encoding from a moved cursor repeats the last group and sets the error flag.
    CDataBuffer moved(std::string("Man Man "));
    moved.Skip(4);
    EXPECT_EQ("9jqo^9jqo^", CAscii85::Encode(moved));
    EXPECT_TRUE(moved.InError());
}

TEST(Ascii85Test, DecodingCountsEveryCharacter)
{
    const std::pair<std::string, std::string> cases[] = {
        {"z9jqo^", Bytes({0, 0, 0, 0}) + "Man "},
        {"9jqo^s8", "Man "},               // the incomplete group is dropped
        {"!!!!z", Bytes({0, 0, 0, 0x59})},  // 'z' inside a group is the digit 89
        // The space is a digit too: ((((24 * 85 + 73) * 85 + 80) * 85 - 1) * 85 + 78) wrapped.
        {"9jq o^", Bytes({0x4D, 0x61, 0x53, 0xF6})},
        // Out-of-range digits wrap in 32 bits; bytes above 127 count as unsigned.
        {"uuuuu", Bytes({0x08, 0x78, 0x0E, 0xC4})},
        {std::string(5, '\xFF'), Bytes({0xBA, 0xF4, 0x27, 0x06})},
    };
    for (const auto& c : cases)
    {
        const CDataBuffer decoded = CAscii85::Decode(c.first);
        EXPECT_EQ(Hex(c.second), Hex(decoded.ToString())) << c.first;
        EXPECT_EQ(CDataBuffer::BigEndian, decoded.GetEndianness());
    }
}

} // namespace
