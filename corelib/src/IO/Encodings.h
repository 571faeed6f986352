// Text encodings of the bytes of a CDataBuffer: standard Base64 (encoding
// only) and a bare Ascii85 form made of whole 4-byte groups, without
// delimiters or line breaks. Both classes are stateless; every operation is
// static and may also be called through an object.
// Threading: any thread, except that one buffer must not be encoded from two
// threads at once (CAscii85::Encode moves the buffer's read cursor).
#ifndef CORELIB_IO_ENCODINGS_H
#define CORELIB_IO_ENCODINGS_H

#include "IO/DataBuffer.h"

#include <string>

namespace Core
{
namespace IO
{

class CBase64
{
public:
    // The 64 digit characters, in value order (the RFC 4648 alphabet).
    static const std::string Base64Code;

    // The Base64 text of all Length() bytes of data, with '=' padding and no
    // line breaks. Reads by index: the read cursor is neither used nor moved.
    static std::string Encode(const CDataBuffer& data);
};

// The bare Ascii85 form: whole 4-byte groups, no delimiters, no line breaks.
class CAscii85
{
public:
    // A group is a 32-bit value written as five digits, most significant
    // first, each digit plus kDigitBase ('!'); the value 0 is the single 'z'.
    static const unsigned char kDigitBase = 33;
    // The single character that stands for a zero group.
    static const char kZeroGroup = 'z';

    // The text of the buffer's whole 4-byte groups, read with GetUInt32 from
    // the read cursor (so in the buffer's byte order); 1 to 3 trailing bytes are
    // not encoded. Requires: the cursor at the start; otherwise the reads run
    // out, the buffer's error flag is set and the last group read repeats.
    static std::string Encode(const CDataBuffer& data);
    // The decoded groups in a new big-endian buffer. Every character counts
    // (white space is not skipped); a 'z' stands for a zero group only where a
    // group begins; an incomplete final group is dropped; invalid characters
    // decode to arbitrary values.
    static CDataBuffer Decode(const std::string& text);
    // Appends one group for v to out.
    static void EncodeInt(unsigned int v, std::string& out);
    // The value of five digit characters, taken as unsigned bytes, in unsigned
    // 32-bit arithmetic that wraps without a check. Requires: five readable characters.
    static unsigned int DecodeInt(const char* five);
};

} // namespace IO
} // namespace Core

#endif
