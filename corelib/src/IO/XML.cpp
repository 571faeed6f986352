#include "IO/XML.h"

#include "Utilities/FileLayer.h"
#include "Utilities/FileUtilities.h"
#include "Utilities/StringUtilities.h"
#include "Utilities/UTF8.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Core
{
namespace IO
{

namespace
{

const char* const kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

void PrintParseError(const char* reason)
{
    std::printf("XMLDocument::Parse: error parsing xml document: '%s' \n", reason);
}

void AppendIndent(std::string& out, const std::string& indent, unsigned int level)
{
    out += indent;
    out.append(2 * static_cast<std::size_t>(level), ' ');
}

// Appends value with & > < ' " replaced by their entities.
void AppendEscapedAttribute(std::string& out, const std::string& value)
{
    std::size_t start = 0;
    for (std::size_t special; (special = value.find_first_of("&><'\"", start)) != std::string::npos; start = special + 1)
    {
        out.append(value, start, special - start);
        switch (value[special])
        {
        case '&': out += "&amp;"; break;
        case '>': out += "&gt;"; break;
        case '<': out += "&lt;"; break;
        case '\'': out += "&apos;"; break;
        default: out += "&quot;"; break;
        }
    }
    out.append(value, start, std::string::npos);
}

void AppendAttribute(std::string& out, const std::string& name, const std::string& value)
{
    out += name;
    out += "=\"";
    AppendEscapedAttribute(out, value);
    out += '"';
}

// Element data is never escaped: text holding any of < > " ' goes into a
// CDATA section, anything else (a lone & included) is written as it stands.
void AppendData(std::string& out, const std::string& data)
{
    if (data.find_first_of("<>\"'") == std::string::npos)
    {
        out += data;
        return;
    }
    out += "<![CDATA[";
    out += data;
    out += "]]>";
}

// Character classes of the grammar, one bit each, looked up once per byte.
enum CharacterClass : unsigned char
{
    kSpace = 1,         // space, tab, line feed, carriage return
    kNameChar = 2,      // anything but a zero byte, space, '/', '>' or '?'
    kAttributeChar = 4, // a name character other than '<', '=' or '!'
};

struct CharacterClasses
{
    unsigned char bits[256];

    constexpr CharacterClasses() : bits()
    {
        for (int c = 1; c < 256; ++c)
        {
            const bool space = c == ' ' || c == '\n' || c == '\r' || c == '\t';
            const bool name = !space && c != '/' && c != '>' && c != '?';
            const bool attribute = name && c != '<' && c != '=' && c != '!';
            bits[c] = static_cast<unsigned char>((space ? kSpace : 0) | (name ? kNameChar : 0) |
                                                 (attribute ? kAttributeChar : 0));
        }
    }
};

constexpr CharacterClasses kCharacterClasses;

bool Is(CharacterClass wanted, char c)
{
    return (kCharacterClasses.bits[static_cast<unsigned char>(c)] & wanted) != 0;
}

template <typename Char>
Char* SkipSpace(Char* p)
{
    while (Is(kSpace, *p))
        ++p;
    return p;
}

// The position after the first occurrence of terminator at or after p, or
// null if the text ends first.
template <std::size_t Size>
const char* SkipPast(const char* p, const char (&terminator)[Size])
{
    const char* found = std::strstr(p, terminator);
    return found == nullptr ? nullptr : found + Size - 1;
}

// The position after the '>' that ends a document type declaration, passing
// over an internal subset in brackets, which may nest; null if the text ends
// first.
const char* SkipDoctype(const char* p)
{
    while (*p != '>')
    {
        if (*p == '\0')
            return nullptr;
        if (*p++ == '[')
            for (int depth = 1; depth > 0 && *p != '\0'; ++p)
                depth += *p == '[' ? 1 : *p == ']' ? -1 : 0;
    }
    return p + 1;
}

// Whether the elements of the zero-terminated text nest deeper than limit;
// documents that do are rejected whatever else is wrong with them. It follows
// the reader's grammar (what ends a comment, a tag, a quoted value), and
// wherever the two could differ it ends constructs no later than the reader
// does, so it never counts fewer levels than the reader enters. Over a text
// the reader reads without error, the counts differ only after a "<?>" or a
// closing tag with '<' in its name.
bool NestsDeeperThan(const char* p, unsigned int limit)
{
    unsigned int depth = 0;
    while ((p = std::strchr(p, '<')) != nullptr)
    {
        ++p;
        if (*p == '/')
        {
            if (depth > 0)
                --depth;
            continue;
        }
        if (*p == '?' || *p == '!')
        {
            if (*p == '?')
                p = SkipPast(p, "?>");
            else if (std::strncmp(p, "!--", 3) == 0)
                p = SkipPast(p + 3, "-->");
            else if (std::strncmp(p, "![CDATA[", 8) == 0)
                p = SkipPast(p + 8, "]]>");
            else if (std::strncmp(p, "!DOCTYPE", 8) == 0 && Is(kSpace, p[8]))
                p = SkipDoctype(p + 9);
            else
                p = SkipPast(p, ">");
            if (p == nullptr)
                return false; // the text ends inside the markup
            continue;
        }
        // A start tag: name, then name="value" pairs, then > or />.
        while (Is(kNameChar, *p))
            ++p;
        p = SkipSpace(p);
        while (Is(kAttributeChar, *p))
        {
            while (Is(kAttributeChar, *p))
                ++p;
            p = SkipSpace(p);
            if (*p != '=')
                return false;
            p = SkipSpace(p + 1);
            const char quote = *p;
            if (quote != '"' && quote != '\'')
                return false;
            p = std::strchr(p + 1, quote);
            if (p == nullptr)
                return false;
            p = SkipSpace(p + 1);
        }
        if (*p == '>')
        {
            if (++depth > limit)
                return true;
        }
        else if (*p != '/')
        {
            return false; // the reader rejects the tag here
        }
    }
    return false;
}

} // namespace

// ---------------------------------------------------------------- XMLNode

XMLNode::XMLNode() : m_parent(nullptr), m_type(XMLElementNode)
{
}

XMLNode::XMLNode(XMLNode* parent, const char* name, unsigned int length, XMLNodeType type)
    : m_parent(parent), m_type(type), m_name(name, length)
{
}

XMLNode::XMLNode(XMLNode* parent, const std::string& name, XMLNodeType type)
    : m_parent(parent), m_type(type), m_name(name)
{
}

void XMLNode::Name(const char* name, unsigned int length)
{
    m_name.assign(name, length);
}

void XMLNode::Name(const std::string& name)
{
    m_name = name;
}

void XMLNode::Data(const std::string& data)
{
    m_data = data;
}

XMLNode* XMLNode::AddNode(const std::string& name)
{
    m_children.emplace_back(this, name, XMLElementNode);
    return &m_children.back();
}

XMLNode* XMLNode::AddNode(const char* name, unsigned int length)
{
    m_children.emplace_back(this, name, length, XMLElementNode);
    return &m_children.back();
}

void XMLNode::AddComment(const std::string& text)
{
    m_children.emplace_back(this, text, XMLCommentNode);
}

XMLNode* XMLNode::AddData(const std::string& text)
{
    return AddData(text.data(), static_cast<unsigned int>(text.size()));
}

XMLNode* XMLNode::AddData(const char* text, unsigned int length)
{
    if (length == 0)
        return this;
    if (!m_data.empty())
        m_data += '\n';
    m_data.append(text, length);
    return this;
}

void XMLNode::AddAttribute(const std::string& name, const std::string& value)
{
    m_attributes[name] = value;
}

void XMLNode::AddAttribute(const char* name, unsigned int nameLength, const char* value, unsigned int valueLength)
{
    m_attributes[std::string(name, nameLength)].assign(value, valueLength);
}

bool XMLNode::HasAttribute(const std::string& name) const
{
    return m_attributes.count(name) != 0;
}

std::string XMLNode::GetAttribute(const std::string& name) const
{
    const auto found = m_attributes.find(name);
    return found == m_attributes.end() ? std::string() : found->second;
}

std::vector<std::string> XMLNode::GetAttributeNames() const
{
    std::vector<std::string> names;
    names.reserve(m_attributes.size());
    for (const auto& attribute : m_attributes)
        names.push_back(attribute.first);
    return names;
}

XMLNode* XMLNode::Child(const std::string& name)
{
    for (XMLNode& child : m_children)
    {
        if (child.m_name == name)
            return &child;
    }
    return nullptr;
}

const XMLNode* XMLNode::Child(const std::string& name) const
{
    return const_cast<XMLNode*>(this)->Child(name);
}

void XMLNode::FindByName(const std::string& name, std::vector<XMLNode*>& out, bool firstOnly)
{
    if (m_name == name)
        out.push_back(this);
    for (XMLNode& child : m_children)
    {
        if (firstOnly && !out.empty())
            return;
        child.FindByName(name, out, firstOnly);
    }
}

std::vector<XMLNode*> XMLNode::FindByName(const std::string& name)
{
    std::vector<XMLNode*> found;
    FindByName(name, found, false);
    return found;
}

XMLNode* XMLNode::FindFirstByName(const std::string& name)
{
    std::vector<XMLNode*> found;
    FindByName(name, found, true);
    return found.empty() ? nullptr : found.front();
}

XMLNode* XMLNode::FindSiblingByName(const std::string& name)
{
    return m_parent == nullptr ? nullptr : m_parent->Child(name);
}

void XMLNode::Clear()
{
    m_children.clear();
    m_attributes.clear();
    m_name.clear();
    m_data.clear();
}

void XMLNode::PrintNode(const std::string& indent) const
{
    const char* marker = m_type == XMLCommentNode ? "+-//" : m_type == XMLDeclarationNode ? "+-??" : "+-";
    std::fprintf(stderr, "%s%s %s\n", indent.c_str(), marker, m_name.c_str());
    std::fprintf(stderr, "%s  +-Data => %s\n", indent.c_str(), m_data.c_str());
    for (const auto& attribute : m_attributes)
        std::fprintf(stderr, "%s  +-%s => %s\n", indent.c_str(), attribute.first.c_str(), attribute.second.c_str());
    const std::string childIndent = "  " + indent;
    for (const XMLNode& child : m_children)
        child.PrintNode(childIndent);
}

void XMLNode::WriteXML(std::ostream& out, const std::string& indent) const
{
    std::string text;
    AppendXML(text, indent);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

void XMLNode::AppendXML(std::string& out, const std::string& indent) const
{
    AppendNode(out, indent, 0);
}

void XMLNode::AppendNode(std::string& out, const std::string& indent, unsigned int level) const
{
    if (m_parent == nullptr)
    {
        // A root writes only its children, at its own indent.
        for (const XMLNode& child : m_children)
            child.AppendNode(out, indent, level);
        out += '\n';
        return;
    }
    AppendIndent(out, indent, level);
    if (m_type == XMLCommentNode)
    {
        out += "<!-- ";
        out += m_name;
        out += " -->\n";
        return;
    }
    if (m_type == XMLDeclarationNode)
    {
        // The version must come first in a declaration.
        out += "<?xml ";
        const auto version = m_attributes.find("version");
        if (version != m_attributes.end())
        {
            AppendAttribute(out, version->first, version->second);
            out += ' ';
        }
        for (const auto& attribute : m_attributes)
        {
            if (attribute.first == "version")
                continue;
            AppendAttribute(out, attribute.first, attribute.second);
            out += ' ';
        }
        out += "?>\n";
        return;
    }
    out += '<';
    out += m_name;
    for (const auto& attribute : m_attributes)
    {
        out += ' ';
        AppendAttribute(out, attribute.first, attribute.second);
    }
    if (m_children.empty() && m_data.empty())
    {
        out += " />\n";
        return;
    }
    out += '>';
    if (!m_data.empty())
        AppendData(out, m_data);
    if (!m_children.empty())
    {
        out += '\n';
        for (const XMLNode& child : m_children)
            child.AppendNode(out, indent, level + 1);
        AppendIndent(out, indent, level);
    }
    out += "</";
    out += m_name;
    out += ">\n";
}

// ---------------------------------------------------------------- XMLReader

// Reads a document in place, in one pass, straight into the tree. The
// grammar is the one this library has always accepted, quirks included:
// - a leading UTF-8 byte-order mark is skipped;
// - declarations, processing instructions, comments, document types and
//   other "<!" markup are skipped and leave nothing in the tree;
// - a closing tag's name is not compared with its element's;
// - element text keeps its surrounding white space, except that text made of
//   white space alone before a tag is dropped; CDATA is kept as it stands;
// - in text and attribute values the entities &amp; &apos; &quot; &gt; &lt;
//   and numeric references are replaced; any other '&' stays as it is. A
//   decimal reference also takes the digits a to f (worth 10 to 15), the
//   code is an unsigned long that wraps, and reference 0 gives a zero byte;
// - CDATA at the top level becomes an element with an empty name.
// Replacing entities writes the shorter text over the longer in place, so
// names and values are read straight out of the buffer.
//
// The new tree is built over the one it replaces: the n-th child read under
// an element reuses that element's n-th old child, its strings assigned into
// the capacity they have and its attributes assigned in place when the names
// are the same, so that reading a document into a used one allocates almost
// nothing. Old children left over when an element closes are freed.
class XMLReader
{
public:
    // The reason given for a document that nests elements deeper than the limit.
    static constexpr const char* kTooDeep = "elements nested too deeply";

    XMLReader(char* text, unsigned int depthLimit) : m_p(text), m_depthLimit(depthLimit) {}

    // Whether the text held a construct that NestsDeeperThan reads differently
    // (a "<?>", a closing tag with '<' in its name), after which its count of
    // levels may exceed the reader's.
    bool DepthCheckDiffers() const { return m_depthCheckDiffers; }

    // Reads the whole text into root's children. Returns null, or the reason
    // the text is not well-formed; the tree is then incomplete.
    const char* Read(XMLNode& root)
    {
        root.m_attributes.clear();
        root.m_data.clear();
        m_reuse.push_back(root.m_children.begin());
        static const unsigned char kByteOrderMark[] = {0xEF, 0xBB, 0xBF};
        if (std::strncmp(m_p, reinterpret_cast<const char*>(kByteOrderMark), 3) == 0)
            m_p += 3;
        XMLNode* element = &root; // the element whose contents come next
        while (m_error == nullptr)
        {
            if (element == &root)
            {
                SkipSpace();
                if (*m_p == '\0')
                    break;
                if (*m_p != '<')
                    return "expected <";
                ++m_p;
                element = ReadMarkup(root, true);
            }
            else
            {
                element = ReadContents(*element);
            }
        }
        if (m_error == nullptr)
            Close(root);
        return m_error;
    }

private:
    // Reads the contents of element up to and including its closing tag or
    // up to a child's start tag. Returns the element to continue with.
    XMLNode* ReadContents(XMLNode& element)
    {
        char* const contentsStart = m_p;
        SkipSpace();
        if (*m_p != '<' && *m_p != '\0')
        {
            m_p = contentsStart;
            const char* const value = m_p;
            const char* const end = ReadValue('<');
            if (end == nullptr)
                return nullptr;
            element.AddData(value, static_cast<unsigned int>(end - value));
        }
        if (*m_p == '\0')
            return Fail("unexpected end of data");
        if (m_p[1] != '/')
        {
            ++m_p;
            return ReadMarkup(element, false);
        }
        m_p += 2;
        const char* const name = m_p;
        while (Is(kNameChar, *m_p))
            ++m_p;
        m_depthCheckDiffers |= std::memchr(name, '<', static_cast<std::size_t>(m_p - name)) != nullptr;
        SkipSpace();
        if (*m_p != '>')
            return Fail("expected >");
        ++m_p;
        Close(element);
        return element.Parent();
    }

    // Reads the markup after a '<' inside parent. Returns the element whose
    // contents follow, which is parent itself unless a start tag opened one.
    XMLNode* ReadMarkup(XMLNode& parent, bool topLevel)
    {
        if (*m_p == '?')
        {
            m_depthCheckDiffers |= m_p[1] == '>';
            return SkipTo(SkipPast(m_p + 1, "?>")) ? &parent : nullptr;
        }
        if (*m_p != '!')
            return ReadElement(parent);
        if (std::strncmp(m_p, "!--", 3) == 0)
            return SkipTo(SkipPast(m_p + 3, "-->")) ? &parent : nullptr;
        if (std::strncmp(m_p, "![CDATA[", 8) == 0)
        {
            const char* const value = m_p + 8;
            if (!SkipTo(SkipPast(value, "]]>")))
                return nullptr;
            if (topLevel)
                Open(parent, value, 0).Clear(); // the name is empty already
            else
                parent.AddData(value, static_cast<unsigned int>(m_p - 3 - value));
            return &parent;
        }
        if (std::strncmp(m_p, "!DOCTYPE", 8) == 0 && Is(kSpace, m_p[8]))
            return SkipTo(SkipDoctype(m_p + 9)) ? &parent : nullptr;
        return SkipTo(SkipPast(m_p + 1, ">")) ? &parent : nullptr;
    }

    // Reads a start tag and its attributes. Returns the new element if its
    // contents follow, parent if it closed itself.
    XMLNode* ReadElement(XMLNode& parent)
    {
        const char* const name = m_p;
        while (Is(kNameChar, *m_p))
            ++m_p;
        if (m_p == name)
            return Fail("expected element name");
        XMLNode& element = Open(parent, name, static_cast<std::size_t>(m_p - name));
        m_attributes.clear();
        SkipSpace();
        while (Is(kAttributeChar, *m_p))
        {
            const char* const attribute = m_p;
            while (Is(kAttributeChar, *m_p))
                ++m_p;
            const std::size_t attributeLength = static_cast<std::size_t>(m_p - attribute);
            SkipSpace();
            if (*m_p != '=')
                return Fail("expected =");
            ++m_p;
            SkipSpace();
            const char quote = *m_p;
            if (quote != '\'' && quote != '"')
                return Fail("expected ' or \"");
            const char* const value = ++m_p;
            const char* const end = ReadValue(quote);
            if (end == nullptr)
                return nullptr;
            if (*m_p != quote)
                return Fail("expected ' or \"");
            ++m_p;
            m_attributes.push_back({attribute, attributeLength, value, static_cast<std::size_t>(end - value)});
            SkipSpace();
        }
        SetAttributes(element);
        if (*m_p == '>')
        {
            ++m_p;
            // One entry per open element and one for the root.
            if (m_reuse.size() > m_depthLimit)
                return Fail(kTooDeep);
            m_reuse.push_back(element.m_children.begin());
            return &element;
        }
        if (*m_p != '/' || m_p[1] != '>')
            return Fail("expected >");
        m_p += 2;
        element.m_children.clear();
        return &parent;
    }

    // Appends an element to parent, or reuses parent's next old child as one.
    XMLNode& Open(XMLNode& parent, const char* name, std::size_t length)
    {
        std::list<XMLNode>::iterator& next = m_reuse.back();
        if (next == parent.m_children.end())
        {
            parent.m_children.emplace_back(&parent, name, static_cast<unsigned int>(length), XMLElementNode);
            return parent.m_children.back();
        }
        XMLNode& node = *next++;
        node.m_type = XMLElementNode;
        node.m_name.assign(name, length);
        node.m_data.clear();
        return node;
    }

    // Frees the old children of element that were not reused.
    void Close(XMLNode& element)
    {
        element.m_children.erase(m_reuse.back(), element.m_children.end());
        m_reuse.pop_back();
    }

    // Gives element the attributes just read, a repeated name keeping its
    // last value. When the element already has attributes of exactly these
    // names, only the values are assigned.
    void SetAttributes(XMLNode& element)
    {
        std::map<std::string, std::string>& attributes = element.m_attributes;
        if (attributes.size() == m_attributes.size() && m_attributes.size() <= kMostAssignedInPlace)
        {
            std::map<std::string, std::string>::iterator found[kMostAssignedInPlace];
            std::size_t matched = 0;
            for (; matched < m_attributes.size(); ++matched)
            {
                // A walk over so few names costs less than a search.
                const PendingAttribute& a = m_attributes[matched];
                found[matched] = std::find_if(attributes.begin(), attributes.end(), [&a](const auto& entry) {
                    return entry.first.size() == a.nameLength &&
                           std::memcmp(entry.first.data(), a.name, a.nameLength) == 0;
                });
                if (found[matched] == attributes.end() ||
                    std::find(found, found + matched, found[matched]) != found + matched)
                    break;
            }
            if (matched == m_attributes.size())
            {
                for (std::size_t i = 0; i < matched; ++i)
                    found[i]->second.assign(m_attributes[i].value, m_attributes[i].valueLength);
                return;
            }
        }
        attributes.clear();
        for (const PendingAttribute& a : m_attributes)
            element.AddAttribute(a.name, static_cast<unsigned int>(a.nameLength), a.value,
                                 static_cast<unsigned int>(a.valueLength));
    }

    // Reads a value up to stop or the end of the text, replacing entity
    // references in place. Returns the value's new end (null on a bad
    // reference) and leaves the cursor on the character that ended it.
    const char* ReadValue(char stop)
    {
        char* source = m_p;
        while (*source != stop && *source != '\0' && *source != '&')
            ++source;
        char* target = source;
        while (*source != stop && *source != '\0')
        {
            if (*source != '&')
            {
                *target++ = *source++;
                continue;
            }
            if (std::strncmp(source + 1, "amp;", 4) == 0)
            {
                *target++ = '&';
                source += 5;
            }
            else if (std::strncmp(source + 1, "apos;", 5) == 0)
            {
                *target++ = '\'';
                source += 6;
            }
            else if (std::strncmp(source + 1, "quot;", 5) == 0)
            {
                *target++ = '"';
                source += 6;
            }
            else if (std::strncmp(source + 1, "gt;", 3) == 0)
            {
                *target++ = '>';
                source += 4;
            }
            else if (std::strncmp(source + 1, "lt;", 3) == 0)
            {
                *target++ = '<';
                source += 4;
            }
            else if (source[1] == '#')
            {
                const bool hexadecimal = source[2] == 'x';
                source += hexadecimal ? 3 : 2;
                unsigned long code = 0;
                for (int digit; (digit = DigitValue(*source)) >= 0; ++source)
                    code = code * (hexadecimal ? 16 : 10) + static_cast<unsigned long>(digit);
                if (code >= 0x110000)
                    return Fail("invalid numeric character entity");
                // At most as long as the reference it replaces, so it fits.
                const std::string character = Utilities::UnicodeToUTF8(static_cast<unsigned int>(code));
                target = std::copy(character.begin(), character.end(), target);
                if (*source != ';')
                    return Fail("expected ;");
                ++source;
            }
            else
            {
                *target++ = *source++;
            }
        }
        m_p = source;
        return target;
    }

    // The value of a hexadecimal digit, or -1.
    static int DigitValue(char c)
    {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        return -1;
    }

    void SkipSpace() { m_p = Core::IO::SkipSpace(m_p); }

    // Moves the cursor to next, the end of markup found by a skipping helper,
    // which is null if the text ended first.
    bool SkipTo(const char* next)
    {
        if (next == nullptr)
            return Failed("unexpected end of data");
        m_p += next - m_p;
        return true;
    }

    // Record the first failure, for callers that return a flag or a node.
    bool Failed(const char* reason)
    {
        m_error = reason;
        return false;
    }
    std::nullptr_t Fail(const char* reason)
    {
        Failed(reason);
        return nullptr;
    }

    // Attributes of a start tag, read before they are set on its element.
    struct PendingAttribute
    {
        const char* name;
        std::size_t nameLength;
        const char* value;
        std::size_t valueLength;
    };
    // Comparing names pairwise costs the square of their number.
    static constexpr std::size_t kMostAssignedInPlace = 8;

    char* m_p;
    const unsigned int m_depthLimit;
    const char* m_error = nullptr;
    bool m_depthCheckDiffers = false;
    std::vector<std::list<XMLNode>::iterator> m_reuse; // per open element, its next old child
    std::vector<PendingAttribute> m_attributes;
};

// ---------------------------------------------------------------- XMLDocument

XMLDocument::XMLDocument() : m_current(&m_root), m_root(nullptr, "ROOT", XMLElementNode)
{
}

bool XMLDocument::Parse(const std::string& path)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return ParseFileFallback(path);
    struct stat status;
    const long pageSize = ::sysconf(_SC_PAGESIZE);
    // The reader needs a zero byte after the text; the mapping provides it in
    // the unused tail of the file's last page, which does not exist when the
    // size is a whole number of pages.
    if (::fstat(fd, &status) != 0 || status.st_size <= 0 || status.st_size >= MAX_MAPPED_FILE ||
        (pageSize > 0 && status.st_size % pageSize == 0))
    {
        ::close(fd);
        return ParseFileFallback(path);
    }
    const std::size_t size = static_cast<std::size_t>(status.st_size);
    void* mapping = ::mmap(nullptr, size + 1, PROT_READ | PROT_WRITE, MAP_PRIVATE, fd, 0);
    if (mapping == MAP_FAILED)
    {
        ::close(fd);
        return ParseFileFallback(path);
    }
    char* text = static_cast<char*>(mapping);
    text[size] = '\0';
    const bool parsed = ParseBuffer(text, size);
    ::munmap(mapping, size + 1);
    ::close(fd);
    return parsed;
}

bool XMLDocument::ParseFileFallback(const std::string& path)
{
    std::string contents;
    if (!Utilities::ReadFile(path, contents))
        return false;
    return ParseString(contents);
}

bool XMLDocument::ParseString(const char* text)
{
    std::string copy(text == nullptr ? "" : text);
    return ParseBuffer(&copy[0], copy.size());
}

bool XMLDocument::ParseString(const std::string& text)
{
    // In place, as documented: the caller's string is the reader's buffer.
    return ParseBuffer(const_cast<char*>(text.data()), text.size());
}

bool XMLDocument::ParseBuffer(char* text, std::size_t length)
{
    // The cursor stays where it is, unless it points into the tree about to
    // be replaced: it then restarts at the root rather than dangle.
    if (m_current != nullptr)
        m_current = &m_root;
    m_root.Name("ROOT");
    const char* error = nullptr;
    // The grammar ends the text at a zero byte, which would silently drop the rest.
    if (std::memchr(text, '\0', length) != nullptr)
    {
        error = "unexpected zero byte";
    }
    else
    {
        // The reader replaces entity references in place, but a document
        // rejected for its depth is left as it was: keep the text if it has any.
        std::string original;
        if (std::memchr(text, '&', length) != nullptr)
            original.assign(text, length);
        XMLReader reader(text, MAX_DEPTH);
        error = reader.Read(m_root);
        // Nesting beyond the limit rejects a document whatever else is wrong
        // with it. The reader stops at the limit, and where it read the whole
        // text the way NestsDeeperThan does, their counts are the same;
        // otherwise the check runs over the original text.
        if (error != XMLReader::kTooDeep && (error != nullptr || reader.DepthCheckDiffers()) &&
            NestsDeeperThan(original.empty() ? text : original.c_str(), MAX_DEPTH))
            error = XMLReader::kTooDeep;
        if (error == XMLReader::kTooDeep && !original.empty())
            std::memcpy(text, original.data(), length);
    }
    if (error == nullptr)
        return !m_root.Children().empty();
    // Nothing read before the fault stays in the tree.
    m_root.Clear();
    m_root.Name("ROOT");
    PrintParseError(error);
    return false;
}

std::string XMLDocument::FindValue(const std::string& path, const std::string& defaultValue) const
{
    std::vector<std::string> parts;
    if (!Utilities::SplitString(path, '/', parts, 0) || m_current == nullptr)
        return defaultValue;

    const XMLNode* node = m_current;
    bool attributeNext = false;
    for (std::size_t i = 0; i < parts.size(); ++i)
    {
        const std::string& part = parts[i];
        if (part.empty())
        {
            // A leading '/' is ignored; "//" announces an attribute name.
            if (i > 0)
                attributeNext = true;
            continue;
        }
        if (attributeNext)
        {
            const auto found = node->Attributes().find(part);
            return found == node->Attributes().end() ? defaultValue : found->second;
        }
        node = node->Child(part);
        if (node == nullptr)
            return defaultValue;
        if (i + 1 == parts.size())
            return node->Data();
    }
    return defaultValue;
}

void XMLDocument::PrintTree() const
{
    m_root.PrintNode("");
}

std::string XMLDocument::GetXML() const
{
    std::string text = kDeclaration;
    m_root.AppendXML(text, "");
    return text;
}

bool XMLDocument::WriteXML(const std::string& path) const
{
    // Only the rename is reported: a failed write or sync still renames what
    // reached the temporary file into place.
    static const Utilities::ReplacementOptions kOptions = {".XXXXXX", true, false, true, true};
    if (!Utilities::ReplaceFile(path, GetXML(), kOptions))
        return false;
    Utilities::SyncParentDir(path);
    return true;
}

void XMLDocument::PrepareForWriting()
{
    m_current = &m_root;
}

XMLDocument& XMLDocument::operator<<(const XMLStartNode& item)
{
    if (m_current != nullptr)
        m_current = m_current->AddNode(item.m_name);
    return *this;
}

XMLDocument& XMLDocument::operator<<(const XMLEndNode&)
{
    if (m_current != nullptr)
        m_current = m_current->Parent();
    return *this;
}

XMLDocument& XMLDocument::operator<<(const XMLData& item)
{
    if (m_current != nullptr)
        m_current->AddData(item.m_text);
    return *this;
}

XMLDocument& XMLDocument::operator<<(const XMLAttribute& item)
{
    if (m_current != nullptr)
        m_current->AddAttribute(item.m_name, item.m_value);
    return *this;
}

} // namespace IO
} // namespace Core
