// Field files of other tools: the guidance line as the first LineString of a
// KML file, or the first LineString geometry of a GeoJSON file (a geometry, a
// feature or a feature collection). Neither format has a working width, so the
// caller supplies one. The field is named after the placemark's or feature's
// name when there is one, else after the file.
// Stateless functions; safe from any thread.
#ifndef GUIDANCE_INPUT_FIELDFILE_H
#define GUIDANCE_INPUT_FIELDFILE_H

#include "Field.h"

#include <string>

namespace GuidanceTool
{

enum class FieldFormat
{
    Field, // the tool's own XML field file
    Kml,
    GeoJson
};

// The format of a field file's text: GeoJSON when it starts with '{', KML
// when it has a <kml> element, else the tool's own.
FieldFormat FieldFormatOf(const std::string& text);

// The field of a KML or GeoJSON text; source names the file in messages.
// Throws ToolError naming the file and the offending element or line.
Field FieldFromKml(const std::string& text, const std::string& source, double workingWidth);
Field FieldFromGeoJson(const std::string& text, const std::string& source, double workingWidth);

} // namespace GuidanceTool

#endif
