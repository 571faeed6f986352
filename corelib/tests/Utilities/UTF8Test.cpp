#include "Utilities/UTF8.h"

#include <gtest/gtest.h>

#include <climits>

using namespace Core::Utilities;

namespace
{

using CodePoints = std::vector<unsigned int>;

// Encodings from the UTF-8 definition (RFC 3629, section 3):
// U+00E9 is C3 A9, U+20AC is E2 82 AC, U+1F600 is F0 9F 98 80.
const std::string kEAcute = "\xC3\xA9";
const std::string kEuro = "\xE2\x82\xAC";
const std::string kGrin = "\xF0\x9F\x98\x80";

std::string AllBytes()
{
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    return bytes;
}

TEST(UTF8, DecoderTakesFollowingBytesUncheckedAndSkipsStrayOnes)
{
    EXPECT_EQ(1, StringLengthUTF8(kEAcute));
    EXPECT_EQ(1, StringLengthUTF8("a\xA9"));
    EXPECT_EQ(3, StringLengthUTF8(std::string("a\0b", 3)));

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
        // A sequence cut off by the end stops the decoding without a value.
        {"\xC3", {}},
        {"a\xE2\x82", {0x61}},
        {kEuro + "\xF0\x9F\x98", {0x20AC}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.expected, UTF8ToUnicode(c.text)) << ::testing::PrintToString(c.text);
}

// Every text of up to two bytes, and every lead byte followed by one to four
// continuation bytes: decoded characters never outnumber the bytes that may
// begin one, a cut is always a prefix, and re-encoding never leaves a cut-off
// sequence. Under the address sanitizer this also shows nothing reads past the end.
TEST(UTF8, ArbitraryBytesDecodeWithinTheText)
{
    std::vector<std::string> texts;
    for (char a : AllBytes())
    {
        texts.emplace_back(1, a);
        for (char b : AllBytes())
            texts.push_back({a, b});
        for (const char* tail : {"\x80", "\x80\x80", "\x80\x80\x80", "\x80\x80\x80\x80"})
            texts.push_back(a + std::string(tail));
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

TEST(UTF8, EncoderUsesOneToFourBytesUpTo10FFFFAndEveryCodePointRoundTrips)
{
    EXPECT_EQ("\xC2\x80", UnicodeToUTF8(0x80));
    EXPECT_EQ("\xDF\xBF", UnicodeToUTF8(0x7FF));
    EXPECT_EQ("\xE0\xA0\x80", UnicodeToUTF8(0x800));
    EXPECT_EQ(kEuro, UnicodeToUTF8(0x20AC));
    EXPECT_EQ("\xED\xA0\x80", UnicodeToUTF8(0xD800));
    EXPECT_EQ("\xF0\x90\x80\x80", UnicodeToUTF8(0x10000));
    EXPECT_EQ("\xF4\x8F\xBF\xBF", UnicodeToUTF8(0x10FFFF));
    EXPECT_EQ("", UnicodeToUTF8(0x110000));
    EXPECT_EQ("", UnicodeToUTF8(0xFFFFFFFF));

    std::string text;
    for (unsigned int cp = 0; cp <= 0x10FFFF; ++cp)
        text += UnicodeToUTF8(cp);
    const CodePoints decoded = UTF8ToUnicode(text);
    ASSERT_EQ(0x110000u, decoded.size());
    for (unsigned int cp = 0; cp <= 0x10FFFF; ++cp)
        ASSERT_EQ(cp, decoded[cp]);
    EXPECT_EQ(0x110000, StringLengthUTF8(text));
}

TEST(UTF8, RangeEncodingResolvesTheStartDefaultBeforeTheCount)
{
    const CodePoints points{0x61, 0xE9, 0x20AC, 0x62};
    EXPECT_EQ("a" + kEAcute + kEuro + "b", UnicodeToUTF8(points, INT_MAX, INT_MAX));
    EXPECT_EQ(kEAcute + kEuro + "b", UnicodeToUTF8(points, 1, INT_MAX));
    EXPECT_EQ("a" + kEAcute, UnicodeToUTF8(points, INT_MAX, 2));
    EXPECT_EQ(kEuro, UnicodeToUTF8(points, 2, 1));
    // Indices outside the vector are dropped, not read.
    EXPECT_EQ(kEuro + "b", UnicodeToUTF8(points, 2, 10));
    EXPECT_EQ("a", UnicodeToUTF8(points, -1, 2));
    EXPECT_EQ("", UnicodeToUTF8(points, 9, INT_MAX));
}

TEST(UTF8, Latin1BytesBecomeTheirCodePoints)
{
    EXPECT_EQ(kEAcute, UnicodeToUTF8(std::string("\xE9")));
    EXPECT_EQ("\xC2\xA0", UnicodeToUTF8(std::string("\xA0")));
    const CodePoints decoded = UTF8ToUnicode(UnicodeToUTF8(AllBytes()));
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
        {"abc", 2, "ab"}, {"abc", 9, "abc"}, {"ab", 0, ""}, {"ab", -1, ""},
        // Texts shorter than two bytes come back whole before n is looked at.
        {"x", 0, "x"}, {"\x80", -5, "\x80"},
        {kEAcute + "a", 1, kEAcute}, {"a" + kEAcute, 1, "a"}, {kEuro + kGrin + "z", 2, kEuro + kGrin},
        // The first byte begins character 1 even as a stray continuation byte,
        // so "\xA9" "b" holds two characters here although its length is 1.
        {"\xA9\xA9" "b", 1, "\xA9\xA9"}, {"\xA9" "b", 1, "\xA9"},
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
    // Two characters of five bytes leave a gap of two in a field of four.
    EXPECT_EQ(kEAcute + "  " + kEuro, MergeUTF8Strings(kEAcute, kEuro, STRING_MERGE_FIRST_SECOND, 4));
    // A stray byte is neither counted nor kept.
    EXPECT_EQ("a  b", MergeUTF8Strings("a\x80", "b", STRING_MERGE_FIRST_SECOND, 4));
}

TEST(HTMLEscaping, EscapingTheFourCharactersIsUndoneOneLevelAtATime)
{
    EXPECT_EQ("a&lt;b &amp; c", HTMLEscape("a<b & c"));
    EXPECT_EQ("&quot;x&gt;'", HTMLEscape("\"x>'"));
    EXPECT_EQ(AllBytes(), HTMLEscapeAntithesis(HTMLEscape(AllBytes())));

    struct Case
    {
        const char* escaped;
        const char* plain;
    } cases[] = {
        {"a&lt;b &amp; c", "a<b & c"}, {"&amp;lt;", "&lt;"}, {"&amp;amp;", "&amp;"},
        {"&amp;quot;&amp;gt;", "&quot;&gt;"}, {"&&lt;lt;", "&<lt;"},
        // Only the four entities are known, and only when complete.
        {"&apos;&#60;&nbsp;&lt&amp&LT;", "&apos;&#60;&nbsp;&lt&amp&LT;"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.plain, HTMLEscapeAntithesis(c.escaped)) << c.escaped;

    std::string many;
    for (int i = 0; i < 200000; ++i)
        many += "&amp;";
    EXPECT_EQ(std::string(200000, '&'), HTMLEscapeAntithesis(many));

    EXPECT_EQ("a &lt;b&gt; &amp; c", HTMLCanonicalEscape(" a \t<b>\n\n&  c "));
    EXPECT_EQ("<a> & \"b\"", HTMLCanonicalEscapeAntithesis("  &lt;a&gt;\t&amp;   &quot;b&quot; \r\n"));
}

} // namespace
