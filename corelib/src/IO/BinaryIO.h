// Typed reading and writing of binary record files over a stdio stream:
// 32-bit integers, length-prefixed strings and time stamps, with position and
// size queries. Files are opened through static factories that return a heap
// object or null.
// Not thread-safe: one object belongs to one thread at a time.
#ifndef CORELIB_IO_BINARYIO_H
#define CORELIB_IO_BINARYIO_H

#include "Utilities/Time.h"

#include <cstdio>
#include <string>

namespace Core
{
namespace IO
{

class CBinaryIO
{
public:
    // File format: values follow one another with no file header.
    //   int     4 bytes, two's complement, most significant byte first on every host
    //   string  an int holding the byte length, then the bytes; no terminator
    //   time    two ints: whole seconds, then microseconds
    static const int kIntSize = 4;

    // Wraps file and owns it from now on: Close() or destruction closes it.
    explicit CBinaryIO(FILE* file);
    CBinaryIO(const CBinaryIO&) = delete;
    CBinaryIO& operator=(const CBinaryIO&) = delete;
    // Closes the file if one is held.
    ~CBinaryIO();

    // fopen with "rb", "wb" or "ab": a new object owning the file, which the
    // caller deletes, or null when the file cannot be opened.
    static CBinaryIO* ReadFile(const std::string& path);
    static CBinaryIO* WriteFile(const std::string& path);
    static CBinaryIO* AppendFile(const std::string& path);

    // Closes the file; true when fclose succeeded. False when none is held.
    bool Close();
    // The stream position, or -1 when no file is held.
    long GetFilePosition();
    // The file's size, or -1 when no file is held; the position is kept.
    long GetFileSize();

    // Each returns false on failure (or when no file is held).
    bool WriteInt(int value);
    // On failure value is left untouched.
    bool ReadInt(int& value);
    // The length as WriteInt writes it, then the bytes.
    bool WriteString(const std::string& value);
    // Fails, with out untouched, when the length cannot be read, is not
    // strictly less than maxLength, or its bytes do not all arrive. A negative
    // stored length cannot be allocated: it throws std::bad_alloc, so callers
    // pass a sensible maxLength and read only files they trust.
    bool ReadString(std::string& out, int maxLength);
    // Writes seconds and microseconds; true only if both were written.
    bool WriteTime(const Core::Time& time);
    // Reads seconds then microseconds; on failure time is left untouched.
    bool ReadTime(Core::Time& time);

private:
    // Opens path with the stdio mode; null on failure.
    static CBinaryIO* Open(const std::string& path, const char* mode);

    FILE* m_file;
};

} // namespace IO
} // namespace Core

#endif
