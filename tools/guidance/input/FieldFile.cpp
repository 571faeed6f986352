#include "FieldFile.h"

#include "IO/XML.h"
#include "Options.h"
#include "ToolError.h"
#include "Utilities/FileUtilities.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <vector>

namespace GuidanceTool
{

namespace
{

// Checks a position and adds it to the line; where names it in messages.
void AddPoint(Field& field, double longitude, double latitude, const std::string& where)
{
    if (!std::isfinite(latitude) || !std::isfinite(longitude) || std::fabs(latitude) > 90 || std::fabs(longitude) > 180)
        throw BadInput(where, "(" + std::to_string(longitude) + ", " + std::to_string(latitude) +
                                  ") is not a longitude and latitude in degrees");
    field.points.push_back(GeoPoint{latitude, longitude});
}

// The checks every field passes, whatever its file's format.
Field Finished(Field field, const std::string& source, double workingWidth)
{
    if (!(workingWidth > 0))
        throw BadInput(source, "a KML or GeoJSON field needs --width, the metres between passes");
    field.workingWidth = workingWidth;
    if (field.name.empty())
        field.name = Core::Utilities::GetFileName(source);
    Field::CheckText(field.name, source);
    field.Check(source);
    return field;
}

// The first element named name at or below node, depth first.
const Core::IO::XMLNode* FindElement(const Core::IO::XMLNode& node, const std::string& name)
{
    if (node.Type() == Core::IO::XMLElementNode && node.Name() == name)
        return &node;
    for (const Core::IO::XMLNode& child : node.Children())
        if (const Core::IO::XMLNode* found = FindElement(child, name))
            return found;
    return nullptr;
}

// A JSON value, as much of JSON as a GeoJSON line needs, with the line each
// value starts on for messages.
struct JsonValue
{
    enum Kind
    {
        Null,
        Boolean,
        Number,
        String,
        Array,
        Object
    } kind = Null;
    double number = 0;
    std::string text;
    std::vector<JsonValue> items;                           // of an array
    std::vector<std::pair<std::string, JsonValue>> members; // of an object
    int line = 1;

    const JsonValue* Member(const std::string& name) const
    {
        for (const auto& [key, value] : members)
            if (key == name)
                return &value;
        return nullptr;
    }
};

class JsonReader
{
public:
    JsonReader(const std::string& text, const std::string& source) : m_text(text), m_source(source) {}

    JsonValue Document()
    {
        JsonValue value = Value(0);
        Skip();
        if (m_at != m_text.size())
            Fail("text after the end of the JSON value");
        return value;
    }

private:
    // Deeper nesting than any GeoJSON line needs is refused rather than recursed into.
    static constexpr int kDeepest = 64;

    [[noreturn]] void Fail(const std::string& what) const
    {
        throw BadInput(m_source, "line " + std::to_string(m_line), what);
    }

    void Skip()
    {
        for (; m_at < m_text.size() && std::isspace(static_cast<unsigned char>(m_text[m_at])); ++m_at)
            m_line += m_text[m_at] == '\n';
    }

    bool Take(char c)
    {
        Skip();
        if (m_at >= m_text.size() || m_text[m_at] != c)
            return false;
        ++m_at;
        return true;
    }

    void Expect(char c)
    {
        if (!Take(c))
            Fail(std::string("expected '") + c + "'");
    }

    bool Word(const std::string& word)
    {
        if (m_text.compare(m_at, word.size(), word) != 0)
            return false;
        m_at += word.size();
        return true;
    }

    JsonValue Value(int depth)
    {
        if (depth > kDeepest)
            Fail("nested too deeply");
        Skip();
        JsonValue value;
        value.line = m_line;
        if (m_at >= m_text.size())
            Fail("the text ends where a value should be");
        const char c = m_text[m_at];
        if (Take('{'))
        {
            value.kind = JsonValue::Object;
            if (Take('}'))
                return value;
            do
            {
                Skip();
                if (m_at >= m_text.size() || m_text[m_at] != '"')
                    Fail("expected a member name in quotes");
                const std::string name = Text();
                Expect(':');
                value.members.emplace_back(name, Value(depth + 1));
            } while (Take(','));
            Expect('}');
        }
        else if (Take('['))
        {
            value.kind = JsonValue::Array;
            if (Take(']'))
                return value;
            do
                value.items.push_back(Value(depth + 1));
            while (Take(','));
            Expect(']');
        }
        else if (c == '"')
        {
            value.kind = JsonValue::String;
            value.text = Text();
        }
        else if (Word("true"))
            value.kind = JsonValue::Boolean, value.number = 1;
        else if (Word("false"))
            value.kind = JsonValue::Boolean;
        else if (Word("null"))
            value.kind = JsonValue::Null;
        else
        {
            char* end = nullptr;
            value.number = std::strtod(m_text.c_str() + m_at, &end);
            if (end == m_text.c_str() + m_at)
                Fail("unexpected '" + std::string(1, c) + "'");
            value.kind = JsonValue::Number;
            m_at = static_cast<std::size_t>(end - m_text.c_str());
        }
        return value;
    }

