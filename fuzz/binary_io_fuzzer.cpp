// Arbitrary bytes as a binary record file, read as a stream of values whose
// kinds the first byte picks in turn (integer, string, time). Reads must stop
// at the end of the bytes; a string must never come back longer than its
// limit or longer than the bytes that hold it. A negative stored length throws
// std::bad_alloc by design, which is an expected outcome here.
#include "IO/BinaryIO.h"
#include "Utilities/Time.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

using Core::IO::CBinaryIO;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    const unsigned int kinds = data[0];
    const int maxLength = data[1] * 16;
    std::vector<unsigned char> bytes(data + 2, data + size);
    FILE* file = fmemopen(bytes.data(), bytes.size(), "rb");
    if (file == nullptr)
        return 0;
    CBinaryIO reader(file);
    if (reader.GetFileSize() != static_cast<long>(bytes.size()))
        std::abort();
    try
    {
        for (unsigned int i = 0;; ++i)
        {
            int value = 0;
            std::string text;
            Core::Time time;
            bool ok = false;
            switch ((kinds >> (2 * (i % 4))) & 3)
            {
            case 0: ok = reader.ReadInt(value); break;
            case 1:
            case 2:
                ok = reader.ReadString(text, maxLength);
                if (ok && (static_cast<int>(text.size()) >= maxLength || text.size() > bytes.size()))
                    std::abort();
                break;
            case 3: ok = reader.ReadTime(time); break;
            }
            if (!ok)
                break;
            if (reader.GetFilePosition() > static_cast<long>(bytes.size()))
                std::abort();
        }
    }
    catch (const std::bad_alloc&)
    {
    }
    return 0;
}
