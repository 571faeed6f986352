// Arbitrary bytes as an XML document, through both parse forms (the in-place
// one and the copying one), the queries and the writer. The reading must be
// the reference parser's: the same result, tree and printed reason. Parsing must fail
// cleanly, leaving the root empty, or give a tree no deeper than the nesting
// limit; a parsed tree must write and re-parse without fault. The writer's
// quirks (data written as it stands) mean the second parse may fail, which is
// not a finding.
#include "IO/XML.h"
#include "Support/ReferenceXML.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>
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

// Parses, catching what the parse prints on standard output.
bool ParsePrinting(Core::IO::XMLDocument& doc, std::string& text, std::string& printed)
{
    char* buffer = nullptr;
    std::size_t length = 0;
    FILE* const caught = open_memstream(&buffer, &length);
    FILE* const saved = stdout;
    stdout = caught;
    const bool parsed = doc.ParseString(text);
    stdout = saved;
    std::fclose(caught);
    printed.assign(buffer, length);
    std::free(buffer);
    return parsed;
}

void Check(const std::string& text)
{
    Core::IO::XMLDocument doc;
    // The in-place form rewrites the string, so it gets its own copy.
    std::string inPlace = text;
    std::string printed;
    const bool parsed = ParsePrinting(doc, inPlace, printed);
    // The reference stops at a zero byte and has no depth limit; the library
    // rejects both before reading.
    if (text.find('\0') == std::string::npos && printed.find("nested too deeply") == std::string::npos)
    {
        const CoreTest::ReferenceXML reference = CoreTest::ParseReferenceXML(text);
        const std::string expected =
            reference.error.empty() ? ""
                                    : "XMLDocument::Parse: error parsing xml document: '" + reference.error + "' \n";
        if (parsed != reference.parsed || printed != expected || inPlace != reference.text ||
            !CoreTest::SameXMLTree(reference.root, doc.RootNode()))
            std::abort();
        // Read again into the previous input's tree, whose nodes it reuses.
        static Core::IO::XMLDocument used;
        inPlace = text;
        if (ParsePrinting(used, inPlace, printed) != parsed || !CoreTest::SameXMLTree(reference.root, used.RootNode()))
            std::abort();
    }
    if (!parsed && (!doc.RootNode().Children().empty() || !doc.RootNode().Attributes().empty()))
        std::abort();
    // The copying form stops at the first zero byte, which the other rejects.
    Core::IO::XMLDocument copied;
    if (copied.ParseString(text.c_str()) != parsed && text.find('\0') == std::string::npos)
        std::abort();
    if (!parsed)
        return;
    // The root adds one level above the document's elements.
    if (Depth(doc.RootNode()) > Core::IO::XMLDocument::MAX_DEPTH + 1)
        std::abort();

    // Paths made of the text's own pieces reach into the tree.
    doc.FindValue("a/b//c", "");
    doc.FindValue(text.substr(0, 64), "");
    const std::string& first = doc.RootNode().Children().front().Name();
    doc.FindValue(first + "/" + first + "//" + first, "");
    doc.RootNode().FindByName(first);
    const Core::IO::XMLNode copy = doc.RootNode();

    Core::IO::XMLDocument again;
    again.ParseString(doc.GetXML());
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