    // A string; escapes other than \" and \\ are kept as written, which only
    // names might hold.
    std::string Text()
    {
        std::string text;
        for (++m_at; m_at < m_text.size() && m_text[m_at] != '"'; ++m_at)
        {
            if (m_text[m_at] == '\n')
                Fail("a line ends inside a string");
            if (m_text[m_at] == '\\' && m_at + 1 < m_text.size() &&
                (m_text[m_at + 1] == '"' || m_text[m_at + 1] == '\\'))
                ++m_at;
            text += m_text[m_at];
        }
        if (m_at >= m_text.size())
            Fail("a string has no closing quote");
        ++m_at;
        return text;
    }

    const std::string& m_text;
    std::string m_source;
    std::size_t m_at = 0;
    int m_line = 1;
};

// The first LineString geometry at or below value, depth first; the name of
// the feature that holds it, when it has one, goes into name.
const JsonValue* FindLineString(const JsonValue& value, std::string& name)
{
    const JsonValue* type = value.Member("type");
    if (type != nullptr && type->kind == JsonValue::String && type->text == "LineString")
        return &value;
    for (const JsonValue& item : value.items)
        if (const JsonValue* found = FindLineString(item, name))
            return found;
    for (const auto& [key, member] : value.members)
        if (const JsonValue* found = FindLineString(member, name))
        {
            const JsonValue* properties = value.Member("properties");
            const JsonValue* named = properties != nullptr ? properties->Member("name") : nullptr;
            if (name.empty() && named != nullptr && named->kind == JsonValue::String)
                name = named->text;
            return found;
        }
    return nullptr;
}

} // namespace

FieldFormat FieldFormatOf(const std::string& text)
{
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    if (first != std::string::npos && text[first] == '{')
        return FieldFormat::GeoJson;
    return text.find("<kml") != std::string::npos ? FieldFormat::Kml : FieldFormat::Field;
}

Field FieldFromKml(const std::string& text, const std::string& source, double workingWidth)
{
    Field::CheckText(text, source);
    Core::IO::XMLDocument document;
    std::string buffer = text; // parsed in place
    if (!document.ParseString(buffer))
        throw BadInput(source, "not well-formed XML");
    const Core::IO::XMLNode* line = FindElement(document.RootNode(), "LineString");
    if (line == nullptr)
        throw BadInput(source, "no <LineString> element");
    const Core::IO::XMLNode* coordinates = line->Child("coordinates");
    if (coordinates == nullptr)
        throw BadInput(source, "the first <LineString> has no <coordinates> element");
    Field field;
    if (const Core::IO::XMLNode* placemark = line->Parent())
        if (const Core::IO::XMLNode* name = placemark->Child("name"))
            field.name = name->Data();
    // Tuples "longitude,latitude[,altitude]" separated by white space.
    std::istringstream tuples(coordinates->Data());
    int index = 0;
    for (std::string tuple; tuples >> tuple;)
    {
        const std::string where = "<coordinates> tuple " + std::to_string(++index) + " '" + tuple + "'";
        const std::size_t comma = tuple.find(',');
        const std::size_t second = comma == std::string::npos ? comma : tuple.find(',', comma + 1);
        double longitude = 0;
        double latitude = 0;
        if (comma == std::string::npos || !ParseWholeDouble(tuple.substr(0, comma), longitude) ||
            !ParseWholeDouble(tuple.substr(comma + 1, second == std::string::npos ? second : second - comma - 1),
                              latitude))
            throw BadInput(source, where, "not longitude,latitude[,altitude]");
        AddPoint(field, longitude, latitude, source + ": " + where);
    }
    return Finished(field, source, workingWidth);
}

Field FieldFromGeoJson(const std::string& text, const std::string& source, double workingWidth)
{
    Field::CheckText(text, source);
    const JsonValue document = JsonReader(text, source).Document();
    Field field;
    const JsonValue* line = FindLineString(document, field.name);
    if (line == nullptr)
        throw BadInput(source, "no LineString geometry");
    const JsonValue* coordinates = line->Member("coordinates");
    if (coordinates == nullptr || coordinates->kind != JsonValue::Array)
        throw BadInput(source, "line " + std::to_string(line->line), "the LineString has no coordinates array");
    for (const JsonValue& position : coordinates->items)
    {
        const std::string where = source + ": line " + std::to_string(position.line);
        if (position.kind != JsonValue::Array || position.items.size() < 2 ||
            position.items[0].kind != JsonValue::Number || position.items[1].kind != JsonValue::Number)
            throw BadInput(where, "a position is not [longitude, latitude]");
        AddPoint(field, position.items[0].number, position.items[1].number, where);
    }
    return Finished(field, source, workingWidth);
}

} // namespace GuidanceTool
