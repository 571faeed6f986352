// Arbitrary bytes as an object store record: every lookup and read must end
// and stay inside the bytes. (The byte buffer's reads and the encodings have
// fuzzers of their own.)
#include "IO/ObjectStore.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string bytes(reinterpret_cast<const char*>(data), size);

    Core::IO::ObjectStore store(bytes);
    int i = 0;
    float f = 0.0f;
    double d = 0.0;
    std::string s;
    unsigned int count = 0;
    store.InputInt(i, 1);
    store.InputFloat(f, 2);
    store.InputDouble(d, 3);
    store.InputString(s, 4);
    store.DeclareArrayBegin(count, 5);
    Core::IO::ObjectStore child(store);
    if (store.InputObject(child, 6))
    {
        child.InputInt(i, 1);
        child.InputString(s, 2);
    }
    store.InputInt(i, 1u << 28);
    return 0;
}
