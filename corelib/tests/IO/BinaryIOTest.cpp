#include "IO/BinaryIO.h"

#include "Support/ByteStrings.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <tuple>

using Core::IO::CBinaryIO;
using CoreTest::Bytes;
using CoreTest::Hex;

namespace
{

class BinaryIOTest : public ::testing::Test
{
protected:
    // A reader over a file holding exactly these bytes.
    std::unique_ptr<CBinaryIO> ReaderOf(const std::string& bytes)
    {
        EXPECT_TRUE(CoreTest::WriteBytes(m_path, bytes));
        return std::unique_ptr<CBinaryIO>(CBinaryIO::ReadFile(m_path));
    }

    CoreTest::TempDir m_dir;
    std::string m_path = m_dir.File("records.bin");
};

TEST_F(BinaryIOTest, ValuesAreBigEndianOnEveryHost)
{
    std::unique_ptr<CBinaryIO> out(CBinaryIO::WriteFile(m_path));
    ASSERT_TRUE(out);
    EXPECT_TRUE(out->WriteInt(1) && out->WriteInt(-2) && out->WriteString("ab") && out->WriteString("") &&
                out->WriteTime(Core::Time(0x01020304L, 999999L)));
    out.reset();
    // 1; -2 in two's complement; "ab" after its length 2; the empty string as
    // a zero length; 0x01020304 seconds and 999999 = 0x000F423F microseconds.
    const std::string expected = Bytes({0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFE, 0, 0, 0, 2, 'a', 'b', 0, 0, 0, 0,
                                        1, 2, 3, 4, 0x00, 0x0F, 0x42, 0x3F});
    EXPECT_EQ(Hex(expected), Hex(CoreTest::ReadBytes(m_path)));

    std::unique_ptr<CBinaryIO> in = ReaderOf(expected);
    int one = 0, minusTwo = 0;
    std::string ab = "old", empty = "old";
    Core::Time time;
    EXPECT_TRUE(in->ReadInt(one) && in->ReadInt(minusTwo) && in->ReadString(ab, 100) && in->ReadString(empty, 100));
    EXPECT_EQ(std::make_tuple(1, -2, "ab", ""), std::tie(one, minusTwo, ab, empty)) << "ReadString replaces";
    EXPECT_EQ(26, in->GetFileSize());
    EXPECT_EQ(18, in->GetFilePosition()) << "asking the size keeps the position";
    EXPECT_TRUE(in->ReadTime(time) && time == Core::Time(0x01020304L, 999999L));
    EXPECT_EQ(26, in->GetFilePosition());
}

TEST_F(BinaryIOTest, ShortOrOverlongRecordsLeaveTheirTargetUntouched)
{
    std::string text;
    // The length must be strictly less than the limit.
    EXPECT_FALSE(ReaderOf(Bytes({0, 0, 0, 5}) + "abcde")->ReadString(text, 5));
    EXPECT_TRUE(ReaderOf(Bytes({0, 0, 0, 4}) + "abcd")->ReadString(text, 5));
    EXPECT_FALSE(ReaderOf(Bytes({0, 0, 0, 4}) + "abc")->ReadString(text, 5));
    EXPECT_FALSE(ReaderOf(Bytes({0, 0}))->ReadString(text, 5));
    // A damaged length just under the limit is read in pieces, not allocated whole.
    EXPECT_FALSE(ReaderOf(Bytes({0x7F, 0xFF, 0xFF, 0xF0}) + "x")->ReadString(text, 0x7FFFFFFF));
    EXPECT_EQ("abcd", text);
    EXPECT_THROW(ReaderOf(Bytes({0xFF, 0xFF, 0xFF, 0xFF}))->ReadString(text, 5), std::bad_alloc);
    Core::Time time(7L, 8L);
    EXPECT_TRUE(!ReaderOf(Bytes({0, 0, 0, 9}))->ReadTime(time) && time == Core::Time(7L, 8L)) << "seconds only";
    int value = 3;
    EXPECT_FALSE(ReaderOf(Bytes({1, 2, 3}))->ReadInt(value));
    EXPECT_EQ(3, value);
}

TEST_F(BinaryIOTest, ClosedFilesRefuseEverythingAndAppendingKeepsTheContents)
{
    std::unique_ptr<CBinaryIO> in = ReaderOf("xyz");
    EXPECT_TRUE(in->Close());
    int value = 0;
    EXPECT_EQ(-1, in->GetFilePosition());
    EXPECT_EQ(-1, in->GetFileSize());
    EXPECT_FALSE(in->ReadInt(value) || in->WriteInt(value) || in->Close());
    EXPECT_EQ(nullptr, CBinaryIO::ReadFile(m_dir.File("missing")));
    std::unique_ptr<CBinaryIO> append(CBinaryIO::AppendFile(m_path));
    ASSERT_TRUE(append && append->WriteInt(0x41424344));
    append.reset();
    EXPECT_EQ("xyzABCD", CoreTest::ReadBytes(m_path));
}

} // namespace
