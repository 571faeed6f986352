// The speed units receivers use (knots, km/h) in the tool's metres per second.
// Constants only; safe from any thread.
#ifndef GUIDANCE_INPUT_SPEEDUNITS_H
#define GUIDANCE_INPUT_SPEEDUNITS_H

namespace GuidanceTool
{

// A knot is one nautical mile (1852 m) an hour.
constexpr double kMetresPerSecondPerKnot = 1852.0 / 3600.0;
constexpr double kKmhPerMetrePerSecond = 3.6;

} // namespace GuidanceTool

#endif
