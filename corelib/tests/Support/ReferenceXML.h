// The reading of an XML text that the library's reader must reproduce
// exactly: rapidxml's in-place parse with names and values taken by pointer
// and length, copied node by node into a tree as the library has always
// done. Shared by the XML tests and the XML fuzz target. Header-only.
#ifndef CORELIB_TESTS_SUPPORT_REFERENCEXML_H
#define CORELIB_TESTS_SUPPORT_REFERENCEXML_H

#include "IO/XML.h"

#include <rapidxml/rapidxml.hpp>

#include <cstdlib>
#include <memory>
#include <string>

namespace CoreTest
{

struct ReferenceXML
{
    bool parsed = false;
    std::string error; // the parser's reason, empty unless it threw
    std::string text;  // the parser's buffer afterwards: it replaces entities in place
    Core::IO::XMLNode root{nullptr, "ROOT", Core::IO::XMLElementNode};
};

inline void CopyReferenceNode(const rapidxml::xml_node<char>& from, Core::IO::XMLNode& to)
{
    for (const rapidxml::xml_attribute<char>* a = from.first_attribute(); a != nullptr; a = a->next_attribute())
        to.AddAttribute(a->name(), static_cast<unsigned int>(a->name_size()), a->value(),
                        static_cast<unsigned int>(a->value_size()));
    for (const rapidxml::xml_node<char>* child = from.first_node(); child != nullptr; child = child->next_sibling())
    {
        if (child->type() == rapidxml::node_element)
            CopyReferenceNode(*child, *to.AddNode(child->name(), static_cast<unsigned int>(child->name_size())));
        else if (child->type() == rapidxml::node_data || child->type() == rapidxml::node_cdata)
            to.AddData(child->value(), static_cast<unsigned int>(child->value_size()));
        else
            std::abort(); // no other kind is produced with these flags
    }
}

// Parses a copy of text; every top-level node becomes an element of root.
inline ReferenceXML ParseReferenceXML(const std::string& text)
{
    ReferenceXML result;
    result.text = text;
    auto document = std::make_unique<rapidxml::xml_document<char>>(); // holds a large static pool
    try
    {
        document->parse<rapidxml::parse_no_string_terminators>(&result.text[0]);
    }
    catch (const rapidxml::parse_error& error)
    {
        result.error = error.what();
        return result;
    }
    for (const rapidxml::xml_node<char>* node = document->first_node(); node != nullptr; node = node->next_sibling())
    {
        CopyReferenceNode(*node, *result.root.AddNode(node->name(), static_cast<unsigned int>(node->name_size())));
        result.parsed = true;
    }
    return result;
}

// Whether two trees have the same names, kinds, data, attributes and
// children, in the same order.
inline bool SameXMLTree(const Core::IO::XMLNode& a, const Core::IO::XMLNode& b)
{
    if (a.Name() != b.Name() || a.Type() != b.Type() || a.Data() != b.Data() || a.Attributes() != b.Attributes() ||
        a.Children().size() != b.Children().size())
        return false;
    auto child = b.Children().begin();
    for (const Core::IO::XMLNode& own : a.Children())
        if (!SameXMLTree(own, *child++))
            return false;
    return true;
}

} // namespace CoreTest

#endif
