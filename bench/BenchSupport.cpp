// The shared helpers of the benchmark files.
#include "BenchSupport.h"

#include <cstdio>
#include <filesystem>
#include <random>
#include <unistd.h>

namespace CoreBench
{

namespace
{

// Owns the scratch directory; its destructor runs at program exit.
class Scratch
{
public:
    Scratch()
    {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/corelib_bench.XXXXXX";
        if (mkdtemp(&pattern[0]) == nullptr)
        {
            std::perror("corelib_bench: cannot create a scratch directory");
            std::exit(1);
        }
        m_path = pattern;
    }
    ~Scratch()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

} // namespace

const std::string& ScratchDirectory()
{
    static Scratch scratch;
    return scratch.Path();
}

std::string ScratchFile(const std::string& name)
{
    return ScratchDirectory() + "/" + name;
}

std::string PseudoRandomBytes(std::size_t count, unsigned int seed)
{
    std::minstd_rand generator(seed);
    std::string bytes(count, '\0');
    for (char& b : bytes)
        b = static_cast<char>(generator() & 0xFF);
    return bytes;
}

} // namespace CoreBench
