// The shared helpers of the benchmark files.
#include "BenchSupport.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <malloc.h>
#include <random>
#include <unistd.h>
#include <vector>

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

// Large blocks stay in the heap and are reused instead of being mapped
// afresh for each allocation: otherwise whether a side pays the kernel's
// page faults for its large buffers depends on the allocator's adaptive
// threshold, and so on which benchmarks ran before it.
const bool s_heapSettled = [] {
    mallopt(M_MMAP_THRESHOLD, 256 << 20);
    mallopt(M_TRIM_THRESHOLD, 512 << 20);
    return true;
}();

double NowNanoseconds(Clock clock)
{
    if (clock == Clock::Elapsed)
        return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now().time_since_epoch()).count();
    timespec now{};
    clock_gettime(clock == Clock::ThreadCpu ? CLOCK_THREAD_CPUTIME_ID : CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double Median(std::vector<double>& values)
{
    if (values.empty())
        return 0.0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

void Alternate(benchmark::State& state, Clock clock, const std::function<void()>& timed,
               const std::function<void()>& other)
{
    std::vector<double> timedTimes;
    std::vector<double> otherTimes;
    for (auto _ : state)
    {
        double start = NowNanoseconds(clock);
        timed();
        timedTimes.push_back(NowNanoseconds(clock) - start);
        state.PauseTiming();
        start = NowNanoseconds(clock);
        other();
        otherTimes.push_back(NowNanoseconds(clock) - start);
        state.ResumeTiming();
    }
    state.counters["median_ns"] = Median(timedTimes);
    state.counters["other_median_ns"] = Median(otherTimes);
}

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

std::vector<Core::Maths::Vector3<double>> RecordedPath(std::size_t count)
{
    std::minstd_rand generator(static_cast<unsigned int>(count));
    std::uniform_real_distribution<double> noise(-0.02, 0.02);
    std::vector<Core::Maths::Vector3<double>> points;
    points.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
    {
        const double t = static_cast<double>(i);
        points.emplace_back(t, 20.0 * std::sin(t / 60.0) + noise(generator), 0.0);
    }
    return points;
}

Core::PolyLine LineThrough(const std::vector<Core::Maths::Vector3<double>>& points)
{
    Core::PolyLine line;
    line.ReservePointCount(static_cast<unsigned int>(points.size()));
    for (const Core::Maths::Vector3<double>& p : points)
        line.AddPoint(p, false);
    return line;
}

} // namespace CoreBench
