#include "IO/ObjectStore.h"

namespace Core
{
namespace IO
{

namespace
{

// A tag holds the key above three bits of wire type.
const unsigned int kWireTypeBits = 3;
const unsigned int kWireTypeMask = (1u << kWireTypeBits) - 1;

} // namespace

ObjectStore::ObjectStore() : m_outputMode(true), m_buffer(CDataBuffer::BigEndian, 256)
{
}

ObjectStore::ObjectStore(unsigned char* data, unsigned int length)
    : m_outputMode(false), m_buffer(data, length, true, CDataBuffer::BigEndian)
{
}

ObjectStore::ObjectStore(std::string& s)
    : m_outputMode(false),
      m_buffer(reinterpret_cast<unsigned char*>(&s[0]), static_cast<unsigned int>(s.size()), true,
               CDataBuffer::BigEndian)
{
}

ObjectStore::ObjectStore(ObjectStore& parent)
    : m_outputMode(parent.m_outputMode), m_buffer(parent.m_buffer, true)
{
}

ObjectStore::~ObjectStore() = default;

// ---- Writing

void ObjectStore::AddTag(unsigned int key, WireType type)
{
    m_buffer.AddPackedUInt32(key << kWireTypeBits | type);
}

bool ObjectStore::OutputInt(int value, unsigned int key)
{
    AddTag(key, kWireInt);
    m_buffer.AddPackedInt32(value);
    return true;
}

bool ObjectStore::OutputFloat(float value, unsigned int key)
{
    AddTag(key, kWireFloat);
    m_buffer.Add(value);
    return true;
}

bool ObjectStore::OutputDouble(double value, unsigned int key)
{
    AddTag(key, kWireDouble);
    m_buffer.Add(value);
    return true;
}

bool ObjectStore::OutputString(const std::string& value, unsigned int key)
{
    AddTag(key, kWireLengthDelimited);
    m_buffer.AddPackedUInt32(static_cast<unsigned int>(value.size()));
    m_buffer.Add(value);
    return true;
}

bool ObjectStore::OutputObject(const ObjectStore& child, unsigned int key)
{
    AddTag(key, kWireLengthDelimited);
    m_buffer.AddPackedUInt32(child.m_buffer.Length());
    m_buffer.Add(child.m_buffer.Data(), child.m_buffer.Length());
    return true;
}

// ---- Reading

void ObjectStore::SkipBytes(unsigned int n)
{
    // A damaged count must not wrap the cursor back to an earlier field.
    const unsigned int position = m_buffer.Tell();
    const unsigned int length = m_buffer.Length();
    if (position > length || n > length - position)
        m_buffer.SeekTo(length);
    else
        m_buffer.Skip(n);
}

void ObjectStore::SkipValue(unsigned int type)
{
    switch (type)
    {
    case kWireInt:
    case kWireArrayCount:
        m_buffer.GetPackedUInt32();
        break;
    case kWireDouble:
        SkipBytes(8);
        break;
    case kWireLengthDelimited:
        SkipBytes(m_buffer.GetPackedUInt32());
        break;
    case kWireFloat:
        SkipBytes(4);
        break;
    default:
        // Types 5 to 7 are never written and carry no value to skip.
        break;
    }
}

bool ObjectStore::ScanForKey(unsigned int key)
{
    // Fields are in ascending key order: skip those below key, stop at the
    // first at or above it.
    unsigned int before = m_buffer.Tell();
    unsigned int tag = m_buffer.GetPackedUInt32();
    if (!m_buffer.InError())
    {
        while ((tag >> kWireTypeBits) < key)
        {
            SkipValue(tag & kWireTypeMask);
            before = m_buffer.Tell();
            tag = m_buffer.GetPackedUInt32();
            if (m_buffer.InError())
                break;
        }
    }
    // Once a read has run past the end every search fails; the cursor stays
    // put, since seeking back would clear the buffer's error flag.
    if (m_buffer.InError())
        return false;
    if ((tag >> kWireTypeBits) != key)
    {
        // Back to just before the tag read last, so a later search for a
        // larger key finds that field again.
        m_buffer.SeekTo(before);
        return false;
    }
    return true;
}

bool ObjectStore::InputInt(int& value, unsigned int key)
{
    if (!ScanForKey(key))
        return false;
    const int read = m_buffer.GetPackedInt32();
    if (m_buffer.InError())
        return false;
    value = read;
    return true;
}

bool ObjectStore::InputFloat(float& value, unsigned int key)
{
    float read = 0.0f;
    if (!ScanForKey(key) || !m_buffer.GetFloat(read))
        return false;
    value = read;
    return true;
}

bool ObjectStore::InputDouble(double& value, unsigned int key)
{
    double read = 0.0;
    if (!ScanForKey(key) || !m_buffer.GetDouble(read))
        return false;
    value = read;
    return true;
}

bool ObjectStore::InputString(std::string& value, unsigned int key)
{
    if (!ScanForKey(key))
        return false;
    const unsigned int length = m_buffer.GetPackedUInt32();
    return !m_buffer.InError() && m_buffer.GetData(value, length);
}

bool ObjectStore::InputObject(ObjectStore& child, unsigned int key)
{
    if (!ScanForKey(key))
        return false;
    const unsigned int length = m_buffer.GetPackedUInt32();
    if (m_buffer.InError())
        return false;
    // The child reads this store's bytes from the nested object's first byte.
    child.m_buffer = CDataBuffer(m_buffer, true);
    child.m_buffer.SeekTo(m_buffer.Tell());
    child.m_outputMode = false;
    SkipBytes(length);
    return true;
}

bool ObjectStore::DeclareArrayBegin(unsigned int& count, unsigned int key)
{
    if (m_outputMode)
    {
        AddTag(key, kWireArrayCount);
        m_buffer.AddPackedUInt32(count);
        return true;
    }
    if (!ScanForKey(key))
        return false;
    const unsigned int read = m_buffer.GetPackedUInt32();
    if (m_buffer.InError())
        return false;
    count = read;
    return true;
}

bool ObjectStore::ProcessInt(int& value, unsigned int key)
{
    return m_outputMode ? OutputInt(value, key) : InputInt(value, key);
}

bool ObjectStore::ProcessFloat(float& value, unsigned int key)
{
    return m_outputMode ? OutputFloat(value, key) : InputFloat(value, key);
}

bool ObjectStore::ProcessDouble(double& value, unsigned int key)
{
    return m_outputMode ? OutputDouble(value, key) : InputDouble(value, key);
}

bool ObjectStore::ProcessString(std::string& value, unsigned int key)
{
    return m_outputMode ? OutputString(value, key) : InputString(value, key);
}

} // namespace IO
} // namespace Core
