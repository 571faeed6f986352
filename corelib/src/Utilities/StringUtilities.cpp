#include "Utilities/StringUtilities.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <locale.h>

namespace Core
{
namespace Utilities
{

namespace
{

// The C locale as an object, so conversions ignore whatever global locale the
// application has set (a decimal comma would otherwise leak into numbers).
locale_t ClassicLocale()
{
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
    return locale;
}

// isspace of the C locale, without the sign trouble of a plain char argument.
bool IsSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

char ToLower(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

char ToUpper(char c)
{
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

// strtol in base, clamped to the int range as on a host whose long is 32 bits.
bool ParseLong(const std::string& text, int base, int& value)
{
    const char* start = text.c_str();
    char* end = nullptr;
    const long parsed = strtol_l(start, &end, base, ClassicLocale());
    value = static_cast<int>(std::min<long>(std::max<long>(parsed, INT_MIN), INT_MAX));
    return end != start;
}

// Digits of value in radix; the one digit loop behind both unsigned formatters.
std::string FormatUnsigned(unsigned long long value, int radix)
{
    static const char kDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    if (radix < 1 || radix > 36)
        radix = 10;
    if (value == 0)
        return "0";
    // Radix 1 cannot shorten the value; the caller error yields no digits.
    if (radix == 1)
        return "";
    std::string digits;
    while (value != 0)
    {
        digits += kDigits[value % static_cast<unsigned>(radix)];
        value /= static_cast<unsigned>(radix);
    }
    std::reverse(digits.begin(), digits.end());
    return digits;
}

// Position of the first or last separator; npos when there is none.
template <typename Separator>
size_t FindSeparator(const std::string& text, const Separator& separator, bool last)
{
    return last ? text.rfind(separator) : text.find(separator);
}

size_t SeparatorLength(char)
{
    return 1;
}

size_t SeparatorLength(const std::string& separator)
{
    return separator.size();
}

// The two-way split behind all four public forms. Both pieces are built before
// either output is assigned, because head or tail may alias text.
template <typename Separator>
bool SplitAt(const std::string& text, const Separator& separator, bool last, std::string& head, std::string& tail)
{
    const size_t position = FindSeparator(text, separator, last);
    if (position == std::string::npos)
        return false;
    std::string newHead = text.substr(0, position);
    std::string newTail = text.substr(position + SeparatorLength(separator));
    head.swap(newHead);
    tail.swap(newTail);
    return true;
}

template <typename Separator>
bool SplitIntoList(const std::string& text, const Separator& separator, std::vector<std::string>& fields,
                   int maxFields)
{
    const size_t separatorLength = SeparatorLength(separator);
    if (separatorLength == 0)
        return false;
    // A text that is itself one of the fields would move when the list grows.
    const std::less<const std::string*> before;
    if (!fields.empty() && !before(&text, fields.data()) && before(&text, fields.data() + fields.size()))
    {
        const std::string copy = text;
        return SplitIntoList(copy, separator, fields, maxFields);
    }
    // Walks a position along the text instead of re-splitting the tail, so a
    // line of many fields costs linear time; the pieces are those of repeated
    // two-way splits.
    size_t hit = text.find(separator);
    if (hit == std::string::npos)
        return false;
    fields.push_back(text.substr(0, hit));
    size_t start = hit + separatorLength;
    // The first split already made two fields, which is why a limit of 1 acts as 2.
    for (int count = 2; maxFields < 1 || count < maxFields; ++count)
    {
        hit = text.find(separator, start);
        if (hit == std::string::npos)
            break;
        fields.push_back(text.substr(start, hit - start));
        start = hit + separatorLength;
    }
    fields.push_back(text.substr(start));
    return true;
}

} // namespace

bool ParseInt(const std::string& text, int& value)
{
    const bool hexadecimal = text.compare(0, 2, "0x") == 0;
    return ParseLong(text, hexadecimal ? 16 : 10, value);
}

bool ParseInt(const std::string& text, int base, int& value)
{
    if (base != 0 && (base < 2 || base > 36))
        base = 10;
    return ParseLong(text, base, value);
}

bool ParseDouble(const std::string& text, double& value)
{
    const char* start = text.c_str();
    char* end = nullptr;
    value = strtod_l(start, &end, ClassicLocale());
    return end != start;
}

bool ParseFloat(const std::string& text, float& value)
{
    const char* start = text.c_str();
    char* end = nullptr;
    value = strtof_l(start, &end, ClassicLocale());
    return end != start;
}

std::string FormatInt(unsigned int value, int radix)
{
    return FormatUnsigned(value, radix);
}

std::string FormatLongLongInt(unsigned long long value, int radix)
{
    return FormatUnsigned(value, radix);
}

std::string FormatInt(int value)
{
    // The magnitude is taken in unsigned arithmetic so that INT_MIN has one.
    if (value < 0)
        return "-" + FormatUnsigned(0u - static_cast<unsigned int>(value), 10);
    return FormatUnsigned(static_cast<unsigned int>(value), 10);
}

std::string FormatLongLongInt(long long value)
{
    // Only the low 32-bit word is printed; negation in unsigned 64-bit
    // arithmetic keeps LLONG_MIN defined.
    if (value < 0)
        return "-" + FormatUnsigned(static_cast<unsigned int>(0ull - static_cast<unsigned long long>(value)), 10);
    return FormatUnsigned(static_cast<unsigned int>(value), 10);
}

std::string FormatDouble(double value, int decimals)
{
    // printf reads the decimal point from the thread's locale: switch this
    // thread to the C locale for the conversion only.
    const locale_t previous = uselocale(ClassicLocale());
    char small[64];
    const int length = std::snprintf(small, sizeof small, "%.*f", decimals, value);
    std::string text;
    if (length >= 0 && static_cast<size_t>(length) < sizeof small)
    {
        text.assign(small, static_cast<size_t>(length));
    }
    else if (length > 0)
    {
        text.resize(static_cast<size_t>(length) + 1);
        std::snprintf(&text[0], text.size(), "%.*f", decimals, value);
        text.resize(static_cast<size_t>(length));
    }
    uselocale(previous);
    return text;
}

std::string ltrim(const std::string& text)
{
    const auto first = std::find_if_not(text.begin(), text.end(), IsSpace);
    return std::string(first, text.end());
}

std::string rtrim(const std::string& text)
{
    const auto last = std::find_if_not(text.rbegin(), text.rend(), IsSpace);
    return std::string(text.begin(), last.base());
}

std::string trim(const std::string& text)
{
    return ltrim(rtrim(text));
}

std::string StringToLower(const std::string& text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), ToLower);
    return result;
}

std::string StringToUpper(const std::string& text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), ToUpper);
    return result;
}

