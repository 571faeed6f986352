#include "IO/XML.h"

#include "Utilities/FileLayer.h"
#include "Utilities/FileUtilities.h"
#include "Utilities/StringUtilities.h"

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

// Character classes of the parser's grammar, used to follow its tags exactly.
bool IsSpace(char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

bool IsNameChar(char c)
{
    return c != '\0' && !IsSpace(c) && c != '/' && c != '>' && c != '?';
}

bool IsAttributeNameChar(char c)
{
    return IsNameChar(c) && c != '<' && c != '=' && c != '!';
}

const char* SkipSpace(const char* p)
{
    while (IsSpace(*p))
        ++p;
    return p;
}

// The position after the first occurrence of terminator at or after p, or
// the end of the text.
const char* SkipPast(const char* p, const char* terminator)
{
    const char* found = std::strstr(p, terminator);
    return found == nullptr ? p + std::strlen(p) : found + std::strlen(terminator);
}

// Skips a document type declaration, whose internal subset may nest brackets.
const char* SkipDoctype(const char* p)
{
    while (*p != '\0' && *p != '>')
    {
        if (*p != '[')
        {
            ++p;
            continue;
        }
        int depth = 1;
        for (++p; depth > 0 && *p != '\0'; ++p)
        {
            if (*p == '[')
                ++depth;
            else if (*p == ']')
                --depth;
        }
    }
    return *p == '\0' ? p : p + 1;
}

// Whether the elements of the zero-terminated text nest deeper than limit.
// The parser recurses once per level, so this runs first to keep a hostile
// document from exhausting the stack. It follows the parser's own grammar
// (what ends a comment, a tag, a quoted value), and wherever the two could
// differ it ends constructs no later than the parser does, so it never counts
// fewer levels than the parser would enter.
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
        if (*p == '?')
        {
            p = SkipPast(p, "?>");
            continue;
        }
        if (*p == '!')
        {
            if (std::strncmp(p, "!--", 3) == 0)
                p = SkipPast(p + 3, "-->");
            else if (std::strncmp(p, "![CDATA[", 8) == 0)
                p = SkipPast(p + 8, "]]>");
            else if (std::strncmp(p, "!DOCTYPE", 8) == 0 && IsSpace(p[8]))
                p = SkipDoctype(p + 9);
            else
                p = SkipPast(p, ">");
            continue;
        }
        // A start tag: name, then name="value" pairs, then > or />.
        while (IsNameChar(*p))
            ++p;
        p = SkipSpace(p);
        while (IsAttributeNameChar(*p))
        {
            while (IsAttributeNameChar(*p))
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
            return false; // the parser rejects the tag here
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

// ---------------------------------------------------------------- XMLNodeRecycler

// Builds a parsed tree out of the nodes, attribute entries and strings of the
// tree it replaces, so that parsing into a document again allocates and frees
// almost nothing: nodes move between lists by splicing, attribute entries
// move between maps as node handles, and strings are assigned into the
// capacity they already have. What is left over is freed with the recycler.
class XMLNodeRecycler
{
public:
    // Takes over root's children and attributes and empties its data.
    explicit XMLNodeRecycler(XMLNode& root)
    {
        m_nodes.splice(m_nodes.end(), root.m_children);
        TakeAttributes(root);
        root.m_data.clear();
    }

    // Appends to parent a child with that name and type and nothing else.
    XMLNode& AddNode(XMLNode& parent, const char* name, std::size_t length, XMLNodeType type)
    {
        if (m_nodes.empty())
        {
            parent.m_children.emplace_back(&parent, name, static_cast<unsigned int>(length), type);
            return parent.m_children.back();
        }
        // Spare nodes are taken in the order of the old tree, a node before
        // its children, which is the order they were allocated in.
        const std::list<XMLNode>::iterator node = m_nodes.begin();
        m_nodes.splice(std::next(node), node->m_children);
        TakeAttributes(*node);
        parent.m_children.splice(parent.m_children.end(), m_nodes, node);
        node->m_parent = &parent;
        node->m_type = type;
        node->m_name.assign(name, length);
        node->m_data.clear();
        return *node;
    }

    // Sets the attribute as XMLNode::AddAttribute does: a repeated name keeps
    // the last value.
    void AddAttribute(XMLNode& node, const char* name, std::size_t nameLength, const char* value,
                      std::size_t valueLength)
    {
        if (m_attributes.empty())
        {
            node.AddAttribute(name, static_cast<unsigned int>(nameLength), value,
                              static_cast<unsigned int>(valueLength));
            return;
        }
        Attributes::node_type entry = std::move(m_attributes.back());
        m_attributes.pop_back();
        entry.key().assign(name, nameLength);
        entry.mapped().assign(value, valueLength);
        Attributes::insert_return_type result = node.m_attributes.insert(std::move(entry));
        if (!result.inserted)
        {
            result.position->second.assign(value, valueLength);
            m_attributes.push_back(std::move(result.node));
        }
    }

private:
    typedef std::map<std::string, std::string> Attributes;

    void TakeAttributes(XMLNode& node)
    {
        while (!node.m_attributes.empty())
            m_attributes.push_back(node.m_attributes.extract(node.m_attributes.begin()));
    }

    std::list<XMLNode> m_nodes;
    std::vector<Attributes::node_type> m_attributes;
};

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
class XMLReader
{
public:
    XMLReader(char* text, XMLNodeRecycler& recycler) : m_p(text), m_recycler(recycler) {}

    // Reads the whole text into root's children. Returns null, or the reason
    // the text is not well-formed; the tree is then incomplete.
    const char* Read(XMLNode& root)
    {
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
        while (IsNameChar(*m_p))
            ++m_p;
        SkipSpace();
        if (*m_p != '>')
            return Fail("expected >");
        ++m_p;
        return element.Parent();
    }

    // Reads the markup after a '<' inside parent. Returns the element whose
    // contents follow, which is parent itself unless a start tag opened one.
    XMLNode* ReadMarkup(XMLNode& parent, bool topLevel)
    {
        if (*m_p == '?')
        {
            ++m_p;
            return SkipPast("?>") ? &parent : nullptr;
        }
        if (*m_p != '!')
            return ReadElement(parent);
        if (std::strncmp(m_p, "!--", 3) == 0)
        {
            m_p += 3;
            return SkipPast("-->") ? &parent : nullptr;
        }
        if (std::strncmp(m_p, "![CDATA[", 8) == 0)
        {
            m_p += 8;
            const char* const value = m_p;
            if (!SkipPast("]]>"))
                return nullptr;
            if (topLevel)
                m_recycler.AddNode(parent, "", 0, XMLElementNode);
            else
                parent.AddData(value, static_cast<unsigned int>(m_p - 3 - value));
            return &parent;
        }
        if (std::strncmp(m_p, "!DOCTYPE", 8) == 0 && IsSpace(m_p[8]))
        {
            m_p += 9;
            return SkipDoctype() ? &parent : nullptr;
        }
        ++m_p;
        return SkipPast(">") ? &parent : nullptr;
    }

    // Reads a start tag and its attributes. Returns the new element if its
    // contents follow, parent if it closed itself.
    XMLNode* ReadElement(XMLNode& parent)
    {
        const char* const name = m_p;
        while (IsNameChar(*m_p))
            ++m_p;
        if (m_p == name)
            return Fail("expected element name");
        XMLNode& element = m_recycler.AddNode(parent, name, static_cast<std::size_t>(m_p - name), XMLElementNode);
        SkipSpace();
        while (IsAttributeNameChar(*m_p))
        {
            const char* const attribute = m_p;
            while (IsAttributeNameChar(*m_p))
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
            m_recycler.AddAttribute(element, attribute, attributeLength, value, static_cast<std::size_t>(end - value));
            SkipSpace();
        }
        if (*m_p == '>')
        {
            ++m_p;
            return &element;
        }
        if (*m_p != '/' || m_p[1] != '>')
            return Fail("expected >");
        m_p += 2;
        return &parent;
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
                if (!AppendUtf8(target, code))
                    return Fail("invalid numeric character entity");
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

    // Writes code as UTF-8 at out and moves out past it; false if code is
    // beyond Unicode.
    static bool AppendUtf8(char*& out, unsigned long code)
    {
        if (code < 0x80)
        {
            *out++ = static_cast<char>(code);
            return true;
        }
        int continuations = code < 0x800 ? 1 : code < 0x10000 ? 2 : code < 0x110000 ? 3 : -1;
        if (continuations < 0)
            return false;
        static const unsigned char kLead[] = {0, 0xC0, 0xE0, 0xF0};
        *out++ = static_cast<char>(kLead[continuations] | (code >> (6 * continuations)));
        while (continuations-- > 0)
            *out++ = static_cast<char>(0x80 | ((code >> (6 * continuations)) & 0x3F));
        return true;
    }

    void SkipSpace()
    {
        while (IsSpace(*m_p))
            ++m_p;
    }

    // Moves the cursor past the next terminator; fails at the end of the text.
    bool SkipPast(const char* terminator)
    {
        const char* const found = std::strstr(m_p, terminator);
        if (found == nullptr)
            return Failed("unexpected end of data");
        m_p += found - m_p + std::strlen(terminator);
        return true;
    }

    // Skips a document type declaration up to its '>', passing over an
    // internal subset in brackets, which may nest.
    bool SkipDoctype()
    {
        while (*m_p != '>')
        {
            if (*m_p == '\0')
                return Failed("unexpected end of data");
            if (*m_p++ == '[')
                for (int depth = 1; depth > 0 && *m_p != '\0'; ++m_p)
                    depth += *m_p == '[' ? 1 : *m_p == ']' ? -1 : 0;
        }
        ++m_p;
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

    char* m_p;
    XMLNodeRecycler& m_recycler;
    const char* m_error = nullptr;
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
    // The parser needs a zero byte after the text; the mapping provides it in
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
    // In place, as documented: the caller's string is the parser's buffer.
    return ParseBuffer(const_cast<char*>(text.data()), text.size());
}

bool XMLDocument::ParseBuffer(char* text, std::size_t length)
{
    // The cursor stays where it is, unless it points into the tree about to
    // be cleared: it then restarts at the root rather than dangle.
    if (m_current != nullptr)
        m_current = &m_root;
    XMLNodeRecycler recycler(m_root);
    m_root.Name("ROOT");

    // The parser stops at a zero byte, which would silently drop the rest.
    if (std::memchr(text, '\0', length) != nullptr)
    {
        PrintParseError("unexpected zero byte");
        return false;
    }
    if (NestsDeeperThan(text, MAX_DEPTH))
    {
        PrintParseError("elements nested too deeply");
        return false;
    }

    const char* const error = XMLReader(text, recycler).Read(m_root);
    if (error != nullptr)
    {
        // Nothing read before the fault stays in the tree.
        m_root.Children().clear();
        PrintParseError(error);
        return false;
    }
    return !m_root.Children().empty();
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
