// A serial device opened for the tool: checked up front so that a missing or
// unconfigurable device gives one clear message, then used to send a drive
// paced in real time or to read whatever arrives within a time-out.
// Not thread-safe: belongs to the main thread.
#ifndef GUIDANCE_SERIALLINK_H
#define GUIDANCE_SERIALLINK_H

#include "IO/Serial.h"
#include "Simulator.h"

#include <chrono>
#include <string>

namespace GuidanceTool
{

class SerialLink
{
public:
    static const int kDefaultBaud = 115200;
    // The most bytes one Read returns: several epochs of a fast receiver.
    static const int kReadPiece = 4096;

    // Opens device in raw mode at baud. Throws ToolError when the rate has no
    // terminal speed of its own, or the device cannot be opened or configured.
    SerialLink(const std::string& device, int baud);
    SerialLink(const SerialLink&) = delete;
    SerialLink& operator=(const SerialLink&) = delete;

    // Sends the epoch at its time (divided by speedup) after start. Throws
    // ToolError when a write fails.
    void SendAt(const Epoch& epoch, std::chrono::steady_clock::time_point start, double speedup);
    // Waits until everything sent has been transmitted.
    void Drain();

    // What arrives within timeoutSeconds (at most kReadPiece bytes); empty on time-out.
    std::string Read(double timeoutSeconds);

    const std::string& Device() const { return m_device; }

    // True when rate is one of the speeds a serial device can be set to.
    static bool IsSupportedBaud(int rate);

private:
    std::string m_device;
    Core::IO::Serial m_port;
};

} // namespace GuidanceTool

#endif
