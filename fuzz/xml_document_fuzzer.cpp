// Arbitrary text through the XML parser, both the copying and the in-place
// form, then through the queries and the writer. No input may crash, hang or
// leak; a rejected text must leave the root empty. Writing the parsed tree
// and parsing the result again exercises the writer's escaping; the quirks of
// that escaping (data written as it stands) mean the second parse may fail,
// which is not a finding.
#include "IO/XML.h"

#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>

using Core::IO::XMLDocument;

namespace
{

void Check(const std::string& text)
{
    XMLDocument document;
    // The in-place form rewrites the string, so it gets its own copy.
    std::string inPlace = text;
    const bool parsed = document.ParseString(inPlace);
    if (!parsed && (!document.RootNode().Children().empty() || !document.RootNode().Attributes().empty()))
        std::abort();
    XMLDocument copied;
    if (copied.ParseString(text.c_str()) != parsed && text.find('\0') == std::string::npos)
        std::abort();
    if (!parsed)
        return;

    // Paths made of the text's own pieces reach into the tree.
    document.FindValue(text.substr(0, 64), "");
    const std::string& first = document.RootNode().Children().front().Name();
    document.FindValue(first + "/" + first + "//" + first, "");
    document.RootNode().FindByName(first);
    const Core::IO::XMLNode copy = document.RootNode();

    XMLDocument reparsed;
    reparsed.ParseString(document.GetXML());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try
    {
        Check(std::string(reinterpret_cast<const char*>(data), size));
    }
    catch (const std::bad_alloc&)
    {
        // A request over the fuzzer's allocation cap: an allowed outcome.
    }
    return 0;
}
