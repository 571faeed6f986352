// Arbitrary bytes as a block store: every ReadBlock call must stay inside the
// store, and a scan must end after at most one block per header's worth of bytes.
#include "Support/MemoryBlockStore.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CoreTest::MemoryBlockStore store(std::string(reinterpret_cast<const char*>(data), size));
    unsigned short tag = 0;
    Core::IO::CDataBuffer payload;
    std::size_t blocks = 0;
    while (store.ReadBlock(tag, payload))
    {
        // Each block takes at least its header's bytes.
        if (++blocks * Core::AppendOnlyFileBase::kHeaderSize > size)
            std::abort();
        payload.Reset();
    }
    return 0;
}
