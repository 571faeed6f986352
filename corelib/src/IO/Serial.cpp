#include "IO/Serial.h"

#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

namespace Core
{
namespace IO
{

namespace
{

// The terminal speed for a rate in bits per second. Rates without a speed of
// their own fall back to 9600 silently: receivers are configured by their
// documented rate, and a typo must still give a working port.
speed_t SpeedForBaud(int baud)
{
    switch (baud)
    {
    case 0: return B0;
    case 50: return B50;
    case 75: return B75;
    case 110: return B110;
    case 134: return B134;
    case 150: return B150;
    case 200: return B200;
    case 300: return B300;
    case 600: return B600;
    case 1200: return B1200;
    case 1800: return B1800;
    case 2400: return B2400;
    case 4800: return B4800;
    case 19200: return B19200;
    case 38400: return B38400;
    case 57600: return B57600;
    case 115200: return B115200;
    case 230400: return B230400;
    case 460800: return B460800;
    case 921600: return B921600;
    default: return B9600;
    }
}

std::string PortDevicePath(int port)
{
    char path[32];
    snprintf(path, sizeof(path), "/dev/ttyS%d", port);
    return path;
}

} // namespace

Serial::Serial(const char* device, int baud, const Core::Time& timeout)
    : Serial(std::string(device ? device : ""), baud, timeout)
{
}

Serial::Serial(std::string device, int baud, const Core::Time& timeout)
    : m_fd(-1),
      m_device(std::move(device)),
      m_timeout(timeout),
      m_baud(baud),
      m_handshaking(HANDSHAKE_NONE),
      m_readBuffer(nullptr),
      m_readBufferCapacity(1)
{
}

Serial::Serial(int port, int baud, const Core::Time& timeout)
    : Serial(PortDevicePath(port), baud, timeout)
{
}

Serial::~Serial()
{
    Close();
    delete[] m_readBuffer;
}

bool Serial::Open()
{
    int fd = open(m_device.c_str(), O_RDWR);
    if (fd < 0)
    {
        perror("Core::IO::Serial::Open:");
        return false;
    }
    Close();
    m_fd = fd;
    SetPortOptions();
    SetHandshaking(m_handshaking);
    return true;
}

bool Serial::Close()
{
    if (!IsOpen())
        return true;
    int result = close(m_fd);
    // A failed close still releases the descriptor on Linux; retrying could
    // close a descriptor another thread has since been given.
    m_fd = -1;
    return result == 0;
}

bool Serial::IsOpen() const
{
    return m_fd >= 0;
}

int Serial::SetPortOptions()
{
    if (!IsOpen())
        return 0;
    termios attributes = {};
    tcgetattr(m_fd, &attributes);
    speed_t speed = SpeedForBaud(m_baud);
    cfsetispeed(&attributes, speed);
    cfsetospeed(&attributes, speed);
    cfmakeraw(&attributes);
    return tcsetattr(m_fd, TCSANOW, &attributes);
}

int Serial::SetBaudRate(int baud)
{
    m_baud = baud;
    return IsOpen() ? SetPortOptions() : 0;
}

int Serial::GetBaudRate() const
{
    return m_baud;
}

void Serial::SetTimeout(const Core::Time& timeout)
{
    m_timeout = timeout;
}

const Core::Time& Serial::GetTimeout() const
{
    return m_timeout;
}

bool Serial::SetHandshaking(EHandshaking mode)
{
    termios attributes;
    if (!IsOpen() || tcgetattr(m_fd, &attributes) != 0)
        return false;
    m_handshaking = mode;
    attributes.c_cflag &= ~CRTSCTS;
    if (mode == HANDSHAKE_RTS_CTS)
        attributes.c_cflag |= CRTSCTS;
    return tcsetattr(m_fd, TCSANOW, &attributes) == 0;
}

bool Serial::GetHandshaking(EHandshaking& mode)
{
    termios attributes;
    if (!IsOpen() || tcgetattr(m_fd, &attributes) != 0)
        return false;
    mode = (attributes.c_cflag & CRTSCTS) ? HANDSHAKE_RTS_CTS : HANDSHAKE_NONE;
    return true;
}

bool Serial::GetModemStatusBits(unsigned& bits)
{
    if (!IsOpen())
        return false;
    int lines = 0;
    int result = ioctl(m_fd, TIOCMGET, &lines);
    bits = static_cast<unsigned>(lines);
    return result == 0;
}

bool Serial::SetModemStatusBits(unsigned bits)
{
    if (!IsOpen())
        return false;
    int lines = static_cast<int>(bits);
    return ioctl(m_fd, TIOCMSET, &lines) == 0;
}

bool Serial::SetModemStatusBitMask(unsigned mask)
{
    if (!IsOpen())
        return false;
    int lines = static_cast<int>(mask);
    return ioctl(m_fd, TIOCMBIS, &lines) == 0;
}

bool Serial::ClearModemStatusBitMask(unsigned mask)
{
    if (!IsOpen())
        return false;
    int lines = static_cast<int>(mask);
    return ioctl(m_fd, TIOCMBIC, &lines) == 0;
}

bool Serial::GetModemStatusBit(bool& state, unsigned mask)
{
    unsigned bits = 0;
    if (!GetModemStatusBits(bits))
        return false;
    state = (bits & mask) == mask;
    return true;
}

bool Serial::SetLineState_RTS(bool on)
{
    return on ? SetModemStatusBitMask(TIOCM_RTS) : ClearModemStatusBitMask(TIOCM_RTS);
}

bool Serial::GetLineState_RTS(bool& on)
{
    return GetModemStatusBit(on, TIOCM_RTS);
}

bool Serial::GetLineState_CTS(bool& on)
{
    return GetModemStatusBit(on, TIOCM_CTS);
}

int Serial::FlushReceiveBuffer()
{
    return IsOpen() ? tcflush(m_fd, TCIFLUSH) : 0;
}

int Serial::FlushTransmitBuffer()
{
    return IsOpen() ? tcdrain(m_fd) : 0;
}

bool Serial::SendBreak(float seconds)
{
    // The duration is in tenths of a second, truncated after a single-precision
    // product: 0.25 s asks for 2.
    int duration = static_cast<int>(std::floor(seconds * 10.0f));
    return tcsendbreak(m_fd, duration) == 0;
}

std::string Serial::Read(int maxBytes)
{
    if (!IsOpen() || maxBytes < 0)
        return std::string();
    ReserveReadBuffer(static_cast<unsigned>(maxBytes));

    if (m_timeout < Core::Time())
    {
        SetNonBlocking(false);
    }
    else
    {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(m_fd, &readable);
        timeval wait;
        m_timeout.AsTimeval(wait);
        if (select(m_fd + 1, &readable, nullptr, nullptr, &wait) <= 0)
            return std::string();
        // The descriptor is ready, so a read must not block even if another
        // reader of the device takes the data first.
        SetNonBlocking(true);
    }

    ssize_t count = read(m_fd, m_readBuffer, static_cast<size_t>(maxBytes));
    if (count < 0)
        return std::string();
    return std::string(m_readBuffer, static_cast<size_t>(count));
}

int Serial::Write(const std::string& data)
{
    if (!IsOpen())
        return 0;
    SetNonBlocking(false);
    return static_cast<int>(write(m_fd, data.data(), data.size()));
}

int Serial::Write(const std::vector<unsigned char>& data)
{
    return Write(std::string(data.begin(), data.end()));
}

unsigned Serial::GetReadBufferCapacity() const
{
    return m_readBufferCapacity;
}

void Serial::SetNonBlocking(bool nonBlocking)
{
    int flags = fcntl(m_fd, F_GETFL);
    if (flags < 0)
        return;
    flags = nonBlocking ? (flags | O_NONBLOCK) : (flags & ~O_NONBLOCK);
    fcntl(m_fd, F_SETFL, flags);
}

void Serial::ReserveReadBuffer(unsigned maxBytes)
{
    if (m_readBuffer == nullptr)
        m_readBuffer = new char[m_readBufferCapacity];
    if (maxBytes > m_readBufferCapacity)
    {
        delete[] m_readBuffer;
        m_readBuffer = nullptr;
        m_readBuffer = new char[maxBytes];
        m_readBufferCapacity = maxBytes;
    }
}

} // namespace IO
} // namespace Core
