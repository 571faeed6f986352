// Feeds arbitrary bytes to the string and UTF-8 utilities. No input may crash,
// hang or read outside its string, and the invariants checked below must hold.
// The first byte is a small signed parameter (field limit, radix, character
// count, width); the rest is the text.
#include "Utilities/StringUtilities.h"
#include "Utilities/UTF8.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

using namespace Core::Utilities;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const int parameter = static_cast<int8_t>(data[0]);
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);

    int integer = 0;
    double real = 0;
    float single = 0;
    ParseInt(text, integer);
    ParseInt(text, parameter, integer);
    ParseDouble(text, real);
    ParseFloat(text, single);
    unsigned long long word = 0;
    std::memcpy(&word, text.data(), std::min(text.size(), sizeof word));
    // Radix 1 is a caller error with a defined result; every radix must return.
    FormatLongLongInt(word, parameter);
    FormatLongLongInt(static_cast<long long>(word));
    FormatInt(static_cast<int>(word));
    FormatDouble(real, parameter & 31);

    const std::string canonical = StringCanonicalForm(text);
    if (canonical != trim(canonical) || canonical.find("  ") != std::string::npos)
        std::abort();
    if (CaseInsensitiveStringCompare(text, text))
        std::abort();
    std::string head, tail;
    std::vector<std::string> fields;
    const std::string separator = text.substr(0, static_cast<size_t>(parameter & 3));
    if (SplitString(text, separator, fields, parameter) && separator.empty())
        std::abort();
    if (!text.empty() && !SplitString(text, text[0], fields, parameter))
        std::abort();
    RSplitString(text, separator, head, tail);

    const std::vector<unsigned int> codePoints = UTF8ToUnicode(text);
    if (codePoints.size() > static_cast<size_t>(StringLengthUTF8(text)))
        std::abort();
    const std::string cut = SubStringUTF8(text, parameter);
    if (text.compare(0, cut.size(), cut) != 0)
        std::abort();
    UnicodeToUTF8(codePoints, parameter, parameter & 7);
    UnicodeToUTF8(text);
    MergeUTF8Strings(text, cut, static_cast<EStringMergeType>(parameter & 1), parameter & 63);
    if (HTMLEscapeAntithesis(HTMLEscape(text)) != text)
        std::abort();
    HTMLCanonicalEscape(text);
    HTMLCanonicalEscapeAntithesis(text);
    return 0;
}
