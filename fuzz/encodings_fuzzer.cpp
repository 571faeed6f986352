// Arbitrary text through the Ascii85 decoder and arbitrary bytes through both
// encoders. Decoding must stay inside the text, and encoding must round-trip:
// whatever groups a text decodes to, their encoding decodes to the same groups,
// and the encoding of bytes decodes to their whole 4-byte groups.
#include "IO/DataBuffer.h"
#include "IO/Encodings.h"

#include <cstdint>
#include <cstdlib>
#include <string>

using Core::IO::CAscii85;
using Core::IO::CBase64;
using Core::IO::CDataBuffer;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);

    const CDataBuffer decoded = CAscii85::Decode(text);
    if (decoded.Length() % 4 != 0)
        std::abort();
    if (CAscii85::Decode(CAscii85::Encode(decoded)).ToString() != decoded.ToString())
        std::abort();

    const CDataBuffer bytes(text);
    const std::string whole = text.substr(0, text.size() - text.size() % 4);
    if (CAscii85::Decode(CAscii85::Encode(bytes)).ToString() != whole)
        std::abort();
    CBase64::Encode(bytes);
    return 0;
}
