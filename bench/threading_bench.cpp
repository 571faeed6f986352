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

void WorkerThreadLib(benchmark::State& state)
{
    Counters counters;
    Core::Functor<void>::Method<Counters> work(&counters, &Counters::Work);
    Core::Functor<void>::Method<Counters> done(&counters, &Counters::Done);
    Core::WorkerThread worker;
    worker.Start();
    for (auto _ : state)
    {
        worker.AddItem(BoundPtr(work.Bind()), BoundPtr(done.Bind()));
        worker.Drain();
        worker.Process();
    }
    worker.Stop();
    worker.Join();
    CoreBench::SameOutput(state, counters.done == static_cast<long>(state.iterations()) && counters.work == counters.done,
                          "not every item completed");
}

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

void WorkerThreadRef(benchmark::State& state)
{
    Counters counters;
    CallQueue toWorker;
    CallQueue toCaller;
    // The worker runs each call and sends a completion back; an empty call stops it.
    std::thread worker([&] {
        for (;;)
        {
            std::function<void()> call = toWorker.Pop();
            if (!call)
                return;
            call();
            toCaller.Push([&counters] { counters.Done(); });
        }
    });
    for (auto _ : state)
    {
        toWorker.Push([&counters] { counters.Work(); });
        toCaller.Pop()();
    }
    toWorker.Push(std::function<void()>());
    worker.join();
}

// CPU time of both threads together: the work a round trip costs, which a
// busy machine disturbs far less than the elapsed time of the hand-overs.
BENCHMARK(WorkerThreadLib)->Name("WorkerThread/lib/round-trip")->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime();
BENCHMARK(WorkerThreadRef)->Name("WorkerThread/ref/round-trip")->Unit(benchmark::kMicrosecond)->MeasureProcessCPUTime();

} // namespace
