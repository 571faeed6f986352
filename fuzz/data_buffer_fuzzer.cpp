// The byte buffer's reads driven by the input. The first byte chooses the
// byte order and whether the buffer borrows the bytes; the next byte says how
// many of the following bytes are operations; the rest is the buffer's data.
// Each operation is one read, cursor move or copy; some take the following
// operation byte as their argument. No sequence may read outside the data,
// and the documented results of failed reads must hold.
#include "IO/DataBuffer.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

using Core::IO::CDataBuffer;

namespace
{

// A fixed-width read that fails must leave the cursor where it was.
template <typename Read>
void CheckedRead(const CDataBuffer& buffer, unsigned int width, Read read)
{
    const unsigned int before = buffer.Tell();
    const bool enough = before <= buffer.Length() && buffer.Length() - before >= width;
    const bool ok = read();
    if (ok != enough || (!ok && (buffer.Tell() != before || !buffer.InError())) ||
        (ok && buffer.Tell() != before + width))
        std::abort();
}

void Run(CDataBuffer& buffer, const std::uint8_t* ops, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
    {
        const unsigned int argument = i + 1 < count ? ops[i + 1] : 0;
        unsigned char u8;
        unsigned short u16;
        unsigned int u32;
        unsigned long long u64;
        double d;
        std::string s;
        switch (ops[i] % 13)
        {
        case 0: CheckedRead(buffer, 1, [&] { return buffer.GetUInt8(u8); }); break;
        case 1: CheckedRead(buffer, 2, [&] { return buffer.GetUInt16(u16); }); break;
        case 2: CheckedRead(buffer, 4, [&] { return buffer.GetUInt32(u32); }); break;
        case 3: CheckedRead(buffer, 8, [&] { return buffer.GetUInt64(u64); }); break;
        case 4: CheckedRead(buffer, 8, [&] { return buffer.GetDouble(d); }); break;
        case 5: buffer.GetPackedUInt32(); break;
        case 6: buffer.GetPackedInt32(); break;
        case 7:
        {
            std::vector<char> text(argument + 1);
            buffer.GetString(text.data(), static_cast<unsigned int>(text.size()));
            ++i;
            break;
        }
        case 8: buffer.GetString(s); break;
        case 9:
        {
            std::vector<unsigned char> bytes(argument);
            buffer.GetData(bytes.data(), argument);
            ++i;
            break;
        }
        case 10: buffer.GetFixedString(s, argument); ++i; break;
        case 11: buffer.SeekTo(argument); ++i; break;
        case 12:
            buffer.Skip(argument);
            ++i;
            break;
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    const auto order = static_cast<CDataBuffer::Endianness>(data[0] & 1);
    const bool borrow = (data[0] & 2) != 0;
    const std::size_t count = data[1] < size - 2 ? data[1] : size - 2;
    const std::uint8_t* ops = data + 2;
    std::vector<unsigned char> bytes(data + 2 + count, data + size);

    CDataBuffer buffer(bytes.data(), static_cast<unsigned int>(bytes.size()), borrow, order);
    Run(buffer, ops, count);
    // A copy and a moved-to buffer read the same way as the original.
    const CDataBuffer copy(buffer, borrow);
    CDataBuffer original(bytes.data(), static_cast<unsigned int>(bytes.size()), false, order);
    CDataBuffer moved(std::move(original));
    Run(moved, ops, count);
    if (copy.ToString() != buffer.ToString() || moved.ToString() != buffer.ToString())
        std::abort();
    return 0;
}
