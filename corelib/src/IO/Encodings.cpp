#include "IO/Encodings.h"

#include "IO/ByteOrder.h"

#include <cstring>

namespace Core
{
namespace IO
{

namespace
{

// A plain array, so that encoding works even before static strings are built.
const char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
// Every 12-bit value as its two Base64 characters, so that a group of three
// bytes becomes four characters in two look-ups.
struct Base64Pairs
{
    char pair[4096][2];
    Base64Pairs()
    {
        for (unsigned int i = 0; i < 4096; ++i)
        {
            pair[i][0] = kBase64Alphabet[i >> 6];
            pair[i][1] = kBase64Alphabet[i & 0x3F];
        }
    }
};
const unsigned int kAscii85Radix = 85;
const unsigned int kAscii85Digits = 5;

} // namespace

const std::string CBase64::Base64Code = kBase64Alphabet;

std::string CBase64::Encode(const CDataBuffer& data)
{
    const unsigned int n = data.Length();
    const unsigned char* bytes = data.Data();
    // Sized once and filled by index: four characters per group of three bytes.
    std::string text((static_cast<std::size_t>(n) + 2) / 3 * 4, '\0');
    char* out = &text[0];
    // Built on first use, so that encoding works even from static constructors.
    static const Base64Pairs pairs;
    unsigned int i = 0;
    for (; i + 3 <= n; i += 3, out += 4)
    {
        const unsigned int group = static_cast<unsigned int>(LoadBigEndian(bytes + i, 3));
        std::memcpy(out, pairs.pair[group >> 12], 2);
        std::memcpy(out + 2, pairs.pair[group & 0xFFF], 2);
    }
    if (i < n)
    {
        // One or two bytes left: positions beyond the end count as zero bytes,
        // and the characters made only of that zero fill become padding.
        const bool two = i + 1 < n;
        const unsigned int group = static_cast<unsigned int>(bytes[i]) << 16 |
                                   (two ? static_cast<unsigned int>(bytes[i + 1]) << 8 : 0u);
        out[0] = kBase64Alphabet[group >> 18];
        out[1] = kBase64Alphabet[(group >> 12) & 0x3F];
        out[2] = two ? kBase64Alphabet[(group >> 6) & 0x3F] : '=';
        out[3] = '=';
    }
    return text;
}

std::string CAscii85::Encode(const CDataBuffer& data)
{
    const unsigned int groups = data.Length() / 4;
    std::string text;
    text.reserve(static_cast<std::size_t>(groups) * kAscii85Digits);
    // Declared outside the loop: a failed read leaves the previous group's value.
    unsigned int value = 0;
    for (unsigned int i = 0; i < groups; ++i)
    {
        data.GetUInt32(value);
        EncodeInt(value, text);
    }
    return text;
}

CDataBuffer CAscii85::Decode(const std::string& text)
{
    CDataBuffer decoded(CDataBuffer::BigEndian, 256);
    decoded.Reserve(static_cast<unsigned int>(text.size() / kAscii85Digits * 4));
    char digits[kAscii85Digits];
    unsigned int count = 0;
    for (char c : text)
    {
        if (count == 0 && c == kZeroGroup)
        {
            decoded.Add(0u);
            continue;
        }
        digits[count++] = c;
        if (count == kAscii85Digits)
        {
            decoded.Add(DecodeInt(digits));
            count = 0;
        }
    }
    return decoded;
}

void CAscii85::EncodeInt(unsigned int v, std::string& out)
{
    if (v == 0)
    {
        out += kZeroGroup;
        return;
    }
    char digits[kAscii85Digits];
    for (unsigned int i = kAscii85Digits; i > 0; --i)
    {
        digits[i - 1] = static_cast<char>(v % kAscii85Radix + kDigitBase);
        v /= kAscii85Radix;
    }
    out.append(digits, kAscii85Digits);
}

unsigned int CAscii85::DecodeInt(const char* five)
{
    const unsigned char* digits = reinterpret_cast<const unsigned char*>(five);
    unsigned int v = digits[0] - static_cast<unsigned int>(kDigitBase);
    for (unsigned int i = 1; i < kAscii85Digits; ++i)
        v = v * kAscii85Radix + (digits[i] - static_cast<unsigned int>(kDigitBase));
    return v;
}

} // namespace IO
} // namespace Core
