// The worker thread: order of work and completions, which thread runs what,
// the outstanding-work count, Stop against StopNow, and stress from several
// producers with stops at arbitrary moments. Every wait is bounded.
#include "Threading/WorkerThread.h"

#include "Support/BoundedThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
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
typedef std::vector<std::string> Events;

// Bound calls alive right now: every test ends with none (nothing leaked,
// nothing freed twice).
std::atomic<int> s_liveCalls(0);

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

// What one scenario's calls did, and a gate that holds the worker in an item.
class Scene
{
public:
    // A call that logs event, marked "(worker)" when it runs off the test thread.
    BoundPtr Record(const std::string& event)
    {
        return MakeCall([this, event] {
            std::lock_guard<std::mutex> lock(m_lock);
            m_events.push_back(std::this_thread::get_id() == m_testThread ? event : event + " (worker)");
        });
    }
    Events Logged()
    {
        std::lock_guard<std::mutex> lock(m_lock);
        return m_events;
    }
    // A work item that holds the worker until Open().
    BoundPtr Gate()
    {
        return MakeCall([this] {
            m_reached = true;
            WaitUntil([this] { return m_open.load(); });
        });
    }
    bool Reached() { return WaitUntil([this] { return m_reached.load(); }); }
    void Open() { m_open = true; }

private:
    const std::thread::id m_testThread = std::this_thread::get_id();
    std::mutex m_lock;
    Events m_events;
    std::atomic<bool> m_reached{false};
    std::atomic<bool> m_open{false};
};

class WorkerThreadTest : public ::testing::Test
{
protected:
    void TearDown() override { EXPECT_EQ(0, s_liveCalls.load()); }

    // Join() and Drain() with a deadline.
    static void Join(Core::WorkerThread& worker) { BoundedThread([&] { worker.Join(); }).Join(); }
    static void Drain(Core::WorkerThread& worker) { BoundedThread([&] { worker.Drain(); }).Join(); }
};

TEST_F(WorkerThreadTest, WorkRunsInOrderOnTheWorkerAndCompletionsOnlyInProcess)
{
    Scene scene;
    Core::WorkerThread worker;
    worker.Start();
    worker.AddItem(scene.Record("A"), scene.Record("done A"));
    worker.AddItem(scene.Record("B"), scene.Record("done B"));
    worker.AddItem(scene.Record("C"), BoundPtr());
    worker.AddItem(scene.Record("D"), scene.Record("done D"));
    ASSERT_TRUE(WaitUntil([&] { return scene.Logged().size() == 4; }));
    Drain(worker);
    EXPECT_EQ((Events{"A (worker)", "B (worker)", "C (worker)", "D (worker)"}), scene.Logged());
    worker.Process();
    // C had no completion, so nothing of it reaches the foreground queue.
    EXPECT_EQ((Events{"A (worker)", "B (worker)", "C (worker)", "D (worker)", "done A", "done B", "done D"}),
              scene.Logged());
    worker.Stop();
    Join(worker);
}

TEST_F(WorkerThreadTest, ProcessRunsItemsThatArriveWhileItRuns)
{
    Scene scene;
    Core::WorkerThread worker;
    worker.Process();
    worker.AddForegroundItem(MakeCall([&] {
        scene.Record("first")->Execute();
        worker.AddForegroundItem(MakeCall([&] {
            scene.Record("second")->Execute();
            worker.AddForegroundItem(scene.Record("third"));
        }));
    }));
    worker.Process();
    EXPECT_EQ((Events{"first", "second", "third"}), scene.Logged());
}

TEST_F(WorkerThreadTest, QueueSizeCountsTheRunningItemUntilItFinishes)
{
    Scene scene;
    Core::WorkerThread worker;
    worker.Start();
    Drain(worker);
    worker.AddItem(scene.Gate(), BoundPtr());
    EXPECT_EQ(1, worker.GetQueueSize());
    ASSERT_TRUE(scene.Reached());
    EXPECT_EQ(1, worker.GetQueueSize()) << "a dequeued item is outstanding until it finishes";
    scene.Open();
    Drain(worker);
    EXPECT_EQ(0, worker.GetQueueSize());
    worker.Stop();
    Join(worker);
}

