// Helpers shared by the benchmark files: the smoke-run switch, a scratch
// directory for files the benchmarks write, and deterministic test data
// (bytes, and a recorded pass as points and as a poly-line).
#ifndef CORELIB_BENCH_BENCHSUPPORT_H
#define CORELIB_BENCH_BENCHSUPPORT_H

#include "Guidance/PolyLine.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace CoreBench
{

// True when bench/run asked for a smoke run (CORELIB_BENCH_SMOKE set): every
// benchmark then runs once, so large inputs are built at a reduced size to
// keep the whole run short.
inline bool Smoke()
{
    static const bool smoke = std::getenv("CORELIB_BENCH_SMOKE") != nullptr;
    return smoke;
}

// full in a measured run, reduced in a smoke run.
inline long long Sized(long long full, long long reduced)
{
    return Smoke() ? reduced : full;
}

// A directory for the benchmarks' files, created on first use under
// $TMPDIR (or /tmp) and removed with its contents when the program ends.
const std::string& ScratchDirectory();
// ScratchDirectory() + "/" + name.
std::string ScratchFile(const std::string& name);

// Deterministic pseudo-random bytes, the same in every run and for both sides.
std::string PseudoRandomBytes(std::size_t count, unsigned int seed);

// A recorded pass across a field: count points about a metre apart along a
// gently curving path with a little noise, as a receiver records them; the
// same for a given count in every run.
std::vector<Core::Maths::Vector3<double>> RecordedPath(std::size_t count);
// A poly-line through the points, without splines.
Core::PolyLine LineThrough(const std::vector<Core::Maths::Vector3<double>>& points);

// The clock that times the operations of Alternate.
enum class Clock
{
    Elapsed,    // wall-clock time: for operations whose cost is waiting
    ThreadCpu,  // CPU time of the calling thread, user and system
    ProcessCpu, // CPU time of every thread of the process: for hand-overs between threads
};

// Runs the timed operation and the other one in turn, once per iteration,
// timing each with clock, and reports their median times per call as the
// counters "median_ns" (timed) and "other_median_ns" (other). The row's two
// benchmarks each alternate the same pair, so both sides are measured in
// both time slots, under the same disk traffic and load from the rest of the
// machine; bench/table.py pools the two benchmarks' figures.
void Alternate(benchmark::State& state, Clock clock, const std::function<void()>& timed,
               const std::function<void()>& other);

// Stops the benchmark with an error unless the two outputs agree, so a
// comparison that stopped producing the same result cannot go unnoticed.
inline bool SameOutput(benchmark::State& state, bool same, const char* what)
{
    if (!same)
        state.SkipWithError(what);
    return same;
}

} // namespace CoreBench

#endif
