// The worker thread's round trip against a plain mutex and condition
// variable queue: an item goes to the worker, runs there, and its completion
// comes back and runs on the calling thread.
#include "BenchSupport.h"

#include "Threading/Functor.h"
#include "Threading/WorkerThread.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <sched.h>
#include <thread>

namespace
{

using BoundPtr = Core::WorkerThread::BoundPtr;

// What the items do: the work counts on the worker, the completion on the caller.
struct Counters
{
    long work = 0;
    long done = 0;
    void Work() { ++work; }
    void Done() { ++done; }
};

// The library's worker thread, started for the benchmark's whole run.
class LibraryQueue
{
public:
    LibraryQueue() : m_work(&m_counters, &Counters::Work), m_done(&m_counters, &Counters::Done) { m_worker.Start(); }
    ~LibraryQueue()
    {
        m_worker.Stop();
        m_worker.Join();
    }
    void RoundTrip()
    {
        m_worker.AddItem(BoundPtr(m_work.Bind()), BoundPtr(m_done.Bind()));
        m_worker.Drain();
        m_worker.Process();
    }
    const Counters& Count() const { return m_counters; }

private:
    Counters m_counters;
    Core::Functor<void>::Method<Counters> m_work;
    Core::Functor<void>::Method<Counters> m_done;
    Core::WorkerThread m_worker;
};

// A queue of calls guarded by one mutex, with a condition variable to wait on.
class CallQueue
{
public:
    void Push(std::function<void()> call)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_calls.push_back(std::move(call));
        }
        m_ready.notify_one();
    }
    std::function<void()> Pop()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_ready.wait(lock, [this] { return !m_calls.empty(); });
        std::function<void()> call = std::move(m_calls.front());
        m_calls.pop_front();
        return call;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<std::function<void()>> m_calls;
};

// The plain alternative: a thread that runs each call and sends a completion
// back; an empty call stops it.
class PlainQueue
{
public:
    PlainQueue()
        : m_worker([this] {
              for (std::function<void()> call; (call = m_toWorker.Pop());)
              {
                  call();
                  m_toCaller.Push([this] { m_counters.Done(); });
              }
          })
    {
    }
    ~PlainQueue()
    {
        m_toWorker.Push(std::function<void()>());
        m_worker.join();
    }
    void RoundTrip()
    {
        m_toWorker.Push([this] { m_counters.Work(); });
        m_toCaller.Pop()();
    }

private:
    Counters m_counters;
    CallQueue m_toWorker;
    CallQueue m_toCaller;
    std::thread m_worker;
};

// Both queues run for the whole benchmark and take turns in blocks of round
// trips (see Alternate), timed by the CPU time of the whole process: the work
// a round trip costs on both threads, under the same load for both sides.
// Blocks rather than single round trips, so that what a worker still does
// after handing its completion over is charged to its own side.
constexpr int kRoundTripsPerBlock = 200;

template <typename Timed, typename Other>
void TakeTurns(benchmark::State& state, Timed& timed, Other& other)
{
    CoreBench::Alternate(
        state, CoreBench::Clock::ProcessCpu,
        [&] {
            for (int i = 0; i < kRoundTripsPerBlock; ++i)
                timed.RoundTrip();
        },
        [&] {
            for (int i = 0; i < kRoundTripsPerBlock; ++i)
                other.RoundTrip();
        });
    state.counters["median_ns"] = state.counters["median_ns"] / kRoundTripsPerBlock;
    state.counters["other_median_ns"] = state.counters["other_median_ns"] / kRoundTripsPerBlock;
}

// Keeps the calling thread, and the threads it makes while this lives, on
// one CPU (threads inherit their creator's affinity), so that every hand-over
// is a switch between threads on that CPU. Left to the scheduler, a queue
// whose worker landed on the other CPU paid for waking it at every
// hand-over (about 20 times the cost on this virtual machine), and which
// side that happened to changed from run to run.
class OneCpu
{
public:
    OneCpu() : m_pinned(sched_getaffinity(0, sizeof(m_original), &m_original) == 0)
    {
        if (!m_pinned)
            return;
        cpu_set_t first;
        CPU_ZERO(&first);
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu)
            if (CPU_ISSET(cpu, &m_original))
            {
                CPU_SET(cpu, &first);
                break;
            }
        sched_setaffinity(0, sizeof(first), &first);
    }
    ~OneCpu()
    {
        if (m_pinned)
            sched_setaffinity(0, sizeof(m_original), &m_original);
    }
    OneCpu(const OneCpu&) = delete;
    OneCpu& operator=(const OneCpu&) = delete;

private:
    cpu_set_t m_original;
    const bool m_pinned;
};

void WorkerThreadLib(benchmark::State& state)
{
    const OneCpu pinned;
    LibraryQueue library;
    PlainQueue plain;
    TakeTurns(state, library, plain);
    CoreBench::SameOutput(state, library.Count().work == library.Count().done, "not every item completed");
}

void WorkerThreadRef(benchmark::State& state)
{
    const OneCpu pinned;
    LibraryQueue library;
    PlainQueue plain;
    TakeTurns(state, plain, library);
}

BENCHMARK(WorkerThreadLib)->Name("WorkerThread/lib/round-trip")->Unit(benchmark::kMicrosecond);
BENCHMARK(WorkerThreadRef)->Name("WorkerThread/ref/round-trip")->Unit(benchmark::kMicrosecond);

} // namespace
