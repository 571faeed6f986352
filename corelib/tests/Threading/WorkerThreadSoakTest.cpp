// The worker thread over a long run: several producers queue a million items
// with completions while the test thread runs Process, and a Stop ends it.
// Every item's work must run exactly once on the worker and its completion
// exactly once on the test thread, and every bound call must be freed.
#include "Threading/WorkerThread.h"

#include "CountedCall.h"
#include "Support/BoundedThread.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace
{

using BoundPtr = Core::WorkerThread::BoundPtr;

// A million items, also under the sanitizers. Processor emulation runs the
// same traffic many times slower, so there the count is scaled down to keep
// the suite's run time reasonable; the interleavings are of the same kind.
constexpr unsigned int kItems = CoreTest::kTargetEmulated ? 100000 : 1000000;
constexpr unsigned int kProducers = 4;
// Producers pause while this many items are outstanding, so that the queue
// stays bounded in memory however the threads are scheduled.
constexpr int kMaxOutstanding = 20000;
constexpr double kSoakSeconds = 600;

struct Tally
{
    explicit Tally(unsigned int n) : worked(n, 0), completed(n, 0) {}
    // Written by the worker only; read by the test thread after the hand-over.
    std::vector<unsigned char> worked;
    // Written and read by the test thread only.
    std::vector<unsigned char> completed;
    std::thread::id testThread = std::this_thread::get_id();
    std::atomic<bool> workOnTestThread{false};
    bool completionOffTestThread = false;
    bool completionBeforeWork = false;
    unsigned int completions = 0;
};

// The item's work: recorded by the worker.
BoundPtr Work(Tally& tally, unsigned int item)
{
    return ThreadingTest::MakeCall([&tally, item] {
        if (std::this_thread::get_id() == tally.testThread)
            tally.workOnTestThread = true;
        ++tally.worked[item];
    });
}

// The item's completion: recorded on the test thread, after the work.
BoundPtr Completion(Tally& tally, unsigned int item)
{
    return ThreadingTest::MakeCall([&tally, item] {
        tally.completionOffTestThread |= std::this_thread::get_id() != tally.testThread;
        tally.completionBeforeWork |= tally.worked[item] == 0;
        ++tally.completed[item];
        ++tally.completions;
    });
}

TEST(WorkerThreadSoakTest, MillionItemsFromSeveralProducersRunOnceEachAndFreeEverything)
{
    Tally tally(kItems);
    {
        Core::WorkerThread worker;
        worker.Start();
        std::vector<std::unique_ptr<CoreTest::BoundedThread>> producers;
        for (unsigned int p = 0; p < kProducers; ++p)
        {
            // Producer p queues items p, p + kProducers, p + 2 kProducers, ...
            producers.emplace_back(new CoreTest::BoundedThread([&, p] {
                for (unsigned int item = p; item < kItems; item += kProducers)
                {
                    while (worker.GetQueueSize() > kMaxOutstanding)
                        std::this_thread::yield();
                    worker.AddItem(Work(tally, item), Completion(tally, item));
                }
            }));
        }
        // Process runs without pausing in between, as a busy foreground loop
        // would, so completions meet producers and the worker head on.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(kSoakSeconds);
        while (tally.completions < kItems && std::chrono::steady_clock::now() < deadline)
        {
            worker.Process();
            std::this_thread::yield();
        }
        EXPECT_EQ(kItems, tally.completions) << "completions missing at the deadline";
        for (auto& producer : producers)
            producer->Join();
        worker.Stop();
        CoreTest::BoundedThread joiner([&] { worker.Join(); });
        joiner.Join();
        // Nothing may arrive after the last completion.
        worker.Process();
    }
    EXPECT_FALSE(tally.workOnTestThread);
    EXPECT_FALSE(tally.completionOffTestThread);
    EXPECT_FALSE(tally.completionBeforeWork);
    unsigned int lost = 0;
    unsigned int repeated = 0;
    for (unsigned int item = 0; item < kItems; ++item)
    {
        lost += tally.worked[item] == 0 || tally.completed[item] == 0;
        repeated += tally.worked[item] > 1 || tally.completed[item] > 1;
    }
    EXPECT_EQ(0u, lost);
    EXPECT_EQ(0u, repeated);
    EXPECT_EQ(kItems, tally.completions);
    EXPECT_EQ(0, ThreadingTest::s_liveCalls.load()) << "bound calls leaked";
}

} // namespace
