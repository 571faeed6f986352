// Simulates a vehicle driving a field: the guidance line and its parallel
// passes at the working width, joined by headland turns, reported as a
// receiver would at 10 Hz (RMC, GGA and VTG every epoch, GSA once a second), with
// positioning noise, changes of fix quality, short dropouts and a small share
// of damaged sentences. The drive's geometry is computed here on its own (its
// own curve through the points and its own offsets), so that guidance replayed
// from it is an independent check of the library's geometry.
// Not thread-safe: a simulation belongs to one thread.
#ifndef GUIDANCE_SIMULATOR_H
#define GUIDANCE_SIMULATOR_H

#include "Field.h"

#include <functional>
#include <string>

namespace GuidanceTool
{

struct SimulationSettings
{
    int passes = 4;              // parallel passes, the first on the guidance line, the rest to its right
    double speed = 4.0;          // metres per second along the passes
    double turnSpeed = 2.5;      // metres per second in the headland turns
    double damagedShare = 0.005; // share of sentences sent damaged (half bad checksum, half truncated)
    bool disturbances = true;    // fix-quality changes and dropouts
    unsigned int seed = 1;
    double startTime = 36000;      // time of day of the first epoch, seconds (10:00:00 UTC)
    double startDate = 1714521600; // the drive's day, seconds since 1970 (2024-05-01T00:00:00Z)
};

// The sentences of one 10 Hz epoch (empty during a dropout).
struct Epoch
{
    double elapsed; // seconds since the first epoch
    std::string text;
};

// Hands the drive to each, epoch by epoch, until the drive ends or each
// returns false; only one pass is held at a time, so memory does not grow with
// the drive. Deterministic for given field and settings.
void SimulateDrive(const Field& field, const SimulationSettings& settings,
                   const std::function<bool(const Epoch&)>& each);

// The whole drive's text, for drives known to be short.
std::string DriveText(const Field& field, const SimulationSettings& settings);

} // namespace GuidanceTool

#endif
