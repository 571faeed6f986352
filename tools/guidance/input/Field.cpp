#include "Field.h"

#include "FieldFile.h"
#include "IO/XML.h"
#include "LocalPlane.h"
#include "Options.h"
#include "Utilities/FileUtilities.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <unistd.h>

namespace GuidanceTool
{

const char* const Field::kSplineNames[4] = {"Linear", "CatmullRom", "NaturalCubic", "RoundedNonUniform"};

namespace
{

// Most of what the XML parser prints about one error that is kept as its reason.
const std::size_t kLongestParserMessage = 512;

// A numeric attribute of a point element; throws when missing or not a number.
double PointCoordinate(const Core::IO::XMLNode& point, const char* attribute, double limit, const std::string& where)
{
    const auto& attributes = point.Attributes();
    const auto found = attributes.find(attribute);
    double value = 0;
    if (found == attributes.end())
        throw BadInput(where, "a point has no '" + std::string(attribute) + "' attribute");
    if (!ParseWholeDouble(found->second, value) || std::fabs(value) > limit)
        throw BadInput(where,
                       "point " + std::string(attribute) + " '" + found->second + "' is not an angle in degrees");
    return value;
}

// The offset of the first byte that is not part of valid UTF-8 text or is a
// control character XML forbids, or npos when the text is clean. Overlong
// forms, surrogates and code points past U+10FFFF count as invalid.
std::size_t FirstInvalidByte(const std::string& text)
{
    for (std::size_t at = 0; at < text.size();)
    {
        const unsigned char lead = static_cast<unsigned char>(text[at]);
        if (lead < 0x80)
        {
            if (lead < 0x20 && lead != '\t' && lead != '\n' && lead != '\r')
                return at;
            ++at;
            continue;
        }
        // The sequence's length from its lead byte; 0 for a byte that cannot lead.
        const int length = lead >= 0xC2 && lead <= 0xDF   ? 2
                           : lead >= 0xE0 && lead <= 0xEF ? 3
                           : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                          : 0;
        if (length == 0 || at + length > text.size())
            return at;
        unsigned int codePoint = lead & (0xFF >> (length + 1));
        for (int i = 1; i < length; ++i)
        {
            const unsigned char next = static_cast<unsigned char>(text[at + i]);
            if ((next & 0xC0) != 0x80)
                return at;
            codePoint = (codePoint << 6) | (next & 0x3F);
        }
        const unsigned int smallest[] = {0, 0, 0x80, 0x800, 0x10000};
        if (codePoint < smallest[length] || codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF))
            return at;
        at += length;
    }
    return std::string::npos;
}

// Runs parse with standard output going to a temporary file, and returns the
// reason the XML parser printed there: its messages belong in the tool's one
// line on standard error.
std::string CaptureParserMessage(const std::function<void()>& parse)
{
    std::fflush(stdout);
    std::FILE* capture = std::tmpfile();
    const int saved = capture != nullptr ? dup(STDOUT_FILENO) : -1;
    if (saved < 0 || dup2(fileno(capture), STDOUT_FILENO) < 0)
    {
        if (capture != nullptr)
            std::fclose(capture);
        if (saved >= 0)
            close(saved);
        parse();
        return "";
    }
    parse();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    std::rewind(capture);
    char text[kLongestParserMessage];
    const std::size_t length = std::fread(text, 1, sizeof text, capture);
    std::fclose(capture);
    std::string message(text, length);
    // "XMLDocument::Parse: error parsing xml document: '<reason>' ": keep the reason.
    const std::size_t open = message.find('\'');
    const std::size_t close = message.rfind('\'');
    return open != std::string::npos && close > open ? message.substr(open + 1, close - open - 1) : "";
}

} // namespace

Field Field::Load(const std::string& path, double workingWidth)
{
    std::string text;
    errno = 0;
    if (!Core::Utilities::ReadFile(path, text))
        throw ToolError(errno == EIO ? kExitIoFailure : kExitBadInput, path, "cannot read the field file",
                        std::strerror(errno != 0 ? errno : EIO));
    switch (FieldFormatOf(text))
    {
    case FieldFormat::Kml: return FieldFromKml(text, path, workingWidth);
    case FieldFormat::GeoJson: return FieldFromGeoJson(text, path, workingWidth);
    case FieldFormat::Field: break;
    }
    Field field = FromText(text, path);
    if (workingWidth > 0)
    {
        field.workingWidth = workingWidth;
        field.Check(path);
    }
    return field;
}

void Field::CheckText(const std::string& text, const std::string& source)
{
    const std::size_t invalid = FirstInvalidByte(text);
    if (invalid != std::string::npos)
        throw BadInput(source, "not a valid field file",
                       "invalid UTF-8 or a control character at byte " + std::to_string(invalid));
}

void Field::Check(const std::string& source) const
{
    CheckRange(source + ": working width", workingWidth, kNarrowestWidth, kWidestWidth);
    if (points.size() < 2)
        throw BadInput(source, "the guidance line needs at least two points");
    CheckRange(source + ": number of points", static_cast<double>(points.size()), 2, kMostPoints);
    const LocalPlane plane(points[0].latitude, points[0].longitude);
    bool apart = false;
    for (const GeoPoint& point : points)
    {
        apart = apart || point.latitude != points[0].latitude || point.longitude != points[0].longitude;
        CheckRange(source + ": metres from the first point", plane.ToPlane(point.latitude, point.longitude).Length(), 0,
                   kLargestExtent);
    }
    if (!apart)
        throw BadInput(source, "the guidance line's points all coincide");
}

Field Field::FromText(const std::string& text, const std::string& source)
{
    CheckText(text, source);
    Core::IO::XMLDocument document;
    // ParseString works in place on its argument, so give it a copy.
    std::string buffer = text;
    bool parsed = false;
    const std::string reason = CaptureParserMessage([&] { parsed = document.ParseString(buffer); });
    if (!parsed)
        throw BadInput(source, "not well-formed XML", reason);
    const Core::IO::XMLNode* guidance = nullptr;
    const Core::IO::XMLNode* root = document.RootNode().Child("field");
    if (root != nullptr)
        guidance = root->Child("guidance");
    if (guidance == nullptr)
        throw BadInput(source, "no <field><guidance> element");

    Field field;
    field.name = document.FindValue("field/name", "");

    const std::string spline = document.FindValue("field/guidance/spline", "Linear");
    field.splineType = -1;
    for (int i = 0; i < 4; ++i)
        if (spline == kSplineNames[i])
            field.splineType = i;
    if (field.splineType < 0)
        throw BadInput(source, "unknown spline '" + spline + "'",
                       "Linear, CatmullRom, NaturalCubic or RoundedNonUniform");

    const std::string width = document.FindValue("field/guidance/width", "");
    if (!ParseWholeDouble(width, field.workingWidth))
        throw BadInput(source, "the working width '" + width + "' is not a number of metres");

    for (const Core::IO::XMLNode& child : guidance->Children())
        if (child.Type() == Core::IO::XMLElementNode && child.Name() == "point")
            field.points.push_back(
                GeoPoint{PointCoordinate(child, "lat", 90, source), PointCoordinate(child, "lon", 180, source)});
    field.Check(source);
    return field;
}

Field Field::Sample()
{
    return FromText(SampleText(), "built-in sample field");
}

} // namespace GuidanceTool
