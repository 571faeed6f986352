// The RMC sentence (recommended minimum data) that every receiver sends: UTC
// date and time, validity, position, speed and course. The library's parser
// checks its checksum and names it but does not decode it; the tool does, from
// the sentence's comma-separated fields. Any two-letter talker is accepted
// (GP, GN, GL, GA, GB, BD and the rest), as the library does for GGA and VTG.
// Stateless functions; safe from any thread.
#ifndef GUIDANCE_INPUT_RMCSENTENCE_H
#define GUIDANCE_INPUT_RMCSENTENCE_H

#include <string>

namespace GuidanceTool
{

struct RmcFix
{
    double timeOfDay = -1;     // seconds since midnight UTC
    double utc = -1;           // seconds since 1970-01-01 UTC: the date and the time of day
    bool valid = false;        // status A, and a mode other than N (not valid) when one is sent
    double latitude = 0;       // degrees, negative south; only meaningful when valid
    double longitude = 0;      // degrees, negative west
    double speedMetres = -1;   // speed over ground, metres per second; -1 when empty
    double courseDegrees = -1; // true course, clockwise from north; -1 when empty
};

enum class RmcResult
{
    NotRmc,    // another sentence type, or a checksum that does not match
    Malformed, // an intact RMC sentence with a missing or bad field
    Decoded
};

// Decodes one line when it is an intact RMC sentence. Two-digit years are
// taken as 1980 to 2079, the years satellite positioning can report.
RmcResult DecodeRmc(const std::string& line, RmcFix& fix);

// The three-letter sentence type after the talker ("GSV" of "$GLGSV,..."), or
// the whole address of a proprietary sentence ("PUBX"); "" when line does not
// start like a sentence.
std::string SentenceType(const std::string& line);

} // namespace GuidanceTool

#endif
