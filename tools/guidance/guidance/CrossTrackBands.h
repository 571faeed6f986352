// Bands of absolute cross-track distance shared by the map pictures (KML and
// report): an upper bound in metres, a colour and a label each; the last band
// has no upper bound.
// Constant data; safe from any thread.
#ifndef GUIDANCE_GUIDANCE_CROSSTRACKBANDS_H
#define GUIDANCE_GUIDANCE_CROSSTRACKBANDS_H

namespace GuidanceTool
{

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
