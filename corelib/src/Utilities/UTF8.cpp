#include "Utilities/UTF8.h"

#include "Utilities/StringUtilities.h"

#include <algorithm>
#include <climits>

namespace Core
{
namespace Utilities
{

namespace
{

// A start or count of INT_MAX in UnicodeToUTF8 stands for "the default".
const int kWholeRange = INT_MAX;

bool IsContinuation(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

// The number of bytes that follow a lead byte; -1 for a byte that cannot lead.
int FollowingBytes(unsigned char lead)
{
    if (lead < 0x80)
        return 0;
    if ((lead & 0xE0) == 0xC0)
        return 1;
    if ((lead & 0xF0) == 0xE0)
        return 2;
    if ((lead & 0xF8) == 0xF0)
        return 3;
    return -1;
}

// Replaces each occurrence of entity by character. The search resumes just
// after each replacement, so the new character never starts a match; building
// a new string keeps this linear in the length of long texts.
std::string ReplaceEntity(const std::string& text, const std::string& entity, char character)
{
    std::string result;
    result.reserve(text.size());
    size_t from = 0;
    size_t found;
    while ((found = text.find(entity, from)) != std::string::npos)
    {
        result.append(text, from, found - from);
        result += character;
        from = found + entity.size();
    }
    result.append(text, from, std::string::npos);
    return result;
}

} // namespace

int StringLengthUTF8(const std::string& text)
{
    return static_cast<int>(std::count_if(text.begin(), text.end(),
                                          [](char c) { return !IsContinuation(static_cast<unsigned char>(c)); }));
}

std::vector<unsigned int> UTF8ToUnicode(const std::string& text)
{
    static const unsigned int kLeadMask[] = {0x7F, 0x1F, 0x0F, 0x07};
    std::vector<unsigned int> codePoints;
    const size_t size = text.size();
    size_t i = 0;
    while (i < size)
    {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        const int following = FollowingBytes(lead);
        if (following < 0)
        {
            ++i;
            continue;
        }
        // The text is expected to be complete: a cut-off sequence ends it.
        if (size - i <= static_cast<size_t>(following))
            break;
        unsigned int codePoint = lead & kLeadMask[following];
        for (int k = 1; k <= following; ++k)
            codePoint = (codePoint << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3Fu);
        codePoints.push_back(codePoint);
        i += static_cast<size_t>(following) + 1;
    }
    return codePoints;
}

std::string UnicodeToUTF8(unsigned int codePoint)
{
    std::string bytes;
    if (codePoint < 0x80)
    {
        bytes += static_cast<char>(codePoint);
    }
    else if (codePoint <= 0x7FF)
    {
        bytes += static_cast<char>(0xC0 | (codePoint >> 6));
        bytes += static_cast<char>(0x80 | (codePoint & 0x3F));
    }
    else if (codePoint <= 0xFFFF)
    {
        bytes += static_cast<char>(0xE0 | (codePoint >> 12));
        bytes += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        bytes += static_cast<char>(0x80 | (codePoint & 0x3F));
    }
    else if (codePoint <= 0x10FFFF)
    {
        bytes += static_cast<char>(0xF0 | (codePoint >> 18));
        bytes += static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
        bytes += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        bytes += static_cast<char>(0x80 | (codePoint & 0x3F));
    }
    return bytes;
}

std::string UnicodeToUTF8(const std::vector<unsigned int>& codePoints, int start, int count)
{
    const long long size = static_cast<long long>(codePoints.size());
    // The start default is resolved first: the count default depends on it.
    const long long from = (start == kWholeRange) ? 0 : start;
    const long long length = (count == kWholeRange) ? size - from : count;
    const long long first = std::max<long long>(from, 0);
    const long long end = std::min<long long>(from + length, size);
    std::string text;
    for (long long i = first; i < end; ++i)
        text += UnicodeToUTF8(codePoints[static_cast<size_t>(i)]);
    return text;
}

std::string UnicodeToUTF8(const std::string& latin1)
{
    std::string text;
    text.reserve(latin1.size() * 2);
    for (char c : latin1)
    {
        const unsigned char byte = static_cast<unsigned char>(c);
        if (byte < 0x80)
        {
            text += c;
        }
        else
        {
            // Latin-1 is the first 256 code points, so this is their 2-byte encoding.
            text += static_cast<char>(0xC0 | (byte >> 6));
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return text;
}

std::string SubStringUTF8(const std::string& text, int characters)
{
    if (text.size() < 2)
        return text;
    if (characters < 1)
        return "";
    // The first byte begins character 1 even when it is a continuation byte.
    int character = 1;
    for (size_t i = 1; i < text.size(); ++i)
    {
        if (IsContinuation(static_cast<unsigned char>(text[i])))
            continue;
        if (++character > characters)
            return text.substr(0, i);
    }
    return text;
}

std::string MergeUTF8Strings(const std::string& first, const std::string& second, EStringMergeType type, int width)
{
    const std::vector<unsigned int> left = UTF8ToUnicode(type == STRING_MERGE_SECOND_FIRST ? second : first);
    const std::vector<unsigned int> right = UTF8ToUnicode(type == STRING_MERGE_SECOND_FIRST ? first : second);
    const long long used = static_cast<long long>(left.size()) + static_cast<long long>(right.size());
    const long long pad = std::max<long long>(static_cast<long long>(width) - used, 0);

    std::vector<unsigned int> merged(left);
    merged.insert(merged.end(), static_cast<size_t>(pad), 0x20u);
    merged.insert(merged.end(), right.begin(), right.end());
    return UnicodeToUTF8(merged, 0, static_cast<int>(merged.size()));
}

std::string HTMLEscape(const std::string& text)
{
    std::string escaped;
    escaped.reserve(text.size());
    for (char c : text)
    {
        switch (c)
        {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

std::string HTMLEscapeAntithesis(const std::string& text)
{
    const std::string angles = ReplaceEntity(ReplaceEntity(text, "&lt;", '<'), "&gt;", '>');
    // "&amp;" comes last so that an escaped entity such as "&amp;lt;" keeps its
    // own escaping and is not unescaped twice.
    return ReplaceEntity(ReplaceEntity(angles, "&quot;", '"'), "&amp;", '&');
}

std::string HTMLCanonicalEscape(const std::string& text)
{
    return HTMLEscape(StringCanonicalForm(text));
}

std::string HTMLCanonicalEscapeAntithesis(const std::string& text)
{
    return HTMLEscapeAntithesis(StringCanonicalForm(text));
}

} // namespace Utilities
} // namespace Core
