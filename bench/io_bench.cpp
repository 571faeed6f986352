// Byte-level work: CRC-32 against zlib, Base64 against OpenSSL, NMEA decoding
// against a plain strtod field parser.
#include "BenchSupport.h"

#include "IO/Checksums.h"
#include "IO/DataBuffer.h"
#include "IO/Encodings.h"
#include "IO/NmeaParser.h"

#include <openssl/evp.h>
#include <zlib.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using namespace CoreBench;

// ---- CRC-32 ----------------------------------------------------------------

// Whole buffers of 64 KiB and 1 MiB, and the 100-byte payload of a typical
// block, where the fixed cost of a call counts.

const std::string& CrcData()
{
    static const std::string data = PseudoRandomBytes(1 << 20, 32);
    return data;
}

void CrcLib(benchmark::State& state)
{
    const auto* data = reinterpret_cast<const unsigned char*>(CrcData().data());
    const int length = static_cast<int>(state.range(0));
    Core::CRC32 crc;
    for (auto _ : state)
    {
        crc.Initialise();
        crc.Update(data, length);
        crc.Finalise();
        benchmark::DoNotOptimize(crc.m_crc);
    }
    SameOutput(state, crc.m_crc == crc32(0, data, static_cast<uInt>(length)), "CRC differs from zlib's");
    state.SetBytesProcessed(state.iterations() * length);
}

void CrcRef(benchmark::State& state)
{
    const auto* data = reinterpret_cast<const unsigned char*>(CrcData().data());
    const auto length = static_cast<uInt>(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(crc32(0, data, length));
    state.SetBytesProcessed(state.iterations() * length);
}

BENCHMARK(CrcLib)->Name("CRC32/lib")->Arg(100)->Arg(64 << 10)->Arg(1 << 20);
BENCHMARK(CrcRef)->Name("CRC32/ref")->Arg(100)->Arg(64 << 10)->Arg(1 << 20);

// ---- Base64 ----------------------------------------------------------------

const std::string& Base64Data()
{
    static const std::string data = PseudoRandomBytes(1 << 20, 64);
    return data;
}

// OpenSSL's encoding of the data, without the terminating zero it adds.
std::string OpenSslBase64(const std::string& data)
{
    std::string text(4 * ((data.size() + 2) / 3) + 1, '\0');
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&text[0]),
                                       reinterpret_cast<const unsigned char*>(data.data()),
                                       static_cast<int>(data.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

void Base64Lib(benchmark::State& state)
{
    const std::string& bytes = Base64Data();
    const Core::IO::CDataBuffer data(reinterpret_cast<const unsigned char*>(bytes.data()),
                                     static_cast<unsigned int>(bytes.size()));
    std::string text;
    for (auto _ : state)
    {
        text = Core::IO::CBase64::Encode(data);
        benchmark::DoNotOptimize(text.data());
    }
    SameOutput(state, text == OpenSslBase64(bytes), "Base64 text differs from OpenSSL's");
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(bytes.size()));
}

void Base64Ref(benchmark::State& state)
{
    const std::string& bytes = Base64Data();
    // The output buffer is the caller's in this interface; it is allocated
    // per call here as the library's returned string is.
    for (auto _ : state)
    {
        std::string text = OpenSslBase64(bytes);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(bytes.size()));
}

BENCHMARK(Base64Lib)->Name("Base64/lib/1MiB");
BENCHMARK(Base64Ref)->Name("Base64/ref/1MiB");

// ---- NMEA ------------------------------------------------------------------

const char* const kGga = "$GPGGA,123519.00,4807.0381,N,01131.3242,E,2,08,0.9,545.4,M,46.9,M,1.2,0031*4A\r\n";
const char* const kVtg = "$GPVTG,054.7,T,034.4,M,005.5,N,010.2,K,D*2C\r\n";

// The sentence with its checksum recomputed, so the constants above need not
// carry a correct one.
std::string WithChecksum(const char* sentence)
{
    std::string s(sentence);
    const std::size_t star = s.find('*');
    unsigned int sum = 0;
    for (std::size_t i = 1; i < star; ++i)
        sum ^= static_cast<unsigned char>(s[i]);
    static const char hex[] = "0123456789ABCDEF";
    s[star + 1] = hex[sum >> 4];
    s[star + 2] = hex[sum & 0xF];
    return s;
}

// The comparison: the checksum checked, the fields split in place at the
// commas, and each numeric field converted with strtod / strtol into the same
// values the library reports.
struct PlainFix
{
    double time, latitude, latitudeRadians, longitude, longitudeRadians;
    int quality, satellites;
    double hdop, altitude, separation, age;
    int station;
};

struct PlainTrack
{
    double trueDegrees, trueRadians, magneticDegrees, magneticRadians, knots, kmh;
    int mode;
};

constexpr double kDegreesToRadians = 3.14159265358979323846 / 180.0;

bool PlainChecksum(const char* s, const char*& end)
{
    const char* star = std::strrchr(s, '*');
    if (star == nullptr)
        return false;
    unsigned int sum = 0;
    for (const char* p = s + 1; p < star; ++p)
        sum ^= static_cast<unsigned char>(*p);
    end = star;
    return std::strtoul(star + 1, nullptr, 16) == sum;
}

// Checks the checksum and splits the sentence before its "*" at commas into
// at most 16 field starts; false unless at least minimum fields are there.
bool PlainFields(const char* s, const char* (&fields)[16], int minimum)
{
    const char* end = nullptr;
    if (!PlainChecksum(s, end))
        return false;
    int count = 0;
    fields[count++] = s;
    for (const char* p = s; p < end && count < 16; ++p)
        if (*p == ',')
            fields[count++] = p + 1;
    return count >= minimum;
}

double PlainOptional(const char* field)
{
    return *field == ',' || *field == '*' ? -1.0 : std::strtod(field, nullptr);
}

double PlainCoordinate(const char* value, const char* hemisphere, char positive)
{
    const double ddmm = std::strtod(value, nullptr);
    const double minutes = std::fmod(ddmm, 100.0);
    const double magnitude = (ddmm - minutes) / 100.0 + minutes / 60.0;
    return *hemisphere == positive ? magnitude : -magnitude;
}

bool PlainGga(const char* s, PlainFix& fix)
{
    const char* f[16];
    if (!PlainFields(s, f, 15))
        return false;
    const double hhmmss = std::strtod(f[1], nullptr);
    const double seconds = std::fmod(hhmmss, 100.0);
    const double minutes = std::fmod((hhmmss - seconds) / 100.0, 100.0);
    fix.time = seconds + minutes * 60.0 + ((hhmmss - seconds) - 100.0 * minutes) / 10000.0 * 3600.0;
    fix.latitude = PlainCoordinate(f[2], f[3], 'N');
    fix.latitudeRadians = fix.latitude * kDegreesToRadians;
    fix.longitude = PlainCoordinate(f[4], f[5], 'E');
    fix.longitudeRadians = fix.longitude * kDegreesToRadians;
    fix.quality = static_cast<int>(std::strtol(f[6], nullptr, 10));
    fix.satellites = static_cast<int>(std::strtol(f[7], nullptr, 10));
    fix.hdop = PlainOptional(f[8]);
    fix.altitude = PlainOptional(f[9]);
    fix.separation = PlainOptional(f[11]);
    fix.age = PlainOptional(f[13]);
    fix.station = static_cast<int>(std::strtol(f[14], nullptr, 10));
    return true;
}

bool PlainVtg(const char* s, PlainTrack& track)
{
    const char* f[16];
    if (!PlainFields(s, f, 10))
        return false;
    track.trueDegrees = std::strtod(f[1], nullptr);
    track.trueRadians = track.trueDegrees * kDegreesToRadians;
    track.magneticDegrees = PlainOptional(f[3]);
    track.magneticRadians = track.magneticDegrees * kDegreesToRadians;
    track.knots = PlainOptional(f[5]);
    track.kmh = PlainOptional(f[7]);
    track.mode = *f[9] == 'A' ? 0 : *f[9] == 'D' ? 1 : *f[9] == 'E' ? 2 : 3;
    return true;
}

bool Near(double a, double b)
{
    return std::fabs(a - b) <= 1e-9 * (1.0 + std::fabs(b));
}

// Decodes the sentence in a loop; returns the last result, leaving its record in data.
int LibraryLoop(benchmark::State& state, const std::string& sentence, Core::Nmea::UNmeaData& data)
{
    Core::Nmea::NmeaSentenceTypes type;
    int result = 0;
    for (auto _ : state)
    {
        result = Core::Nmea::CNmeaParser::ParseNmeaData(type, sentence, data);
        benchmark::DoNotOptimize(&data);
    }
    return result;
}

template <class Record>
void PlainLoop(benchmark::State& state, const std::string& sentence, bool (*parse)(const char*, Record&))
{
    Record record{};
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(parse(sentence.c_str(), record));
        benchmark::DoNotOptimize(&record);
    }
}

