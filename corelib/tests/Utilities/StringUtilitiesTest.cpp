#include "Utilities/StringUtilities.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <locale>

using namespace Core::Utilities;

namespace
{

using Fields = std::vector<std::string>;

// Runs body with both the C and the C++ global locale set to a German one, whose
// decimal separator is a comma; restores the classic locale afterwards.
// Returns false when no such locale is installed.
bool WithDecimalCommaLocale(const std::function<void()>& body)
{
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE"})
    {
        if (std::setlocale(LC_ALL, name) == nullptr)
            continue;
        char probe[8];
        std::snprintf(probe, sizeof probe, "%.1f", 2.5);
        if (std::string(probe) == "2,5")
        {
            std::locale::global(std::locale(name));
            body();
            std::locale::global(std::locale::classic());
        }
        std::setlocale(LC_ALL, "C");
        return std::string(probe) == "2,5";
    }
    return false;
}

TEST(StringParsing, IntegerBaseRulesAndSuccessMeansSomethingWasConsumed)
{
    struct Case
    {
        const char* text;
        int base; // -100: the one-argument form
        bool ok;
        int value;
    } cases[] = {
        {"0x1A", -100, true, 26},
        {"x1A", -100, false, 0},
        {"  42", -100, true, 42},
        {"", -100, false, 0},
        {"12abc", -100, true, 12},
        {"-17", -100, true, -17},
        // Only a lower-case "0x" at position 0 selects base 16; otherwise the "0" is all that parses.
        {" 0x1F", -100, true, 0},
        {"0X1F", -100, true, 0},
        {"077", -100, true, 77},
        {"077", 0, true, 63},
        {"0x1F", 0, true, 31},
        {"077", 1, true, 77},
        {"11", 37, true, 11},
        {"11", -2, true, 11},
        {"zz", 36, true, 1295},
        {"zz", 10, false, 0},
        // Out of the int range: clamped as a 32-bit strtol does, on every host.
        {"99999999999", -100, true, INT_MAX},
        {"-99999999999", -100, true, INT_MIN},
        {"0x80000000", -100, true, INT_MAX},
        {"-2147483648", 10, true, INT_MIN},
    };
    for (const Case& c : cases)
    {
        int value = 12345;
        const bool ok = c.base == -100 ? ParseInt(c.text, value) : ParseInt(c.text, c.base, value);
        EXPECT_EQ(c.ok, ok) << '"' << c.text << "\" base " << c.base;
        EXPECT_EQ(c.value, value) << '"' << c.text << "\" base " << c.base;
    }
}

TEST(StringParsing, ParsingStopsAtAnEmbeddedZeroByte)
{
    int value = 0;
    EXPECT_TRUE(ParseInt(std::string("12\0" "34", 5), value));
    EXPECT_EQ(12, value);
}

TEST(StringParsing, RealNumbers)
{
    double d = 5;
    EXPECT_TRUE(ParseDouble("1e3x", d));
    EXPECT_EQ(1000.0, d);
    EXPECT_TRUE(ParseDouble(" -0.25", d));
    EXPECT_EQ(-0.25, d);
    EXPECT_FALSE(ParseDouble("abc", d));
    EXPECT_EQ(0.0, d);
    EXPECT_TRUE(ParseDouble("1e999", d));
    EXPECT_EQ(HUGE_VAL, d);

    float f = 5;
    EXPECT_TRUE(ParseFloat("0.1", f));
    EXPECT_EQ(0.1f, f);
    EXPECT_FALSE(ParseFloat(".", f));
    EXPECT_EQ(0.0f, f);
}

TEST(StringFormatting, UnsignedDigitsInEveryRadix)
{
    EXPECT_EQ("FF", FormatInt(255u, 16));
    EXPECT_EQ("11111111", FormatInt(255u, 2));
    EXPECT_EQ("7", FormatInt(7u, 40));
    EXPECT_EQ("255", FormatInt(255u, 0));
    EXPECT_EQ("255", FormatInt(255u, -16));
    EXPECT_EQ("0", FormatInt(0u, 16));
    EXPECT_EQ("ZZ", FormatInt(1295u, 36));
    EXPECT_EQ("4294967295", FormatInt(UINT_MAX, 10));
    EXPECT_EQ("FFFFFFFFFFFFFFFF", FormatLongLongInt(ULLONG_MAX, 16));
    EXPECT_EQ("18446744073709551615", FormatLongLongInt(ULLONG_MAX, 99));
    // 2^40 in binary is a one and forty zeros: more digits than a 32-bit value has.
    EXPECT_EQ("1" + std::string(40, '0'), FormatLongLongInt(1ull << 40, 2));
    // Radix 1 is a caller error: it must return rather than loop.
    EXPECT_EQ("", FormatInt(5u, 1));
    EXPECT_EQ("", FormatLongLongInt(5ull, 1));
    EXPECT_EQ("0", FormatInt(0u, 1));
}

TEST(StringFormatting, SignedDecimalAndTheLow32BitNarrowing)
{
    EXPECT_EQ("-2147483648", FormatInt(INT_MIN));
    EXPECT_EQ("2147483647", FormatInt(INT_MAX));
    EXPECT_EQ("0", FormatInt(0));
    EXPECT_EQ("-1", FormatLongLongInt(-1LL));
    EXPECT_EQ("4294967295", FormatLongLongInt(4294967295LL));
    EXPECT_EQ("-4294967295", FormatLongLongInt(-4294967295LL));
    // 5000000000 = 0x1_2A05F200; the low word 0x2A05F200 is 705032704.
    EXPECT_EQ("705032704", FormatLongLongInt(5000000000LL));
    EXPECT_EQ("-705032704", FormatLongLongInt(-5000000000LL));
    EXPECT_EQ("7", FormatLongLongInt(4294967303LL));
    EXPECT_EQ("-0", FormatLongLongInt(-4294967296LL));
    EXPECT_EQ("-0", FormatLongLongInt(LLONG_MIN));
}

TEST(StringFormatting, FixedDecimalsRoundTheBinaryValueLikePrintf)
{
    struct Case
    {
        double value;
        int decimals;
        const char* text;
    } cases[] = {
        {2.5, 0, "2"},   // exact ties round to even
        {3.5, 0, "4"},
        {0.5, 0, "0"},
        {0.125, 2, "0.12"},
        {2.675, 2, "2.67"}, // the double is 2.67499999999999982236431605997495353221893310546875
        {1.0 / 3.0, 3, "0.333"},
        {-0.001, 2, "-0.00"},
        {-0.0, 1, "-0.0"},
        {-0.0, 0, "-0"},
        {0.75, 1, "0.8"},
        {1234567.0, 0, "1234567"},
        {1e21, 0, "1000000000000000000000"},
        {1.0 / 3.0, 17, "0.33333333333333331"},
        {std::numeric_limits<double>::infinity(), 3, "inf"},
        {-std::numeric_limits<double>::infinity(), 0, "-inf"},
        {std::numeric_limits<double>::quiet_NaN(), 2, "nan"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.text, FormatDouble(c.value, c.decimals)) << c.value << " with " << c.decimals;

    // DBL_MAX has 309 integer digits: longer than any small fixed buffer.
    const std::string huge = FormatDouble(std::numeric_limits<double>::max(), 17);
    EXPECT_EQ(309u + 1 + 17, huge.size());
    EXPECT_EQ("179769313486231570", huge.substr(0, 18));
}

// 0.1 is stored as 0.1000000000000000055511151231257827...: zeros up to the
// 16th decimal, and the 17th rounds up to 1.
std::string ExpectedTenth(int decimals)
{
    if (decimals == 0)
        return "0";
    std::string text = "0.1" + std::string(static_cast<size_t>(decimals - 1), '0');
    if (decimals == 17)
        text.back() = '1';
    return text;
}

TEST(StringFormatting, EveryPrecisionUpTo17UsesAPointEvenUnderADecimalCommaLocale)
{
    for (int decimals = 0; decimals <= 17; ++decimals)
        EXPECT_EQ(ExpectedTenth(decimals), FormatDouble(0.1, decimals));

    const bool ran = WithDecimalCommaLocale([] {
        for (int decimals = 0; decimals <= 17; ++decimals)
            EXPECT_EQ(ExpectedTenth(decimals), FormatDouble(0.1, decimals));
        EXPECT_EQ("-1234.50", FormatDouble(-1234.5, 2));
        double d = 0;
        EXPECT_TRUE(ParseDouble("2.5", d));
        EXPECT_EQ(2.5, d);
        float f = 0;
        EXPECT_TRUE(ParseFloat("2,5", f));
        EXPECT_EQ(2.0f, f);
    });
    if (!ran)
        GTEST_SKIP() << "no locale with a decimal comma is installed";
}

TEST(StringTrimming, OnlyTheSixCLocaleWhiteSpaceBytesAreTrimmed)
{
    EXPECT_EQ("x  y", trim(" \t\n\v\f\rx  y\r\n"));
    EXPECT_EQ("x \n", ltrim("\t x \n"));
    EXPECT_EQ("\t x", rtrim("\t x \n"));
    EXPECT_EQ("", trim(" \t "));
    EXPECT_EQ("", ltrim(""));
    // A no-break space (Latin-1 A0) and a zero byte are not white space.
    EXPECT_EQ("\xA0x", trim("\xA0x "));
    EXPECT_EQ(std::string("\0x", 2), trim(std::string(" \0x ", 4)));

    EXPECT_EQ("x y", StringCanonicalForm("\t x  y \n"));
    EXPECT_EQ("a b", StringCanonicalForm("  a \t\n b  "));
    EXPECT_EQ("", StringCanonicalForm("   "));
    EXPECT_EQ("a b c", StringCanonicalForm("a\rb\vc"));
}

TEST(StringCase, OnlyAsciiLettersFold)
{
    EXPECT_EQ("hello, world \xC9", StringToLower("HeLLo, World \xC9"));
    EXPECT_EQ("HELLO, WORLD \xE9", StringToUpper("HeLLo, World \xE9"));
}

TEST(StringCase, RemoveAllTreatsCharactersAsASet)
{
    EXPECT_EQ("abc", RemoveAll("a-b_c-", "_-"));
    EXPECT_EQ("a-b", RemoveAll("a-b", ""));
    EXPECT_EQ("", RemoveAll("", "x"));
    EXPECT_EQ("ab", RemoveAll(std::string("a\0b", 3), std::string("\0", 1)));
}

TEST(StringCompare, IsAStrictCaseInsensitiveLessThan)
{
    EXPECT_TRUE(CaseInsensitiveStringCompare("abc", "ABD"));
    EXPECT_FALSE(CaseInsensitiveStringCompare("ABD", "abc"));
    EXPECT_FALSE(CaseInsensitiveStringCompare("ABC", "abc"));
    EXPECT_FALSE(CaseInsensitiveStringCompare("abc", "ABC"));
    EXPECT_TRUE(CaseInsensitiveStringCompare("ab", "abc"));
    EXPECT_FALSE(CaseInsensitiveStringCompare("abc", "ab"));
    EXPECT_TRUE(CaseInsensitiveStringCompare("", "a"));
    // Bytes compare as unsigned, so high bytes sort after every ASCII letter.
    EXPECT_TRUE(CaseInsensitiveStringCompare("Z", "\xE9"));
    // Embedded zero bytes do not end the comparison.
    EXPECT_TRUE(CaseInsensitiveStringCompare(std::string("a\0B", 3), std::string("A\0c", 3)));
}

TEST(StringSplit, TwoWaySplitsAtFirstOrLastSeparator)
{
    std::string head = "old head";
    std::string tail = "old tail";
    EXPECT_TRUE(SplitString("key=", '=', head, tail));
    EXPECT_EQ("key", head);
    EXPECT_EQ("", tail);
    EXPECT_TRUE(RSplitString("a.b.c", '.', head, tail));
    EXPECT_EQ("a.b", head);
    EXPECT_EQ("c", tail);
    EXPECT_TRUE(SplitString("a::b::c", "::", head, tail));
    EXPECT_EQ("a", head);
    EXPECT_EQ("b::c", tail);
    EXPECT_TRUE(RSplitString("a::b::c", "::", head, tail));
    EXPECT_EQ("a::b", head);
    EXPECT_EQ("c", tail);

    EXPECT_FALSE(SplitString("abc", ',', head, tail));
    EXPECT_FALSE(RSplitString("a:b", "::", head, tail));
    EXPECT_EQ("a::b", head) << "a failed split leaves the outputs alone";
    EXPECT_EQ("c", tail);
}

TEST(StringSplit, OutputsMayBeTheInputItself)
{
    std::string text = "a,b,c";
    std::string tail;
    EXPECT_TRUE(SplitString(text, ',', text, tail));
    EXPECT_EQ("a", text);
    EXPECT_EQ("b,c", tail);

    std::string head;
    text = "x.y.z";
    EXPECT_TRUE(RSplitString(text, std::string("."), head, text));
    EXPECT_EQ("x.y", head);
    EXPECT_EQ("z", text);
}

TEST(StringSplit, ListSplitAppendsAndKeepsEmptyFields)
{
    struct Case
    {
        const char* text;
        int maxFields;
        Fields expected;
    } cases[] = {
        {"a,,b", 0, {"a", "", "b"}},
        {",a,", 0, {"", "a", ""}},
        {",", -5, {"", ""}},
        {"a,b,c,d", 3, {"a", "b", "c,d"}},
        {"a,b,c,d", 1, {"a", "b,c,d"}},
        {"a,b,c,d", 2, {"a", "b,c,d"}},
        {"a,b,c,d", 4, {"a", "b", "c", "d"}},
        {"a,b,c,d", 9, {"a", "b", "c", "d"}},
    };
    for (const Case& c : cases)
    {
        Fields chars{"kept"};
        Fields strings{"kept"};
        EXPECT_TRUE(SplitString(c.text, ',', chars, c.maxFields));
        EXPECT_TRUE(SplitString(c.text, std::string(","), strings, c.maxFields));
        Fields expected{"kept"};
        expected.insert(expected.end(), c.expected.begin(), c.expected.end());
        EXPECT_EQ(expected, chars) << c.text << " limit " << c.maxFields;
        EXPECT_EQ(expected, strings) << c.text << " limit " << c.maxFields;
    }

    Fields fields;
    EXPECT_TRUE(SplitString("1<>2<><>3", "<>", fields, 0));
    EXPECT_EQ((Fields{"1", "2", "", "3"}), fields);
}

TEST(StringSplit, ListSplitWithoutSeparatorLeavesTheListAlone)
{
    Fields fields{"kept"};
    EXPECT_FALSE(SplitString("abc", ',', fields, 0));
    EXPECT_FALSE(SplitString("", std::string(";"), fields, 0));
    // An empty separator string is a caller error that must not split for ever.
    EXPECT_FALSE(SplitString("abc", std::string(), fields, 0));
    EXPECT_EQ((Fields{"kept"}), fields);
}

} // namespace
