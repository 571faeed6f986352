#include "IO/XML.h"

#include "Support/ReferenceXML.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <unistd.h>

using Core::IO::XMLAttribute;
using Core::IO::XMLData;
using Core::IO::XMLDocument;
using Core::IO::XMLEndNode;
using Core::IO::XMLNode;
using Core::IO::XMLStartNode;

namespace
{

const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
const std::string kErrorPrefix = "XMLDocument::Parse: error parsing xml document: '";

// A one-line picture of a subtree: name, [attributes], ="data", {children};
// comments are marked with '!'.
std::string Describe(const XMLNode& node)
{
    std::string text = (node.Type() == Core::IO::XMLCommentNode ? "!" : "") + node.Name();
    for (const auto& attribute : node.Attributes())
        text += "[" + attribute.first + "=" + attribute.second + "]";
    if (!node.Data().empty())
        text += "=\"" + node.Data() + "\"";
    if (!node.Children().empty())
    {
        text += "{";
        for (const XMLNode& child : node.Children())
            text += Describe(child) + (&child == &node.Children().back() ? "" : ",");
        text += "}";
    }
    return text;
}

std::string Repeat(const std::string& piece, std::size_t times)
{
    std::string text;
    while (times-- > 0)
        text += piece;
    return text;
}

class XMLTest : public ::testing::Test
{
protected:
    XMLDocument doc;
    CoreTest::TempDir dir;
    std::string printed; // what the last Parse printed on standard output