void NmeaGgaLib(benchmark::State& state)
{
    const std::string sentence = WithChecksum(kGga);
    Core::Nmea::UNmeaData data;
    const int result = LibraryLoop(state, sentence, data);
    PlainFix fix{};
    const bool plain = PlainGga(sentence.c_str(), fix);
    SameOutput(state,
               result == Core::Nmea::CNmeaParser::PARSE_OK && plain && Near(data.gga.timeOfDay, fix.time) &&
                   Near(data.gga.latitudeRadians, fix.latitudeRadians) &&
                   Near(data.gga.longitudeDegrees, fix.longitude) && data.gga.satellitesInUse == fix.satellites &&
                   Near(data.gga.altitude, fix.altitude) && data.gga.differentialStation == fix.station,
               "GGA fields differ from the plain parser's");
}

void NmeaGgaRef(benchmark::State& state)
{
    PlainLoop(state, WithChecksum(kGga), PlainGga);
}

void NmeaVtgLib(benchmark::State& state)
{
    const std::string sentence = WithChecksum(kVtg);
    Core::Nmea::UNmeaData data;
    const int result = LibraryLoop(state, sentence, data);
    PlainTrack track{};
    const bool plain = PlainVtg(sentence.c_str(), track);
    SameOutput(state,
               result == Core::Nmea::CNmeaParser::PARSE_OK && plain &&
                   Near(data.vtg.trackTrueRadians, track.trueRadians) &&
                   Near(data.vtg.trackMagneticDegrees, track.magneticDegrees) &&
                   Near(data.vtg.speedKmh, track.kmh) && data.vtg.mode == track.mode,
               "VTG fields differ from the plain parser's");
}

void NmeaVtgRef(benchmark::State& state)
{
    PlainLoop(state, WithChecksum(kVtg), PlainVtg);
}

BENCHMARK(NmeaGgaLib)->Name("Nmea/lib/GGA");
BENCHMARK(NmeaGgaRef)->Name("Nmea/ref/GGA");
BENCHMARK(NmeaVtgLib)->Name("Nmea/lib/VTG");
BENCHMARK(NmeaVtgRef)->Name("Nmea/ref/VTG");

} // namespace
