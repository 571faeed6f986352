// The append-only block file against plain system calls on the same bytes.
#include "BenchSupport.h"

#include "Formats/AppendOnlyFile.h"
#include "IO/Checksums.h"
#include "IO/DataBuffer.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using namespace CoreBench;

const unsigned int kPayloadSize = 100;
const unsigned short kTag = 7;

// One framed block for payload, built here from the format's description
// (sync mark, big-endian length and tag, zlib's CRC of the payload) rather
// than by the writer under test.
std::string Frame(const std::string& payload)
{
    const unsigned int length = static_cast<unsigned int>(payload.size()) + 6;
    const unsigned int crc =
        static_cast<unsigned int>(crc32(0, reinterpret_cast<const Bytef*>(payload.data()), payload.size()));
    std::string block;
    block += '\x5A';
    block += '\xA5';
    for (int shift = 24; shift >= 0; shift -= 8)
        block += static_cast<char>(length >> shift);
    block += static_cast<char>(kTag >> 8);
    block += static_cast<char>(kTag & 0xFF);
    for (int shift = 24; shift >= 0; shift -= 8)
        block += static_cast<char>(crc >> shift);
    return block + payload;
}

// A file of blocks with 100-byte payloads, 64 MiB in a measured run, built on
// first use. Returns its path and the number of blocks in it.
const std::string& BlockFile(std::size_t& blocks)
{
    static std::size_t count = 0;
    static const std::string path = [] {
        const std::string file = ScratchFile("blocks.dat");
        const long long size = Sized(64LL << 20, 1 << 20);
        const std::string random = PseudoRandomBytes(1 << 16, 100);
        std::FILE* out = std::fopen(file.c_str(), "wb");
        long long written = 0;
        for (std::size_t i = 0; out != nullptr && written < size; ++i)
        {
            const std::string block = Frame(random.substr((i * 37) % (random.size() - kPayloadSize), kPayloadSize));
            std::fwrite(block.data(), 1, block.size(), out);
            written += static_cast<long long>(block.size());
            ++count;
        }
        if (out != nullptr)
            std::fclose(out);
        return file;
    }();
    blocks = count;
    return path;
}

// The library's block reader and a plain read of the same file, each as one
// full pass, taking turns (see Alternate).
class Readers
{
public:
    Readers() : m_path(BlockFile(m_blocks)), m_buffer(64 * 1024) { m_open = m_file.Open(m_path); }

    // Every block through ReadBlock, the payloads into one reused buffer.
    void Library()
    {
        m_file.Reset();
        unsigned short tag = 0;
        m_read = 0;
        while (m_file.ReadBlock(tag, m_payload))
        {
            benchmark::DoNotOptimize(m_payload.Data());
            m_payload.Reset();
            ++m_read;
        }
    }

    // The file read into a buffer of the reader's buffer size.
    void Plain()
    {
        const int fd = ::open(m_path.c_str(), O_RDONLY);
        for (ssize_t count; (count = ::read(fd, m_buffer.data(), m_buffer.size())) > 0;)
            benchmark::DoNotOptimize(m_buffer.data());
        ::close(fd);
    }

    // The least a checking reader must do: the file read in chunks of the
    // reader's buffer size, and the library's CRC of every payload compared
    // with the stored one. It trusts the framing (every block where the last
    // one ended, the lengths right) and neither searches nor copies payloads.
    void PlainChecked()
    {
        const int fd = ::open(m_path.c_str(), O_RDONLY);
        m_checked = 0;
        std::size_t held = 0; // bytes of the buffer's front not yet taken
        for (ssize_t count; (count = ::read(fd, m_buffer.data() + held, m_buffer.size() - held)) > 0;)
        {
            const auto* bytes = reinterpret_cast<const unsigned char*>(m_buffer.data());
            const std::size_t end = held + static_cast<std::size_t>(count);
            std::size_t at = 0;
            while (end - at >= kHeader)
            {
                const std::size_t size = 6 + Field(bytes + at + 2);
                if (end - at < size)
                    break;
                Core::CRC32 crc(bytes + at + kHeader, static_cast<int>(size - kHeader));
                m_checked += crc.m_crc == Field(bytes + at + 8) ? 1 : 0;
                at += size;
            }
            held = end - at;
            std::memmove(m_buffer.data(), m_buffer.data() + at, held);
        }
        ::close(fd);
    }

    bool Agree() const { return m_open && m_read == m_blocks; }
    bool AgreeChecked() const { return Agree() && m_checked == m_blocks; }

private:
    static const std::size_t kHeader = Core::AppendOnlyFileBase::kHeaderSize;
    // A four-byte big-endian field.
    static std::size_t Field(const unsigned char* p)
    {
        return static_cast<std::size_t>(p[0]) << 24 | static_cast<std::size_t>(p[1]) << 16 |
               static_cast<std::size_t>(p[2]) << 8 | p[3];
    }

