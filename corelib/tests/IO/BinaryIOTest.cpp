#include "IO/BinaryIO.h"

#include "Support/ByteStrings.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>

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
    {
        std::unique_ptr<CBinaryIO> out(CBinaryIO::WriteFile(m_path));
        ASSERT_TRUE(out);
        EXPECT_TRUE(out->WriteInt(1));
        EXPECT_TRUE(out->WriteInt(-2));
        EXPECT_TRUE(out->WriteString("ab"));
        EXPECT_TRUE(out->WriteString(""));
        EXPECT_TRUE(out->WriteTime(Core::Time(0x01020304L, 999999L)));
    }
    // 1; -2 in two's complement; "ab" after its length 2; the empty string as
    // a zero length; 0x01020304 seconds and 999999 = 0x000F423F microseconds.
    EXPECT_EQ(Hex(Bytes({0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFE, 0, 0, 0, 2, 'a', 'b', 0, 0, 0, 0,
                         1, 2, 3, 4, 0x00, 0x0F, 0x42, 0x3F})),
              Hex(CoreTest::ReadBytes(m_path)));

    std::unique_ptr<CBinaryIO> in(CBinaryIO::ReadFile(m_path));
    ASSERT_TRUE(in);
    int value = 0;
    std::string text = "old";
    Core::Time time;
    EXPECT_TRUE(in->ReadInt(value));
    EXPECT_EQ(1, value);
    EXPECT_TRUE(in->ReadInt(value));
    EXPECT_EQ(-2, value);
    EXPECT_TRUE(in->ReadString(text, 100));
    EXPECT_EQ("ab", text) << "ReadString replaces";
    EXPECT_TRUE(in->ReadString(text, 100));
    EXPECT_EQ("", text);
    EXPECT_TRUE(in->ReadTime(time));
    EXPECT_TRUE(time == Core::Time(0x01020304L, 999999L));
    EXPECT_FALSE(in->ReadInt(value));
    EXPECT_EQ(-2, value);
}

TEST_F(BinaryIOTest, ShortOrOverlongRecordsLeaveTheirTargetUntouched)
{
    std::string text = "kept";
    // The length must be strictly less than the limit.
    EXPECT_FALSE(ReaderOf(Bytes({0, 0, 0, 5}) + "abcde")->ReadString(text, 5));
    EXPECT_TRUE(ReaderOf(Bytes({0, 0, 0, 4}) + "abcd")->ReadString(text, 5));
    EXPECT_EQ("abcd", text);
    EXPECT_FALSE(ReaderOf(Bytes({0, 0, 0, 4}) + "abc")->ReadString(text, 5));
    EXPECT_FALSE(ReaderOf(Bytes({0, 0}))->ReadString(text, 5));
    EXPECT_EQ("abcd", text);
    // A damaged length just under the limit is read in pieces, not allocated whole.
    EXPECT_FALSE(ReaderOf(Bytes({0x7F, 0xFF, 0xFF, 0xF0}) + "x")->ReadString(text, 0x7FFFFFFF));
    EXPECT_THROW(ReaderOf(Bytes({0xFF, 0xFF, 0xFF, 0xFF}))->ReadString(text, 5), std::bad_alloc);

    Core::Time time(7L, 8L);
    EXPECT_FALSE(ReaderOf(Bytes({0, 0, 0, 9}))->ReadTime(time)) << "seconds only";
    EXPECT_TRUE(time == Core::Time(7L, 8L));
    int value = 3;
    EXPECT_FALSE(ReaderOf(Bytes({1, 2, 3}))->ReadInt(value));
    EXPECT_EQ(3, value);
}

TEST_F(BinaryIOTest, SizeAndPositionQueriesKeepThePosition)
{
    std::unique_ptr<CBinaryIO> in = ReaderOf(std::string(10, 'x'));
    int value = 0;
    EXPECT_TRUE(in->ReadInt(value));
    EXPECT_EQ(4, in->GetFilePosition());
    EXPECT_EQ(10, in->GetFileSize());
    EXPECT_EQ(4, in->GetFilePosition());
    EXPECT_TRUE(in->Close());
    EXPECT_EQ(-1, in->GetFilePosition());
    EXPECT_EQ(-1, in->GetFileSize());
    EXPECT_FALSE(in->ReadInt(value));
    EXPECT_FALSE(in->WriteInt(value));
    EXPECT_FALSE(in->Close());

    EXPECT_EQ(nullptr, CBinaryIO::ReadFile(m_dir.File("missing")));
    std::unique_ptr<CBinaryIO> append(CBinaryIO::AppendFile(m_path));
    ASSERT_TRUE(append);
    EXPECT_TRUE(append->WriteInt(0x41424344));
    append.reset();
    EXPECT_EQ(std::string(10, 'x') + "ABCD", CoreTest::ReadBytes(m_path));
}

} // namespace
