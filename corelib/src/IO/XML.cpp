#include "IO/XML.h"

#include "Utilities/FileLayer.h"
#include "Utilities/FileUtilities.h"
#include "Utilities/StringUtilities.h"

// The parser's node pool grows in blocks of this size (less room for the
// block headers), each block a mapping of its own; see PoolAllocate.
#define RAPIDXML_DYNAMIC_POOL_SIZE (2 * 1024 * 1024 - 64)
#include <rapidxml/rapidxml.hpp>

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Core
{
namespace IO
{

namespace
{

const char* const kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// Names and values are taken by pointer and length and the text is never cut
// by written terminators; entity references are still translated in place.
// Comments, declarations, doctypes and processing instructions are skipped.
constexpr int kParseFlags = rapidxml::parse_no_string_terminators;

// Pool blocks for the parser's nodes. A large document needs tens of
// megabytes of nodes that live only until they are copied; mapping them in
// 2 MiB blocks, which the kernel may back with huge pages, costs far fewer
// page faults than growing the heap, and returns the memory to the system as
// soon as the parse ends. The mapping's length is kept in a header before the
// block. Throws std::bad_alloc when nothing can be mapped.
constexpr std::size_t kPoolBlockAlignment = 2 * 1024 * 1024;
constexpr std::size_t kPoolHeaderSize = 16; // keeps the block 16-byte aligned

void* PoolAllocate(std::size_t size)
{
    const std::size_t length =
        (size + kPoolHeaderSize + kPoolBlockAlignment - 1) / kPoolBlockAlignment * kPoolBlockAlignment;
    void* mapping = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED)
        throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
    ::madvise(mapping, length, MADV_HUGEPAGE); // advice only: failure changes nothing
#endif
    *static_cast<std::size_t*>(mapping) = length;
    return static_cast<char*>(mapping) + kPoolHeaderSize;
}

void PoolFree(void* block)
{
    char* mapping = static_cast<char*>(block) - kPoolHeaderSize;
    ::munmap(mapping, *reinterpret_cast<std::size_t*>(mapping));
}

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

// Copies the attributes and children of a parsed node into to.
void CopyContents(const rapidxml::xml_node<char>& from, XMLNode& to)
{
    for (const rapidxml::xml_attribute<char>* a = from.first_attribute(); a != nullptr; a = a->next_attribute())
    {
        to.AddAttribute(a->name(), static_cast<unsigned int>(a->name_size()), a->value(),
                        static_cast<unsigned int>(a->value_size()));
    }
    for (const rapidxml::xml_node<char>* child = from.first_node(); child != nullptr; child = child->next_sibling())
    {
        switch (child->type())
        {
        case rapidxml::node_element:
            CopyContents(*child, *to.AddNode(child->name(), static_cast<unsigned int>(child->name_size())));
            break;
        case rapidxml::node_data:
        case rapidxml::node_cdata:
            to.AddData(child->value(), static_cast<unsigned int>(child->value_size()));
            break;
        case rapidxml::node_comment:
            to.AddComment(std::string(child->value(), child->value_size()));
            break;
        default:
            std::printf("ignoring node\n");
            break;
        }
    }
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
    m_root.Clear();
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

    // The parser's document holds a sizeable static pool: keep it off the stack.
    auto parsed = std::make_unique<rapidxml::xml_document<char>>();
    parsed->set_allocator(PoolAllocate, PoolFree);
    try
    {
        parsed->parse<kParseFlags>(text);
    }
    catch (const rapidxml::parse_error& error)
    {
        PrintParseError(error.what());
        return false;
    }

    bool copied = false;
    for (const rapidxml::xml_node<char>* node = parsed->first_node(); node != nullptr; node = node->next_sibling())
    {
        CopyContents(*node, *m_root.AddNode(node->name(), static_cast<unsigned int>(node->name_size())));
        copied = true;
    }
    return copied;
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
