// A small in-memory XML tree for configuration-style documents: parse from a
// string or a file, query by name or by a slash-separated path, build by calls
// or by a chain of stream items, and write as indented text to a string or
// crash-safely to a file.
// Not thread-safe: a document and its nodes belong to one thread at a time.
#ifndef CORELIB_IO_XML_H
#define CORELIB_IO_XML_H

#include <list>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace Core
{
namespace IO
{

// The kinds of node a document holds.
enum XMLNodeType : int
{
    XMLDeclarationNode = 0, // an XML declaration; its pseudo-attributes are the attributes
    XMLElementNode = 1,
    XMLCommentNode = 2,     // the comment text is held as the name
};

// One node of a document. Children are held by value in a list, so the
// address of a child stays valid while its parent lives.
//
// Copying copies everything, the parent pointer included, and never re-points
// parents: inside a copied subtree the children still name the nodes of the
// original tree as their parents. Nodes made through AddNode and AddComment
// always name the receiving node as their parent.
class XMLNode
{
public:
    // An element without parent, name or data.
    XMLNode();
    // A node of the given type named by the first length characters of name, naming
    // parent as its parent (it is not added to the parent's children).
    XMLNode(XMLNode* parent, const char* name, unsigned int length, XMLNodeType type);
    // The same with the whole of name.
    XMLNode(XMLNode* parent, const std::string& name, XMLNodeType type);
    XMLNode(const XMLNode& other) = default;
    XMLNode& operator=(const XMLNode& other) = default;

    // The name; a comment's text.
    const std::string& Name() const { return m_name; }
    // The text content.
    const std::string& Data() const { return m_data; }
    // The kind of node.
    XMLNodeType Type() const { return m_type; }
    // The parent, or null for a root.
    XMLNode* Parent() const { return m_parent; }
    // The children, in document order.
    std::list<XMLNode>& Children() { return m_children; }
    const std::list<XMLNode>& Children() const { return m_children; }

    // Replaces the name (with the first length characters of name).
    void Name(const char* name, unsigned int length);
    void Name(const std::string& name);
    // Replaces the text content.
    void Data(const std::string& data);

    // Appends a new element child named name; returns it (owned by this node).
    XMLNode* AddNode(const std::string& name);
    XMLNode* AddNode(const char* name, unsigned int length);
    // Appends a comment child holding text.
    void AddComment(const std::string& text);
    // Appends text to the data; a non-empty text is separated from existing
    // data by "\n", an empty one changes nothing. Returns this node.
    XMLNode* AddData(const std::string& text);
    XMLNode* AddData(const char* text, unsigned int length);
    // Sets the attribute, replacing the value of an existing one.
    void AddAttribute(const std::string& name, const std::string& value);
    void AddAttribute(const char* name, unsigned int nameLength, const char* value, unsigned int valueLength);
    // True when the attribute is present.
    bool HasAttribute(const std::string& name) const;
    // The attribute's value, or an empty string when it is absent.
    std::string GetAttribute(const std::string& name) const;
    // Attribute names in byte-wise sorted order.
    std::vector<std::string> GetAttributeNames() const;
    // Every attribute, by name.
    const std::map<std::string, std::string>& Attributes() const { return m_attributes; }

    // The first direct child whose name equals name exactly, or null.
    XMLNode* Child(const std::string& name);
    const XMLNode* Child(const std::string& name) const;
    // Depth-first, pre-order search of this node and its descendants: a match
    // is appended to out before its children are searched. With firstOnly,
    // no further child is searched once out is non-empty.
    void FindByName(const std::string& name, std::vector<XMLNode*>& out, bool firstOnly);
    std::vector<XMLNode*> FindByName(const std::string& name);
    // The first match in that order, or null.
    XMLNode* FindFirstByName(const std::string& name);
    // The parent's Child(name), which may be this node; null without a parent.
    XMLNode* FindSiblingByName(const std::string& name);

    // Removes children and attributes and empties name and data; the type
    // and the parent stay.
    void Clear();

    // Debugging dump of the subtree to standard error.
    void PrintNode(const std::string& indent) const;
    // Writes the subtree as text, one node per line, children indented two
    // spaces more than their parent: an element without data or children as
    // <name a="v" />, one with data only on a single line. Data holding any of
    // < > " ' goes into a CDATA section, other data (a lone & included) is
    // written as it stands; attribute values have & > < ' " escaped; names are
    // written as they are. A node without a parent is a document root: it
    // writes its children at indent, then a newline.
    void WriteXML(std::ostream& out, const std::string& indent) const;
    // Same text, appended to out.
    void AppendXML(std::string& out, const std::string& indent) const;

private:
    // Rebuilds a parsed tree out of the previous tree's nodes.
    friend class XMLReader;

    std::map<std::string, std::string> m_attributes;
    std::list<XMLNode> m_children;
    XMLNode* m_parent;
    XMLNodeType m_type;
    std::string m_name;
    std::string m_data;

    // Writes this node with an indent of indent plus two spaces per level.
    void AppendNode(std::string& out, const std::string& indent, unsigned int level) const;
};

// Stream items: a document is built as a chain doc << start << attribute <<
// data << end.
struct XMLStartNode
{
    // Starts an element named name.
    explicit XMLStartNode(const std::string& name) : m_name(name) {}
    // The element's name.
    std::string m_name;
};

// Closes the current element.
struct XMLEndNode
{
};

// Text added to the current element's data.
struct XMLData
{
    // Text to add.
    explicit XMLData(const std::string& text) : m_text(text) {}
    // The text.
    std::string m_text;
};

// An attribute set on the current element.
struct XMLAttribute
{
    // The attribute name="value".
    XMLAttribute(const std::string& name, const std::string& value) : m_name(name), m_value(value) {}
    // The attribute's name and value.
    std::string m_name;
    std::string m_value;
};

// A document: a root element named "ROOT" whose children are the document's
// top-level elements, plus the cursor that the stream items build at.
// Not copyable: the cursor points into the document's own tree.
class XMLDocument
{
public:
    // Files of this size or more are read whole by Parse() instead of mapped.
    static constexpr long long MAX_MAPPED_FILE = 20971520;
    // Element nesting the parser accepts; deeper documents are rejected.
    static constexpr unsigned int MAX_DEPTH = 1024;

    XMLDocument();
    XMLDocument(const XMLDocument&) = delete;
    XMLDocument& operator=(const XMLDocument&) = delete;

    // The root element "ROOT"; the document's top-level elements are its children.
    XMLNode& RootNode() { return m_root; }
    const XMLNode& RootNode() const { return m_root; }

    // Parses the file at path (mapped into memory when it is small enough,
    // else read whole). True on success; on failure the root is left empty
    // and a message is printed to standard output.
    bool Parse(const std::string& path);
    // Reads the whole file into a string and parses it; false if it cannot
    // be read or does not parse.
    bool ParseFileFallback(const std::string& path);
    // Parses text, replacing the whole tree. True if the text is well formed
    // and holds at least one top-level element. On a parse error prints
    // "XMLDocument::Parse: error parsing xml document: '<reason>' " and a
    // newline to standard output, returns false and leaves the root empty.
    // A zero byte inside the string is an error. The std::string form parses
    // the string's own buffer in place and MODIFIES it (entity references are
    // translated where they stand); the const char* form parses a copy.
    // The building cursor stays at the root or null; one inside the replaced
    // tree moves to the root.
    bool ParseString(const char* text);
    bool ParseString(const std::string& text);

    // Follows a path from the cursor: "a/b/c" gives the data of element c in
    // b in a, "a/b//k" the attribute k of element b; a leading '/' changes
    // nothing. Returns defaultValue when anything on the way is missing, and
    // for a path without any '/'.
    std::string FindValue(const std::string& path, const std::string& defaultValue) const;

    // Debugging dump of the tree to standard error.
    void PrintTree() const;
    // The declaration line followed by the root's text.
    std::string GetXML() const;
    // Writes GetXML()'s text to a temporary file beside path, syncs it and
    // renames it over path, so path is either the old file or the complete
    // new one. False when the rename fails (the temporary file is removed);
    // a failed write or sync is not reported, and what reached the temporary
    // file is renamed into place. A symbolic link keeps existing and its
    // target is replaced; a device or FIFO is written in place.
    bool WriteXML(const std::string& path) const;

    // Moves the building cursor back to the root.
    void PrepareForWriting();
    // Stream items act on the cursor; once an end item has left the root the
    // cursor is null and items are ignored until PrepareForWriting().
    XMLDocument& operator<<(const XMLStartNode& item);
    XMLDocument& operator<<(const XMLEndNode& item);
    XMLDocument& operator<<(const XMLData& item);
    XMLDocument& operator<<(const XMLAttribute& item);

private:
    XMLNode* m_current;
    XMLNode m_root;

    // Parses length bytes at text, which must be writable and followed by a zero byte.
    bool ParseBuffer(char* text, std::size_t length);
};

} // namespace IO
} // namespace Core

#endif
