// The worker thread: order of work and completions, which thread runs what,
// the outstanding-work count, Stop against StopNow, and stress from several
// producers with stops at arbitrary moments. Every wait is bounded.
#include "Threading/WorkerThread.h"

#include "Support/BoundedThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace
{

using BoundPtr = Core::WorkerThread::BoundPtr;
using CoreTest::BoundedThread;
using CoreTest::WaitUntil;

// Bound calls alive right now, across all tests: every test ends with none.
std::atomic<int> s_liveCalls(0);

// A bound call running a test-supplied body.
class Call : public Core::Bound<void>
{
public:
    explicit Call(std::function<void()> body) : m_body(std::move(body)) { ++s_liveCalls; }
    ~Call() override { --s_liveCalls; }
    void Execute() override { m_body(); }

private:
    std::function<void()> m_body;
};

BoundPtr MakeCall(std::function<void()> body)
{
    return BoundPtr(new Call(std::move(body)));
}

// Event names in the order they happened, from any thread, with the thread.
class Log
{
public:
    std::function<void()> Record(const std::string& event)
    {
        return [this, event] {
            std::lock_guard<std::mutex> lock(m_lock);
            m_events.push_back(event);
            m_threads.push_back(std::this_thread::get_id());
        };
    }
    std::vector<std::string> Events()
    {
        std::lock_guard<std::mutex> lock(m_lock);
        return m_events;
    }
    std::thread::id ThreadOf(const std::string& event)
    {
        std::lock_guard<std::mutex> lock(m_lock);
        for (size_t i = 0; i < m_events.size(); ++i)
        {
            if (m_events[i] == event)
            {
                return m_threads[i];
            }
        }
        return std::thread::id();
    }

private:
    std::mutex m_lock;
    std::vector<std::string> m_events;
    std::vector<std::thread::id> m_threads;
};

// Holds the worker inside one item until the test opens it.
class Gate
{
public:
    // The body of a work item: announces that it runs, then waits (bounded).
    std::function<void()> Hold()
    {
        return [this] {
            std::unique_lock<std::mutex> lock(m_lock);
            m_reached = true;
            m_changed.notify_all();
            m_changed.wait_for(lock, std::chrono::duration<double>(CoreTest::kHangSeconds), [this] { return m_open; });
        };
    }
    bool WaitReached()
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, std::chrono::duration<double>(CoreTest::kHangSeconds),
                                  [this] { return m_reached; });
    }
    void Open()
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_open = true;
        m_changed.notify_all();
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_reached = false;
    bool m_open = false;
};

class WorkerThreadTest : public ::testing::Test
{
protected:
    void TearDown() override { EXPECT_EQ(0, s_liveCalls.load()) << "bound calls leaked or freed too early"; }

    // Join() with a deadline.
    static void JoinWorker(Core::WorkerThread& worker)
    {
        BoundedThread joiner([&] { worker.Join(); });
        joiner.Join();
    }
    // Drain() with a deadline.
    static void DrainWorker(Core::WorkerThread& worker)
    {
        BoundedThread drainer([&] { worker.Drain(); });
        drainer.Join();
    }
    // Calls Process() until the log holds count events (bounded).
    static bool ProcessUntil(Core::WorkerThread& worker, Log& log, size_t count)
    {
        return WaitUntil([&] {
            worker.Process();
            return log.Events().size() >= count;
        });
    }

    Log log;
};

TEST_F(WorkerThreadTest, WorkRunsInOrderOnTheWorkerAndCompletionsOnlyInProcess)
{
    {
        Core::WorkerThread worker;
        worker.Start();
        for (const char* name : {"A", "B", "C"})
        {
            worker.AddItem(MakeCall(log.Record(std::string("work ") + name)),
                           MakeCall(log.Record(std::string("done ") + name)));
        }
        worker.AddItem(MakeCall(log.Record("work D")), BoundPtr());
        DrainWorker(worker);
        ASSERT_TRUE(WaitUntil([&] { return log.Events().size() == 4; }));
        EXPECT_EQ((std::vector<std::string>{"work A", "work B", "work C", "work D"}), log.Events());
        EXPECT_NE(std::this_thread::get_id(), log.ThreadOf("work A"));

        worker.Process();
        // D had no completion, so nothing of it reaches the foreground queue.
        EXPECT_EQ((std::vector<std::string>{"work A", "work B", "work C", "work D", "done A", "done B", "done C"}),
                  log.Events());
        EXPECT_EQ(std::this_thread::get_id(), log.ThreadOf("done B"));
        worker.Stop();
        JoinWorker(worker);
    }
}

