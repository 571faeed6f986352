// A growable byte array written at its end and read through a separate cursor:
// typed writes (the Add family) and typed reads (the Get family) of integers,
// floating-point numbers, strings and raw bytes in a byte order chosen per
// buffer, plus 7-bit-group packed integers. Every binary format of the library
// carries its bytes in one of these. Reads never throw: a read past the written
// data sets a sticky error flag instead, so a caller reads a whole record and
// tests InError() once.
// Not thread-safe: the const reads move the cursor, so one buffer belongs to
// one thread at a time.
#ifndef CORELIB_IO_DATABUFFER_H
#define CORELIB_IO_DATABUFFER_H

#include <cstdint>
#include <string>

namespace Core
{
namespace IO
{

class CDataBuffer
{
public:
    // Byte order of every multi-byte write and read. Zero means big-endian and
    // any other value little-endian, so values outside the enumerators are defined.
    enum Endianness : std::uint32_t
    {
        BigEndian = 0,    // most significant byte first; the order of every format in the library
        LittleEndian = 1  // least significant byte first
    };

    // An empty owned buffer of initialCapacity bytes.
    explicit CDataBuffer(Endianness e = BigEndian, unsigned int initialCapacity = 256);
    // length bytes at data, all counted as written. With borrow false they are
    // copied into owned storage; with borrow true the buffer reads and writes
    // data itself and never frees it. Requires: a borrowed array outlives the buffer.
    CDataBuffer(unsigned char* data, unsigned int length, bool borrow, Endianness e);
    // An owned copy of length bytes at data, all counted as written.
    CDataBuffer(const unsigned char* data, unsigned int length, Endianness e = BigEndian);
    // An owned copy of the string's bytes, all counted as written.
    explicit CDataBuffer(const std::string& s, Endianness e = BigEndian);
    // Takes other's capacity, length and byte order with the cursor at 0 and
    // no error. With borrow false all other.Capacity() bytes are copied (not only
    // the written ones); with borrow true other's storage is shared, not owned.
    // Requires: a lender outlives a borrowing copy and is not grown meanwhile.
    CDataBuffer(const CDataBuffer& other, bool borrow = false);
    // Deep copy, as the copy constructor without borrowing.
    CDataBuffer& operator=(const CDataBuffer& other);
    // Takes other's storage and state; other is left empty with no storage.
    CDataBuffer(CDataBuffer&& other) noexcept;
    // Takes other's storage and state as the move constructor does, freeing this buffer's own.
    CDataBuffer& operator=(CDataBuffer&& other) noexcept;
    virtual ~CDataBuffer();

    // The storage; the first Length() bytes are the written data.
    const unsigned char* Data() const { return m_data; }
    // The storage, with Length() stored into length.
    const unsigned char* Data(unsigned int& length) const;
    // Number of bytes written.
    unsigned int Size() const { return m_length; }
    unsigned int Length() const { return m_length; }
    // Number of bytes allocated.
    unsigned int Capacity() const { return m_capacity; }
    // The byte order of every multi-byte write and read.
    Endianness GetEndianness() const { return m_endianness; }
    // The read cursor.
    unsigned int Tell() const { return m_readPos; }
    // True once a read has failed, until Reset() or a successful SeekTo/Skip.
    bool InError() const { return m_error; }
    // The byte at index i, without a bounds check and without moving the cursor.
    // Requires: 0 <= i < Capacity().
    unsigned char GetValue(int i) const { return m_data[i]; }

    // Moves the cursor to pos even when pos is out of range. True, and the error
    // flag cleared, when pos < Length(); false otherwise, with the flag as it was.
    bool SeekTo(unsigned int pos) const;
    // SeekTo(Tell() + n), wrapping in 32 bits.
    bool Skip(unsigned int n) const;
    // Cursor to 0; the error flag is kept.
    void Rewind() const { m_readPos = 0; }
    // Empties the buffer (length, cursor and error flag to zero), keeping its storage.
    void Reset();

    // Writes at the end in the buffer's byte order, growing as needed; each
    // returns the buffer so calls chain. Floating-point values travel as their
    // IEEE-754 bit patterns.
    CDataBuffer& Add(unsigned char v);
    CDataBuffer& Add(signed char v);
    CDataBuffer& Add(unsigned short v);
    CDataBuffer& Add(short v);
    CDataBuffer& Add(unsigned int v);
    CDataBuffer& Add(int v);
    CDataBuffer& Add(float v);
    CDataBuffer& Add(unsigned long long v);
    CDataBuffer& Add(long long v);
    CDataBuffer& Add(double v);
    // n raw bytes. Requires: p points at n readable bytes (p may be null when n is 0).
    CDataBuffer& Add(const unsigned char* p, unsigned int n);
    // Appends n bytes for the caller to fill (until then their values are
    // unspecified) and returns where they start; the pointer is valid until
    // the next write. Lets a reader fill the buffer without a copy in between.
    unsigned char* AddSpace(unsigned int n);
    // Drops the written bytes from length on; nothing happens when length is
    // not less than Length(). The storage and the cursor are kept.
    void Truncate(unsigned int length);
    // The characters without a terminator.
    CDataBuffer& Add(const char* s);
    CDataBuffer& Add(const std::string& s);
    // The characters and one zero byte.
    CDataBuffer& AddString(const char* s);
    CDataBuffer& AddString(const std::string& s);
    // Exactly n bytes: the first min(strlen(s), n) characters, then zero bytes;
    // no terminator when the string fills the field.
    CDataBuffer& AddFixedString(const char* s, unsigned int n);
    // n bytes from the string's first character (zeros past its end), then a
    // further n - min(length, n) zero bytes: a string of length len shorter than
    // n occupies 2n - len bytes, a longer one exactly n. The stored form of
    // existing files depends on this, so it differs from the const char* form.
    CDataBuffer& AddFixedString(const std::string& s, unsigned int n);
    // Packed unsigned: little-endian groups of 7 bits, the top bit of each byte
    // set when another follows; 1 byte up to 127, at most 5 bytes.
    CDataBuffer& AddPackedUInt32(unsigned int v);
    // Packed signed: v > 0 as 2v - 1, zero and other negatives as -2v, the
    // minimum as 0xFFFFFFFF, then packed unsigned. Not zig-zag order.
    CDataBuffer& AddPackedInt32(int v);

