// Builds NMEA test sentences the way a receiver frames them.
#ifndef CORELIB_TESTS_IO_NMEASENTENCES_H
#define CORELIB_TESTS_IO_NMEASENTENCES_H

#include <cstdio>
#include <string>

namespace CoreTest
{

// "$" + body + "*" + the XOR of the body's bytes as two upper-case hex digits + CR LF.
inline std::string Sentence(const std::string& body)
{
    unsigned sum = 0;
    for (unsigned char c : body)
        sum ^= c;
    char checksum[8];
    std::snprintf(checksum, sizeof(checksum), "*%02X\r\n", sum);
    return "$" + body + checksum;
}

} // namespace CoreTest

#endif
