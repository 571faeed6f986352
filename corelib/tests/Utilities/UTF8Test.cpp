#include "Utilities/UTF8.h"

#include <gtest/gtest.h>

#include <climits>

using namespace Core::Utilities;

namespace
{

using CodePoints = std::vector<unsigned int>;

// Encodings below are from the UTF-8 definition (RFC 3629, table in section 3):
// U+00E9 is C3 A9, U+20AC is E2 82 AC, U+1F600 is F0 9F 98 80.
const std::string kEAcute = "\xC3\xA9";
const std::string kEuro = "\xE2\x82\xAC";
const std::string kGrin = "\xF0\x9F\x98\x80";

TEST(UTF8, LengthCountsEveryByteThatIsNotAContinuation)
{
    EXPECT_EQ(0, StringLengthUTF8(""));
    EXPECT_EQ(1, StringLengthUTF8(kEAcute));
    EXPECT_EQ(1, StringLengthUTF8("a\xA9"));
    EXPECT_EQ(0, StringLengthUTF8("\xA9\x80"));
    EXPECT_EQ(4, StringLengthUTF8("a" + kEAcute + kEuro + kGrin));
    EXPECT_EQ(3, StringLengthUTF8(std::string("a\0b", 3)));
    EXPECT_EQ(2, StringLengthUTF8("\xF8\xFF"));
}

TEST(UTF8, DecoderTakesFollowingBytesUncheckedAndSkipsStrayOnes)
{
    struct Case
    {
        std::string text;
        CodePoints expected;
    } cases[] = {
        {"a" + kEAcute + kEuro + kGrin, {0x61, 0xE9, 0x20AC, 0x1F600}},
        {std::string("a\0b", 3), {0x61, 0, 0x62}},
        {"\x80", {}},
        {"\xBF" "a\xF8\xFF" "b", {0x61, 0x62}},
        // Overlong forms and surrogates decode like any other sequence.
        {"\xC0\x80", {0}},
        {"\xED\xA0\x80", {0xD800}},
        // A lead byte takes the next bytes whatever they are: C3 41 is (3 << 6) | 1.
        {"\xC3" "A", {0xC1}},
        {"\xE2\x82x", {0x20B8}},
        // A sequence cut off by the end stops the decoding without a value.
        {"\xC3", {}},
        {"a\xE2\x82", {0x61}},
        {"ab" "\xF0\x9F\x98", {0x61, 0x62}},
        {kEuro + "\xF4", {0x20AC}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.expected, UTF8ToUnicode(c.text)) << ::testing::PrintToString(c.text);
}

// Every text of up to two bytes, and every lead byte followed by zero to three
// bytes, through every reader: decoded characters never outnumber the bytes
// that may begin one, and a cut is always a prefix. Under the address sanitizer
// this also proves that nothing reads past the end.
TEST(UTF8, ArbitraryBytesDecodeWithinTheText)
{
    std::vector<std::string> texts;
    for (int a = 0; a < 256; ++a)
    {
        texts.emplace_back(1, static_cast<char>(a));
        for (int b = 0; b < 256; ++b)
            texts.push_back({static_cast<char>(a), static_cast<char>(b)});
        if (a >= 0xC0)
        {
            for (const char* tail : {"\x80", "\x80\x80", "\x80\x80\x80", "\x80\x80\x80\x80"})
                texts.push_back(static_cast<char>(a) + std::string(tail));
        }
    }
    for (const std::string& text : texts)
    {
        const size_t decoded = UTF8ToUnicode(text).size();
        ASSERT_LE(decoded, static_cast<size_t>(StringLengthUTF8(text))) << ::testing::PrintToString(text);
        for (int n = 0; n <= 3; ++n)
            ASSERT_EQ(0u, text.rfind(SubStringUTF8(text, n), 0)) << ::testing::PrintToString(text);
        ASSERT_EQ(0x7Au, UTF8ToUnicode(MergeUTF8Strings(text, "z", STRING_MERGE_FIRST_SECOND, 0)).back());
    }
}

TEST(UTF8, EncoderUsesTheShortestFormUpTo10FFFF)
{
    struct Case
    {
        unsigned int codePoint;
        std::string bytes;
    } cases[] = {
        {0, std::string(1, '\0')},
        {0x7F, "\x7F"},
        {0x80, "\xC2\x80"},
        {0x7FF, "\xDF\xBF"},
        {0x800, "\xE0\xA0\x80"},
        {0x20AC, kEuro},
        {0xD800, "\xED\xA0\x80"},
        {0xFFFF, "\xEF\xBF\xBF"},
        {0x10000, "\xF0\x90\x80\x80"},
        {0x1F600, kGrin},
        {0x10FFFF, "\xF4\x8F\xBF\xBF"},
        {0x110000, ""},
        {0xFFFFFFFF, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.bytes, UnicodeToUTF8(c.codePoint)) << std::hex << c.codePoint;
}

TEST(UTF8, EveryCodePointRoundTrips)
{
    std::string text;
    for (unsigned int cp = 0; cp <= 0x10FFFF; ++cp)
        text += UnicodeToUTF8(cp);
    const CodePoints decoded = UTF8ToUnicode(text);
    ASSERT_EQ(0x110000u, decoded.size());
    for (unsigned int cp = 0; cp <= 0x10FFFF; ++cp)
    {
        if (decoded[cp] != cp)
        {
            ADD_FAILURE() << std::hex << cp << " decoded as " << decoded[cp];
            break;
        }
    }
    EXPECT_EQ(0x110000, StringLengthUTF8(text));
}

TEST(UTF8, RangeEncodingResolvesTheStartDefaultBeforeTheCount)
{
    const CodePoints points{0x61, 0xE9, 0x20AC, 0x62};
    EXPECT_EQ("a" + kEAcute + kEuro + "b", UnicodeToUTF8(points, INT_MAX, INT_MAX));
    EXPECT_EQ(kEAcute + kEuro + "b", UnicodeToUTF8(points, 1, INT_MAX));
    EXPECT_EQ("a" + kEAcute, UnicodeToUTF8(points, INT_MAX, 2));
    EXPECT_EQ(kEuro, UnicodeToUTF8(points, 2, 1));
    EXPECT_EQ("", UnicodeToUTF8(points, 1, 0));
    // Indices outside the vector are dropped, not read.
    EXPECT_EQ(kEuro + "b", UnicodeToUTF8(points, 2, 10));
    EXPECT_EQ("a", UnicodeToUTF8(points, -1, 2));
    EXPECT_EQ("", UnicodeToUTF8(points, 9, INT_MAX));
    EXPECT_EQ("", UnicodeToUTF8(CodePoints{}, INT_MAX, INT_MAX));
}

TEST(UTF8, Latin1BytesBecomeTheirCodePoints)
{
    EXPECT_EQ(kEAcute, UnicodeToUTF8(std::string("\xE9")));
    EXPECT_EQ("\xC2\xA0", UnicodeToUTF8(std::string("\xA0")));
    EXPECT_EQ("\xC2\x80\xC2\xBF\xC3\x80\xC3\xBF", UnicodeToUTF8(std::string("\x80\xBF\xC0\xFF")));
    EXPECT_EQ(std::string("a\0~", 3), UnicodeToUTF8(std::string("a\0~", 3)));
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    const CodePoints decoded = UTF8ToUnicode(UnicodeToUTF8(all));
    ASSERT_EQ(256u, decoded.size());
    for (unsigned int byte = 0; byte < 256; ++byte)
        EXPECT_EQ(byte, decoded[byte]);
}

TEST(UTF8, SubStringCutsBeforeCharacterNPlusOne)
{
    struct Case
    {
        std::string text;
        int characters;
        std::string expected;
    } cases[] = {
        {"abc", 2, "ab"},
        {"abc", 3, "abc"},
        {"abc", 9, "abc"},
        // Texts shorter than two bytes come back whole before n is looked at.
        {"x", 0, "x"},
        {"\x80", -5, "\x80"},
        {"", 3, ""},
        {"ab", 0, ""},
        {"ab", -1, ""},
        {kEAcute, 1, kEAcute},
        {kEAcute + "a", 1, kEAcute},
        {"a" + kEAcute, 1, "a"},
        {kEuro + kGrin + "z", 2, kEuro + kGrin},
        // The first byte begins character 1 even as a stray continuation byte,
        // so "\xA9" "b" holds two characters here although its length is 1.
        {"\xA9\xA9" "b", 1, "\xA9\xA9"},
        {"\xA9" "b", 1, "\xA9"},
        // A text cut inside a character stays cut there.
        {"a\xE2\x82", 5, "a\xE2\x82"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.expected, SubStringUTF8(c.text, c.characters))
            << ::testing::PrintToString(c.text) << " " << c.characters;
}

TEST(UTF8, MergePadsTheGapCountingCodePoints)
{
    EXPECT_EQ("ab  cd", MergeUTF8Strings("ab", "cd", STRING_MERGE_FIRST_SECOND, 6));
    EXPECT_EQ("cd  ab", MergeUTF8Strings("ab", "cd", STRING_MERGE_SECOND_FIRST, 6));
    EXPECT_EQ("abcd", MergeUTF8Strings("ab", "cd", STRING_MERGE_FIRST_SECOND, 3));
    EXPECT_EQ("abcd", MergeUTF8Strings("ab", "cd", STRING_MERGE_FIRST_SECOND, -10));
    EXPECT_EQ("    ", MergeUTF8Strings("", "", STRING_MERGE_FIRST_SECOND, 4));
    // Two characters of five bytes leave a gap of two in a field of four.
    EXPECT_EQ(kEAcute + "  " + kEuro, MergeUTF8Strings(kEAcute, kEuro, STRING_MERGE_FIRST_SECOND, 4));
    // A stray byte is neither counted nor kept.
    EXPECT_EQ("a  b", MergeUTF8Strings("a\x80", "b", STRING_MERGE_FIRST_SECOND, 4));
    EXPECT_EQ("ab  cd", MergeUTF8Strings("ab", "cd", static_cast<EStringMergeType>(7), 6));
}

TEST(HTMLEscaping, EscapesTheFourSpecialCharactersOnly)
{
    EXPECT_EQ("a&lt;b &amp; c", HTMLEscape("a<b & c"));
    EXPECT_EQ("&quot;x&gt;'", HTMLEscape("\"x>'"));
    EXPECT_EQ(std::string("\0\xE9", 2), HTMLEscape(std::string("\0\xE9", 2)));

    std::string every;
    for (int byte = 0; byte < 256; ++byte)
        every += static_cast<char>(byte);
    EXPECT_EQ(every, HTMLEscapeAntithesis(HTMLEscape(every)));
    EXPECT_EQ("a<b & c", HTMLEscapeAntithesis("a&lt;b &amp; c"));
}

TEST(HTMLEscaping, UnescapingRemovesExactlyOneLevel)
{
    struct Case
    {
        const char* escaped;
        const char* plain;
    } cases[] = {
        {"&amp;lt;", "&lt;"},
        {"&amp;amp;", "&amp;"},
        {"&amp;quot;&amp;gt;", "&quot;&gt;"},
        {"&lt;&lt;&gt;&quot;&quot;", "<<>\"\""},
        {"&&lt;lt;", "&<lt;"},
        // Only the four entities are known, and only when complete.
        {"&apos;&#60;&nbsp;&lt&amp", "&apos;&#60;&nbsp;&lt&amp"},
        {"&LT;", "&LT;"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.plain, HTMLEscapeAntithesis(c.escaped)) << c.escaped;

    // A megabyte of entities, unescaped whole.
    std::string many;
    for (int i = 0; i < 200000; ++i)
        many += "&amp;";
    EXPECT_EQ(std::string(200000, '&'), HTMLEscapeAntithesis(many));
}

TEST(HTMLEscaping, CanonicalFormsAlsoCollapseWhiteSpace)
{
    EXPECT_EQ("a &lt;b&gt; &amp; c", HTMLCanonicalEscape(" a \t<b>\n\n&  c "));
    EXPECT_EQ("<a> & \"b\"", HTMLCanonicalEscapeAntithesis("  &lt;a&gt;\t&amp;   &quot;b&quot; \r\n"));
    EXPECT_EQ("", HTMLCanonicalEscape(" \t "));
}

} // namespace
