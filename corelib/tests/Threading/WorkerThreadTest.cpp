// The worker thread: order of work and completions, which thread runs what,
// the outstanding-work count, Stop against StopNow, stress from several
// producers with stops at arbitrary moments, and a long run of a million
// items. Every wait is bounded.
#include "Threading/WorkerThread.h"

#include "Support/BoundedThread.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{

using BoundPtr = Core::WorkerThread::BoundPtr;
using CoreTest::BoundedThread;
using CoreTest::WaitUntil;
typedef std::vector<std::string> Events;

// Bound calls alive right now, so that a test can check that the worker frees
// every call it was handed, and only once.
std::atomic<long> s_liveCalls(0);

class CountedCall : public Core::Bound<void>
{
public:
    explicit CountedCall(std::function<void()> body) : m_body(std::move(body)) { ++s_liveCalls; }
    ~CountedCall() override { --s_liveCalls; }
    void Execute() override { m_body(); }

private:
    std::function<void()> m_body;
};

BoundPtr MakeCall(std::function<void()> body)
{
    return BoundPtr(new CountedCall(std::move(body)));
}

class WorkerThreadTest : public ::testing::Test
{
protected:
    // Every test ends with no call alive: nothing leaked, nothing freed twice.
    void TearDown() override { EXPECT_EQ(0, s_liveCalls.load()); }

    // A call that logs event, marked "(worker)" when it runs off the test thread.
    BoundPtr Record(const std::string& event)
    {
        return MakeCall([this, event] {
            std::lock_guard<std::mutex> lock(m_lock);
            m_events.push_back(OnTestThread() ? event : event + " (worker)");
        });
    }
    // The events since the last call.
    Events Take()
    {
        std::lock_guard<std::mutex> lock(m_lock);
        return std::exchange(m_events, {});
    }
    // A work item that holds the worker until open is set.
    BoundPtr Gate()
    {
        return MakeCall([this] {
            reached = true;
            WaitUntil([this] { return open.load(); });
        });
    }
    bool OnTestThread() const { return std::this_thread::get_id() == m_testThread; }
    // Join() and Drain() with a deadline.
    static void Join(Core::WorkerThread& worker) { BoundedThread([&] { worker.Join(); }).Join(); }
    static void Drain(Core::WorkerThread& worker) { BoundedThread([&] { worker.Drain(); }).Join(); }

    std::atomic<bool> reached{false}, open{false};

private:
    const std::thread::id m_testThread = std::this_thread::get_id();
    std::mutex m_lock;
    Events m_events;
};

TEST_F(WorkerThreadTest, RunningWorkCountsAsQueuedAndCompletionsWaitForProcess)
{
    Core::WorkerThread worker;
    worker.Start();
    worker.AddItem(Gate(), MakeCall([&] {
                       Record("done")->Execute();
                       worker.AddForegroundItem(Record("queued by done"));
                   }));
    ASSERT_TRUE(WaitUntil([&] { return reached.load(); }));
    EXPECT_EQ(1, worker.GetQueueSize()) << "a dequeued item is outstanding until it finishes";
    worker.AddItem(Record("work"), BoundPtr());
    open = true;
    Drain(worker);
    EXPECT_EQ((Events{"work (worker)"}), Take());
    worker.Process();
    EXPECT_EQ((Events{"done", "queued by done"}), Take());
    worker.Stop();
    Join(worker);
}

