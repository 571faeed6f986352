// The declarations callers are compiled against: enumerations that hold any
// value of their fixed type, the buffer's copy and move operations, the
// buffer constructors that must not compete, and the namespace of the XML
// stream items.
#include "IO/DataBuffer.h"
#include "IO/Encodings.h"
#include "IO/NmeaParser.h"
#include "IO/Serial.h"
#include "IO/XML.h"

#include <cstdint>
#include <string>
#include <type_traits>

namespace
{

using Core::IO::CDataBuffer;

static_assert(std::is_same_v<std::uint32_t, std::underlying_type_t<CDataBuffer::Endianness>>);
static_assert(std::is_same_v<int, std::underlying_type_t<Core::IO::Serial::EHandshaking>>);
static_assert(std::is_same_v<int, std::underlying_type_t<Core::Nmea::NmeaSentenceTypes>>);
static_assert(std::is_same_v<int, std::underlying_type_t<Core::IO::XMLNodeType>>);

static_assert(std::is_copy_constructible_v<CDataBuffer> && std::is_copy_assignable_v<CDataBuffer>);
static_assert(std::is_nothrow_move_constructible_v<CDataBuffer> && std::is_nothrow_move_assignable_v<CDataBuffer>);
// The borrowing form needs its byte order spelled out, so three arguments
// always mean the copying form.
static_assert(!std::is_constructible_v<CDataBuffer, unsigned char*, unsigned int, bool>);
static_assert(std::is_constructible_v<CDataBuffer, unsigned char*, unsigned int, CDataBuffer::Endianness>);
static_assert(std::is_constructible_v<CDataBuffer, unsigned char*, unsigned int, bool, CDataBuffer::Endianness>);

static_assert(std::is_same_v<CDataBuffer, decltype(Core::IO::CAscii85::Decode(std::string()))>);

static_assert(std::is_class_v<Core::IO::XMLStartNode> && std::is_class_v<Core::IO::XMLEndNode> &&
              std::is_class_v<Core::IO::XMLData> && std::is_class_v<Core::IO::XMLAttribute>);

} // namespace
