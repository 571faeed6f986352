// String utilities: number parsing and formatting, trimming, case folding and
// splitting for configuration values, sentence fields, logs and file names.
// Every function works on bytes in the C locale, whatever the process's global
// locale is; multi-byte text is handled by Utilities/UTF8.h.
// Threading: stateless; any function may be called from any thread.
#ifndef CORELIB_UTILITIES_STRINGUTILITIES_H
#define CORELIB_UTILITIES_STRINGUTILITIES_H

#include <string>
#include <vector>

namespace Core
{
namespace Utilities
{

// ---- Parsing -------------------------------------------------------------
// Each parser always stores the converted value, also on failure (then 0).
// It succeeds when the conversion consumed at least one character: leading
// white space is skipped and trailing text ignored ("12abc" gives 12 and true).

// Base 16 when the text begins with exactly "0x" (lower-case x, at position 0),
// otherwise base 10; so " 0x1F" and "0X1F" give 0 and true (the "0" is consumed).
// A result outside the int range is clamped to INT_MIN or INT_MAX.
bool ParseInt(const std::string& text, int& value);
// Base as given when it is 0 or 2..36, otherwise 10. Base 0 takes a leading
// "0x" as hexadecimal and a leading "0" as octal. Clamped like the form above.
bool ParseInt(const std::string& text, int base, int& value);
// Decimal point '.', as in the C locale; out-of-range values clamp to ±HUGE_VAL.
bool ParseDouble(const std::string& text, double& value);
bool ParseFloat(const std::string& text, float& value);

// ---- Formatting ----------------------------------------------------------
// Digits of value in radix (alphabet 0-9 then A-Z), most significant first, no
// sign, prefix or padding; 0 gives "0". A radix outside 1..36 is replaced by 10.
// Requires: radix is not 1 (a caller error; a non-zero value then gives "").
std::string FormatInt(unsigned int value, int radix);
std::string FormatLongLongInt(unsigned long long value, int radix);
// Decimal with a leading "-" for negative values; INT_MIN prints correctly.
std::string FormatInt(int value);
// Decimal of the low 32 bits only: "-" and the negated low word for a negative
// value, otherwise the low word (5000000000 prints "705032704", -4294967296
// prints "-0"). Use FormatLongLongInt(unsigned long long, int) for full range.
std::string FormatLongLongInt(long long value);
// The text of printf's "%.*f" with the given number of decimals in the C locale
// (decimal point '.', no point when decimals is 0, "-0.00" for -0.001 with 2,
// "nan", "inf" and "-inf" as printf writes them).
std::string FormatDouble(double value, int decimals);

// ---- Trimming and case ---------------------------------------------------
// White space is the C locale's: space, \t, \n, \v, \f and \r.

// Without leading white space.
std::string ltrim(const std::string& text);
// Without trailing white space.
std::string rtrim(const std::string& text);
// Without leading and trailing white space.
std::string trim(const std::string& text);
// ASCII letters folded; every other byte unchanged.
std::string StringToLower(const std::string& text);
std::string StringToUpper(const std::string& text);
// Trimmed, with every inner run of white space replaced by one ' '.
std::string StringCanonicalForm(const std::string& text);
// text without every byte that occurs anywhere in characters (a set of bytes).
std::string RemoveAll(const std::string& text, const std::string& characters);

// ---- Comparison ----------------------------------------------------------
// Strict less-than of the lower-cased strings, bytes compared as unsigned and a
// proper prefix first; equal strings give false. For ordered containers and
// sorting; it is not an equality test.
bool CaseInsensitiveStringCompare(const std::string& a, const std::string& b);

// ---- Splitting -----------------------------------------------------------
// Two-way splits at the first (SplitString) or last (RSplitString) occurrence of
// separator: head is the text before it, tail the text after it. They return
// false and leave both outputs untouched when separator does not occur. head or
// tail may be the same object as text.
// Requires: a separator string is not empty.
bool SplitString(const std::string& text, char separator, std::string& head, std::string& tail);
bool SplitString(const std::string& text, const std::string& separator, std::string& head, std::string& tail);
bool RSplitString(const std::string& text, char separator, std::string& head, std::string& tail);
bool RSplitString(const std::string& text, const std::string& separator, std::string& head, std::string& tail);

// Splits text at every separator and appends the fields to fields (which is not
// cleared), keeping empty fields: "a,,b" gives "a", "", "b". With maxFields of 2
// or more the last field holds the unsplit rest ("a,b,c,d" with 3 gives "a",
// "b", "c,d"); 1 behaves as 2 and 0 or less means no limit. Returns false and
// appends nothing when separator does not occur at all, and for an empty
// separator string (a caller error: it would split off empty fields for ever).
bool SplitString(const std::string& text, char separator, std::vector<std::string>& fields, int maxFields);
bool SplitString(const std::string& text, const std::string& separator, std::vector<std::string>& fields,
                 int maxFields);

} // namespace Utilities
} // namespace Core

#endif