std::string StringCanonicalForm(const std::string& text)
{
    const std::string trimmed = trim(text);
    std::string result;
    result.reserve(trimmed.size());
    bool inSpace = false;
    for (char c : trimmed)
    {
        if (IsSpace(c))
        {
            inSpace = true;
            continue;
        }
        // Trimming guarantees a word follows every run, so the space is never trailing.
        if (inSpace)
            result += ' ';
        inSpace = false;
        result += c;
    }
    return result;
}

std::string RemoveAll(const std::string& text, const std::string& characters)
{
    std::string result;
    result.reserve(text.size());
    for (char c : text)
    {
        if (characters.find(c) == std::string::npos)
            result += c;
    }
    return result;
}

bool CaseInsensitiveStringCompare(const std::string& a, const std::string& b)
{
    const std::string lowerA = StringToLower(a);
    const std::string lowerB = StringToLower(b);
    const size_t common = std::min(lowerA.size(), lowerB.size());
    const int order = std::memcmp(lowerA.data(), lowerB.data(), common);
    if (order != 0)
        return order < 0;
    return lowerA.size() < lowerB.size();
}

bool SplitString(const std::string& text, char separator, std::string& head, std::string& tail)
{
    return SplitAt(text, separator, false, head, tail);
}

bool SplitString(const std::string& text, const std::string& separator, std::string& head, std::string& tail)
{
    return SplitAt(text, separator, false, head, tail);
}

bool RSplitString(const std::string& text, char separator, std::string& head, std::string& tail)
{
    return SplitAt(text, separator, true, head, tail);
}

bool RSplitString(const std::string& text, const std::string& separator, std::string& head, std::string& tail)
{
    return SplitAt(text, separator, true, head, tail);
}

bool SplitString(const std::string& text, char separator, std::vector<std::string>& fields, int maxFields)
{
    return SplitIntoList(text, separator, fields, maxFields);
}

bool SplitString(const std::string& text, const std::string& separator, std::vector<std::string>& fields,
                 int maxFields)
{
    return SplitIntoList(text, separator, fields, maxFields);
}

} // namespace Utilities
} // namespace Core
