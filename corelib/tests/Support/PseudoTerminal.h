// A pseudo-terminal pair for serial-port tests: the port or program under
// test opens the slave by its path, as it would a real device, and the test
// plays the device on the master side. Every wait is bounded.
#ifndef CORELIB_TESTS_SUPPORT_PSEUDOTERMINAL_H
#define CORELIB_TESTS_SUPPORT_PSEUDOTERMINAL_H

#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <termios.h>
#include <unistd.h>

namespace CoreTest
{

class PseudoTerminal
{
public:
    // raw: the slave passes every byte through unchanged, as a receiver's port does.
    explicit PseudoTerminal(bool raw = false) : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0 || !ptsname(m_master))
            throw std::runtime_error("cannot open a pseudo-terminal");
        m_slavePath = ptsname(m_master);
        termios attributes = Attributes();
        cfmakeraw(&attributes);
        if (raw && !SetAttributes(attributes))
            throw std::runtime_error("cannot make the pseudo-terminal raw");
    }
    ~PseudoTerminal() { Hangup(); }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    const std::string& SlavePath() const { return m_slavePath; }
    int Master() const { return m_master; }
    // The device sends bytes (small writes to a pseudo-terminal are never partial).
    bool Send(const std::string& bytes) { return write(m_master, bytes.data(), bytes.size()) == ssize_t(bytes.size()); }
    // What the port wrote: up to count bytes, waiting at most timeoutMs for each piece.
    std::string Receive(size_t count, int timeoutMs)
    {
        std::string got;
        char buffer[512];
        pollfd p = {m_master, POLLIN, 0};
        while (got.size() < count && poll(&p, 1, timeoutMs) == 1)
        {
            ssize_t n = read(m_master, buffer, sizeof(buffer));
            if (n <= 0)
                break;
            got.append(buffer, size_t(n));
        }
        return got;
    }
    // Waits until sent bytes are readable on the slave, without taking them:
    // a second descriptor on the slave shares its input queue.
    bool WaitUntilSlaveReadable(int timeoutMs) const
    {
        pollfd p = {open(m_slavePath.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK), POLLIN, 0};
        bool readable = p.fd >= 0 && poll(&p, 1, timeoutMs) == 1;
        close(p.fd);
        return readable;
    }
    // The slave's attributes, read and written through the master.
    termios Attributes() const
    {
        termios attributes = {};
        tcgetattr(m_master, &attributes);
        return attributes;
    }
    bool SetAttributes(const termios& attributes) { return tcsetattr(m_master, TCSANOW, &attributes) == 0; }
    // Closes the master, as a device unplugged.
    void Hangup()
    {
        if (m_master >= 0)
            close(m_master);
        m_master = -1;
    }

private:
    int m_master;
    std::string m_slavePath;
};

} // namespace CoreTest

#endif