    template <typename Parse> bool Capture(Parse parse)
    {
        ::testing::internal::CaptureStdout();
        const bool ok = parse();
        printed = ::testing::internal::GetCapturedStdout();
        return ok;
    }
    bool ParseText(std::string text) { return Capture([&] { return doc.ParseString(text); }); }
    bool ParseFile(const std::string& path) { return Capture([&] { return doc.Parse(path); }); }
    std::string Tree() const { return Describe(doc.RootNode()); }
    // Expects the parse to have failed with the message and an empty root.
    void ExpectRejected(const std::string& why)
    {
        EXPECT_EQ(0u, printed.rfind(kErrorPrefix, 0)) << why << ": printed " << printed;
        EXPECT_EQ("' \n", printed.substr(printed.size() < 3 ? 0 : printed.size() - 3)) << why;
        EXPECT_EQ("ROOT", Tree()) << why;
    }
};

TEST_F(XMLTest, WritesTheExactIndentedForm)
{
    doc << XMLStartNode("config") << XMLAttribute("name", "x\"y&z") << XMLAttribute("all", "<>'\"&")
        << XMLStartNode("empty") << XMLEndNode()
        << XMLStartNode("text") << XMLData("a&b") << XMLEndNode()
        << XMLStartNode("code") << XMLData("if a<b") << XMLEndNode()
        << XMLStartNode("quote") << XMLData("it's") << XMLEndNode()
        << XMLStartNode("mixed") << XMLData("lead") << XMLStartNode("inner") << XMLEndNode() << XMLEndNode();
    XMLNode& config = doc.RootNode().Children().front();
    config.AddComment("note");
    XMLNode& declaration = config.Children().emplace_back(&config, "", Core::IO::XMLDeclarationNode);
    declaration.AddAttribute("standalone", "yes");
    declaration.AddAttribute("encoding", "UTF-8");
    declaration.AddAttribute("version", "1.0");

    EXPECT_EQ(kDeclaration +
                  "<config all=\"&lt;&gt;&apos;&quot;&amp;\" name=\"x&quot;y&amp;z\">\n"
                  "  <empty />\n"
                  "  <text>a&b</text>\n"
                  "  <code><![CDATA[if a<b]]></code>\n"
                  "  <quote><![CDATA[it's]]></quote>\n"
                  "  <mixed>lead\n"
                  "    <inner />\n"
                  "  </mixed>\n"
                  "  <!-- note -->\n"
                  "  <?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n"
                  "</config>\n"
                  "\n",
              doc.GetXML());
    EXPECT_EQ(kDeclaration + "\n", XMLDocument().GetXML()) << "an empty document";
}

TEST_F(XMLTest, StreamCursorStopsAfterLeavingTheRootUntilPrepared)
{
    doc << XMLStartNode("a") << XMLStartNode("b") << XMLEndNode() << XMLEndNode() << XMLEndNode();
    doc << XMLStartNode("lost") << XMLData("x") << XMLAttribute("k", "v") << XMLEndNode();
    EXPECT_EQ("ROOT{a{b}}", Tree());
    doc.PrepareForWriting();
    doc << XMLStartNode("c") << XMLData("one") << XMLData("") << XMLData("two") << XMLAttribute("k", "1")
        << XMLAttribute("k", "2") << XMLEndNode();
    EXPECT_EQ("ROOT{a{b},c[k=2]=\"one\ntwo\"}", Tree());
}

TEST_F(XMLTest, ParsedTextPiecesJoinAndEntitiesTranslate)
{
    const std::string text = "\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!DOCTYPE a [<!ELEMENT a ANY>]>\n"
                             "<!-- top --><a k='1' k=\"2\" e=\"&lt;&amp;&#65;\">one<b/>two<![CDATA[<x>]]>"
                             "<!-- inside -->\n  <c>  spaced  </c>\n</a><z/>";
    // The second parse builds its tree out of the first one's nodes.
    for (int parse = 0; parse < 2; ++parse)
    {
        ASSERT_TRUE(ParseText(text));
        EXPECT_EQ("ROOT{a[e=<&A][k=2]=\"one\ntwo\n<x>\"{b,c=\"  spaced  \"},z}", Tree());
        EXPECT_EQ("", printed);
    }
    // A literal lives in read-only memory: entity translation must not write to it.
    EXPECT_TRUE(doc.ParseString("<a>&amp;</a>"));
    EXPECT_EQ("ROOT{a=\"&\"}", Tree());
    EXPECT_FALSE(doc.ParseString(static_cast<const char*>(nullptr)));
}

TEST_F(XMLTest, BadInputIsRejectedWithTheMessage)
{
    const unsigned int limit = XMLDocument::MAX_DEPTH;
    const struct
    {
        std::string text;
        const char* why;
    } cases[] = {
        {std::string("<a>one</a>\0<b/>", 15), "zero byte after a complete element"},
        {std::string("<a>x\0y</a>", 10), "zero byte inside data"},
        {"<a b=\"" + std::string(8 << 20, 'v'), "huge unterminated attribute"},
        {Repeat("<a>", limit + 1) + Repeat("</a>", limit + 1), "one level too deep"},
        {Repeat("<a\">", 100000), "deep names holding quotes"},
        {"<?>" + Repeat("<a>", limit + 1) + "?><z/>", "levels in an instruction whose '?>' the depth check sees"},
        {"<r>" + Repeat("<x></x<y>", limit + 1) + "</r>", "levels in closing names holding '<'"},
    };
    for (const auto& c : cases)
    {
        doc.RootNode().AddNode("stale");
        EXPECT_FALSE(ParseText(c.text)) << c.why;
        ExpectRejected(c.why);
    }

    EXPECT_FALSE(ParseText("")) << "no node at all";
    EXPECT_FALSE(ParseText("  \n<!-- only a comment -->"));
    EXPECT_EQ("", printed) << "an empty document is not a parse error";

    EXPECT_TRUE(ParseText(Repeat("<a>", limit) + Repeat("</a>", limit)));
    EXPECT_TRUE(ParseText(Repeat("<a/>", 100000) + Repeat("<b><!--<c>--><?p <d>?></b>", 10000)))
        << "siblings, comments and instructions do not count as nesting";

    const std::string value(8 << 20, 'v');
    ASSERT_TRUE(ParseText("<a b=\"" + value + "\"/>"));
    EXPECT_EQ(value.size(), doc.RootNode().Children().front().GetAttribute("b").size());
}

// Every corner of the grammar, read as the reference parser reads it: the
// same tree, or the same reason printed and an empty root. Each text is read
// into the tree of the one before, whose nodes and attributes it reuses.
TEST_F(XMLTest, ReadsEveryCornerAsTheReferenceParser)
{
    const std::string texts[] = {
        "<![CDATA[top]]><a/><b/>",
        "\xEF\xBB\xBF<a/>",
        "<a/>\xEF\xBB\xBF",
        "x<a/>",
        "</a>",
        "< a/>",
        "<a",
        "<a/",
        "<a b>",
        "<a b=c>",
        "<a b='c>",
        "<a x='1'y = \"2\"/>",
        "<a x='1''y'='2'/>",
        "<a></b>",
        "<a></>",
        "<a></a x>",
        "<a>t</a \n>",
        "<a>text",
        "<a>  text  <b/> \n </a>",
        "<a>one<!-- c -->two<?pi?>three</a>",
        "<a><![CDATA[]]>x<![CDATA[ <y> ]]></a>",
        "<?>",
        "<!--->",
        "<!----><a/>",
        "<!weird><a/>",
        "<!DOCTYPEa><a/>",
        "<!DOCTYPE a [ <!ENTITY x '>'> [nested] ]><a/>",
        "<!DOCTYPE a [ ]",
        "<a>&#1a;&#x;&#;</a>",
        "<a>&#X41;</a>",
        "<a>&#x110000;</a>",
        "<a k='0' z='0'><b/><c/><d/></a>",
        "<a k='1' k='2'><b/></a>",
        "<a z='3' k='4'><b k=''><c/></b><x/>y<y/></a>",
        "<a k='1'><b/></a>",
        "<![CDATA[x]]>",
        "<a>&#18446744073709551681;&#4294967361;</a>",
        "<a "
        "k='&#xE9;&#x20AC;&#x1F600;&unknown;&amp&apos;&quot;&gt;&lt;'>&#x7FF;&#x800;&#xFFFF;&#x10000;&#x10FFFF;&amp;x</"
        "a>",
    };
    for (const std::string& text : texts)
    {
        const CoreTest::ReferenceXML reference = CoreTest::ParseReferenceXML(text);
        EXPECT_EQ(reference.parsed, ParseText(text)) << text;
        EXPECT_EQ(reference.error.empty() ? "" : kErrorPrefix + reference.error + "' \n", printed) << text;
        EXPECT_TRUE(CoreTest::SameXMLTree(reference.root, doc.RootNode()))
            << text << ": " << Describe(reference.root) << " read as " << Tree();
    }
}

TEST_F(XMLTest, FindValueFollowsPathsFromTheCursor)
{
    ASSERT_TRUE(ParseText("<a><b k='attr'>bee<c>see</c></b><b><c>second</c></b></a>"));
    const struct { const char* path; const char* expected; } cases[] = {
        {"a/b/c", "see"},          {"/a/b/c", "see"},   {"a/b", "bee"},
        {"a/b//k", "attr"},        {"/a/b//k", "attr"}, {"a/b//missing", "default"},
        {"a/x/c", "default"},      {"a/b/x", "default"}, {"a", "default"},
        {"", "default"},           {"a/b/", "default"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.expected, doc.FindValue(c.path, "default")) << c.path;

    doc << XMLEndNode();
    ASSERT_TRUE(ParseText("<a><b>bee</b></a>"));
    EXPECT_EQ("default", doc.FindValue("a/b", "default")) << "parsing leaves a null cursor null";
    doc.PrepareForWriting();
    doc << XMLStartNode("a");
    EXPECT_EQ("default", doc.FindValue("a/b", "default")) << "the path counts from the cursor";
    doc.PrepareForWriting();
    EXPECT_EQ("bee", doc.FindValue("a/b", "default"));
}

TEST_F(XMLTest, SearchesRunPreOrderAndNamesMatchExactly)
{
    ASSERT_TRUE(ParseText("<x><y><x/></y><ab/><a/><x/></x>"));
    XMLNode& top = doc.RootNode().Children().front();
    // A node comes before its descendants, depth first.
    EXPECT_EQ((std::vector<XMLNode*>{&top, &top.Children().front().Children().front(), &top.Children().back()}),
              top.FindByName("x"));

    std::vector<XMLNode*> seeded{nullptr};
    top.FindByName("x", seeded, true);
    EXPECT_EQ(2u, seeded.size()) << "with firstOnly, a non-empty list stops the search of children";
    EXPECT_EQ(&top, top.FindFirstByName("x"));
    EXPECT_EQ(nullptr, top.FindFirstByName("X"));
    EXPECT_EQ("a", top.Child("a")->Name()) << "\"a\" is not a prefix match of \"ab\"";
    EXPECT_EQ(top.Child("y"), top.Child("ab")->FindSiblingByName("y"));
    EXPECT_EQ(nullptr, doc.RootNode().FindSiblingByName("x"));
}

TEST_F(XMLTest, CopiesKeepTheOriginalParentPointers)
{
    ASSERT_TRUE(ParseText("<a k='v'>d<b><c/></b></a>"));
    const XMLNode& original = doc.RootNode().Children().front();
    XMLNode copy(original);
    EXPECT_EQ(Describe(original), Describe(copy));
    EXPECT_EQ(&doc.RootNode(), copy.Parent());
    EXPECT_EQ(&original, copy.Children().front().Parent()) << "parents are copied, not re-pointed";
    copy.Clear();
    EXPECT_EQ("", Describe(copy));
    EXPECT_EQ(&doc.RootNode(), copy.Parent()) << "clearing keeps the parent";
}

TEST_F(XMLTest, AttributesEditsAndTheDebugDump)
{
    ASSERT_TRUE(ParseText("<a z='1' k='v'>d<b/></a>"));
    XMLNode& a = doc.RootNode().Children().front();
    EXPECT_TRUE(a.HasAttribute("k"));
    EXPECT_FALSE(a.HasAttribute("d"));
    EXPECT_EQ((std::vector<std::string>{"k", "z"}), a.GetAttributeNames()) << "in sorted order";
    XMLNode& b = a.Children().front();
    b.AddComment("c");
    b.Name("bee-line", 3);
    b.Data("text");

    // Each node on a line of its own with its data and attributes, children two spaces in.
    ::testing::internal::CaptureStderr();
    doc.PrintTree();
    EXPECT_EQ("+- ROOT\n  +-Data => \n"
              "  +- a\n    +-Data => d\n    +-k => v\n    +-z => 1\n"
              "    +- bee\n      +-Data => text\n"
              "      +-// c\n        +-Data => \n",
              ::testing::internal::GetCapturedStderr());

    std::ostringstream out;
    b.WriteXML(out, "> ");
    EXPECT_EQ("> <bee>text\n>   <!-- c -->\n> </bee>\n", out.str()) << "the indent prefixes every line";
    // A node without a parent writes as a root does: its children only.
    XMLNode orphan;
    orphan.Name("lost");
    out.str("");
    orphan.WriteXML(out, "");
    EXPECT_EQ("\n", out.str());
}

// ------------------------------------------------------------- files

TEST_F(XMLTest, WrittenFilesPassAnIndependentReader)
{
    doc << XMLStartNode("settings") << XMLAttribute("ver", "2 \"q\" & <x>")
        << XMLStartNode("name") << XMLData("field and farm") << XMLEndNode()
        << XMLStartNode("expr") << XMLData("a < b > c") << XMLEndNode()
        << XMLStartNode("item") << XMLAttribute("id", "it's") << XMLEndNode() << XMLEndNode();
    const std::string path = dir.File("settings.xml");
    ASSERT_TRUE(doc.WriteXML(path));
    EXPECT_EQ(std::vector<std::string>{"settings.xml"}, dir.List()) << "no temporary file left";

    const auto lint = CoreTest::RunCommand("xmllint --noout " + path);
    EXPECT_EQ(0, lint.exitStatus) << lint.output;
}

TEST_F(XMLTest, FilesParseAtEverySizeBoundary)
{
    const long page = ::sysconf(_SC_PAGESIZE);
    // Files whose size is one below, at and above a whole number of pages,
    // and one at the size where mapping gives way to reading.
    const std::size_t sizes[] = {static_cast<std::size_t>(page) - 1, static_cast<std::size_t>(page),
                                 static_cast<std::size_t>(page) + 1, 20971520};
    for (std::size_t size : sizes)
    {
        const std::string head = "<a e=\"&amp;\">";
        const std::string tail = "</a>";
        const std::string file = head + std::string(size - head.size() - tail.size(), 'x') + tail;
        const std::string path = dir.File("sized.xml");
        ASSERT_TRUE(CoreTest::WriteBytes(path, file));
        ASSERT_TRUE(ParseFile(path)) << size;
        EXPECT_EQ(size - head.size() - tail.size(), doc.RootNode().Children().front().Data().size());
        EXPECT_EQ("&", doc.RootNode().Children().front().GetAttribute("e"));
        EXPECT_EQ(file, CoreTest::ReadBytes(path)) << "parsing never writes to the file";
    }
    EXPECT_FALSE(ParseFile(dir.File("missing.xml")));
    ASSERT_TRUE(CoreTest::WriteBytes(dir.File("empty.xml"), ""));
    EXPECT_FALSE(ParseFile(dir.File("empty.xml"))) << "an empty file has nothing to map";
    ASSERT_TRUE(CoreTest::WriteBytes(dir.File("cut.xml"), "<a><b>text</b"));
    EXPECT_FALSE(ParseFile(dir.File("cut.xml")));
    ExpectRejected("truncated file");
}

TEST_F(XMLTest, ShortStreamWriteIsRenamedIntoPlaceAsItStands)
{
    // Only the rename is checked: a write cut short by a file-size limit
    // still replaces the target, with the bytes that were written.
    doc << XMLStartNode("a") << XMLData(std::string(5000, 'x')) << XMLEndNode();
    const std::string path = dir.File("limited.xml");
    auto child = CoreTest::RunInChild([&] {
        const CoreTest::FileSizeLimit limit(100);
        std::fputs(doc.WriteXML(path) ? "true" : "false", stdout);
    });
    EXPECT_EQ("true", child.output);
    const std::string written = CoreTest::ReadBytes(path);
    EXPECT_EQ(100u, written.size());
    EXPECT_EQ(doc.GetXML().substr(0, written.size()), written);
}

} // namespace
