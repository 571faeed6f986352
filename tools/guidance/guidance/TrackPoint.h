// One fix of a run as the statistics and the exporters take it: the record
// measured against the guidance line, with what the record file does not keep
// (the full date-time and the antenna's height).
// Plain data; copy freely.
#ifndef GUIDANCE_GUIDANCE_TRACKPOINT_H
#define GUIDANCE_GUIDANCE_TRACKPOINT_H

#include "FixRecord.h"

#include <cmath>

namespace GuidanceTool
{

struct TrackPoint
{
    FixRecord record;
    double utc = -1;           // seconds since 1970-01-01 UTC; -1 when no date came with the fix
    double altitude = NAN;     // metres above mean sea level; NaN when unknown

    // The fix's time for durations: the date-time when known, else the time of day.
    double Time() const { return utc >= 0 ? utc : record.timeOfDay; }
};

// Bands of absolute cross-track distance shared by the map pictures (KML and
// report): an upper bound in metres, a colour and a label each; the last band
// has no upper bound.
struct CrossTrackBand
{
    double upTo;        // metres
    const char* colour; // "#rrggbb"
    const char* label;
};
const int kCrossTrackBands = 5;
extern const CrossTrackBand kCrossTrackBand[kCrossTrackBands];
// The band of an absolute cross-track distance.
int CrossTrackBandOf(double crossTrack);

} // namespace GuidanceTool

#endif