TEST_F(WorkerThreadTest, ProcessRunsItemsThatArriveWhileItRuns)
{
    Core::WorkerThread worker;
    worker.Process();
    EXPECT_TRUE(log.Events().empty());

    // A foreground item that queues another, which queues a third.
    worker.AddForegroundItem(MakeCall([&] {
        log.Record("first")();
        worker.AddForegroundItem(MakeCall([&] {
            log.Record("second")();
            worker.AddForegroundItem(MakeCall(log.Record("third")));
        }));
    }));
    worker.Process();
    EXPECT_EQ((std::vector<std::string>{"first", "second", "third"}), log.Events());
}

TEST_F(WorkerThreadTest, QueueSizeCountsTheRunningItemUntilItFinishes)
{
    Core::WorkerThread worker;
    worker.Start();
    DrainWorker(worker);
    EXPECT_EQ(0, worker.GetQueueSize());

    Gate gate;
    worker.AddItem(MakeCall(gate.Hold()), BoundPtr());
    EXPECT_EQ(1, worker.GetQueueSize());
    ASSERT_TRUE(gate.WaitReached());
    EXPECT_EQ(1, worker.GetQueueSize()) << "a dequeued item is outstanding until it finishes";
    gate.Open();
    DrainWorker(worker);
    EXPECT_EQ(0, worker.GetQueueSize());
    worker.Stop();
    JoinWorker(worker);
}

TEST_F(WorkerThreadTest, StopRunsEverythingBeforeItAndNothingAfter)
{
    {
        Core::WorkerThread worker;
        worker.Start();
        Gate gate;
        worker.AddItem(MakeCall(gate.Hold()), MakeCall(log.Record("done held")));
        worker.AddItem(MakeCall(log.Record("before")), BoundPtr());
        worker.Stop();
        worker.AddItem(MakeCall(log.Record("after")), MakeCall(log.Record("done after")));
        gate.Open();
        JoinWorker(worker);
        worker.Process();
        EXPECT_EQ((std::vector<std::string>{"before", "done held"}), log.Events());
    }
}

TEST_F(WorkerThreadTest, StopNowFinishesTheRunningItemAndAbandonsTheQueue)
{
    {
        Core::WorkerThread worker;
        worker.Start();
        Gate gate;
        worker.AddItem(MakeCall(gate.Hold()), MakeCall(log.Record("done held")));
        worker.AddItem(MakeCall(log.Record("queued")), MakeCall(log.Record("done queued")));
        ASSERT_TRUE(gate.WaitReached());
        worker.StopNow();
        gate.Open();
        JoinWorker(worker);
        worker.Process();
        EXPECT_EQ((std::vector<std::string>{"done held"}), log.Events());
    }
    // Stopped before it started: the thread leaves at once.
    {
        Core::WorkerThread worker;
        worker.AddItem(MakeCall(log.Record("never")), BoundPtr());
        worker.StopNow();
        worker.Start();
        JoinWorker(worker);
    }
    EXPECT_EQ((std::vector<std::string>{"done held"}), log.Events());
}

TEST_F(WorkerThreadTest, CompletionRunsAfterItsWorkWhileTheWorkIsStillAlive)
{
    Core::WorkerThread worker;
    worker.Start();
    std::atomic<bool> workFinished(false);
    std::atomic<bool> workAliveAtCompletion(false);
    std::atomic<bool> finishedAtCompletion(false);
    {
        worker.AddItem(MakeCall([&] { workFinished = true; }), MakeCall([&] {
                           finishedAtCompletion = workFinished.load();
                           // Two calls are alive: this completion and its work.
                           workAliveAtCompletion = s_liveCalls.load() == 2;
                       }));
    }
    ASSERT_TRUE(WaitUntil([&] {
        worker.Process();
        return finishedAtCompletion.load();
    }));
    EXPECT_TRUE(workAliveAtCompletion);
    worker.Stop();
    JoinWorker(worker);
}

