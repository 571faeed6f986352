// Arbitrary bytes as an XML document: parsing must fail cleanly or give a tree
// no deeper than the nesting limit, and a parsed tree must write and re-parse
// without fault.
#include "IO/XML.h"

#include <cstdint>
#include <cstdlib>
#include <string>

namespace
{

unsigned int Depth(const Core::IO::XMLNode& node)
{
    unsigned int deepest = 0;
    for (const Core::IO::XMLNode& child : node.Children())
    {
        const unsigned int depth = Depth(child);
        deepest = depth > deepest ? depth : deepest;
    }
    return deepest + 1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string text(reinterpret_cast<const char*>(data), size);
    Core::IO::XMLDocument doc;
    if (!doc.ParseString(text))
        return 0;
    // The root adds one level above the document's elements.
    if (Depth(doc.RootNode()) > Core::IO::XMLDocument::MAX_DEPTH + 1)
        std::abort();
    Core::IO::XMLDocument again;
    again.ParseString(doc.GetXML());
    doc.FindValue("a/b//c", "");
    return 0;
}
