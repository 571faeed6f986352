// One recorded fix: what the receiver reported and where guidance placed the
// vehicle relative to its line. Stored as an object-store record in a block of
// the record file, and printed back by `guidance dump`.
// Plain data; copy freely.
#ifndef GUIDANCE_FIXRECORD_H
#define GUIDANCE_FIXRECORD_H

#include "IO/ObjectStore.h"

#include <cmath>
#include <string>

namespace GuidanceTool
{

struct FixRecord
{
    // Block tag of a fix record in the record file.
    static const unsigned short kBlockTag = 0x4658;

    int sequence = 0;     // 1 for the first fix of the run
    double timeOfDay = 0; // seconds since midnight UTC; -1 when the receiver sent none
    double latitude = 0;  // degrees
    double longitude = 0; // degrees
    int fixQuality = 0;
    int satellites = -1;
    double x = 0;            // east of the first fix, metres
    double y = 0;            // north of the first fix, metres
    double speed = -1;       // metres per second; -1 when no track sentence came with the fix
    double heading = 0;      // direction of travel in the plane, radians from east toward north
    int pass = 0;            // parallel pass the vehicle is on, 0 the guidance line, positive to its right
    double crossTrack = 0;   // signed distance to that pass, metres, positive left of its direction
    double alongTrack = 0;   // distance along the guidance line to the nearest point, metres
    double headingError = 0; // heading minus the pass direction, radians in [-pi/2, pi/2]
    int onLine = 0;          // 1 when the nearest point lies between the line's ends
    double utc = -1;         // seconds since 1970-01-01 UTC when a date came with the fix, else -1
    double altitude = NAN;   // antenna above mean sea level, metres; NaN when unknown

    // Writes the record into an output-mode store, or reads it from an
    // input-mode one; false when a field is missing on reading.
    bool Process(Core::IO::ObjectStore& store);

    // Column names of CSV(), with their units: times as ISO 8601 UTC and
    // seconds of the day, angles in degrees, heading clockwise from north and
    // heading error clockwise from the pass's direction, distances in metres,
    // speed in m/s and km/h. An unknown value is an empty field.
    static std::string CSVHeader();
    std::string CSV() const;
    // One readable line with the same units; unknown values are left out.
    std::string Text() const;

    bool operator==(const FixRecord& other) const;

    // The fix's time for durations: the date-time when known, else the time of day.
    double Time() const { return utc >= 0 ? utc : timeOfDay; }
};

} // namespace GuidanceTool

#endif
