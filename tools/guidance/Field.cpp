#include "Field.h"

#include "IO/XML.h"
#include "Options.h"
#include "Utilities/FileUtilities.h"

#include <cmath>

namespace GuidanceTool
{

const char* const Field::kSplineNames[4] = {"Linear", "CatmullRom", "NaturalCubic", "RoundedNonUniform"};

namespace
{

// A numeric attribute of a point element; throws when missing or not a number.
double PointCoordinate(const Core::IO::XMLNode& point, const char* attribute, double limit, const std::string& where)
{
    const auto& attributes = point.Attributes();
    const auto found = attributes.find(attribute);
    double value = 0;
    if (found == attributes.end())
        throw ToolError(where + ": a point has no '" + attribute + "' attribute");
    if (!ParseWholeDouble(found->second, value) || std::fabs(value) > limit)
        throw ToolError(where + ": point " + attribute + " '" + found->second + "' is not an angle in degrees");
    return value;
}

} // namespace

Field Field::Load(const std::string& path)
{
    std::string text;
    if (!Core::Utilities::ReadFile(path, text))
        throw ToolError("cannot read field file '" + path + "'");
    return FromText(text, "field file '" + path + "'");
}

Field Field::FromText(const std::string& text, const std::string& source)
{
    Core::IO::XMLDocument document;
    // ParseString works in place on its argument, so give it a copy.
    std::string buffer = text;
    if (!document.ParseString(buffer))
        throw ToolError(source + " is not well-formed XML");
    const Core::IO::XMLNode* guidance = nullptr;
    const Core::IO::XMLNode* root = document.RootNode().Child("field");
    if (root != nullptr)
        guidance = root->Child("guidance");
    if (guidance == nullptr)
        throw ToolError(source + " has no <field><guidance> element");

    Field field;
    field.name = document.FindValue("field/name", "");

    const std::string spline = document.FindValue("field/guidance/spline", "Linear");
    field.splineType = -1;
    for (int i = 0; i < 4; ++i)
        if (spline == kSplineNames[i])
            field.splineType = i;
    if (field.splineType < 0)
        throw ToolError(source + ": unknown spline '" + spline +
                        "' (Linear, CatmullRom, NaturalCubic or RoundedNonUniform)");

    const std::string width = document.FindValue("field/guidance/width", "");
    if (!ParseWholeDouble(width, field.workingWidth) || field.workingWidth <= 0)
        throw ToolError(source + ": the working width '" + width + "' is not a positive number of metres");

    for (const Core::IO::XMLNode& child : guidance->Children())
        if (child.Type() == Core::IO::XMLElementNode && child.Name() == "point")
            field.points.push_back(
                GeoPoint{PointCoordinate(child, "lat", 90, source), PointCoordinate(child, "lon", 180, source)});
    if (field.points.size() < 2)
        throw ToolError(source + ": the guidance line needs at least two points");
    for (const GeoPoint& point : field.points)
        if (point.latitude != field.points[0].latitude || point.longitude != field.points[0].longitude)
            return field;
    throw ToolError(source + ": the guidance line's points all coincide");
}

Field Field::Sample()
{
    return FromText(SampleText(), "the built-in sample field");
}

} // namespace GuidanceTool
