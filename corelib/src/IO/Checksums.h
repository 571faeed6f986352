// Incremental checksums: Core::CRC32, the common reflected 32-bit CRC
// (polynomial 0x04C11DB7, initial and final XOR 0xFFFFFFFF; the CRC of
// "123456789" is 0xCBF43926) that guards the blocks of the append-only file,
// and ::CFCS16, the 16-bit frame check sequence of PPP framing (polynomial
// 0x1021 reflected, initial 0xFFFF, final complement; good-frame residue 0xF0B8).
// The caller starts with Initialise (or construction), feeds with Update and
// finishes with Finalise.
// Threading: one object belongs to one thread at a time; the shared CRC table
// is built once, before the first CRC32 is initialised, and only read after
// that, so any number of threads may compute CRCs at once.
#ifndef CORELIB_IO_CHECKSUMS_H
#define CORELIB_IO_CHECKSUMS_H

#include <string>

namespace Core
{

class CRC32
{
public:
    // Ready for Update: the register holds 0xFFFFFFFF.
    CRC32();
    // The finished CRC of length bytes at data, left in m_crc. Requires: data
    // points at length readable bytes (a length of zero or less reads nothing).
    CRC32(const unsigned char* data, int length);

    // Makes sure the table exists, then starts a new CRC.
    void Initialise();
    // Feeds length bytes; a length of zero or less does nothing.
    void Update(const unsigned char* data, int length);
    // Feeds the bytes of s.
    void Update(const std::string& s);
    // Complements the register, which then holds the finished CRC.
    void Finalise() { m_crc = ~m_crc; }

    // Builds the byte table (once per process; later calls return at once).
    static void InitialiseTable();
    // The low bits bits of value in reverse order (bit 0 becomes bit bits - 1).
    static unsigned int Reflect(unsigned int value, int bits);

    // The running register; after Finalise, the finished CRC.
    unsigned int m_crc;

    // Entry i is the CRC register update for the byte value i.
    static unsigned int _CRCTable[256];
    // True once the table has been built.
    static bool m_tableInitialised;
};

} // namespace Core

// The 16-bit frame check sequence of PPP framing, fed incrementally.
// Threading: one object belongs to one thread at a time; the table is constant.
class CFCS16
{
public:
    // Ready for Update: the register holds 0xFFFF.
    CFCS16() { Initialise(); }

    // Restarts: the register holds 0xFFFF.
    void Initialise() { m_fcs = 0xFFFF; }
    // Feeds length bytes; a length of zero or less does nothing.
    void Update(const unsigned char* data, int length);
    // Feeds the four bytes of value, most significant first.
    void Update(int value);
    // Feeds the bytes of s.
    void Update(const std::string& s);
    // Complements the register and returns the finished FCS. Send it low byte first.
    unsigned short Finalise();
    // True when the frame fed so far, including its two FCS bytes, checks good.
    // Compares the complement of the register with the residue, so it must come
    // after Finalise: before Finalise a good frame reports bad.
    bool Validate() const;
    // The register.
    unsigned short Checksum() const { return m_fcs; }

    // Entry i is the FCS register update for the byte value i.
    static const unsigned short _FCSTable[256];

private:
    unsigned short m_fcs;
};

#endif
