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
    const struct { std::string text; CodePoints expected; } cases[] = {
        {"a" + kEAcute + kEuro + kGrin, {0x61, 0xE9, 0x20AC, 0x1F600}},
        {std::string("a\0b", 3), {0x61, 0, 0x62}},
        {"\xBF" "a\xF8\xFF" "b", {0x61, 0x62}},
        // Overlong forms and surrogates decode like any other sequence.
        {"\xC0\x80", {0}}, {"\xED\xA0\x80", {0xD800}},
        // A lead byte takes the next bytes whatever they are: C3 41 is (3 << 6) | 1.
        {"\xC3" "A", {0xC1}},
        // A sequence cut off by the end stops the decoding without a value.
        {"a\xE2\x82", {0x61}}, {kEuro + "\xF0\x9F\x98", {0x20AC}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.expected, UTF8ToUnicode(c.text)) << ::testing::PrintToString(c.text);
    EXPECT_EQ(1, StringLengthUTF8("a\xA9")) << "continuation bytes are not counted";
}

TEST(UTF8, EncoderUsesOneToFourBytesUpTo10FFFFAndEveryCodePointRoundTrips)
{
    EXPECT_EQ("\xDF\xBF", UnicodeToUTF8(0x7FF));
    EXPECT_EQ("\xE0\xA0\x80", UnicodeToUTF8(0x800));
    EXPECT_EQ("\xF4\x8F\xBF\xBF", UnicodeToUTF8(0x10FFFF));
    EXPECT_EQ("", UnicodeToUTF8(0x110000));
    std::string text;
    for (unsigned int cp = 0; cp <= 0x10FFFF; ++cp)
        text += UnicodeToUTF8(cp);
    const CodePoints decoded = UTF8ToUnicode(text);
    ASSERT_EQ(0x110000u, decoded.size());
    for (unsigned int cp = 0; cp <= 0x10FFFF; ++cp)
        ASSERT_EQ(cp, decoded[cp]);
    // Latin-1 bytes become their own code points.
    EXPECT_EQ(kEAcute, UnicodeToUTF8(std::string("\xE9")));
    EXPECT_EQ(CodePoints(decoded.begin(), decoded.begin() + 256), UTF8ToUnicode(UnicodeToUTF8(AllBytes())));
}

TEST(UTF8, RangeEncodingResolvesTheStartDefaultBeforeTheCount)
{
    const CodePoints points{0x61, 0xE9, 0x20AC, 0x62};
    EXPECT_EQ("a" + kEAcute + kEuro + "b", UnicodeToUTF8(points, INT_MAX, INT_MAX));
    EXPECT_EQ("a" + kEAcute, UnicodeToUTF8(points, INT_MAX, 2));
    EXPECT_EQ(kEuro, UnicodeToUTF8(points, 2, 1));
    // Indices outside the vector are dropped, not read.
    EXPECT_EQ(kEuro + "b", UnicodeToUTF8(points, 2, 10));
    EXPECT_EQ("a", UnicodeToUTF8(points, -1, 2));
}

TEST(UTF8, SubStringCutsBeforeCharacterNPlusOneAndMergeCountsCodePoints)
{
    const struct { std::string text; int characters; std::string expected; } cases[] = {
        {"abc", 2, "ab"}, {"ab", -1, ""},
        // Texts shorter than two bytes come back whole before n is looked at.
        {"x", 0, "x"},
        {"a" + kEAcute, 1, "a"}, {kEuro + kGrin + "z", 2, kEuro + kGrin},
        // The first byte begins character 1 even as a stray continuation byte,
        // so "\xA9" "b" holds two characters here although its length is 1.
        {"\xA9\xA9" "b", 1, "\xA9\xA9"}, {"\xA9" "b", 1, "\xA9"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.expected, SubStringUTF8(c.text, c.characters)) << ::testing::PrintToString(c.text) << " " << c.characters;

    EXPECT_EQ("cd  ab", MergeUTF8Strings("ab", "cd", STRING_MERGE_SECOND_FIRST, 6));
    EXPECT_EQ("abcd", MergeUTF8Strings("ab", "cd", STRING_MERGE_FIRST_SECOND, 3));
    // Two characters of five bytes leave a gap of two in a field of four.
    EXPECT_EQ(kEAcute + "  " + kEuro, MergeUTF8Strings(kEAcute, kEuro, STRING_MERGE_FIRST_SECOND, 4));
    EXPECT_EQ("a  b", MergeUTF8Strings("a\x80", "b", STRING_MERGE_FIRST_SECOND, 4)) << "a stray byte is dropped";
}

TEST(HTMLEscaping, EscapingTheFourCharactersIsUndoneOneLevelAtATime)
{
    EXPECT_EQ("&quot;x&gt;'&lt;&amp;", HTMLEscape("\"x>'<&"));
    EXPECT_EQ(AllBytes(), HTMLEscapeAntithesis(HTMLEscape(AllBytes())));
    const struct { const char* escaped; const char* plain; } cases[] = {
        {"&amp;lt;", "&lt;"}, {"&amp;quot;&amp;gt;", "&quot;&gt;"}, {"&&lt;lt;", "&<lt;"},
        // Only the four entities are known, and only when complete.
        {"&apos;&#60;&nbsp;&lt&amp&LT;", "&apos;&#60;&nbsp;&lt&amp&LT;"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.plain, HTMLEscapeAntithesis(c.escaped)) << c.escaped;
    std::string many;
    for (int i = 0; i < 200000; ++i)
        many += "&amp;";
    EXPECT_EQ(std::string(200000, '&'), HTMLEscapeAntithesis(many));
    EXPECT_EQ("a &lt;b&gt; &amp; c", HTMLCanonicalEscape(" a \t<b>\n\n&  c "));
    EXPECT_EQ("<a> & \"b\"", HTMLCanonicalEscapeAntithesis("  &lt;a&gt;\t&amp;   &quot;b&quot; \r\n"));
}

} // namespace
