// Internal to the library: not installed and not part of CoreLibrary.h.
// The one conversion between integers and their big-endian bytes, used by the
// byte buffer, the block file and the checksums. Byte by byte, so it needs no
// alignment and gives the same result on hosts of either byte order.
#ifndef CORELIB_IO_BYTEORDER_H
#define CORELIB_IO_BYTEORDER_H

namespace Core
{
namespace IO
{

// The unsigned value of the width bytes at p, most significant first.
// Requires: width <= 8 and p readable for width bytes.
inline unsigned long long LoadBigEndian(const unsigned char* p, unsigned int width)
{
    unsigned long long value = 0;
    for (unsigned int i = 0; i < width; ++i)
        value = value << 8 | p[i];
    return value;
}

// Stores the low width bytes of value at p, most significant first.
// Requires: width <= 8 and p writable for width bytes.
inline void StoreBigEndian(unsigned char* p, unsigned long long value, unsigned int width)
{
    for (unsigned int i = width; i-- > 0; value >>= 8)
        p[i] = static_cast<unsigned char>(value);
}

} // namespace IO
} // namespace Core

#endif
