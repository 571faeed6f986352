// Mutex kinds and their misuse reports, guards on every exit path, timed
// waits, and the conditional guard's comparisons, each wait bounded.
#include "Threading/Mutex.h"

#include "Support/BoundedThread.h"
#include "Support/TestSupport.h"
#include "Utilities/Time.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace
{

using Core::ConditionalGuard;
using Core::DeadlockException;
using Core::Mutex;
using CoreTest::BoundedThread;

// Whether another thread can take m right now.
bool FreeElsewhere(Mutex& m)
{
    bool taken = false;
    BoundedThread([&] {
        taken = m.TryLock();
        if (taken)
        {
            m.Unlock();
        }
    }).Join();
    return taken;
}

void SetUnderLock(Core::Conditional& c, Mutex& m, int value)
{
    Core::MutexGuard guard(m);
    c.Value(value);
}

// Cases that misuse a mutex on purpose; the thread sanitizer stops at each
// misuse itself, so they run in every other configuration.
class MutexMisuseTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (CoreTest::kThreadSanitized)
        {
            GTEST_SKIP() << "the thread sanitizer stops at deliberate mutex misuse";
        }
    }
};

TEST_F(MutexMisuseTest, ErrorCheckingKindsReportRelockAndForeignOrExtraUnlocks)
{
    // 0 and 7 are not kinds; both fall back to error checking.
    for (int kind : {3, 0, 7})
    {
        SCOPED_TRACE(kind);
        Mutex mutex(static_cast<Mutex::EMutexType>(kind));
        mutex.Lock();
        EXPECT_THROW(mutex.Lock(), DeadlockException);
        EXPECT_FALSE(mutex.TryLock()) << "held by the caller: false, not an exception";
        BoundedThread([&] { EXPECT_THROW(mutex.Unlock(), DeadlockException); }).Join();
        mutex.Unlock();
        // One unlock released it: a second is an unlock of a free mutex.
        EXPECT_THROW(mutex.Unlock(), DeadlockException);
    }
}

TEST_F(MutexMisuseTest, RecursiveKindCountsLocksAndNormalKindChecksNothing)
{
    Mutex recursive(Mutex::MUTEX_RECURSIVE);
    recursive.Lock();
    EXPECT_TRUE(recursive.TryLock());
    recursive.Unlock();
    EXPECT_FALSE(FreeElsewhere(recursive)) << "one unlock must not release two locks";
    recursive.Unlock();
    EXPECT_THROW(recursive.Unlock(), DeadlockException);

    Mutex normal(Mutex::MUTEX_NORMAL);
    normal.Lock();
    BoundedThread([&] { EXPECT_NO_THROW(normal.Unlock()); }).Join();
    EXPECT_TRUE(FreeElsewhere(normal));
    // Relocked by its owner, a normal mutex blocks for ever instead of throwing.
    CoreTest::ChildResult result = CoreTest::RunInChild(
        [] {
            Mutex mutex(Mutex::MUTEX_NORMAL);
            mutex.Lock();
            mutex.Lock();
        },
        1.0);
    EXPECT_TRUE(result.timedOut) << result.output;
}

TEST_F(MutexMisuseTest, GuardsReleaseWhenUnwindingAndAFailedLockLeavesNoGuard)
{
    Mutex mutex;
    EXPECT_THROW(
        {
            Core::MutexGuard guard(mutex);
            throw std::runtime_error("leaving early");
        },
        std::runtime_error);
    ASSERT_TRUE(mutex.TryLock());
    // The caller already holds it: the guard's own lock fails, nothing unlocks.
    EXPECT_THROW(Core::MutexGuard guard(mutex), DeadlockException);
    EXPECT_FALSE(FreeElsewhere(mutex));
    {
        Core::MutexGuard adopted(mutex, Core::MutexGuard::ADOPT_LOCK);
    }
    EXPECT_TRUE(FreeElsewhere(mutex));
}

