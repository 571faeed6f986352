// UTF-8 text and code points: counting and cutting text by characters for
// fixed-width displays and labels, Latin-1 conversion, laying two strings out in
// a field, and escaping the four XML/HTML special characters.
// Nothing here validates its input: malformed UTF-8 is decoded by fixed rules,
// never reported, and never read beyond the end of the string.
// Threading: stateless; any function may be called from any thread.
#ifndef CORELIB_UTILITIES_UTF8_H
#define CORELIB_UTILITIES_UTF8_H

#include <string>
#include <vector>

namespace Core
{
namespace Utilities
{

// The order of the two strings in MergeUTF8Strings.
enum EStringMergeType : int
{
    STRING_MERGE_SECOND_FIRST = 0, // second, gap, first
    STRING_MERGE_FIRST_SECOND = 1  // first, gap, second
};

// The number of bytes that are not continuation bytes (10xxxxxx): the number of
// characters of well-formed text.
int StringLengthUTF8(const std::string& text);

// Decodes text byte by byte. A lead byte 110xxxxx, 1110xxxx or 11110xxx takes the
// next one, two or three bytes as they are (they are not checked to be
// continuation bytes; overlong forms and surrogates decode like any other).
// Continuation bytes where a character should begin, and bytes F8 to FF, are
// skipped. A sequence cut off by the end of the text ends the decoding and
// yields nothing.
std::vector<unsigned int> UTF8ToUnicode(const std::string& text);

// Encodes one code point in one to four bytes (surrogates included); a code
// point above 0x10FFFF gives "".
std::string UnicodeToUTF8(unsigned int codePoint);

// The concatenated encodings of codePoints[start] to codePoints[start + count - 1].
// A start of 2147483647 means 0, then a count of 2147483647 means up to the end.
// Indices outside the vector contribute nothing.
std::string UnicodeToUTF8(const std::vector<unsigned int>& codePoints, int start, int count);

// Converts ISO-8859-1 bytes to UTF-8 (every byte is one character).
std::string UnicodeToUTF8(const std::string& latin1);

// The first characters of text, cut before the byte that begins character
// characters + 1. The first byte always begins character 1, whatever it is, and
// every later byte that is not a continuation byte begins the next one. A text
// of fewer than two bytes is returned whole, whatever characters is; otherwise
// characters below 1 give "".
std::string SubStringUTF8(const std::string& text, int characters);

// first and second laid out in a field of width characters (decoded code
// points), with the gap between them filled by spaces; neither string is cut
// when the field is too narrow. STRING_MERGE_SECOND_FIRST puts second on the
// left; any other type puts first on the left. The result is re-encoded, so
// bytes the decoder skips are dropped.
std::string MergeUTF8Strings(const std::string& first, const std::string& second, EStringMergeType type, int width);

// '&', '<', '>' and '"' replaced by "&amp;", "&lt;", "&gt;" and "&quot;"; every
// other byte, the apostrophe included, copied.
std::string HTMLEscape(const std::string& text);

// Removes one level of HTMLEscape: "&lt;", "&gt;", "&quot;" and then "&amp;"
// are replaced, each in one left-to-right pass that resumes after its own
// replacement, so "&amp;lt;" gives "&lt;". No other entities are recognised.
std::string HTMLEscapeAntithesis(const std::string& text);

// HTMLEscape of the StringCanonicalForm of text (trimmed, inner white space one ' ').
std::string HTMLCanonicalEscape(const std::string& text);
// HTMLEscapeAntithesis of the StringCanonicalForm of text.
std::string HTMLCanonicalEscapeAntithesis(const std::string& text);

} // namespace Utilities
} // namespace Core

#endif
