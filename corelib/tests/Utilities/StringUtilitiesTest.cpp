#include "Utilities/StringUtilities.h"

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cstdio>
#include <limits>
#include <locale>

using namespace Core::Utilities;

namespace
{

using Fields = std::vector<std::string>;

TEST(StringParsing, BaseRulesClampingAndSuccessMeansSomethingWasConsumed)
{
    const int kOneArgument = -100;
    const struct { const char* text; int base; bool ok; int value; } cases[] = {
        {"0x1A", kOneArgument, true, 26}, {"12abc", kOneArgument, true, 12}, {"077", kOneArgument, true, 77},
        {"", kOneArgument, false, 0},
        // Only "0x" exactly at position 0 selects base 16; otherwise just the "0" parses.
        {" 0x1F", kOneArgument, true, 0}, {"0X1F", kOneArgument, true, 0},
        {"077", 0, true, 63}, {"077", 1, true, 77}, {"11", 37, true, 11}, {"zz", 36, true, 1295}, {"zz", 10, false, 0},
        // Clamped as a 32-bit strtol clamps, on every host.
        {"-99999999999", kOneArgument, true, INT_MIN}, {"0x80000000", kOneArgument, true, INT_MAX},
    };
    for (const auto& c : cases)
    {
        int value = 12345;
        const bool ok = c.base == kOneArgument ? ParseInt(c.text, value) : ParseInt(c.text, c.base, value);
        EXPECT_EQ(std::make_pair(c.ok, c.value), std::make_pair(ok, value)) << '"' << c.text << "\" base " << c.base;
    }
    double d = 5;
    EXPECT_TRUE(ParseDouble("1e3x", d));
    EXPECT_EQ(1000.0, d);
    EXPECT_FALSE(ParseDouble("abc", d));
    EXPECT_EQ(0.0, d);
    float f = 5;
    EXPECT_TRUE(ParseFloat("0.1x", f));
    EXPECT_EQ(0.1f, f) << "rounded once, to single precision";
    EXPECT_FALSE(ParseFloat("x", f));
    EXPECT_EQ(0.0f, f);
}

TEST(StringFormatting, IntegersInEveryRadixAndTheLow32BitNarrowing)
{
    EXPECT_EQ("ZZ", FormatInt(1295u, 36));
    EXPECT_EQ("7", FormatInt(7u, 40));
    EXPECT_EQ("255", FormatInt(255u, 0));
    EXPECT_EQ("FFFFFFFFFFFFFFFF", FormatLongLongInt(ULLONG_MAX, 16));
    // Radix 1 is a caller error that must return rather than loop.
    EXPECT_EQ("", FormatInt(5u, 1) + FormatLongLongInt(5ull, 1));
    EXPECT_EQ("0", FormatInt(0u, 1));
    EXPECT_EQ("-2147483648", FormatInt(INT_MIN));
    // 5000000000 is 0x1_2A05F200 and 0x2A05F200 is 705032704.
    EXPECT_EQ("-705032704", FormatLongLongInt(-5000000000LL));
    EXPECT_EQ("-4294967295", FormatLongLongInt(-4294967295LL));
    EXPECT_EQ("-0", FormatLongLongInt(-4294967296LL));
    EXPECT_EQ("-0", FormatLongLongInt(LLONG_MIN));
}

TEST(StringFormatting, FixedDecimalsRoundTheBinaryValueLikePrintf)
{
    const double inf = std::numeric_limits<double>::infinity();
    const struct { double value; int decimals; const char* text; } cases[] = {
        {2.5, 0, "2"}, {0.125, 2, "0.12"}, // exact ties go to even
        {2.675, 2, "2.67"},                // stored as 2.674999999999999822...
        {-0.001, 2, "-0.00"}, {-0.0, 0, "-0"}, {1.0 / 3.0, 17, "0.33333333333333331"},
        {-inf, 0, "-inf"}, {std::numeric_limits<double>::quiet_NaN(), 2, "nan"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.text, FormatDouble(c.value, c.decimals)) << c.value << " with " << c.decimals;
    // 309 integer digits: longer than any small fixed buffer.
    const std::string huge = FormatDouble(std::numeric_limits<double>::max(), 17);
    EXPECT_EQ(309u + 1 + 17, huge.size());
    EXPECT_EQ("179769313486231570", huge.substr(0, 18));
}

TEST(StringFormatting, NumbersUseAPointEvenUnderADecimalCommaLocale)
{
    // Both global locales German, whose decimal separator is a comma.
    char probe[8] = "";
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr)
        std::snprintf(probe, sizeof probe, "%.1f", 2.5);
    if (std::string(probe) != "2,5")
    {
        std::setlocale(LC_ALL, "C");
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    }
    std::locale::global(std::locale("de_DE.UTF-8"));
    // 0.1 is stored as 0.1000000000000000055511...: zeros up to the 16th decimal,
    // and the 17th rounds up to 1.
    for (int decimals = 0; decimals <= 17; ++decimals)
    {
        std::string tenth = decimals == 0 ? "0" : "0.1" + std::string(size_t(decimals - 1), '0');
        if (decimals == 17)
            tenth.back() = '1';
        EXPECT_EQ(tenth, FormatDouble(0.1, decimals));
    }
    EXPECT_EQ("-1234.50", FormatDouble(-1234.5, 2));
    double d = 0;
    EXPECT_TRUE(ParseDouble("2.5", d));
    float f = 0;
    EXPECT_TRUE(ParseFloat("2,5", f));
    std::locale::global(std::locale::classic());
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(std::make_pair(2.5, 2.0f), std::make_pair(d, f));
}

TEST(StringTrimming, TrimCaseRemovalAndCompareWorkOnCLocaleBytes)
{
    EXPECT_EQ("x  y", trim(" \t\n\v\f\rx  y\r\n"));
    EXPECT_EQ("\t x", rtrim("\t x \n"));
    // A Latin-1 no-break space and a zero byte are not white space.
    EXPECT_EQ(std::string("\xA0\0x", 3), trim(std::string(" \xA0\0x ", 5)));
    EXPECT_EQ("a b", StringCanonicalForm("  a \t\n b  "));
    EXPECT_EQ("hello \xC9", StringToLower("HeLLo \xC9"));
    EXPECT_EQ("HELLO \xE9", StringToUpper("HeLLo \xE9"));
    EXPECT_EQ("ab", RemoveAll(std::string("a-\0b", 4), std::string("\0-", 2)));

    // A strict less-than: equal texts are not less in either order.
    EXPECT_FALSE(CaseInsensitiveStringCompare("ABC", "abc") || CaseInsensitiveStringCompare("abc", "ABC"));
    EXPECT_TRUE(CaseInsensitiveStringCompare("ab", "abc"));
    // Bytes compare as unsigned, and zero bytes do not end the comparison.
    EXPECT_TRUE(CaseInsensitiveStringCompare("Z", "\xE9"));
    EXPECT_TRUE(CaseInsensitiveStringCompare(std::string("a\0B", 3), std::string("A\0c", 3)));
}

TEST(StringSplit, TwoWaySplitsAtFirstOrLastSeparatorAndMayOverwriteTheInput)
{
    std::string head = "old", tail = "old";
    EXPECT_TRUE(SplitString("a::b::c", "::", head, tail));
    EXPECT_EQ(Fields({"a", "b::c"}), Fields({head, tail}));
    EXPECT_TRUE(RSplitString("a.b.c", '.', head, tail));
    EXPECT_EQ(Fields({"a.b", "c"}), Fields({head, tail}));
    EXPECT_FALSE(RSplitString("a:b", "::", head, tail));
    EXPECT_EQ(Fields({"a.b", "c"}), Fields({head, tail})) << "a failed split leaves the outputs alone";

    std::string text = "a,b,c";
    EXPECT_TRUE(SplitString(text, ',', text, tail));
    EXPECT_EQ(Fields({"a", "b,c"}), Fields({text, tail}));
    text = "x.y.z";
    EXPECT_TRUE(RSplitString(text, std::string("."), head, text));
    EXPECT_EQ(Fields({"x.y", "z"}), Fields({head, text}));
}

TEST(StringSplit, ListSplitAppendsAndKeepsEmptyFields)
{
    const struct { const char* text; int maxFields; Fields expected; } cases[] = {
        {",a,", 0, {"kept", "", "a", ""}}, {",", -5, {"kept", "", ""}},
        {"a,b,c,d", 1, {"kept", "a", "b,c,d"}}, {"a,b,c,d", 2, {"kept", "a", "b,c,d"}},
        {"a,b,c,d", 3, {"kept", "a", "b", "c,d"}},
    };
    for (const auto& c : cases)
    {
        Fields chars{"kept"}, strings{"kept"};
        EXPECT_TRUE(SplitString(c.text, ',', chars, c.maxFields));
        EXPECT_TRUE(SplitString(c.text, std::string(","), strings, c.maxFields));
        EXPECT_EQ(c.expected, chars) << c.text << " limit " << c.maxFields;
        EXPECT_EQ(c.expected, strings) << c.text << " limit " << c.maxFields;
    }
    Fields fields{"kept"};
    EXPECT_FALSE(SplitString("abc", ',', fields, 0));
    // An empty separator is a caller error that must not split for ever.
    EXPECT_FALSE(SplitString("abc", std::string(), fields, 0));
    EXPECT_EQ(Fields{"kept"}, fields);
    // Splitting one of the list's own fields into the list, which grows under it.
    Fields self{"p::q::r"};
    EXPECT_TRUE(SplitString(self[0], std::string("::"), self, 0));
    EXPECT_EQ(Fields({"p::q::r", "p", "q", "r"}), self);
}

} // namespace
