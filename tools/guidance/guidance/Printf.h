// printf-style formatting into a std::string, for the tool's short lines of
// text and markup.
// Stateless; safe from any thread.
#ifndef GUIDANCE_GUIDANCE_PRINTF_H
#define GUIDANCE_GUIDANCE_PRINTF_H

#include <cstdio>
#include <string>

namespace GuidanceTool
{

// The text printf would write, cut at 255 bytes (the callers' lines are shorter).
template <typename... Values>
std::string Printf(const char* format, Values... values)
{
    char text[256];
    std::snprintf(text, sizeof text, format, values...);
    return text;
}

} // namespace GuidanceTool

#endif
