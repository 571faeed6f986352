// A serial device (such as a positioning receiver's port) in raw 8-bit mode:
// reads with a time-out, writes, flushes, sends breaks and drives the modem
// lines. Every operation is one synchronous call on the device's descriptor and
// reports failure through its result; only a failed Open() prints a message.
// Not thread-safe: one port object belongs to one thread at a time.
#ifndef CORELIB_IO_SERIAL_H
#define CORELIB_IO_SERIAL_H

#include <string>
#include <vector>

#include "Utilities/Time.h"

namespace Core
{
namespace IO
{

class Serial
{
public:
    // Hardware flow control. Values outside the enumerators mean no flow control.
    enum EHandshaking : int
    {
        HANDSHAKE_NONE = 0,     // no hardware flow control
        HANDSHAKE_RTS_CTS = 1,  // RTS/CTS flow control (CRTSCTS in the control flags)
    };

    // Store the device path (a null path is empty), the speed in bits per
    // second and the read time-out; nothing is opened until Open().
    // Handshaking starts as none. A negative time-out makes Read() block
    // until data arrives.
    Serial(const char* device, int baud, const Core::Time& timeout);
    // The same with the device path as a string.
    Serial(std::string device, int baud, const Core::Time& timeout);
    // The device is "/dev/ttyS<port>".
    Serial(int port, int baud, const Core::Time& timeout);
    // Closes the port if it is open and frees the read buffer.
    virtual ~Serial();

    Serial(const Serial&) = delete;
    Serial& operator=(const Serial&) = delete;

    // Opens the device read-write, programs raw mode at the stored speed and
    // applies the stored handshaking mode (their own results are not checked).
    // On failure prints "Core::IO::Serial::Open:" and the system error on
    // standard error (perror) and returns false. Opening an open port
    // replaces its descriptor; the previous one is closed, not leaked.
    bool Open();
    // True when the port was already closed or close() succeeded; the port is
    // closed afterwards in either case.
    bool Close();
    // True while the port is open.
    bool IsOpen() const;

    // Programs raw 8-bit mode (no parity, echo or line processing) at the
    // stored speed. Returns the result of tcsetattr (0 on success), or 0 when
    // the port is closed.
    int SetPortOptions();
    // Stores the speed (also while closed; it takes effect at Open()). Rates
    // without a terminal speed of their own, such as 14400, become 9600 on
    // purpose. Returns SetPortOptions() when open, otherwise 0.
    int SetBaudRate(int baud);
    int GetBaudRate() const;

    // Applies to the next Read().
    void SetTimeout(const Core::Time& timeout);
    const Core::Time& GetTimeout() const;

    // Stores and applies the mode. False, with the stored mode unchanged, when
    // the port is closed or its attributes cannot be read; otherwise whether
    // the device accepted the new attributes.
    bool SetHandshaking(EHandshaking mode);
    // Reports the device's current flow control (not the stored mode); false
    // when closed or the attributes cannot be read.
    bool GetHandshaking(EHandshaking& mode);

    // Modem lines, as TIOCM_* bit masks. All return false on a closed port and
    // then leave their output arguments untouched.
    // Reads every line; bits is written whenever the port is open (0 if the
    // device cannot report its lines).
    bool GetModemStatusBits(unsigned& bits);
    // Replaces every line.
    bool SetModemStatusBits(unsigned bits);
    // Raises the lines in mask.
    bool SetModemStatusBitMask(unsigned mask);
    // Drops the lines in mask.
    bool ClearModemStatusBitMask(unsigned mask);
    // state is true only when every line of mask is raised.
    bool GetModemStatusBit(bool& state, unsigned mask);
    // Raises the RTS line when on is true, drops it otherwise.
    bool SetLineState_RTS(bool on);
    // on is true when the RTS line (the CTS line) is raised.
    bool GetLineState_RTS(bool& on);
    bool GetLineState_CTS(bool& on);

    // Discards input not yet read. Returns tcflush's result, or 0 when closed.
    int FlushReceiveBuffer();
    // Waits until all output has been transmitted; nothing is discarded.
    // Returns tcdrain's result, or 0 when closed.
    int FlushTransmitBuffer();
    // Sends a break of floor(seconds * 10) in single precision, passed to
    // tcsendbreak as its duration. True when tcsendbreak succeeded (it fails
    // on a closed port).
    bool SendBreak(float seconds);

    // Up to maxBytes bytes: whatever the device has within the time-out (a
    // zero time-out polls, a negative one blocks for at least one byte). An
    // empty string on time-out, on a read error, on a device that went away,
    // when closed, and for a negative maxBytes.
    std::string Read(int maxBytes);
    // One write() of all the bytes, in blocking mode. Returns the bytes
    // written (possibly fewer than given) or -1; 0 when closed.
    int Write(const std::string& data);
    int Write(const std::vector<unsigned char>& data);

    // Size of the read buffer, which grows to the largest maxBytes asked of
    // Read() and never shrinks; 1 before the first read.
    unsigned GetReadBufferCapacity() const;

private:
    // Sets or clears O_NONBLOCK on the open descriptor.
    void SetNonBlocking(bool nonBlocking);
    // Makes the read buffer hold at least maxBytes bytes.
    void ReserveReadBuffer(unsigned maxBytes);

    int m_fd;
    std::string m_device;
    Core::Time m_timeout;
    int m_baud;
    EHandshaking m_handshaking;
    char* m_readBuffer;
    unsigned m_readBufferCapacity;
};

} // namespace IO
} // namespace Core

#endif
