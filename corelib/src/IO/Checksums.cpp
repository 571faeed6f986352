#include "IO/Checksums.h"

#include "IO/ByteOrder.h"

#if defined(__x86_64__) && defined(__GNUC__)
#define CORELIB_CRC32_CLMUL 1
#include <immintrin.h>
#endif

namespace Core
{

namespace
{

// The CRC-32 polynomial, most significant bit first.
constexpr unsigned int kCrc32Polynomial = 0x04C11DB7u;
// Update consumes sixteen bytes per step with sixteen tables ("slicing by
// sixteen"): entry i of table k is the register change for byte value i
// followed by k zero bytes. Table 0 is _CRCTable; these are tables 1 to 15.
constexpr int kSlices = 16;
unsigned int s_slices[kSlices - 1][256];

// Four bytes as a little-endian value: the order in which the reflected
// register consumes them, whatever the host's byte order.
inline unsigned int LoadLittle32(const unsigned char* p)
{
    return static_cast<unsigned int>(p[0]) | static_cast<unsigned int>(p[1]) << 8 |
           static_cast<unsigned int>(p[2]) << 16 | static_cast<unsigned int>(p[3]) << 24;
}

#ifdef CORELIB_CRC32_CLMUL
// Whether the processor has carry-less multiplication; set with the tables.
bool s_haveClmul = false;

// Below this many bytes the table method is as quick.
const int kClmulMinimum = 64;

// Folds 128 bits of remainder forward over the distance whose two constants
// are in k, and adds the next 128 bits of data.
__attribute__((target("pclmul,sse4.1"))) inline __m128i Fold(__m128i x, __m128i k, __m128i next)
{
    return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11)),
                         next);
}

// The register after feeding length bytes, by carry-less multiplication:
// four 128-bit lanes are folded 64 bytes at a time, joined into one, reduced
// from 128 to 64 and to 32 bits, and finished with a Barrett reduction. The
// constants are powers of x modulo the polynomial (and for Barrett, the
// polynomial and its quotient), bit-reflected like the register.
// Requires: length >= 64 and a multiple of 16.
__attribute__((target("pclmul,sse4.1"))) unsigned int ClmulUpdate(unsigned int crc, const unsigned char* data,
                                                                  unsigned int length)
{
    const __m128i fold512 = _mm_set_epi64x(0x1C6E41596LL, 0x154442BD4LL);
    const __m128i fold128 = _mm_set_epi64x(0x0CCAA009ELL, 0x1751997D0LL);
    const __m128i fold64 = _mm_set_epi64x(0, 0x163CD6124LL);
    const __m128i barrett = _mm_set_epi64x(0x1F7011641LL, 0x1DB710641LL);
    const __m128i low32 = _mm_set_epi32(0, 0, 0, -1);
    const auto load = [](const unsigned char* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };

    __m128i x1 = _mm_xor_si128(load(data), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x2 = load(data + 16);
    __m128i x3 = load(data + 32);
    __m128i x4 = load(data + 48);
    data += 64;
    length -= 64;
    for (; length >= 64; data += 64, length -= 64)
    {
        x1 = Fold(x1, fold512, load(data));
        x2 = Fold(x2, fold512, load(data + 16));
        x3 = Fold(x3, fold512, load(data + 32));
        x4 = Fold(x4, fold512, load(data + 48));
    }
    x1 = Fold(x1, fold128, x2);
    x1 = Fold(x1, fold128, x3);
    x1 = Fold(x1, fold128, x4);
    for (; length >= 16; data += 16, length -= 16)
        x1 = Fold(x1, fold128, load(data));

    x1 = _mm_xor_si128(_mm_clmulepi64_si128(x1, fold128, 0x10), _mm_srli_si128(x1, 8));
    x1 = _mm_xor_si128(_mm_srli_si128(x1, 4), _mm_clmulepi64_si128(_mm_and_si128(x1, low32), fold64, 0x00));
    __m128i t = _mm_clmulepi64_si128(_mm_and_si128(x1, low32), barrett, 0x10);
    t = _mm_clmulepi64_si128(_mm_and_si128(t, low32), barrett, 0x00);
    return static_cast<unsigned int>(_mm_extract_epi32(_mm_xor_si128(x1, t), 1));
}
#endif

bool BuildTables()
{
    for (unsigned int i = 0; i < 256; ++i)
    {
        unsigned int v = CRC32::Reflect(i, 8) << 24;
        for (int bit = 0; bit < 8; ++bit)
            v = (v << 1) ^ ((v & 0x80000000u) != 0 ? kCrc32Polynomial : 0u);
        CRC32::_CRCTable[i] = CRC32::Reflect(v, 32);
    }
    const unsigned int* previous = CRC32::_CRCTable;
    for (int k = 0; k < kSlices - 1; ++k)
    {
        for (unsigned int i = 0; i < 256; ++i)
            s_slices[k][i] = (previous[i] >> 8) ^ CRC32::_CRCTable[previous[i] & 0xFF];
        previous = s_slices[k];
    }
#ifdef CORELIB_CRC32_CLMUL
    // The first CRC may come from a static constructor that runs before the
    // runtime has probed the processor.
    __builtin_cpu_init();
    s_haveClmul = __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
#endif
    CRC32::m_tableInitialised = true;
    return true;
}

} // namespace