    // Fixed-width reads at the cursor. Each returns true and advances on success;
    // when fewer than the width remain before Length() it sets the error flag,
    // moves nothing and returns false. On failure the unsigned forms leave the
    // output untouched; the signed and floating-point forms set it to zero.
    bool GetUInt8(unsigned char& v) const;
    bool GetUInt16(unsigned short& v) const;
    bool GetUInt32(unsigned int& v) const;
    bool GetUInt64(unsigned long long& v) const;
    bool GetInt8(signed char& v) const;
    bool GetInt16(short& v) const;
    bool GetInt32(int& v) const;
    bool GetInt64(long long& v) const;
    bool GetFloat(float& v) const;
    bool GetDouble(double& v) const;
    // Value-returning forms: zero on failure.
    unsigned char GetUInt8() const;
    unsigned short GetUInt16() const;
    unsigned int GetUInt32() const;
    unsigned long long GetUInt64() const;
    signed char GetInt8() const;
    short GetInt16() const;
    int GetInt32() const;
    long long GetInt64() const;
    float GetFloat() const;
    double GetDouble() const;
    // Packed forms. Running off the end reads a zero byte (and sets the error
    // flag), which ends the value; bits beyond bit 31 are dropped.
    unsigned int GetPackedUInt32();
    int GetPackedInt32();

    // Copies n bytes to dst. The limit checked is the capacity, not the written
    // length, so bytes allocated but never written can be read (as zeros, or
    // as whatever was written there before a Reset or Truncate).
    // Requires: dst has room for n bytes.
    bool GetData(unsigned char* dst, unsigned int n) const;
    // Appends n bytes to out (out keeps its contents).
    bool GetData(std::string& out, unsigned int n) const;
    // Appends n bytes to out, zero padding included.
    bool GetFixedString(std::string& out, unsigned int n) const;
    std::string GetFixedString(unsigned int n) const;
    // Copies the zero-terminated string at the cursor, with its terminator, to
    // dst and advances past it. Refused (error flag, nothing moved) when
    // strlen + 1 >= max, so a string exactly filling max bytes is refused.
    // The written length is not checked: the string may run into bytes
    // allocated but never written, and ends at the end of the storage at the
    // latest. Requires: dst has room for max bytes.
    bool GetString(char* dst, unsigned int max) const;
    // Appends the zero-terminated string at the cursor to out and advances past
    // its terminator; never sets the error flag. Bounded as the form above.
    void GetString(std::string& out) const;
    std::string GetString() const;

    // The Length() written bytes.
    std::string ToString() const;
    // Each written byte as "%02X " (two upper-case digits and a space).
    std::string ToHex() const;

    // Makes room for n bytes in total.
    void Reserve(unsigned int n) { EnsureBufferSize(n); }
    // Grows to hold required bytes in total: the shortfall is rounded up to a
    // multiple of 4096. Throws std::bad_alloc beyond 32-bit sizes.
    void EnsureBufferSize(unsigned long long required);
    // Reallocates to newSize bytes, keeping the old contents up to newSize.
    // A borrowing buffer stops borrowing: the lender keeps its array untouched
    // and the buffer owns the new one.
    void ExpandBuffer(unsigned int newSize);

private:
    // Room for n more bytes after the written ones, then the write position.
    unsigned char* AppendSpace(unsigned long long n);
    // Writes the low width bytes of v in the buffer's byte order.
    void AddUnsigned(unsigned long long v, unsigned int width);
    // Checks that width bytes remain before Length(); sets the error flag if not.
    bool CanRead(unsigned int width) const;
    // Reads width bytes in the buffer's byte order and advances. Requires: CanRead(width).
    unsigned long long TakeUnsigned(unsigned int width) const;
    // Length of the zero-terminated string at the cursor, ending at the end of
    // the storage when no terminator comes first.
    unsigned int TerminatedLengthAtCursor() const;
    // Frees owned storage.
    void Release();

    unsigned char* m_data;
    unsigned int m_capacity;
    mutable unsigned int m_readPos;
    unsigned int m_length;
    Endianness m_endianness;
    bool m_borrowed;
    mutable bool m_error;
};

} // namespace IO
} // namespace Core

#endif
