#include "IO/BinaryIO.h"

#include "IO/DataBuffer.h"

#include <sys/time.h>

#include <algorithm>
#include <new>

namespace Core
{
namespace IO
{

namespace
{

// A damaged length is not trusted with one large allocation: the bytes are
// read in pieces of at most this size.
const std::size_t kStringChunk = 64 * 1024;

} // namespace

CBinaryIO::CBinaryIO(FILE* file) : m_file(file)
{
}

CBinaryIO::~CBinaryIO()
{
    if (m_file != nullptr)
        Close();
}

CBinaryIO* CBinaryIO::Open(const std::string& path, const char* mode)
{
    FILE* file = std::fopen(path.c_str(), mode);
    return file != nullptr ? new CBinaryIO(file) : nullptr;
}

CBinaryIO* CBinaryIO::ReadFile(const std::string& path)
{
    return Open(path, "rb");
}

CBinaryIO* CBinaryIO::WriteFile(const std::string& path)
{
    return Open(path, "wb");
}

CBinaryIO* CBinaryIO::AppendFile(const std::string& path)
{
    return Open(path, "ab");
}

bool CBinaryIO::Close()
{
    if (m_file == nullptr)
        return false;
    const int result = std::fclose(m_file);
    m_file = nullptr;
    return result == 0;
}

long CBinaryIO::GetFilePosition()
{
    return m_file != nullptr ? std::ftell(m_file) : -1;
}

long CBinaryIO::GetFileSize()
{
    if (m_file == nullptr)
        return -1;
    fpos_t position;
    if (std::fgetpos(m_file, &position) != 0)
        return -1;
    std::fseek(m_file, 0, SEEK_END);
    const long size = std::ftell(m_file);
    std::fsetpos(m_file, &position);
    return size;
}

bool CBinaryIO::WriteInt(int value)
{
    if (m_file == nullptr)
        return false;
    CDataBuffer bytes(CDataBuffer::BigEndian, kIntSize);
    bytes.Add(value);
    return std::fwrite(bytes.Data(), kIntSize, 1, m_file) == 1;
}

bool CBinaryIO::ReadInt(int& value)
{
    unsigned char bytes[kIntSize];
    if (m_file == nullptr || std::fread(bytes, kIntSize, 1, m_file) != 1)
        return false;
    value = CDataBuffer(bytes, kIntSize, true, CDataBuffer::BigEndian).GetInt32();
    return true;
}

bool CBinaryIO::WriteString(const std::string& value)
{
    if (m_file == nullptr)
        return false;
    // The length's own result is not checked: a failed stream fails the bytes too.
    WriteInt(static_cast<int>(value.size()));
    return std::fwrite(value.data(), 1, value.size(), m_file) == value.size();
}

bool CBinaryIO::ReadString(std::string& out, int maxLength)
{
    int length = 0;
    if (!ReadInt(length) || length >= maxLength)
        return false;
    if (length < 0)
        throw std::bad_alloc();
    std::string bytes;
    while (bytes.size() < static_cast<std::size_t>(length))
    {
        const std::size_t arrived = bytes.size();
        const std::size_t piece = std::min(static_cast<std::size_t>(length) - arrived, kStringChunk);
        bytes.resize(arrived + piece);
        if (std::fread(&bytes[arrived], 1, piece, m_file) != piece)
            return false;
    }
    out = bytes;
    return true;
}

bool CBinaryIO::WriteTime(const Core::Time& time)
{
    timeval tv;
    time.AsTimeval(tv);
    const bool seconds = WriteInt(static_cast<int>(tv.tv_sec));
    const bool microseconds = WriteInt(static_cast<int>(tv.tv_usec));
    return seconds && microseconds;
}

bool CBinaryIO::ReadTime(Core::Time& time)
{
    int seconds = 0;
    int microseconds = 0;
    if (!ReadInt(seconds) || !ReadInt(microseconds))
        return false;
    time = Core::Time(static_cast<long>(seconds), static_cast<long>(microseconds));
    return true;
}

} // namespace IO
} // namespace Core
