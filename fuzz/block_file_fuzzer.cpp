// Arbitrary bytes as a block store: every ReadBlock call must stay inside the
// store, and a scan must end after at most one block per twelve bytes.
#include "Formats/AppendOnlyFile.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace
{

// A read-only store over the fuzzer's bytes.
class MemoryStore : public Core::AppendOnlyFileBase
{
public:
    MemoryStore(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}
    bool Open(const std::string&) override { return true; }
    void Close() override {}
    int Read(unsigned char* buffer, int length) override
    {
        if (length < 1 || m_position >= m_size)
            return 0;
        const std::size_t count = std::min(static_cast<std::size_t>(length), m_size - m_position);
        std::memcpy(buffer, m_data + m_position, count);
        m_position += count;
        return static_cast<int>(count);
    }
    int Write(const unsigned char*, int) override { return 0; }
    int SeekRead(int offset) override
    {
        if (offset < 0)
            return -1;
        m_position = static_cast<std::size_t>(offset);
        return offset;
    }
    int TellRead() override { return static_cast<int>(m_position); }
    bool Flush() override { return false; }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_position = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    MemoryStore store(data, size);
    unsigned short tag = 0;
    Core::IO::CDataBuffer payload;
    std::size_t blocks = 0;
    while (store.ReadBlock(tag, payload))
    {
        // Each block takes at least its header.
        if (++blocks * Core::AppendOnlyFileBase::kHeaderSize > size)
            std::abort();
        payload.Reset();
    }
    return 0;
}
