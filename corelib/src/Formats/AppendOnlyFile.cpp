#include "Formats/AppendOnlyFile.h"

#include "IO/Checksums.h"
#include "Utilities/FileLayer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>

namespace Core
{

namespace
{

// A candidate body is read in pieces: first this many bytes, then as many
// again as have arrived, so memory follows the bytes actually present.
const unsigned int kFirstBodyChunk = 64 * 1024;

// The big-endian field of width bytes at p, read straight from the bytes:
// the reader decodes two fields per block and a buffer object per field
// would cost more than the decoding.
unsigned int BigEndianField(const unsigned char* p, int width)
{
    unsigned int value = 0;
    for (int i = 0; i < width; ++i)
        value = value << 8 | p[i];
    return value;
}

} // namespace

AppendOnlyFileBase::~AppendOnlyFileBase() = default;

int AppendOnlyFileBase::Reset()
{
    return SeekRead(0);
}

bool AppendOnlyFileBase::WriteBlock(unsigned short tag, const IO::CDataBuffer& payload)
{
    const unsigned int payloadLength = payload.Length();
    if (payloadLength > static_cast<unsigned int>(INT_MAX - kHeaderSize))
        return false;
    const CRC32 crc(payload.Data(), static_cast<int>(payloadLength));

    IO::CDataBuffer header(IO::CDataBuffer::BigEndian, 256);
    header.Add(static_cast<unsigned short>(kSyncByte1 << 8 | kSyncByte2))
        .Add(static_cast<int>(payloadLength + kBodyOverhead))
        .Add(tag)
        .Add(crc.m_crc);
    if (Write(header.Data(), kHeaderSize) != kHeaderSize)
        return false;
    if (Write(payload.Data(), static_cast<int>(payloadLength)) != static_cast<int>(payloadLength))
        return false;
    return Flush();
}

bool AppendOnlyFileBase::ReadBlock(unsigned short& tag, IO::CDataBuffer& payload)
{
    // The look-ahead always holds the next kPreambleSize unread bytes: the
    // candidate's sync mark and length. A short refill means fewer bytes remain
    // than any block needs, which is the normal end of the store.
    unsigned char lookAhead[kPreambleSize];
    if (Read(lookAhead, kPreambleSize) != kPreambleSize)
        return false;
    for (;;)
    {
        int syncAt = 0;
        while (syncAt < kPreambleSize && lookAhead[syncAt] != kSyncByte1)
            ++syncAt;

        int drop;
        if (syncAt == kPreambleSize)
            drop = kPreambleSize;  // No first sync byte anywhere: take six fresh bytes.
        else if (syncAt == kPreambleSize - 1)
            drop = syncAt;  // Bring the last byte to the front to see what follows it.
        else if (lookAhead[syncAt + 1] != kSyncByte2)
            drop = syncAt + 1;  // A stray first sync byte: drop it and what came before.
        else if (syncAt != 0)
            drop = syncAt;  // Bring the sync mark to the front.
        else
        {
            // Sync mark at the front; the read position is just past the length.
            const int resumeAt = TellRead();
            if (resumeAt < 0)
                return false;
            const unsigned int length = BigEndianField(lookAhead + 2, 4);
            // A length too short for the tag and CRC is not a block.
            if (length >= kBodyOverhead)
            {
                // The body goes straight into payload and is taken back out
                // if it is incomplete or fails the check. Read positions are
                // ints, so a body longer than INT_MAX cannot be in the store.
                const unsigned int kept = payload.Length();
                unsigned char fields[kBodyOverhead];
                if (length <= static_cast<unsigned int>(INT_MAX) &&
                    Read(fields, kBodyOverhead) == static_cast<int>(kBodyOverhead) &&
                    ReadPayload(payload, length - kBodyOverhead))
                {
                    tag = static_cast<unsigned short>(BigEndianField(fields, 2));
                    const unsigned int storedCrc = BigEndianField(fields + 2, 4);
                    if (CRC32(payload.Data() + kept, static_cast<int>(length - kBodyOverhead)).m_crc == storedCrc)
                        return true;
                }
                payload.Truncate(kept);
                // Rejected: go back to just past the length, so that a block
                // inside the claimed extent is still found.
                if (SeekRead(resumeAt) < 0)
                    return false;
            }
            // Resume the search at the third byte of the rejected header.
            drop = 2;
        }

        std::memmove(lookAhead, lookAhead + drop, static_cast<std::size_t>(kPreambleSize - drop));
        if (Read(lookAhead + kPreambleSize - drop, drop) != drop)
            return false;
    }
}

bool AppendOnlyFileBase::ReadPayload(IO::CDataBuffer& payload, unsigned int length)
{
    unsigned int arrived = 0;
    while (arrived < length)
    {
        // The next piece is as large as what has arrived so far (at least the
        // first chunk), capped by what the length still claims.
        const unsigned int piece = std::min(length - arrived, std::max(arrived, kFirstBodyChunk));
        unsigned char* into = payload.AddSpace(piece);
        const int count = Read(into, static_cast<int>(piece));
        if (count < static_cast<int>(piece))
            return false;
        arrived += piece;
    }
    return true;
}

// ---- AppendOnlyFile

AppendOnlyFile::AppendOnlyFile()
    : m_fd(-1), m_bufferOffset(-1), m_bufferLength(0), m_bufferPosition(0)
{
}

AppendOnlyFile::~AppendOnlyFile()
{
    Close();
}

bool AppendOnlyFile::Open(const std::string& path)
{
    if (m_fd >= 0)
        Close();
    m_fd = Utilities::Files().Open(path.c_str(), O_RDWR | O_CREAT | O_APPEND, 0666);
    DropReadBuffer();
    if (m_fd < 0)
        return false;
    // A block is durable only once the file's directory entry is: sync the
    // directory of a plain file that holds nothing yet (new, or created by an
    // open whose directory sync failed) before any block is acknowledged.
    struct stat status;
    if (::fstat(m_fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0 &&
        !Utilities::SyncDirectoryOf(path))
    {
        Close();
        return false;
    }
    return true;
}

void AppendOnlyFile::Close()
{
    if (m_fd >= 0)
    {
        Utilities::Files().Close(m_fd);
        m_fd = -1;
    }
    DropReadBuffer();
}

void AppendOnlyFile::DropReadBuffer()
{
    m_bufferOffset = -1;
    m_bufferLength = 0;
    m_bufferPosition = 0;
}

int AppendOnlyFile::ReadDirect(unsigned char* buffer, int length)
{
    // Every buffered byte has been consumed, so the descriptor stands at the
    // read position; the buffer restarts, empty, where this read ends.
    if (m_bufferOffset < 0)
    {
        const off_t position = ::lseek(m_fd, 0, SEEK_CUR);
        if (position < 0)
            return -1;
        m_bufferOffset = position;
    }
    else
    {
        m_bufferOffset += m_bufferLength;
    }
    m_bufferLength = 0;
    m_bufferPosition = 0;
    const ssize_t count = ::read(m_fd, buffer, static_cast<std::size_t>(length));
    if (count > 0)
        m_bufferOffset += count;
    return static_cast<int>(count);
}

int AppendOnlyFile::FillReadBuffer()
{
    if (!m_readBuffer)
        m_readBuffer.reset(new unsigned char[kReadBufferSize]);
    const int count = ReadDirect(m_readBuffer.get(), kReadBufferSize);
    if (count > 0)
    {
        // The bytes just read now sit in the buffer instead of behind it.
        m_bufferOffset -= count;
        m_bufferLength = count;
    }
    return count;
}

int AppendOnlyFile::Read(unsigned char* buffer, int length)
{
    if (m_fd < 0 || length < 1)
        return 0;
    int total = 0;
    while (total < length)
    {
        if (m_bufferPosition == m_bufferLength && length - total >= kDirectReadMinimum)
        {
            // A large request skips the buffer rather than copying through it.
            const int count = ReadDirect(buffer + total, length - total);
            if (count <= 0)
                break;
            total += count;
            continue;
        }
        if (m_bufferPosition == m_bufferLength && FillReadBuffer() <= 0)
            break;
        const int available = m_bufferLength - m_bufferPosition;
        const int count = length - total < available ? length - total : available;
        std::memcpy(buffer + total, m_readBuffer.get() + m_bufferPosition, static_cast<std::size_t>(count));
        m_bufferPosition += count;
        total += count;
    }
    return total;
}

int AppendOnlyFile::Write(const unsigned char* data, int length)
{
    if (m_fd < 0 || length < 1)
        return 0;
    // Appending moves the descriptor to the end, and the read position with it.
    DropReadBuffer();
    int total = 0;
    while (total < length)
    {
        const ssize_t count = Utilities::Files().Write(m_fd, data + total, static_cast<std::size_t>(length - total));
        if (count <= 0)
            break;
        total += static_cast<int>(count);
    }
    return total;
}

int AppendOnlyFile::SeekRead(int offset)
{
    if (m_fd < 0)
        return -1;
    // Within the buffered bytes the position moves without a system call.
    if (m_bufferOffset >= 0 && offset >= m_bufferOffset && offset <= m_bufferOffset + m_bufferLength)
    {
        m_bufferPosition = static_cast<int>(offset - m_bufferOffset);
        return offset;
    }
    const off_t position = ::lseek(m_fd, offset, SEEK_SET);
    if (position < 0)
        return -1;
    DropReadBuffer();
    m_bufferOffset = position;
    return static_cast<int>(position);
}

int AppendOnlyFile::TellRead()
{
    if (m_fd < 0)
        return -1;
    if (m_bufferOffset < 0)
        return static_cast<int>(::lseek(m_fd, 0, SEEK_CUR));
    return static_cast<int>(m_bufferOffset + m_bufferPosition);
}

bool AppendOnlyFile::Flush()
{
    if (m_fd < 0)
        return false;
    return Utilities::Files().Sync(m_fd) == 0;
}

} // namespace Core
