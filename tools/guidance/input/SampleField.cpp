// The sample field shipped in data/fields/sample.xml, built into the program so
// that the demonstration runs without any files. The Tool tests check that the
// two copies agree.
#include "Field.h"

namespace GuidanceTool
{

const std::string& Field::SampleText()
{
    static const std::string text = R"xml(<?xml version="1.0" encoding="UTF-8"?>
<field>
  <name>Sample field: a 200 m curved line</name>
  <guidance>
    <spline>CatmullRom</spline>
    <width>12</width>
    <point lat="52.20500000" lon="-1.05000000" />
    <point lat="52.20508392" lon="-1.04994769" />
    <point lat="52.20516673" lon="-1.04989086" />
    <point lat="52.20524832" lon="-1.04982956" />
    <point lat="52.20532862" lon="-1.04976387" />
    <point lat="52.20540752" lon="-1.04969387" />
    <point lat="52.20548495" lon="-1.04961962" />
    <point lat="52.20556082" lon="-1.04954122" />
    <point lat="52.20563503" lon="-1.04945874" />
    <point lat="52.20570752" lon="-1.04937228" />
    <point lat="52.20577820" lon="-1.04928194" />
    <point lat="52.20584698" lon="-1.04918782" />
    <point lat="52.20591381" lon="-1.04909001" />
    <point lat="52.20597859" lon="-1.04898864" />
    <point lat="52.20604126" lon="-1.04888381" />
    <point lat="52.20610175" lon="-1.04877563" />
    <point lat="52.20615999" lon="-1.04866424" />
    <point lat="52.20621592" lon="-1.04854975" />
    <point lat="52.20626947" lon="-1.04843229" />
    <point lat="52.20632059" lon="-1.04831198" />
    <point lat="52.20636921" lon="-1.04818898" />
  </guidance>
</field>
)xml";
    return text;
}

} // namespace GuidanceTool
