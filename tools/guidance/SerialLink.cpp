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
const int kRates[] = {50,    75,    110,   134,   150,    200,    300,    600,    1200,  1800,
                      2400,  4800,  9600,  19200, 38400,  57600,  115200, 230400, 460800, 921600};

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
        throw ToolError("unsupported baud rate " + std::to_string(baud) +
                        " (use 4800, 9600, 19200, 38400, 57600, 115200, ...)");
    // Check the device first: the port's own open failure prints a bare
    // system message, and this one says which device failed.
    const int probe = open(device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (probe < 0)
        throw ToolError("cannot open serial device '" + device + "': " + std::strerror(errno));
    const bool terminal = isatty(probe) != 0;
    close(probe);
    if (!terminal)
        throw ToolError("'" + device + "' is not a serial device (cannot configure it)");
    if (!m_port.Open() || m_port.SetPortOptions() != 0)
        throw ToolError("cannot configure serial device '" + device + "'");
}

void SerialLink::SendPaced(const std::vector<Epoch>& epochs, double speedup)
{
    const auto start = std::chrono::steady_clock::now();
    for (const Epoch& epoch : epochs)
    {
        std::this_thread::sleep_until(start + std::chrono::duration<double>(epoch.elapsed / speedup));
        std::size_t sent = 0;
        while (sent < epoch.text.size())
        {
            const int written = m_port.Write(epoch.text.substr(sent));
            if (written <= 0)
                throw ToolError("cannot write to serial device '" + m_device + "'");
            sent += static_cast<std::size_t>(written);
        }
    }
    m_port.FlushTransmitBuffer();
}

std::string SerialLink::Read(double timeoutSeconds)
{
    m_port.SetTimeout(Core::Time(timeoutSeconds));
    return m_port.Read(4096);
}

} // namespace GuidanceTool
