// Compact tagged serialisation: a class writes its fields as (key, value)
// pairs with small integer keys and reads them back by key, so records stay
// readable when fields are added or dropped. One Process call per field serves
// both directions; the store's mode decides whether the value is written or read.
// Not thread-safe: one store belongs to one thread at a time.
#ifndef CORELIB_IO_OBJECTSTORE_H
#define CORELIB_IO_OBJECTSTORE_H

#include "IO/DataBuffer.h"

#include <string>

namespace Core
{
namespace IO
{

class ObjectStore
{
public:
    // Record format: the concatenation of its fields in ascending key order,
    // with no header, count or terminator. A field is a tag, the packed
    // unsigned key * 8 + wire type, then its value:
    //   0 int     packed signed integer (CDataBuffer::AddPackedInt32)
    //   1 double  8 bytes, IEEE-754 bit pattern, big-endian
    //   2 string  packed unsigned length, then the bytes (no terminator);
    //     nested objects are stored the same way, as their whole encoding
    //   3 float   4 bytes, IEEE-754 bit pattern, big-endian
    //   4 array   packed unsigned element count; the elements follow as
    //             ordinary fields under keys of the caller's choosing
    // Keys are usable up to 2^29 - 1.
    enum WireType : unsigned int
    {
        kWireInt = 0,
        kWireDouble = 1,
        kWireLengthDelimited = 2,
        kWireFloat = 3,
        kWireArrayCount = 4
    };

    // Output mode, with an empty big-endian buffer of its own.
    ObjectStore();
    // Input mode over length bytes at data, borrowed: not copied, not freed.
    // Requires: data outlives the store.
    ObjectStore(unsigned char* data, unsigned int length);
    // Input mode over the string's bytes, borrowed. Requires: s outlives the
    // store and is not changed while it is read.
    explicit ObjectStore(std::string& s);
    // For nested objects: the parent's mode, sharing (borrowing) the parent's
    // bytes with a cursor of its own at 0. Requires: parent outlives the child.
    explicit ObjectStore(ObjectStore& parent);
    ObjectStore(const ObjectStore&) = delete;
    ObjectStore& operator=(const ObjectStore&) = delete;
    virtual ~ObjectStore();

    // Switch to output mode (fields are written) or input mode (fields are read).
    void SetOutputMode() { m_outputMode = true; }
    void SetInputMode() { m_outputMode = false; }
    // True in output mode.
    bool IsOutputMode() const { return m_outputMode; }
    // Empties the buffer: no bytes, cursor 0, error cleared.
    void Reset() { m_buffer.Reset(); }
    // The encoded bytes.
    std::string AsString() const { return m_buffer.ToString(); }
    // The encoded bytes as "%02X " per byte.
    std::string AsHex() const { return m_buffer.ToHex(); }

    // Append one field; always true. Fields must go out in ascending key order.
    bool OutputInt(int value, unsigned int key);
    bool OutputFloat(float value, unsigned int key);
    bool OutputDouble(double value, unsigned int key);
    bool OutputString(const std::string& value, unsigned int key);
    // Appends the child's whole encoding as a length-delimited field.
    bool OutputObject(const ObjectStore& child, unsigned int key);

    // Find the field (ScanForKey) and read its value. True when the field was
    // found and its value read in full; otherwise false with value unchanged.
    // Ask for keys in ascending order: a key below one already passed is not found.
    bool InputInt(int& value, unsigned int key);
    bool InputFloat(float& value, unsigned int key);
    bool InputDouble(double& value, unsigned int key);
    // Appends the stored text to value (pass an empty string).
    bool InputString(std::string& value, unsigned int key);
    // Finds the nested object under key, points child at its first byte (child
    // shares this store's bytes) and moves this store past it. The child is
    // not bounded by the nested length: read from it only the keys its writer
    // wrote, in ascending order.
    bool InputObject(ObjectStore& child, unsigned int key);

    // The Output operation in output mode, the Input operation in input mode.
    bool ProcessInt(int& value, unsigned int key);
    bool ProcessFloat(float& value, unsigned int key);
    bool ProcessDouble(double& value, unsigned int key);
    bool ProcessString(std::string& value, unsigned int key);
    // Writes, or reads, the element count of an array under key. Reading: false
    // when the key is missing, count unchanged.
    bool DeclareArrayBegin(unsigned int& count, unsigned int key);

    // Moves the cursor just past the tag of field key and returns true. When
    // the field is missing, returns false with the cursor before the first
    // field with a larger key, so later searches for larger keys still work.
    // Fails for good once a read has run past the end of the data.
    bool ScanForKey(unsigned int key);

private:
    // Writes the tag of a field.
    void AddTag(unsigned int key, WireType type);
    // Moves the cursor n bytes on; a count beyond the data leaves it at the end.
    void SkipBytes(unsigned int n);
    // Moves the cursor past a value of the given wire type.
    void SkipValue(unsigned int type);

    bool m_outputMode;
    CDataBuffer m_buffer;
};

} // namespace IO
} // namespace Core

#endif