TEST_F(WorkerThreadTest, StopRunsEverythingBeforeItAndStopNowOnlyTheRunningItem)
{
    for (bool now : {false, true})
    {
        SCOPED_TRACE(now ? "StopNow" : "Stop");
        Scene scene;
        {
            Core::WorkerThread worker;
            worker.Start();
            worker.AddItem(scene.Gate(), scene.Record("done held"));
            worker.AddItem(scene.Record("queued"), scene.Record("done queued"));
            ASSERT_TRUE(scene.Reached());
            now ? worker.StopNow() : worker.Stop();
            worker.AddItem(scene.Record("after"), scene.Record("done after"));
            scene.Open();
            Join(worker);
            worker.Process();
        }
        const Events expected = now ? Events{"done held"} : Events{"queued (worker)", "done held", "done queued"};
        EXPECT_EQ(expected, scene.Logged());
    }
    // Stopped before it started: the thread leaves without running anything.
    Scene scene;
    Core::WorkerThread worker;
    worker.AddItem(scene.Record("never"), BoundPtr());
    worker.StopNow();
    worker.Start();
    Join(worker);
    EXPECT_TRUE(scene.Logged().empty());
}

// Several producers queue numbered items with completions while the test
// thread processes; per producer, work and completions keep the AddItem order
// and each completion runs on the test thread after its own work.
TEST_F(WorkerThreadTest, ProducersOnSeveralThreadsKeepTheirOrderEndToEnd)
{
    constexpr int kProducers = 4;
    constexpr int kItems = 300;
    // Per producer, how many of its items have had their work or completion run.
    std::vector<std::atomic<int>> worked(kProducers);
    std::vector<std::atomic<int>> completed(kProducers);
    std::atomic<int> faults(0);
    const std::thread::id testThread = std::this_thread::get_id();
    Core::WorkerThread worker;
    worker.Start();
    {
        std::vector<std::unique_ptr<BoundedThread>> producers;
        for (int p = 0; p < kProducers; ++p)
        {
            producers.emplace_back(new BoundedThread([&, p] {
                for (int i = 0; i < kItems; ++i)
                {
                    worker.AddItem(MakeCall([&, p, i] { faults += worked[p].exchange(i + 1) != i; }),
                                   MakeCall([&, p, i] {
                                       faults += worked[p].load() <= i || std::this_thread::get_id() != testThread;
                                       faults += completed[p].exchange(i + 1) != i;
                                   }));
                }
            }));
        }
        ASSERT_TRUE(WaitUntil([&] {
            worker.Process();
            int done = 0;
            for (auto& count : completed)
            {
                done += count.load();
            }
            return done == kProducers * kItems;
        }));
    }
    worker.Stop();
    Join(worker);
    EXPECT_EQ(0, faults.load()) << "items out of order, or completions early or off the test thread";
}

// Rounds of a producer racing a Stop or StopNow issued at a random moment:
// nothing queued after the stop call returns ever runs, and with Stop every
// item the test thread queued before it runs.
TEST_F(WorkerThreadTest, StopsAtArbitraryMomentsNeverRunLaterItems)
{
    std::mt19937 random(20260101);
    for (int round = 0; round < 40; ++round)
    {
        SCOPED_TRACE(round);
        const bool now = round % 2 == 1;
        std::atomic<bool> stopReturned(false);
        std::atomic<bool> lateItemRan(false);
        std::atomic<int> earlyRan(0);
        const int earlyQueued = std::uniform_int_distribution<int>(0, 50)(random);
        {
            Core::WorkerThread worker;
            worker.Start();
            BoundedThread producer([&] {
                for (int i = 0; i < 200; ++i)
                {
                    const bool late = stopReturned.load();
                    worker.AddItem(MakeCall([&, late] { lateItemRan = lateItemRan || late; }), MakeCall([] {}));
                }
            });
            for (int i = 0; i < earlyQueued; ++i)
            {
                worker.AddItem(MakeCall([&] { ++earlyRan; }), BoundPtr());
            }
            now ? worker.StopNow() : worker.Stop();
            stopReturned = true;
            worker.AddItem(MakeCall([&] { lateItemRan = true; }), BoundPtr());
            producer.Join();
            Join(worker);
            worker.Process();
        }
        EXPECT_FALSE(lateItemRan);
        if (!now)
        {
            EXPECT_EQ(earlyQueued, earlyRan.load());
        }
        EXPECT_EQ(0, s_liveCalls.load()) << "queued items are freed with the worker";
    }
}

} // namespace
