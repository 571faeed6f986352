#include "IO/DataBuffer.h"

#include "IO/ByteOrder.h"

#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace Core
{
namespace IO
{

namespace
{

// Growth happens in whole pages of this many bytes.
constexpr unsigned long long kGrowthStep = 4096;

unsigned char* CopyOf(const unsigned char* data, unsigned int length)
{
    unsigned char* copy = new unsigned char[length];
    if (length > 0)
        std::memcpy(copy, data, length);
    return copy;
}

template <typename To, typename From>
To BitCast(From from)
{
    static_assert(sizeof(To) == sizeof(From), "bit patterns of equal size only");
    To to;
    std::memcpy(&to, &from, sizeof(to));
    return to;
}

// The value-returning read forms: the value read, or zero on failure.
template <typename T>
T ValueOrZero(const CDataBuffer& buffer, bool (CDataBuffer::*read)(T&) const)
{
    T value = 0;
    (buffer.*read)(value);
    return value;
}

} // namespace

CDataBuffer::CDataBuffer(Endianness e, unsigned int initialCapacity)
    : m_data(new unsigned char[initialCapacity]()), m_capacity(initialCapacity), m_readPos(0),
      m_length(0), m_endianness(e), m_borrowed(false), m_error(false)
{
}

CDataBuffer::CDataBuffer(unsigned char* data, unsigned int length, bool borrow, Endianness e)
    : m_data(borrow ? data : CopyOf(data, length)), m_capacity(length), m_readPos(0),
      m_length(length), m_endianness(e), m_borrowed(borrow), m_error(false)
{
}

CDataBuffer::CDataBuffer(const unsigned char* data, unsigned int length, Endianness e)
    : m_data(CopyOf(data, length)), m_capacity(length), m_readPos(0), m_length(length),
      m_endianness(e), m_borrowed(false), m_error(false)
{
}

CDataBuffer::CDataBuffer(const std::string& s, Endianness e)
    : CDataBuffer(reinterpret_cast<const unsigned char*>(s.data()),
                  static_cast<unsigned int>(s.size()), e)
{
}

CDataBuffer::CDataBuffer(const CDataBuffer& other, bool borrow)
    : m_data(borrow ? other.m_data : CopyOf(other.m_data, other.m_capacity)),
      m_capacity(other.m_capacity), m_readPos(0), m_length(other.m_length),
      m_endianness(other.m_endianness), m_borrowed(borrow), m_error(false)
{
}

CDataBuffer& CDataBuffer::operator=(const CDataBuffer& other)
{
    if (this != &other)
        *this = CDataBuffer(other, false);
    return *this;
}

CDataBuffer::CDataBuffer(CDataBuffer&& other) noexcept
    : m_data(other.m_data), m_capacity(other.m_capacity), m_readPos(other.m_readPos),
      m_length(other.m_length), m_endianness(other.m_endianness), m_borrowed(other.m_borrowed),
      m_error(other.m_error)
{
    other.m_data = nullptr;
    other.m_capacity = 0;
    other.m_readPos = 0;
    other.m_length = 0;
    other.m_borrowed = false;
    other.m_error = false;
}

CDataBuffer& CDataBuffer::operator=(CDataBuffer&& other) noexcept
{
    if (this != &other)
    {
        Release();
        m_data = std::exchange(other.m_data, nullptr);
        m_capacity = std::exchange(other.m_capacity, 0u);
        m_readPos = std::exchange(other.m_readPos, 0u);
        m_length = std::exchange(other.m_length, 0u);
        m_endianness = other.m_endianness;
        m_borrowed = std::exchange(other.m_borrowed, false);
        m_error = std::exchange(other.m_error, false);
    }
    return *this;
}

CDataBuffer::~CDataBuffer()
{
    Release();
}

void CDataBuffer::Release()
{
    if (!m_borrowed)
        delete[] m_data;
    m_data = nullptr;
}

const unsigned char* CDataBuffer::Data(unsigned int& length) const
{
    length = m_length;
    return m_data;
}

bool CDataBuffer::SeekTo(unsigned int pos) const
{
    // The cursor moves even when the seek fails, so the next read fails too.
    m_readPos = pos;
    if (pos < m_length)
    {
        m_error = false;
        return true;
    }
    return false;
}

bool CDataBuffer::Skip(unsigned int n) const
{
    return SeekTo(m_readPos + n);
}

void CDataBuffer::Reset()
{
    m_error = false;
    m_readPos = 0;
    m_length = 0;
}

// ---- Growth

void CDataBuffer::EnsureBufferSize(unsigned long long required)
{
    if (required <= m_capacity)
        return;
    const unsigned long long shortfall = required - m_capacity;
    const unsigned long long rounded = (shortfall + kGrowthStep - 1) / kGrowthStep * kGrowthStep;
    const unsigned long long newSize = m_capacity + rounded;
    if (newSize > std::numeric_limits<unsigned int>::max())
        throw std::bad_alloc();
    ExpandBuffer(static_cast<unsigned int>(newSize));
}

void CDataBuffer::ExpandBuffer(unsigned int newSize)
{
    unsigned char* grown = new unsigned char[newSize];
    unsigned int kept = 0;
    if (m_data != nullptr)
        kept = m_capacity < newSize ? m_capacity : newSize;
    if (kept > 0)
        std::memcpy(grown, m_data, kept);
    // Allocated bytes are zero until written, since GetData may read them.
    std::memset(grown + kept, 0, newSize - kept);
    // A borrowing buffer that grows stops sharing: the lender keeps its array
    // and the buffer owns the new one.
    Release();
    m_data = grown;
    m_capacity = newSize;
    m_borrowed = false;
}

unsigned char* CDataBuffer::AppendSpace(unsigned long long n)
{
    EnsureBufferSize(static_cast<unsigned long long>(m_length) + n);
    return m_data + m_length;
}

// ---- Writes

void CDataBuffer::AddUnsigned(unsigned long long v, unsigned int width)
{
    unsigned char* out = AppendSpace(width);
    if (m_endianness == BigEndian)
        StoreBigEndian(out, v, width);
    else
    {
        for (unsigned int i = 0; i < width; ++i, v >>= 8)
            out[i] = static_cast<unsigned char>(v);
    }
    m_length += width;
}

CDataBuffer& CDataBuffer::Add(unsigned char v)
{
    AddUnsigned(v, 1);
    return *this;
}

CDataBuffer& CDataBuffer::Add(signed char v)
{
    return Add(static_cast<unsigned char>(v));
}

CDataBuffer& CDataBuffer::Add(unsigned short v)
{
    AddUnsigned(v, 2);
    return *this;
}

CDataBuffer& CDataBuffer::Add(short v)
{
    return Add(static_cast<unsigned short>(v));
}

CDataBuffer& CDataBuffer::Add(unsigned int v)
{
    AddUnsigned(v, 4);
    return *this;
}

CDataBuffer& CDataBuffer::Add(int v)
{
    return Add(static_cast<unsigned int>(v));
}

CDataBuffer& CDataBuffer::Add(float v)
{
    return Add(BitCast<unsigned int>(v));
}

CDataBuffer& CDataBuffer::Add(unsigned long long v)
{
    AddUnsigned(v, 8);
    return *this;
}

CDataBuffer& CDataBuffer::Add(long long v)
{
    return Add(static_cast<unsigned long long>(v));
}

CDataBuffer& CDataBuffer::Add(double v)
{
    return Add(BitCast<unsigned long long>(v));
}

CDataBuffer& CDataBuffer::Add(const unsigned char* p, unsigned int n)
{
    unsigned char* out = AddSpace(n);
    if (n > 0)
        std::memcpy(out, p, n);
    return *this;
}

unsigned char* CDataBuffer::AddSpace(unsigned int n)
{
    unsigned char* out = AppendSpace(n);
    m_length += n;
    return out;
}

void CDataBuffer::Truncate(unsigned int length)
{
    if (length < m_length)
        m_length = length;
}

CDataBuffer& CDataBuffer::Add(const char* s)
{
    return Add(reinterpret_cast<const unsigned char*>(s), static_cast<unsigned int>(std::strlen(s)));
}

CDataBuffer& CDataBuffer::Add(const std::string& s)
{
    return Add(reinterpret_cast<const unsigned char*>(s.data()), static_cast<unsigned int>(s.size()));
}

CDataBuffer& CDataBuffer::AddString(const char* s)
{
    return Add(s).Add(static_cast<unsigned char>(0));
}

CDataBuffer& CDataBuffer::AddString(const std::string& s)
{
    return Add(s).Add(static_cast<unsigned char>(0));
}

CDataBuffer& CDataBuffer::AddFixedString(const char* s, unsigned int n)
{
    const unsigned int copied = static_cast<unsigned int>(strnlen(s, n));
    unsigned char* out = AppendSpace(n);
    std::memcpy(out, s, copied);
    std::memset(out + copied, 0, n - copied);
    m_length += n;
    return *this;
}

CDataBuffer& CDataBuffer::AddFixedString(const std::string& s, unsigned int n)
{
    const unsigned int copied = s.size() < n ? static_cast<unsigned int>(s.size()) : n;
    // The field of n bytes, then as many zeros again as the string fell short by.
    const unsigned long long total = 2ull * n - copied;
    unsigned char* out = AppendSpace(total);
    std::memcpy(out, s.data(), copied);
    std::memset(out + copied, 0, static_cast<std::size_t>(total - copied));
    m_length += static_cast<unsigned int>(total);
    return *this;
}

CDataBuffer& CDataBuffer::AddPackedUInt32(unsigned int v)
{
    unsigned char* out = AppendSpace(5);
    unsigned int count = 0;
    while (v >= 128)
    {
        out[count++] = static_cast<unsigned char>((v & 0x7F) | 0x80);
        v >>= 7;
    }
    out[count++] = static_cast<unsigned char>(v);
    m_length += count;
    return *this;
}

CDataBuffer& CDataBuffer::AddPackedInt32(int v)
{
    unsigned int mapped;
    if (v == std::numeric_limits<int>::min())
        mapped = 0xFFFFFFFFu;
    else if (v > 0)
        mapped = 2u * static_cast<unsigned int>(v) - 1u;
    else
        mapped = 2u * static_cast<unsigned int>(-v);
    return AddPackedUInt32(mapped);
}

// ---- Reads

bool CDataBuffer::CanRead(unsigned int width) const
{
    if (width > m_length || m_readPos > m_length - width)
    {
        m_error = true;
        return false;
    }
    return true;
}

unsigned long long CDataBuffer::TakeUnsigned(unsigned int width) const
{
    const unsigned char* in = m_data + m_readPos;
    unsigned long long v = 0;
    if (m_endianness == BigEndian)
        v = LoadBigEndian(in, width);
    else
    {
        for (unsigned int i = width; i-- > 0;)
            v = v << 8 | in[i];
    }
    m_readPos += width;
    return v;
}

bool CDataBuffer::GetUInt8(unsigned char& v) const
{
    if (!CanRead(1))
        return false;
    v = static_cast<unsigned char>(TakeUnsigned(1));
    return true;
}

bool CDataBuffer::GetUInt16(unsigned short& v) const
{
    if (!CanRead(2))
        return false;
    v = static_cast<unsigned short>(TakeUnsigned(2));
    return true;
}

bool CDataBuffer::GetUInt32(unsigned int& v) const
{
    if (!CanRead(4))
        return false;
    v = static_cast<unsigned int>(TakeUnsigned(4));
    return true;
}

bool CDataBuffer::GetUInt64(unsigned long long& v) const
{
    if (!CanRead(8))
        return false;
    v = TakeUnsigned(8);
    return true;
}

bool CDataBuffer::GetInt8(signed char& v) const
{
    unsigned char u = 0;
    const bool ok = GetUInt8(u);
    v = static_cast<signed char>(u);
    return ok;
}

bool CDataBuffer::GetInt16(short& v) const
{
    unsigned short u = 0;
    const bool ok = GetUInt16(u);
    v = static_cast<short>(u);
    return ok;
}

bool CDataBuffer::GetInt32(int& v) const
{
    unsigned int u = 0;
    const bool ok = GetUInt32(u);
    v = static_cast<int>(u);
    return ok;
}

bool CDataBuffer::GetInt64(long long& v) const
{
    unsigned long long u = 0;
    const bool ok = GetUInt64(u);
    v = static_cast<long long>(u);
    return ok;
}

bool CDataBuffer::GetFloat(float& v) const
{
    unsigned int bits = 0;
    const bool ok = GetUInt32(bits);
    v = ok ? BitCast<float>(bits) : 0.0f;
    return ok;
}

bool CDataBuffer::GetDouble(double& v) const
{
    unsigned long long bits = 0;
    const bool ok = GetUInt64(bits);
    v = ok ? BitCast<double>(bits) : 0.0;
    return ok;
}

unsigned char CDataBuffer::GetUInt8() const
{
    return ValueOrZero(*this, &CDataBuffer::GetUInt8);
}

unsigned short CDataBuffer::GetUInt16() const
{
    return ValueOrZero(*this, &CDataBuffer::GetUInt16);
}

unsigned int CDataBuffer::GetUInt32() const
{
    return ValueOrZero(*this, &CDataBuffer::GetUInt32);
}

unsigned long long CDataBuffer::GetUInt64() const
{
    return ValueOrZero(*this, &CDataBuffer::GetUInt64);
}

signed char CDataBuffer::GetInt8() const
{
    return ValueOrZero(*this, &CDataBuffer::GetInt8);
}

short CDataBuffer::GetInt16() const
{
    return ValueOrZero(*this, &CDataBuffer::GetInt16);
}

int CDataBuffer::GetInt32() const
{
    return ValueOrZero(*this, &CDataBuffer::GetInt32);
}

long long CDataBuffer::GetInt64() const
{
    return ValueOrZero(*this, &CDataBuffer::GetInt64);
}

float CDataBuffer::GetFloat() const
{
    return ValueOrZero(*this, &CDataBuffer::GetFloat);
}

double CDataBuffer::GetDouble() const
{
    return ValueOrZero(*this, &CDataBuffer::GetDouble);
}

unsigned int CDataBuffer::GetPackedUInt32()
{
    unsigned int result = 0;
    unsigned int shift = 0;
    unsigned char byte;
    do
    {
        byte = GetUInt8();
        // Groups that would land at bit 32 or above are dropped.
        if (shift < 32)
        {
            result |= static_cast<unsigned int>(byte & 0x7F) << shift;
            shift += 7;
        }
    } while ((byte & 0x80) != 0);
    return result;
}

int CDataBuffer::GetPackedInt32()
{
    const unsigned int u = GetPackedUInt32();
    if (u == 0xFFFFFFFFu)
        return std::numeric_limits<int>::min();
    if ((u & 1u) != 0)
        return static_cast<int>((u + 1u) / 2u);
    return -static_cast<int>(u / 2u);
}

bool CDataBuffer::GetData(unsigned char* dst, unsigned int n) const
{
    if (n > m_capacity || m_readPos > m_capacity - n)
    {
        m_error = true;
        return false;
    }
    if (n > 0)
        std::memcpy(dst, m_data + m_readPos, n);
    m_readPos += n;
    return true;
}

bool CDataBuffer::GetData(std::string& out, unsigned int n) const
{
    if (!CanRead(n))
        return false;
    out.append(reinterpret_cast<const char*>(m_data + m_readPos), n);
    m_readPos += n;
    return true;
}

bool CDataBuffer::GetFixedString(std::string& out, unsigned int n) const
{
    return GetData(out, n);
}

std::string CDataBuffer::GetFixedString(unsigned int n) const
{
    std::string out;
    GetFixedString(out, n);
    return out;
}

unsigned int CDataBuffer::TerminatedLengthAtCursor() const
{
    if (m_readPos >= m_capacity)
        return 0;
    const unsigned int available = m_capacity - m_readPos;
    const void* zero = std::memchr(m_data + m_readPos, 0, available);
    if (zero == nullptr)
        return available;
    return static_cast<unsigned int>(static_cast<const unsigned char*>(zero) - (m_data + m_readPos));
}

bool CDataBuffer::GetString(char* dst, unsigned int max) const
{
    const unsigned int length = TerminatedLengthAtCursor();
    if (static_cast<unsigned long long>(length) + 1 >= max)
    {
        m_error = true;
        return false;
    }
    if (length > 0)
        std::memcpy(dst, m_data + m_readPos, length);
    dst[length] = '\0';
    m_readPos += length + 1;
    return true;
}

void CDataBuffer::GetString(std::string& out) const
{
    const unsigned int length = TerminatedLengthAtCursor();
    if (length > 0)
        out.append(reinterpret_cast<const char*>(m_data + m_readPos), length);
    m_readPos += length + 1;
}

std::string CDataBuffer::GetString() const
{
    std::string out;
    GetString(out);
    return out;
}

// ---- Conversions

std::string CDataBuffer::ToString() const
{
    return std::string(reinterpret_cast<const char*>(m_data), m_length);
}

std::string CDataBuffer::ToHex() const
{
    static const char kDigits[] = "0123456789ABCDEF";
    std::string hex;
    hex.reserve(3 * static_cast<std::size_t>(m_length));
    for (unsigned int i = 0; i < m_length; ++i)
    {
        hex += kDigits[m_data[i] >> 4];
        hex += kDigits[m_data[i] & 0x0F];
        hex += ' ';
    }
    return hex;
}

} // namespace IO
} // namespace Core
