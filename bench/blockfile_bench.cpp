// The append-only block file against plain system calls on the same bytes.
#include "BenchSupport.h"

#include "Formats/AppendOnlyFile.h"
#include "IO/DataBuffer.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
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

void ReadBlockLib(benchmark::State& state)
{
    std::size_t blocks = 0;
    const std::string& path = BlockFile(blocks);
    Core::AppendOnlyFile file;
    if (!file.Open(path))
    {
        state.SkipWithError("cannot open the block file");
        return;
    }
    Core::IO::CDataBuffer payload;
    std::size_t read = 0;
    for (auto _ : state)
    {
        file.Reset();
        unsigned short tag = 0;
        read = 0;
        while (file.ReadBlock(tag, payload))
        {
            benchmark::DoNotOptimize(payload.Data());
            payload.Reset();
            ++read;
        }
    }
    SameOutput(state, read == blocks, "not every block was read");
    state.SetBytesProcessed(state.iterations() * static_cast<long long>(blocks * (kPayloadSize + 12)));
}

void ReadBlockRef(benchmark::State& state)
{
    std::size_t blocks = 0;
    const std::string& path = BlockFile(blocks);
    std::vector<char> buffer(64 * 1024);
    long long total = 0;
    for (auto _ : state)
    {
        const int fd = ::open(path.c_str(), O_RDONLY);
        total = 0;
        for (ssize_t count; (count = ::read(fd, buffer.data(), buffer.size())) > 0;)
        {
            benchmark::DoNotOptimize(buffer.data());
            total += count;
        }
        ::close(fd);
    }
    state.SetBytesProcessed(state.iterations() * total);
}

// Named after the file's size, which is smaller in a smoke run.
const char* const kBlockFileSize = Smoke() ? "1MiB" : "64MiB";
BENCHMARK(ReadBlockLib)->Name(std::string("ReadBlock/lib/") + kBlockFileSize)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadBlockRef)->Name(std::string("ReadBlock/ref/") + kBlockFileSize)->Unit(benchmark::kMillisecond);

const std::string& WritePayload()
{
    static const std::string payload = PseudoRandomBytes(kPayloadSize, 200);
    return payload;
}

// The two writers take turns block by block, each timing only its own
// blocks, so both see the same medium under the same load from the rest of
// the machine: flush times on a shared disk drift far more than the
// difference being measured.
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

// Runs the timed writer and the other one in turn, block by block, and
// reports the median time of the timed writer's blocks as "median_ns": a few
// flushes that wait behind other programs' disk traffic would dominate a mean.
void Alternate(benchmark::State& state, AlternatingWriters& writers, void (AlternatingWriters::*timed)(),
               void (AlternatingWriters::*other)())
{
    std::vector<double> times;
    for (auto _ : state)
    {
        const auto start = std::chrono::steady_clock::now();
        (writers.*timed)();
        times.push_back(std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count());
        state.PauseTiming();
        (writers.*other)();
        state.ResumeTiming();
    }
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
    state.counters["median_ns"] = times.empty() ? 0.0 : times[times.size() / 2];
}

void WriteBlockLib(benchmark::State& state)
{
    AlternatingWriters writers;
    Alternate(state, writers, &AlternatingWriters::Library, &AlternatingWriters::Plain);
    SameOutput(state, writers.Agree(), "written block differs from the framing");
}

void WriteBlockRef(benchmark::State& state)
{
    AlternatingWriters writers;
    Alternate(state, writers, &AlternatingWriters::Plain, &AlternatingWriters::Library);
}

// Elapsed time: the cost of a block is mostly waiting for the medium.
BENCHMARK(WriteBlockLib)->Name("WriteBlock/lib")->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(WriteBlockRef)->Name("WriteBlock/ref")->Unit(benchmark::kMicrosecond)->UseRealTime();

} // namespace
