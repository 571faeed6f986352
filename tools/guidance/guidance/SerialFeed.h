// Reads a receiver's serial link into a replayer one bounded wait at a time,
// and closes an epoch as soon as the receiver pauses after sending it, rather
// than when the next epoch's first sentence arrives. The serial replay and the
// live-latency benchmark both read the port through it.
// Not thread-safe: one thread calls Step.
#ifndef GUIDANCE_SERIALFEED_H
#define GUIDANCE_SERIALFEED_H

#include <chrono>

namespace GuidanceTool
{

class Replayer;
class SerialLink;

class SerialFeed
{
public:
    typedef std::chrono::steady_clock Clock;

    // What one step did.
    enum class Event
    {
        Data,   // bytes came and were fed
        Paused, // the receiver went quiet after an epoch, which was closed
        Quiet   // nothing came
    };

    // A receiver sends each epoch's sentences back to back; this long a
    // silence after them ends the epoch. Far shorter than the 100 ms between
    // epochs at 10 Hz, far longer than a gap between two bytes at 4800 baud.
    static const std::chrono::milliseconds kBurstPause;

    SerialFeed(SerialLink& link, Replayer& replayer);

    // Waits at most maxWait for bytes, and while an epoch is open no longer
    // than until its pause has passed; feeds what came, or closes the epoch.
    Event Step(Clock::duration maxWait);

    // True while bytes have come since the last pause.
    bool EpochOpen() const { return m_epochOpen; }
    // When bytes last came; the construction time before any did.
    Clock::time_point LastData() const { return m_lastData; }

private:
    SerialLink& m_link;
    Replayer& m_replayer;
    Clock::time_point m_lastData;
    bool m_epochOpen;
};

} // namespace GuidanceTool

#endif
