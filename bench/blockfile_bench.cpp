// The append-only block file against plain system calls on the same bytes.
#include "BenchSupport.h"

#include "Formats/AppendOnlyFile.h"
#include "IO/DataBuffer.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

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

void WriteBlockLib(benchmark::State& state)
{
    const std::string path = ScratchFile("write-lib.dat");
    std::remove(path.c_str());
    const Core::IO::CDataBuffer payload(reinterpret_cast<const unsigned char*>(WritePayload().data()), kPayloadSize);
    Core::AppendOnlyFile file;
    bool ok = file.Open(path);
    for (auto _ : state)
        ok = file.WriteBlock(kTag, payload) && ok;
    file.Close();
    // The first block must be exactly the framing the comparison writes.
    std::string first(kPayloadSize + 12, '\0');
    std::FILE* in = std::fopen(path.c_str(), "rb");
    const bool read = in != nullptr && std::fread(&first[0], 1, first.size(), in) == first.size();
    if (in != nullptr)
        std::fclose(in);
    SameOutput(state, ok && read && first == Frame(WritePayload()), "written block differs from the framing");
}

void WriteBlockRef(benchmark::State& state)
{
    const std::string path = ScratchFile("write-ref.dat");
    std::remove(path.c_str());
    const std::string block = Frame(WritePayload());
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND, 0666);
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(::write(fd, block.data(), block.size()));
        benchmark::DoNotOptimize(::fsync(fd));
    }
    ::close(fd);
}

// Elapsed time: the cost of a block is mostly waiting for the medium.
BENCHMARK(WriteBlockLib)->Name("WriteBlock/lib")->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(WriteBlockRef)->Name("WriteBlock/ref")->Unit(benchmark::kMicrosecond)->UseRealTime();

} // namespace
