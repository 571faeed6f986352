// Appends tagged records ("blocks") to a store that survives power loss: each
// block is framed by a sync mark, a length and a CRC-32 of its payload, and is
// flushed to the medium before WriteBlock reports success. Readers walk the
// store from any position and skip damaged or torn blocks by searching for the
// next sync mark. AppendOnlyFileBase holds the format and the logic over seven
// byte-level operations; AppendOnlyFile supplies them over a Linux file.
// Not thread-safe: one object belongs to one thread at a time, and reading and
// writing share one position.
#ifndef CORELIB_FORMATS_APPENDONLYFILE_H
#define CORELIB_FORMATS_APPENDONLYFILE_H

#include "IO/DataBuffer.h"

#include <memory>
#include <string>

namespace Core
{

class AppendOnlyFileBase
{
public:
    // Block layout, every multi-byte field big-endian; blocks follow one another
    // with no file header, padding or index:
    //   offset 0  sync 1   0x5A
    //   offset 1  sync 2   0xA5
    //   offset 2  length   4 bytes, unsigned: N + 6, the bytes after this field
    //   offset 6  tag      2 bytes, the caller's record type
    //   offset 8  CRC      4 bytes, CRC-32 of the N payload bytes only (0 when N = 0)
    //   offset 12 payload  N bytes
    // The sync mark, length and tag are not covered by the CRC.
    static const unsigned char kSyncByte1 = 0x5A;
    static const unsigned char kSyncByte2 = 0xA5;
    // Sync mark and length: what a reader looks at to find a candidate block.
    static const int kPreambleSize = 6;
    // Tag and CRC: the part of the length that is not payload.
    static const unsigned int kBodyOverhead = 6;
    // Sync mark, length, tag and CRC: the bytes in front of every payload.
    static const int kHeaderSize = kPreambleSize + static_cast<int>(kBodyOverhead);

    AppendOnlyFileBase() = default;
    AppendOnlyFileBase(const AppendOnlyFileBase&) = delete;
    AppendOnlyFileBase& operator=(const AppendOnlyFileBase&) = delete;
    virtual ~AppendOnlyFileBase();

    // Opens the store at path, creating it if missing, for appending; the read
    // position is the start. An open store is closed first. False on failure.
    virtual bool Open(const std::string& path) = 0;
    // Closes the store; harmless when it is not open.
    virtual void Close() = 0;
    // Reads up to length bytes at the read position into buffer; returns the
    // count, fewer only at the end or on error, 0 when not open or length < 1.
    virtual int Read(unsigned char* buffer, int length) = 0;
    // Appends length bytes and leaves the read position at the end; returns the count written.
    virtual int Write(const unsigned char* data, int length) = 0;
    // Sets the read position to offset from the start; returns it, or a negative value on failure.
    virtual int SeekRead(int offset) = 0;
    // The read position, or a negative value on failure.
    virtual int TellRead() = 0;
    // Pushes written data to the medium; false on failure or when not open.
    virtual bool Flush() = 0;

    // Appends one block and flushes it. True only when the header and the
    // payload were written completely and the flush succeeded; a partial write
    // stays in the store and readers skip it. Payloads longer than 2^31 - 13
    // bytes are refused before anything is written.
    bool WriteBlock(unsigned short tag, const IO::CDataBuffer& payload);
    // Reads forward from the read position to the next intact block, stores its
    // tag and appends its payload to payload (which is not cleared). False when
    // no further intact block can be read; the read position is then at the end.
    // A rejected candidate whose whole body could be read still sets tag.
    bool ReadBlock(unsigned short& tag, IO::CDataBuffer& payload);
    // SeekRead(0); returns its result.
    int Reset();

protected:
    // The bytes at the read position, at least length of them, in memory the
    // store keeps, without consuming them; available is set to how many
    // there are. nullptr when the store cannot offer length bytes so (fewer
    // remain, or it keeps no such memory), and the reader then reads them.
    // Valid until the next operation on the store. This one always returns
    // nullptr.
    virtual const unsigned char* Peek(int length, int& available);
    // Consumes length bytes. Requires: the last Peek returned at least length
    // bytes, and no operation on the store came in between.
    virtual void Skip(int length);

private:
    // The intact block at the read position taken straight from Peek, the
    // common case of a reader going through undamaged blocks. Consumes
    // nothing and returns false for anything else, which ReadBlock's search
    // then handles.
    bool ReadPeekedBlock(unsigned short& tag, IO::CDataBuffer& payload);
    // Searches forward for the next intact block, reading it piece by piece.
    bool SearchBlock(unsigned short& tag, IO::CDataBuffer& payload);
    // Appends exactly length bytes read from the store to payload, growing it
    // only as bytes arrive so that a damaged length never causes a large
    // allocation. False when fewer arrive; payload is then longer than what
    // arrived, and the caller truncates it.
    bool ReadPayload(IO::CDataBuffer& payload, unsigned int length);
};

// The block store over a Linux file opened for appending. Reads go through a
// buffer of the object's own, so scanning a file costs few system calls;
// writes go straight to the file.
class AppendOnlyFile : public AppendOnlyFileBase
{
public:
    AppendOnlyFile();
    // Closes the file if it is open.
    ~AppendOnlyFile() override;

    // open(path, O_RDWR | O_CREAT | O_APPEND, 0666).
    bool Open(const std::string& path) override;
    void Close() override;
    // Repeats read until length bytes arrived or a call returns 0 or less
    // (interruptions end the loop too).
    int Read(unsigned char* buffer, int length) override;
    // Repeats write until length bytes went out or a call returns 0 or less.
    int Write(const unsigned char* data, int length) override;
    int SeekRead(int offset) override;
    int TellRead() override;
    // fsync.
    bool Flush() override;

protected:
    // Offers up to one read buffer's worth of bytes, reading ahead as needed.
    const unsigned char* Peek(int length, int& available) override;
    void Skip(int length) override;

private:
    // Bytes fetched from the file per buffered read.
    static const int kReadBufferSize = 64 * 1024;
    // Requests at least this large, once the buffer is used up, are read
    // straight into the caller's memory.
    static const int kDirectReadMinimum = 16 * 1024;

    // Forgets the buffered bytes; the descriptor's position becomes the read position.
    void DropReadBuffer();
    // One read(2) at the read position straight into buffer, leaving the
    // read buffer empty after it. Requires: every buffered byte consumed.
    int ReadDirect(unsigned char* buffer, int length);
    // Refills the buffer at the read position; the count read, 0 or less at the end or on error.
    int FillReadBuffer();
    // Moves the unread bytes to the front of the buffer and reads behind them
    // until length bytes are buffered; false at the end or on error.
    bool TopUpReadBuffer(int length);

    int m_fd;
    std::unique_ptr<unsigned char[]> m_readBuffer;
    // File offset of m_readBuffer[0], or -1 when the buffer holds nothing and the
    // read position is wherever the descriptor stands.
    long long m_bufferOffset;
    int m_bufferLength;
    int m_bufferPosition;
};

} // namespace Core

#endif
