// A field as guidance sees it: the reference guidance line (points in degrees),
// the working width between parallel passes, and the spline that draws the
// line through its points. Read from and written to an XML field file:
//
//   <field>
//     <name>North paddock</name>
//     <guidance>
//       <spline>CatmullRom</spline>        Linear, CatmullRom, NaturalCubic or RoundedNonUniform
//       <width>12</width>                  metres between passes, kNarrowestWidth to kWidestWidth
//       <point lat="52.2" lon="-1.05" />   2 to kMostPoints, in driving order, in degrees,
//                                          each within kLargestExtent metres of the first
//     </guidance>
//   </field>
//
// The file must be UTF-8 without control characters (other than tab and line
// ends), so that every document the tool writes from it is well-formed.
//
// Plain data; copy freely.
#ifndef GUIDANCE_FIELD_H
#define GUIDANCE_FIELD_H

#include <string>
#include <vector>

namespace GuidanceTool
{

struct GeoPoint
{
    double latitude;  // degrees
    double longitude; // degrees
};

struct Field
{
    // The ranges a field file is held to.
    static constexpr double kNarrowestWidth = 0.5;
    static constexpr double kWidestWidth = 1000.0;
    static constexpr double kLargestExtent = 20000.0;
    static const std::size_t kMostPoints = 1000;

    // The spline names in the order of the library's spline type numbers.
    static const char* const kSplineNames[4];

    std::string name;
    std::vector<GeoPoint> points;
    double workingWidth = 0;
    int splineType = 0; // index into kSplineNames

    // Reads the field file at path: the tool's own, or a KML or GeoJSON file
    // (see FieldFile.h), which needs workingWidth; a workingWidth above 0
    // overrides a field file's own. Throws ToolError naming the file and the
    // fault when it cannot be read or is not a valid field.
    static Field Load(const std::string& path, double workingWidth = 0);
    // The same from the text of a field file; source names it in messages.
    static Field FromText(const std::string& text, const std::string& source);
    // The checks of a field file's text (valid UTF-8, no control characters)
    // and of a field read from any format (width, points and extent within
    // their ranges, points apart), for fields from other tools' files too.
    // Throw ToolError naming source.
    static void CheckText(const std::string& text, const std::string& source);
    void Check(const std::string& source) const;
    // The sample field built into the program.
    static Field Sample();
    // The text of the sample field file.
    static const std::string& SampleText();
};

} // namespace GuidanceTool

#endif
