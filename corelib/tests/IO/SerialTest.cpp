#include "IO/Serial.h"

#include "Support/PseudoTerminal.h"
#include "Support/TestSupport.h"

#include <chrono>
#include <numeric>
#include <sys/ioctl.h>
#include <thread>

#include <gtest/gtest.h>

using Core::IO::Serial;
using Core::Time;

namespace
{

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Each test plays the device on a fresh pseudo-terminal; m_port is on its slave.
class SerialPortTest : public ::testing::Test
{
protected:
    void OpenPort(const Time& timeout)
    {
        m_port.SetTimeout(timeout);
        ASSERT_TRUE(m_port.Open()) << m_pty.SlavePath();
    }

    speed_t DeviceSpeed() const
    {
        termios attributes = m_pty.Attributes();
        EXPECT_EQ(cfgetispeed(&attributes), cfgetospeed(&attributes));
        return cfgetospeed(&attributes);
    }

    // Reads until count bytes have arrived or ten seconds have passed.
    std::string ReadAtLeast(size_t count)
    {
        std::string got;
        for (auto start = Clock::now(); got.size() < count && SecondsSince(start) < 10;)
            got += m_port.Read(int(count - got.size()));
        return got;
    }

    CoreTest::PseudoTerminal m_pty;
    Serial m_port{m_pty.SlavePath(), 4800, Time(0L)};
};

TEST_F(SerialPortTest, ClosedPortFailsEveryCallAndTouchesNoOutput)
{
    EXPECT_TRUE(m_port.Close());
    EXPECT_EQ("", m_port.Read(100));
    EXPECT_EQ(1u, m_port.GetReadBufferCapacity()) << "a closed port allocates nothing";
    EXPECT_EQ(0, m_port.Write(std::string("abc")) + m_port.SetBaudRate(19200) + m_port.FlushReceiveBuffer());
    EXPECT_FALSE(m_port.SendBreak(0.25f) || m_port.SetLineState_RTS(true) || m_port.SetLineState_RTS(false) ||
                 m_port.SetModemStatusBits(TIOCM_DTR));
    unsigned bits = 0xABCD;
    bool cts = true, rts = true;
    EXPECT_FALSE(m_port.GetModemStatusBits(bits) || m_port.GetLineState_CTS(cts) || m_port.GetLineState_RTS(rts));
    EXPECT_TRUE(bits == 0xABCDu && cts && rts) << "the arguments are left untouched";
    EXPECT_EQ(Time(0L), m_port.GetTimeout());
}

TEST_F(SerialPortTest, FailedOpenPrintsThePrefixAndTheSystemError)
{
    auto child = CoreTest::RunInChild([] {
        Serial port("/nonexistent/ttyNMEA", 4800, Time(1L));
        // A port number names /dev/ttyS<number>, and there is no /dev/ttyS-1.
        Serial numbered(-1, 4800, Time(1L));
        std::exit(port.Open() || port.IsOpen() || numbered.Open() ? 3 : 0);
    });
    EXPECT_TRUE(child.exited && child.exitStatus == 0);
    EXPECT_EQ("Core::IO::Serial::Open:: No such file or directory\n"
              "Core::IO::Serial::Open:: No such file or directory\n",
              child.output);
}

TEST_F(SerialPortTest, RawModePassesEveryByteValueUnchangedBothWays)
{
    // Among them NUL, ^C (interrupt), XON/XOFF, CR (mapped to NL when cooked) and 0xFF.
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    OpenPort(Time::Milliseconds(200));
    ASSERT_TRUE(m_pty.Send(bytes));
    EXPECT_EQ(bytes, ReadAtLeast(256));
    EXPECT_EQ(256, m_port.Write(std::vector<unsigned char>(bytes.rbegin(), bytes.rend())));
    EXPECT_EQ(std::string(bytes.rbegin(), bytes.rend()), m_pty.Receive(256, 5000));
}

TEST_F(SerialPortTest, ProgrammedSpeedReadsBackAndUnlistedRatesBecome9600)
{
    EXPECT_EQ(0, m_port.SetBaudRate(57600)) << "stored while closed, applied by Open";
    EXPECT_EQ(57600, m_port.GetBaudRate());
    OpenPort(Time(0L));
    EXPECT_EQ(B57600, DeviceSpeed());
    const std::pair<int, speed_t> cases[] = {
        {50, B50},      {75, B75},       {110, B110},     {134, B134},       {150, B150},       {200, B200},
        {300, B300},    {600, B600},     {1200, B1200},   {1800, B1800},     {2400, B2400},     {4800, B4800},
        {9600, B9600},  {19200, B19200}, {38400, B38400}, {115200, B115200}, {230400, B230400}, {460800, B460800},
        {12345, B9600}, {14400, B9600},  {-4800, B9600}};
    for (const auto& c : cases)
    {
        EXPECT_EQ(0, m_port.SetBaudRate(c.first));
        EXPECT_EQ(c.second, DeviceSpeed()) << c.first;
    }
    // The user-mode emulator translates no terminal speed above 460800 bit/s.
    if (!CoreTest::kTargetEmulated)
    {
        m_port.SetBaudRate(921600);
        EXPECT_EQ(B921600, DeviceSpeed());
    }
}

TEST_F(SerialPortTest, HandshakingIsAppliedAtOpenAndReadFromTheDevice)
{
    EXPECT_FALSE(m_port.SetHandshaking(Serial::HANDSHAKE_RTS_CTS)) << "closed: refused, not stored";
    OpenPort(Time(0L));
    EXPECT_EQ(0u, m_pty.Attributes().c_cflag & CRTSCTS);
    // A mode stored while open is applied again by the next Open.
    ASSERT_TRUE(m_port.SetHandshaking(Serial::HANDSHAKE_RTS_CTS) && m_port.Close());
    termios attributes = m_pty.Attributes();
    attributes.c_cflag &= ~CRTSCTS;
    ASSERT_TRUE(m_pty.SetAttributes(attributes) && m_port.Open());
    EXPECT_NE(0u, m_pty.Attributes().c_cflag & CRTSCTS);
    // The query reports the device, whatever mode is stored.
    ASSERT_TRUE(m_pty.SetAttributes(attributes));
    Serial::EHandshaking mode = Serial::HANDSHAKE_RTS_CTS;
    EXPECT_TRUE(m_port.GetHandshaking(mode) && mode == Serial::HANDSHAKE_NONE);
    // A pseudo-terminal has no modem lines: the port reports every query and change of them as failed.
    bool cts = true;
    EXPECT_FALSE(m_port.GetLineState_CTS(cts) || m_port.SetLineState_RTS(true) || m_port.SetLineState_RTS(false) ||
                 m_port.SetModemStatusBits(TIOCM_RTS));
}

TEST_F(SerialPortTest, TimeoutsWaitPollAndBlockAsSet)
{
    OpenPort(Time(1L));
    auto start = Clock::now();
    EXPECT_EQ("", m_port.Read(64));
    EXPECT_GE(SecondsSince(start), 0.95);

    m_port.SetTimeout(Time(0L));
    start = Clock::now();
    EXPECT_EQ("", m_port.Read(0) + m_port.Read(32));
    EXPECT_LT(SecondsSince(start), 0.9) << "a zero time-out polls";
    ASSERT_TRUE(m_pty.Send("0123456789") && m_pty.WaitUntilSlaveReadable(5000));
    EXPECT_EQ("0123", m_port.Read(4));
    EXPECT_EQ("456789", m_port.Read(100));
    EXPECT_EQ(100u, m_port.GetReadBufferCapacity()) << "the buffer grows to the largest request";
    EXPECT_EQ("", m_port.Read(-1));
    EXPECT_EQ(100u, m_port.GetReadBufferCapacity()) << "and never shrinks";

    // Blocking: the device sends after 300 ms, and hangs up after 20 s so a
    // read that missed the data still ends.
    m_port.SetTimeout(Time(-1L));
    std::thread device([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        m_pty.Send("X");
        m_pty.Receive(1, 20000);
        m_pty.Hangup();
    });
    start = Clock::now();
    EXPECT_EQ("X", m_port.Read(16));
    EXPECT_GE(SecondsSince(start), 0.25);
    m_port.Write(std::string("!"));
    device.join();
}

TEST_F(SerialPortTest, HungUpDeviceReadsAsEmptyInEveryTimeoutMode)
{
    for (long seconds : {5L, 0L, -1L})
    {
        CoreTest::PseudoTerminal pty;
        Serial port(pty.SlavePath(), 4800, Time(seconds));
        ASSERT_TRUE(port.Open());
        pty.Hangup();
        auto start = Clock::now();
        EXPECT_EQ("", port.Read(16));
        EXPECT_LT(SecondsSince(start), 4.0);
    }
}

TEST_F(SerialPortTest, FlushesDiscardInputButKeepOutput)
{
    OpenPort(Time(0L));
    ASSERT_TRUE(m_pty.Send("stale") && m_pty.WaitUntilSlaveReadable(5000));
    EXPECT_EQ(0, m_port.FlushReceiveBuffer());
    EXPECT_EQ("", m_port.Read(16));
    EXPECT_EQ(5, m_port.Write(std::string("fresh")));
    EXPECT_EQ(0, m_port.FlushTransmitBuffer());
    EXPECT_EQ("fresh", m_pty.Receive(5, 5000));
    EXPECT_TRUE(m_port.SendBreak(0.25f));
}

} // namespace