    std::size_t m_blocks = 0;
    const std::string m_path;
    std::vector<char> m_buffer;
    Core::AppendOnlyFile m_file;
    Core::IO::CDataBuffer m_payload;
    bool m_open = false;
    std::size_t m_read = 0;
    std::size_t m_checked = 0;
};

// The goal row compares with the checked plain read; the second row keeps
// the bare read of the file for reference.
void ReadBlockLib(benchmark::State& state)
{
    Readers readers;
    Alternate(
        state, Clock::ThreadCpu, [&] { readers.Library(); }, [&] { readers.PlainChecked(); });
    SameOutput(state, readers.AgreeChecked(), "not every block was read and checked");
}

void ReadBlockRef(benchmark::State& state)
{
    Readers readers;
    Alternate(
        state, Clock::ThreadCpu, [&] { readers.PlainChecked(); }, [&] { readers.Library(); });
}

void ReadBlockVsReadLib(benchmark::State& state)
{
    Readers readers;
    Alternate(state, Clock::ThreadCpu, [&] { readers.Library(); }, [&] { readers.Plain(); });
    SameOutput(state, readers.Agree(), "not every block was read");
}

void ReadBlockVsReadRef(benchmark::State& state)
{
    Readers readers;
    Alternate(state, Clock::ThreadCpu, [&] { readers.Plain(); }, [&] { readers.Library(); });
}

// Named after the file's size, which is smaller in a smoke run.
const std::string kBlockFileSize = Smoke() ? "1MiB" : "64MiB";
BENCHMARK(ReadBlockLib)->Name("ReadBlock/lib/" + kBlockFileSize)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadBlockRef)->Name("ReadBlock/ref/" + kBlockFileSize)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadBlockVsReadLib)->Name("ReadBlockVsRead/lib/" + kBlockFileSize)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadBlockVsReadRef)->Name("ReadBlockVsRead/ref/" + kBlockFileSize)->Unit(benchmark::kMillisecond);

const std::string& WritePayload()
{
    static const std::string payload = PseudoRandomBytes(kPayloadSize, 200);
    return payload;
}

// The library's writer and a plain write-and-flush writer, each appending to
// a file of its own, taking turns block by block (see Alternate): flush
// times on a shared disk drift far more than the difference being measured.
class AlternatingWriters
{
public:
    AlternatingWriters()
        : m_libraryPath(ScratchFile("write-lib.dat")), m_plainPath(ScratchFile("write-plain.dat")),
          m_payload(reinterpret_cast<const unsigned char*>(WritePayload().data()), kPayloadSize),
          m_block(Frame(WritePayload()))
    {
        std::remove(m_libraryPath.c_str());
        std::remove(m_plainPath.c_str());
        m_ok = m_file.Open(m_libraryPath);
        m_fd = ::open(m_plainPath.c_str(), O_RDWR | O_CREAT | O_APPEND, 0666);
    }
    ~AlternatingWriters()
    {
        m_file.Close();
        ::close(m_fd);
    }
    AlternatingWriters(const AlternatingWriters&) = delete;
    AlternatingWriters& operator=(const AlternatingWriters&) = delete;

    void Library() { m_ok = m_file.WriteBlock(kTag, m_payload) && m_ok; }
    void Plain()
    {
        m_ok = ::write(m_fd, m_block.data(), m_block.size()) == static_cast<ssize_t>(m_block.size()) && m_ok;
        m_ok = ::fsync(m_fd) == 0 && m_ok;
    }

    // True when every write succeeded and the library's first block is
    // exactly the framing the plain writer writes.
    bool Agree()
    {
        m_file.Close();
        std::string first(m_block.size(), '\0');
        std::FILE* in = std::fopen(m_libraryPath.c_str(), "rb");
        const bool read = in != nullptr && std::fread(&first[0], 1, first.size(), in) == first.size();
        if (in != nullptr)
            std::fclose(in);
        return m_ok && read && first == m_block;
    }

private:
    const std::string m_libraryPath;
    const std::string m_plainPath;
    const Core::IO::CDataBuffer m_payload;
    const std::string m_block;
    Core::AppendOnlyFile m_file;
    int m_fd;
    bool m_ok;
};

void WriteBlockLib(benchmark::State& state)
{
    AlternatingWriters writers;
    Alternate(state, Clock::Elapsed, [&] { writers.Library(); }, [&] { writers.Plain(); });
    SameOutput(state, writers.Agree(), "written block differs from the framing");
}

void WriteBlockRef(benchmark::State& state)
{
    AlternatingWriters writers;
    Alternate(state, Clock::Elapsed, [&] { writers.Plain(); }, [&] { writers.Library(); });
}

// Elapsed time: the cost of a block is mostly waiting for the medium.
BENCHMARK(WriteBlockLib)->Name("WriteBlock/lib")->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(WriteBlockRef)->Name("WriteBlock/ref")->Unit(benchmark::kMicrosecond)->UseRealTime();

} // namespace