unsigned int CRC32::_CRCTable[256];
bool CRC32::m_tableInitialised = false;

CRC32::CRC32()
{
    Initialise();
}

CRC32::CRC32(const unsigned char* data, int length)
{
    Initialise();
    Update(data, length);
    Finalise();
}

void CRC32::InitialiseTable()
{
    // A function-local static is initialised exactly once, and every other
    // thread waits until it is: the tables are complete before any CRC uses them.
    static const bool built = BuildTables();
    (void)built;
}

unsigned int CRC32::Reflect(unsigned int value, int bits)
{
    unsigned int reflected = 0;
    for (int i = 0; i < bits; ++i)
    {
        if ((value & (1u << i)) != 0)
            reflected |= 1u << (bits - 1 - i);
    }
    return reflected;
}

void CRC32::Initialise()
{
    InitialiseTable();
    m_crc = 0xFFFFFFFFu;
}

void CRC32::Update(const unsigned char* data, int length)
{
    if (length <= 0)
        return;
    const unsigned int* t0 = _CRCTable;
    const unsigned int(*t)[256] = s_slices;
    unsigned int crc = m_crc;
    unsigned int remaining = static_cast<unsigned int>(length);
#ifdef CORELIB_CRC32_CLMUL
    if (s_haveClmul && length >= kClmulMinimum)
    {
        const unsigned int folded = remaining & ~15u;
        crc = ClmulUpdate(crc, data, folded);
        data += folded;
        remaining -= folded;
    }
#endif
    while (remaining >= 16)
    {
        // Byte j of the step goes through table 15 - j (t[14 - j] below).
        const unsigned int a = crc ^ LoadLittle32(data);
        const unsigned int b = LoadLittle32(data + 4);
        const unsigned int c = LoadLittle32(data + 8);
        const unsigned int d = LoadLittle32(data + 12);
        crc = t[14][a & 0xFF] ^ t[13][(a >> 8) & 0xFF] ^ t[12][(a >> 16) & 0xFF] ^ t[11][a >> 24] ^
              t[10][b & 0xFF] ^ t[9][(b >> 8) & 0xFF] ^ t[8][(b >> 16) & 0xFF] ^ t[7][b >> 24] ^
              t[6][c & 0xFF] ^ t[5][(c >> 8) & 0xFF] ^ t[4][(c >> 16) & 0xFF] ^ t[3][c >> 24] ^
              t[2][d & 0xFF] ^ t[1][(d >> 8) & 0xFF] ^ t[0][(d >> 16) & 0xFF] ^ t0[d >> 24];
        data += 16;
        remaining -= 16;
    }
    while (remaining >= 4)
    {
        // Four bytes in one step through tables 3 to 0, so a short tail costs
        // one round of lookups instead of four dependent ones.
        const unsigned int a = crc ^ LoadLittle32(data);
        crc = t[2][a & 0xFF] ^ t[1][(a >> 8) & 0xFF] ^ t[0][(a >> 16) & 0xFF] ^ t0[a >> 24];
        data += 4;
        remaining -= 4;
    }
    while (remaining-- > 0)
        crc = (crc >> 8) ^ t0[(crc ^ *data++) & 0xFF];
    m_crc = crc;
}

void CRC32::Update(const std::string& s)
{
    Update(reinterpret_cast<const unsigned char*>(s.data()), static_cast<int>(s.size()));
}

} // namespace Core

