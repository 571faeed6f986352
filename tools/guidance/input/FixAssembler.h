// Turns a receiver's sentences into fixes. A receiver reports each epoch as
// several sentences with the same time of day, in an order that varies by
// make: GGA (position, quality, satellites, height), RMC (date, validity,
// position, speed, course) and VTG (speed and course, no time). The sentences
// of one epoch are gathered until a sentence with another time, a second GGA
// or RMC, or the end, closes it; a VTG belongs to the epoch of the timed
// sentence before it. An epoch that holds all three closes at once, so that
// a live fix is recorded as soon as its last sentence is in; one without
// all three closes when the next begins or the input pauses (Finish()). The epoch gives a fix when its GGA has a
// quality above 0, or, without a GGA, when its RMC is valid (quality then unknown). The last RMC's date dates every
// later fix, a day added when the time of day wraps past midnight. Lines are decoded by the library's parser (GGA and
// VTG) and by DecodeRmc; every talker is accepted.
// Not thread-safe: belongs to the thread that replays.
#ifndef GUIDANCE_INPUT_FIXASSEMBLER_H
#define GUIDANCE_INPUT_FIXASSEMBLER_H

#include "FixRecord.h"
#include "InputCheck.h"

#include <deque>
#include <string>

namespace GuidanceTool
{

class FixAssembler
{
public:
    // What became of a line.
    enum class Outcome
    {
        Blank,
        Decoded,    // GGA, VTG or RMC
        Checksum,   // the checksum did not match
        Malformed,  // a field was missing or bad
        Unsupported // an intact sentence of a type guidance does not use, or not a sentence
    };

    // Fix quality of a fix reported by RMC alone.
    static constexpr int kQualityUnknown = -1;

    // Reports sentence types and sentences without a position to check.
    explicit FixAssembler(InputCheck& check) : m_check(check) {}

    Outcome Line(const std::string& line);
    // Closes the open epoch: at the end of the input, or when it pauses.
    void Finish() { CloseEpoch(); }
    // Takes the oldest finished fix; false when none is waiting. Only
    // latitude, longitude, time, quality, satellites, speed and heading of its
    // record are filled.
    bool Next(FixRecord& point);

private:
    // Starts a new epoch when time differs from the open one's, or when the
    // sentence's type already came in the open one (repeated).
    void EpochAt(double timeOfDay, bool repeated);
    void CloseEpoch();
    // Closes the epoch once it holds a GGA, an RMC and a VTG.
    void CloseIfComplete();

    InputCheck& m_check;
    std::deque<FixRecord> m_ready;

    // The open epoch.
    bool m_open = false;
    double m_time = -1;
    bool m_hasGga = false;
    bool m_ggaPosition = false;
    bool m_hasRmc = false;
    bool m_rmcValid = false;
    bool m_hasTrack = false;
    FixRecord m_point;

    // Midnight of the last RMC's date, seconds since 1970; -1 before one.
    double m_midnight = -1;
    double m_rmcTime = 0; // its time of day
};

} // namespace GuidanceTool

#endif
