#include "CrossTrackBands.h"

#include <cmath>

namespace GuidanceTool
{

// Steps of a few centimetres suit the precise receivers guidance is driven
// with; the colours run from green to red.
const CrossTrackBand kCrossTrackBand[kCrossTrackBands] = {{0.02, "#1a9850", "under 2 cm"},
                                                          {0.05, "#91cf60", "2 to 5 cm"},
                                                          {0.10, "#fee08b", "5 to 10 cm"},
                                                          {0.30, "#fc8d59", "10 to 30 cm"},
                                                          {INFINITY, "#d73027", "30 cm and more"}};

int CrossTrackBandOf(double crossTrack)
{
    int band = 0;
    while (band + 1 < kCrossTrackBands && std::fabs(crossTrack) >= kCrossTrackBand[band].upTo)
        ++band;
    return band;
}

} // namespace GuidanceTool