// Entry i is i run through eight steps of: shift right by one, and XOR 0x8408
// when the bit shifted out was 1.
const unsigned short CFCS16::_FCSTable[256] = {
    0x0000, 0x1189, 0x2312, 0x329B, 0x4624, 0x57AD, 0x6536, 0x74BF,
    0x8C48, 0x9DC1, 0xAF5A, 0xBED3, 0xCA6C, 0xDBE5, 0xE97E, 0xF8F7,
    0x1081, 0x0108, 0x3393, 0x221A, 0x56A5, 0x472C, 0x75B7, 0x643E,
    0x9CC9, 0x8D40, 0xBFDB, 0xAE52, 0xDAED, 0xCB64, 0xF9FF, 0xE876,
    0x2102, 0x308B, 0x0210, 0x1399, 0x6726, 0x76AF, 0x4434, 0x55BD,
    0xAD4A, 0xBCC3, 0x8E58, 0x9FD1, 0xEB6E, 0xFAE7, 0xC87C, 0xD9F5,
    0x3183, 0x200A, 0x1291, 0x0318, 0x77A7, 0x662E, 0x54B5, 0x453C,
    0xBDCB, 0xAC42, 0x9ED9, 0x8F50, 0xFBEF, 0xEA66, 0xD8FD, 0xC974,
    0x4204, 0x538D, 0x6116, 0x709F, 0x0420, 0x15A9, 0x2732, 0x36BB,
    0xCE4C, 0xDFC5, 0xED5E, 0xFCD7, 0x8868, 0x99E1, 0xAB7A, 0xBAF3,
    0x5285, 0x430C, 0x7197, 0x601E, 0x14A1, 0x0528, 0x37B3, 0x263A,
    0xDECD, 0xCF44, 0xFDDF, 0xEC56, 0x98E9, 0x8960, 0xBBFB, 0xAA72,
    0x6306, 0x728F, 0x4014, 0x519D, 0x2522, 0x34AB, 0x0630, 0x17B9,
    0xEF4E, 0xFEC7, 0xCC5C, 0xDDD5, 0xA96A, 0xB8E3, 0x8A78, 0x9BF1,
    0x7387, 0x620E, 0x5095, 0x411C, 0x35A3, 0x242A, 0x16B1, 0x0738,
    0xFFCF, 0xEE46, 0xDCDD, 0xCD54, 0xB9EB, 0xA862, 0x9AF9, 0x8B70,
    0x8408, 0x9581, 0xA71A, 0xB693, 0xC22C, 0xD3A5, 0xE13E, 0xF0B7,
    0x0840, 0x19C9, 0x2B52, 0x3ADB, 0x4E64, 0x5FED, 0x6D76, 0x7CFF,
    0x9489, 0x8500, 0xB79B, 0xA612, 0xD2AD, 0xC324, 0xF1BF, 0xE036,
    0x18C1, 0x0948, 0x3BD3, 0x2A5A, 0x5EE5, 0x4F6C, 0x7DF7, 0x6C7E,
    0xA50A, 0xB483, 0x8618, 0x9791, 0xE32E, 0xF2A7, 0xC03C, 0xD1B5,
    0x2942, 0x38CB, 0x0A50, 0x1BD9, 0x6F66, 0x7EEF, 0x4C74, 0x5DFD,
    0xB58B, 0xA402, 0x9699, 0x8710, 0xF3AF, 0xE226, 0xD0BD, 0xC134,
    0x39C3, 0x284A, 0x1AD1, 0x0B58, 0x7FE7, 0x6E6E, 0x5CF5, 0x4D7C,
    0xC60C, 0xD785, 0xE51E, 0xF497, 0x8028, 0x91A1, 0xA33A, 0xB2B3,
    0x4A44, 0x5BCD, 0x6956, 0x78DF, 0x0C60, 0x1DE9, 0x2F72, 0x3EFB,
    0xD68D, 0xC704, 0xF59F, 0xE416, 0x90A9, 0x8120, 0xB3BB, 0xA232,
    0x5AC5, 0x4B4C, 0x79D7, 0x685E, 0x1CE1, 0x0D68, 0x3FF3, 0x2E7A,
    0xE70E, 0xF687, 0xC41C, 0xD595, 0xA12A, 0xB0A3, 0x8238, 0x93B1,
    0x6B46, 0x7ACF, 0x4854, 0x59DD, 0x2D62, 0x3CEB, 0x0E70, 0x1FF9,
    0xF78F, 0xE606, 0xD49D, 0xC514, 0xB1AB, 0xA022, 0x92B9, 0x8330,
    0x7BC7, 0x6A4E, 0x58D5, 0x495C, 0x3DE3, 0x2C6A, 0x1EF1, 0x0F78,
};

void CFCS16::Update(const unsigned char* data, int length)
{
    for (int i = 0; i < length; ++i)
        m_fcs = static_cast<unsigned short>((m_fcs >> 8) ^ _FCSTable[(m_fcs ^ data[i]) & 0xFF]);
}

void CFCS16::Update(int value)
{
    unsigned char bytes[4];
    Core::IO::StoreBigEndian(bytes, static_cast<unsigned int>(value), 4);
    Update(bytes, 4);
}

void CFCS16::Update(const std::string& s)
{
    Update(reinterpret_cast<const unsigned char*>(s.data()), static_cast<int>(s.size()));
}

unsigned short CFCS16::Finalise()
{
    m_fcs = static_cast<unsigned short>(~m_fcs);
    return m_fcs;
}

bool CFCS16::Validate() const
{
    // The register over a good frame and its FCS, before the complement.
    const unsigned short kGoodFrameResidue = 0xF0B8;
    return static_cast<unsigned short>(~m_fcs) == kGoodFrameResidue;
}