TEST(ConditionalTest, TimedWaitTakesAnAbsoluteWallClockDeadline)
{
    Mutex mutex;
    Core::Conditional never(0);
    Core::MutexGuard guard(mutex);
    EXPECT_FALSE(never.Wait(mutex, Core::Time(1L))) << "a deadline in 1970 has passed";
    // Nobody signals: the wait ends at the deadline, not before it.
    const Core::Time deadline = Core::Time::TimerMs(100);
    EXPECT_FALSE(never.Wait(mutex, deadline));
    EXPECT_FALSE(Core::Time::Now() < deadline);
    // Microsecond fields outside 0..999999 make invalid deadlines.
    for (const Core::Time& invalid : {Core::Time(0L, 2000000L), Core::Time(-1.5)})
    {
        try
        {
            never.Wait(mutex, invalid);
            ADD_FAILURE() << "no exception";
        }
        catch (const std::runtime_error& error)
        {
            EXPECT_STREQ("pthread_cond_timedwait interrupted", error.what());
        }
    }
}

TEST(ConditionalTest, TimedWaitReturnsTrueWhenWokenBeforeTheDeadline)
{
    Mutex mutex;
    Core::Conditional flag(0);
    Core::MutexGuard guard(mutex);
    BoundedThread setter([&] { SetUnderLock(flag, mutex, 1); });
    // A true result with the value still 0 is a spurious wake-up: wait again.
    while (flag.Value() == 0)
    {
        ASSERT_TRUE(flag.Wait(mutex, Core::Time::Timer(static_cast<int>(CoreTest::kHangSeconds))));
    }
}

TEST(ConditionalGuardTest, SatisfiedConditionReturnsAtOnceHoldingTheMutex)
{
    Mutex mutex;
    Core::Conditional five(5);
    {
        ConditionalGuard guard(five, mutex, ConditionalGuard::CONDITION_EQUAL_TO, 5);
        EXPECT_FALSE(FreeElsewhere(mutex));
    }
    EXPECT_TRUE(FreeElsewhere(mutex));
    // The adopting form waits but leaves the lock with the caller.
    mutex.Lock();
    {
        ConditionalGuard guard(five, mutex, ConditionalGuard::CONDITION_LESS_THAN, 6, ConditionalGuard::ADOPT_LOCK);
    }
    EXPECT_FALSE(FreeElsewhere(mutex));
    mutex.Unlock();
}

TEST(ConditionalGuardTest, WaitsUntilAnotherThreadMakesTheComparisonHold)
{
    struct Case
    {
        ConditionalGuard::EConditionType type;
        int limit, initial, notYet, satisfying;
    };
    const Case cases[] = {
        {ConditionalGuard::CONDITION_EQUAL_TO, 0, 3, 1, 0},
        // Greater than 0 keeps waiting through 0 and negative values.
        {ConditionalGuard::CONDITION_GREATER_THAN, 0, -2, 0, 1},
        {ConditionalGuard::CONDITION_LESS_THAN, 10, 10, 11, 9},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.type);
        Mutex mutex;
        Core::Conditional value(c.initial);
        int seen = 0;
        BoundedThread waiter([&] {
            ConditionalGuard guard(value, mutex, c.type, c.limit);
            seen = value.Value();
        });
        // A short pause can let a broken wait pass, never fail a correct one.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        SetUnderLock(value, mutex, c.notYet);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(waiter.Finished());
        SetUnderLock(value, mutex, c.satisfying);
        waiter.Join();
        EXPECT_EQ(c.satisfying, seen);
    }
    // A comparison outside the three never holds, whatever the value.
    CoreTest::ChildResult result = CoreTest::RunInChild(
        [] {
            Mutex mutex;
            Core::Conditional value(0);
            std::thread([&] {
                for (int v = -3; v <= 3; ++v)
                {
                    SetUnderLock(value, mutex, v);
                }
            }).detach();
            ConditionalGuard guard(value, mutex, static_cast<ConditionalGuard::EConditionType>(3), 0);
        },
        1.0);
    EXPECT_TRUE(result.timedOut) << result.output;
}

} // namespace
