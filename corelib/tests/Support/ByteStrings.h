// Byte sequences written out in tests: build them from a list of values and
// print them as hex so that a failed comparison shows which byte differs.
#ifndef CORELIB_TESTS_SUPPORT_BYTESTRINGS_H
#define CORELIB_TESTS_SUPPORT_BYTESTRINGS_H

#include <initializer_list>
#include <string>

namespace CoreTest
{

// The bytes with the given values, e.g. Bytes({0x5A, 0xA5}).
inline std::string Bytes(std::initializer_list<unsigned int> values)
{
    std::string bytes;
    for (unsigned int v : values)
        bytes += static_cast<char>(v);
    return bytes;
}

// "5A A5 00": each byte as two upper-case hex digits, separated by spaces.
inline std::string Hex(const std::string& bytes)
{
    static const char kDigits[] = "0123456789ABCDEF";
    std::string hex;
    for (unsigned char c : bytes)
    {
        if (!hex.empty())
            hex += ' ';
        hex += kDigits[c >> 4];
        hex += kDigits[c & 0x0F];
    }
    return hex;
}

} // namespace CoreTest

#endif