TEST_F(WorkerThreadTest, StopRunsEverythingBeforeItAndStopNowOnlyTheRunningItem)
{
    for (bool now : {false, true})
    {
        SCOPED_TRACE(now ? "StopNow" : "Stop");
        reached = open = false;
        {
            Core::WorkerThread worker;
            worker.Start();
            worker.AddItem(Gate(), Record("done held"));
            worker.AddItem(Record("queued"), Record("done queued"));
            ASSERT_TRUE(WaitUntil([&] { return reached.load(); }));
            now ? worker.StopNow() : worker.Stop();
            worker.AddItem(Record("after"), Record("done after"));
            open = true;
            Join(worker);
            worker.Process();
        }
        EXPECT_EQ((now ? Events{"done held"} : Events{"queued (worker)", "done held", "done queued"}), Take());
    }
    // Stopped before it started: the thread leaves without running anything.
    Core::WorkerThread worker;
    worker.AddItem(Record("never"), BoundPtr());
    worker.StopNow();
    worker.Start();
    Join(worker);
    EXPECT_TRUE(Take().empty());
}

// Rounds of producers racing a Stop or StopNow issued after a random number of
// items, while the test thread runs Process without pausing, as a busy
// foreground loop would. Per producer, work runs on the worker and completions
// on the test thread, each after its own work, both in AddItem order (a stop
// cuts the sequence, never reorders it); nothing queued after the stop call
// returns ever runs. The last round is a soak: a million items (fewer under
// processor emulation, which runs the same traffic many times slower) all run
// before a Stop; producers pause while many items are outstanding, so the
// queue stays bounded in memory however the threads are scheduled.
TEST_F(WorkerThreadTest, ProducersKeepTheirOrderAndNothingQueuedAfterAStopRuns)
{
    constexpr int kProducers = 3, kRounds = 30;
    constexpr int kSoakItems = (CoreTest::kTargetEmulated ? 100000 : 1000000) / kProducers;
    // Producers wait while this many items are outstanding; the soak's deadline.
    constexpr int kMostOutstanding = 20000;
    constexpr double kSoakSeconds = 600;
    std::mt19937 random(20260101);
    for (int round = 0; round <= kRounds; ++round)
    {
        SCOPED_TRACE(round);
        const bool soak = round == kRounds, now = !soak && round % 2 == 1;
        const int items = soak ? kSoakItems : 100;
        const int stopAfter =
            soak ? kProducers * items : std::uniform_int_distribution<int>(0, kProducers * items)(random);
        // Per producer, how many of its items have had their work or completion run.
        std::vector<std::atomic<int>> worked(kProducers), completed(kProducers);
        std::atomic<int> ran(0), faults(0);
        std::atomic<bool> stopReturned(false);
        {
            Core::WorkerThread worker;
            worker.Start();
            std::vector<std::unique_ptr<BoundedThread>> producers;
            for (int p = 0; p < kProducers; ++p)
                producers.emplace_back(new BoundedThread([&, p] {
                    for (int i = 0; i < items; ++i)
                    {
                        while (worker.GetQueueSize() > kMostOutstanding)
                            std::this_thread::yield();
                        const bool late = stopReturned;
                        worker.AddItem(MakeCall([&, p, i, late] {
                                           faults += late || worked[p].exchange(i + 1) != i || OnTestThread();
                                           ++ran;
                                       }),
                                       MakeCall([&, p, i] {
                                           faults +=
                                               worked[p] <= i || completed[p].exchange(i + 1) != i || !OnTestThread();
                                       }));
                    }
                }));
            const auto deadline = std::chrono::steady_clock::now() +
                                  std::chrono::duration<double>(soak ? kSoakSeconds : CoreTest::kHangSeconds);
            while (ran < stopAfter && std::chrono::steady_clock::now() < deadline)
            {
                worker.Process();
                std::this_thread::yield();
            }
            EXPECT_GE(ran, stopAfter) << "work missing at the deadline";
            now ? worker.StopNow() : worker.Stop();
            stopReturned = true;
            worker.AddItem(MakeCall([&] { ++faults; }), BoundPtr());
            for (auto& producer : producers)
                producer->Join();
            Join(worker);
            worker.Process();
        }
        EXPECT_EQ(0, faults.load()) << "items out of order or after the stop, or completions early or elsewhere";
        for (int p = 0; soak && p < kProducers; ++p)
            EXPECT_EQ(items, completed[p]) << "completions lost";
    }
}

} // namespace
