// A block store held in a string, for the block-file tests and fuzzer: appends
// move the read position to the end, as in the file. Knobs make writes come up
// short or the flush fail, and the largest read asked for is recorded.
// Header-only, so that the fuzz targets can use it without the test library.
#ifndef CORELIB_TESTS_SUPPORT_MEMORYBLOCKSTORE_H
#define CORELIB_TESTS_SUPPORT_MEMORYBLOCKSTORE_H

#include "Formats/AppendOnlyFile.h"

#include <algorithm>
#include <climits>
#include <string>
#include <utility>

namespace CoreTest
{

class MemoryBlockStore : public Core::AppendOnlyFileBase
{
public:
    MemoryBlockStore() = default;
    explicit MemoryBlockStore(std::string bytes) : m_bytes(std::move(bytes)) {}

    bool Open(const std::string&) override { return true; }
    void Close() override {}
    int Read(unsigned char* buffer, int length) override
    {
        m_largestRead = std::max(m_largestRead, length);
        if (length < 1 || m_position >= m_bytes.size())
            return 0;
        const std::size_t count =
            m_bytes.copy(reinterpret_cast<char*>(buffer), static_cast<std::size_t>(length), m_position);
        m_position += count;
        return static_cast<int>(count);
    }
    int Write(const unsigned char* data, int length) override
    {
        const int count = std::min(length, m_writeBudget);
        m_writeBudget -= count;
        m_bytes.append(reinterpret_cast<const char*>(data), static_cast<std::size_t>(count));
        m_position = m_bytes.size();
        return count;
    }
    int SeekRead(int offset) override
    {
        if (offset < 0)
            return -1;
        m_position = static_cast<std::size_t>(offset);
        return offset;
    }
    int TellRead() override { return static_cast<int>(m_position); }
    bool Flush() override { return m_flushSucceeds; }

    std::string m_bytes;
    std::size_t m_position = 0;
    int m_writeBudget = INT_MAX; // bytes that writes may still store
    bool m_flushSucceeds = true;
    int m_largestRead = 0;
};

} // namespace CoreTest

#endif
