#include "SerialLink.h"

#include "Options.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <fcntl.h>
#include <unistd.h>

namespace GuidanceTool
{

namespace
{

// Rates the port programs exactly; any other rate would silently become 9600.
const int kRates[] = {50,   75,   110,  134,   150,   200,   300,    600,    1200,   1800,
                      2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600};

} // namespace

bool SerialLink::IsSupportedBaud(int rate)
{
    for (const int supported : kRates)
        if (rate == supported)
            return true;
    return false;
}

SerialLink::SerialLink(const std::string& device, int baud)
    : m_device(device), m_port(device, baud, Core::Time(0, 100000))
{
    if (!IsSupportedBaud(baud))
        throw BadInput("--baud " + std::to_string(baud), "unsupported baud rate",
                       "use 4800, 9600, 19200, 38400, 57600, 115200, ...");
    // Check the device first: the port's own open failure prints a bare
    // system message, and this one says which device failed.
    const int probe = open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (probe < 0)
        throw BadInput(device, "cannot open the serial device", std::strerror(errno));
    const bool terminal = isatty(probe) != 0;
    close(probe);
    if (!terminal)
        throw BadInput(device, "not a serial device", "cannot configure it");
    if (!m_port.Open() || m_port.SetPortOptions() != 0)
        throw IoFailure(device, "cannot configure the serial device", errno != 0 ? errno : EIO);
}

void SerialLink::SendAt(const Epoch& epoch, std::chrono::steady_clock::time_point start, double speedup)
{
    std::this_thread::sleep_until(start + std::chrono::duration<double>(epoch.elapsed / speedup));
    std::size_t sent = 0;
    while (sent < epoch.text.size())
    {
        errno = 0;
        const int written = m_port.Write(epoch.text.substr(sent));
        if (written <= 0 && errno == EINTR)
            continue;
        if (written <= 0)
            throw IoFailure(m_device, "write failed", errno != 0 ? errno : EIO);
        sent += static_cast<std::size_t>(written);
    }
}

void SerialLink::Drain()
{
    m_port.FlushTransmitBuffer();
}

std::string SerialLink::Read(double timeoutSeconds)
{
    m_port.SetTimeout(Core::Time(timeoutSeconds));
    return m_port.Read(kReadPiece);
}

} // namespace GuidanceTool