// Several producers queue numbered items with completions while the test
// thread processes completions; per producer, work and completions keep the
// order of the AddItem calls, and each completion follows its work.
TEST_F(WorkerThreadTest, ProducersOnSeveralThreadsKeepTheirOrderEndToEnd)
{
    constexpr int kProducers = 4;
    constexpr int kItems = 300;
    // Per producer, the number of its items whose work (or completion) has run.
    std::vector<std::atomic<int>> worked(kProducers);
    std::vector<std::atomic<int>> completed(kProducers);
    std::atomic<int> completions(0);
    std::atomic<bool> workOutOfOrder(false);
    std::atomic<bool> completionOutOfOrder(false);
    std::atomic<bool> completionBeforeWork(false);
    std::atomic<bool> completionOffTheTestThread(false);
    const std::thread::id testThread = std::this_thread::get_id();
    {
        Core::WorkerThread worker;
        worker.Start();
        std::vector<std::unique_ptr<BoundedThread>> producers;
        for (int p = 0; p < kProducers; ++p)
        {
            producers.emplace_back(new BoundedThread([&, p] {
                for (int i = 0; i < kItems; ++i)
                {
                    auto work = [&, p, i] {
                        if (worked[p].load() != i)
                        {
                            workOutOfOrder = true;
                        }
                        worked[p] = i + 1;
                    };
                    auto completion = [&, p, i] {
                        completionBeforeWork = completionBeforeWork || worked[p].load() <= i;
                        completionOutOfOrder = completionOutOfOrder || completed[p].load() != i;
                        completionOffTheTestThread =
                            completionOffTheTestThread || std::this_thread::get_id() != testThread;
                        completed[p] = i + 1;
                        ++completions;
                    };
                    worker.AddItem(MakeCall(work), MakeCall(completion));
                }
            }));
        }
        ASSERT_TRUE(WaitUntil([&] {
            worker.Process();
            return completions.load() == kProducers * kItems;
        }));
        for (auto& producer : producers)
        {
            producer->Join();
        }
        worker.Stop();
        JoinWorker(worker);
    }
    EXPECT_FALSE(workOutOfOrder);
    EXPECT_FALSE(completionOutOfOrder);
    EXPECT_FALSE(completionBeforeWork);
    EXPECT_FALSE(completionOffTheTestThread);
    for (int p = 0; p < kProducers; ++p)
    {
        EXPECT_EQ(kItems, worked[p].load());
        EXPECT_EQ(kItems, completed[p].load());
    }
}

// Rounds of producers racing a Stop or StopNow issued at a random moment:
// nothing queued after the stop call returns ever runs, and with Stop every
// item the test thread queued before it runs.
TEST_F(WorkerThreadTest, StopsAtArbitraryMomentsNeverRunLaterItems)
{
    std::mt19937 random(20260101);
    for (int round = 0; round < 40; ++round)
    {
        const bool now = round % 2 == 1;
        std::atomic<bool> stopReturned(false);
        std::atomic<bool> lateItemRan(false);
        std::atomic<int> earlyRan(0);
        int earlyQueued = 0;
        {
            Core::WorkerThread worker;
            worker.Start();
            BoundedThread producer([&] {
                for (int i = 0; i < 200; ++i)
                {
                    const bool late = stopReturned.load();
                    worker.AddItem(MakeCall([&, late] {
                                       if (late)
                                       {
                                           lateItemRan = true;
                                       }
                                   }),
                                   MakeCall([] {}));
                }
            });
            const int beforeStop = std::uniform_int_distribution<int>(0, 50)(random);
            for (int i = 0; i < beforeStop; ++i)
            {
                worker.AddItem(MakeCall([&] { ++earlyRan; }), BoundPtr());
                ++earlyQueued;
            }
            if (now)
            {
                worker.StopNow();
            }
            else
            {
                worker.Stop();
            }
            stopReturned = true;
            worker.AddItem(MakeCall([&] { lateItemRan = true; }), BoundPtr());
            producer.Join();
            JoinWorker(worker);
            worker.Process();
        }
        SCOPED_TRACE(round);
        EXPECT_FALSE(lateItemRan);
        if (!now)
        {
            EXPECT_EQ(earlyQueued, earlyRan.load());
        }
        EXPECT_EQ(0, s_liveCalls.load());
    }
}

TEST_F(WorkerThreadTest, DrainReturnsOnceConcurrentProducersAreServed)
{
    Core::WorkerThread worker;
    worker.Start();
    std::atomic<int> ran(0);
    {
        BoundedThread first([&] {
            for (int i = 0; i < 200; ++i)
            {
                worker.AddItem(MakeCall([&] { ++ran; }), BoundPtr());
            }
        });
        BoundedThread second([&] {
            for (int i = 0; i < 200; ++i)
            {
                worker.AddItem(MakeCall([&] { ++ran; }), BoundPtr());
            }
        });
    }
    // The outstanding count is a snapshot, so drain until every item has run.
    ASSERT_TRUE(WaitUntil([&] {
        DrainWorker(worker);
        return ran.load() == 400;
    }));
    EXPECT_EQ(0, worker.GetQueueSize());
    worker.Stop();
    JoinWorker(worker);
}

} // namespace
