// Mutex kinds and their misuse reports, guards on every exit path, and the
// conditional guard's comparisons, each wait bounded.
#include "Threading/Mutex.h"

#include "Utilities/Time.h"

#include "Support/BoundedThread.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace
{

using Core::ConditionalGuard;
using Core::DeadlockException;
using Core::Mutex;
using CoreTest::BoundedThread;

// How long a thread is given to get stuck in a wait before the test checks
// that it is still waiting. A too short pause lets a broken wait pass, never a
// correct one fail.
constexpr auto kSettle = std::chrono::milliseconds(50);

// Runs body on another thread and waits for it.
void OnOtherThread(const std::function<void()>& body)
{
    BoundedThread other(body);
    other.Join();
}

// Sets c's value under m, as every setter must.
void SetUnderLock(Core::Conditional& c, Mutex& m, int value)
{
    Core::MutexGuard guard(m);
    c.Value(value);
}

// Cases that misuse a mutex on purpose (re-locking, foreign or extra
// unlocks); they run in every configuration but the thread sanitizer's.
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

TEST_F(MutexMisuseTest, ErrorCheckingKindsReportRelockAndStayLockedOnce)
{
    // 0 and 7 are not kinds; both fall back to error checking.
    for (int kind : {3, 0, 7})
    {
        SCOPED_TRACE(kind);
        Mutex mutex(static_cast<Mutex::EMutexType>(kind));
        mutex.Lock();
        EXPECT_THROW(mutex.Lock(), DeadlockException);
        EXPECT_FALSE(mutex.TryLock()) << "held by the caller: false, not an exception";
        mutex.Unlock();
        // One unlock released it: a second is an unlock of a free mutex.
        EXPECT_THROW(mutex.Unlock(), DeadlockException);
        EXPECT_TRUE(mutex.TryLock());
        mutex.Unlock();
    }
}

TEST_F(MutexMisuseTest, OtherThreadCannotTakeOrReleaseAHeldMutex)
{
    Mutex mutex(Mutex::MUTEX_ERRORCHECK);
    mutex.Lock();
    bool tryResult = true;
    bool unlockThrewDeadlock = false;
    OnOtherThread([&] {
        tryResult = mutex.TryLock();
        try
        {
            mutex.Unlock();
        }
        catch (const DeadlockException&)
        {
            unlockThrewDeadlock = true;
        }
    });
    EXPECT_FALSE(tryResult);
    EXPECT_TRUE(unlockThrewDeadlock);
    mutex.Unlock();
}

TEST_F(MutexMisuseTest, NormalMutexDoesNotReportAForeignUnlock)
{
    Mutex mutex(Mutex::MUTEX_NORMAL);
    mutex.Lock();
    OnOtherThread([&] { EXPECT_NO_THROW(mutex.Unlock()); });
    EXPECT_TRUE(mutex.TryLock());
    mutex.Unlock();
}

TEST_F(MutexMisuseTest, RecursiveMutexCountsLocksAndRejectsOneUnlockTooMany)
{
    Mutex mutex(Mutex::MUTEX_RECURSIVE);
    mutex.Lock();
    mutex.Lock();
    EXPECT_TRUE(mutex.TryLock());
    mutex.Unlock();
    mutex.Unlock();
    bool heldElsewhere = true;
    OnOtherThread([&] { heldElsewhere = !mutex.TryLock(); });
    EXPECT_TRUE(heldElsewhere) << "two unlocks must not release three locks";
    mutex.Unlock();
    EXPECT_THROW(mutex.Unlock(), DeadlockException);
}

TEST_F(MutexMisuseTest, NormalMutexRelockedByItsOwnerBlocksInsteadOfThrowing)
{
    CoreTest::ChildResult result = CoreTest::RunInChild(
        [] {
            Mutex mutex(Mutex::MUTEX_NORMAL);
            mutex.Lock();
            mutex.Lock();
        },
        1.0);
    EXPECT_TRUE(result.timedOut) << result.output;
}

TEST_F(MutexMisuseTest, GuardsReleaseOnEveryExitAndAFailedLockLeavesNoGuard)
{
    Mutex mutex;
    try
    {
        Core::MutexGuard guard(mutex);
        throw std::runtime_error("leaving early");
    }
    catch (const std::runtime_error&)
    {
    }
    ASSERT_TRUE(mutex.TryLock()) << "the guard must unlock when unwinding";

    // The caller already holds it: the guard's lock fails and nothing unlocks.
    EXPECT_THROW(Core::MutexGuard guard(mutex), DeadlockException);
    EXPECT_FALSE(mutex.TryLock());
    {
        Core::MutexGuard adopted(mutex, Core::MutexGuard::ADOPT_LOCK);
    }
    EXPECT_THROW(mutex.Unlock(), DeadlockException) << "the adopting guard released it";
}

TEST(ConditionalTest, TimedWaitTakesAnAbsoluteWallClockDeadline)
{
    Mutex mutex;
    Core::Conditional never(0);
    Core::MutexGuard guard(mutex);
    EXPECT_FALSE(never.Wait(mutex, Core::Time(1L))) << "a deadline in 1970 has passed";
    EXPECT_FALSE(never.Wait(mutex, Core::Time::Now() - 5.0));

    // Nobody signals: the wait ends at the deadline, not before it.
    const Core::Time deadline = Core::Time::TimerMs(100);
    EXPECT_FALSE(never.Wait(mutex, deadline));
    EXPECT_FALSE(Core::Time::Now() < deadline);
}

TEST(ConditionalTest, TimedWaitReturnsTrueWhenWokenBeforeTheDeadline)
{
    Mutex mutex;
    Core::Conditional flag(0);
    bool woken = false;
    {
        Core::MutexGuard guard(mutex);
        BoundedThread setter([&] { SetUnderLock(flag, mutex, 1); });
        // Only the setter changes the value, so a true result with the value
        // still 0 would be a spurious wake-up: wait again.
        while (flag.Value() == 0)
        {
            woken = flag.Wait(mutex, Core::Time::Timer(static_cast<int>(CoreTest::kHangSeconds)));
            ASSERT_TRUE(woken) << "timed out although the value was set";
        }
    }
    EXPECT_TRUE(woken);
}

TEST(ConditionalTest, TimedWaitWithAnInvalidDeadlineThrows)
{
    Mutex mutex;
    Core::Conditional never(0);
    Core::MutexGuard guard(mutex);
    // Microsecond fields outside 0..999999 become invalid nanosecond counts.
    for (const Core::Time& deadline : {Core::Time(0L, 2000000L), Core::Time(-1.5)})
    {
        try
        {
            never.Wait(mutex, deadline);
            ADD_FAILURE() << "no exception";
        }
        catch (const std::runtime_error& error)
        {
            EXPECT_STREQ("pthread_cond_timedwait interrupted", error.what());
        }
    }
}

TEST(ConditionalGuardTest, SatisfiedConditionReturnsAtOnceHoldingTheMutex)
{
    Mutex mutex;
    Core::Conditional zero(0);
    {
        ConditionalGuard guard(zero, mutex, ConditionalGuard::CONDITION_EQUAL_TO, 0);
        bool freeElsewhere = true;
        OnOtherThread([&] { freeElsewhere = mutex.TryLock(); });
        EXPECT_FALSE(freeElsewhere);
    }
    EXPECT_TRUE(mutex.TryLock());
    // The adopting form waits but leaves the lock with the caller.
    Core::Conditional five(5);
    {
        ConditionalGuard guard(five, mutex, ConditionalGuard::CONDITION_LESS_THAN, 6, ConditionalGuard::ADOPT_LOCK);
    }
    EXPECT_FALSE(mutex.TryLock());
    mutex.Unlock();
}

// One waiter blocked in a ConditionalGuard while the test moves the value.
struct Waiter
{
    Waiter(Core::Conditional& c, Mutex& m, ConditionalGuard::EConditionType type, int limit)
        : thread([&c, &m, type, limit, this] {
              ConditionalGuard guard(c, m, type, limit);
              seen = c.Value();
          })
    {
    }
    int seen = 0;
    BoundedThread thread;
};

TEST(ConditionalGuardTest, WaitsUntilAnotherThreadMakesTheComparisonHold)
{
    struct Case
    {
        ConditionalGuard::EConditionType type;
        int limit;
        int initial;
        int notYet;
        int satisfying;
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
        Waiter waiter(value, mutex, c.type, c.limit);
        std::this_thread::sleep_for(kSettle);
        SetUnderLock(value, mutex, c.notYet);
        std::this_thread::sleep_for(kSettle);
        EXPECT_FALSE(waiter.thread.Finished());
        SetUnderLock(value, mutex, c.satisfying);
        waiter.thread.Join();
        EXPECT_EQ(c.satisfying, waiter.seen);
    }
}

TEST(ConditionalGuardTest, UnknownComparisonNeverHolds)
{
    CoreTest::ChildResult result = CoreTest::RunInChild(
        [] {
            Mutex mutex;
            Core::Conditional value(0);
            std::thread setter([&] {
                for (int v = -3; v <= 3; ++v)
                {
                    SetUnderLock(value, mutex, v);
                }
            });
            setter.detach();
            ConditionalGuard guard(value, mutex, static_cast<ConditionalGuard::EConditionType>(3), 0);
        },
        1.0);
    EXPECT_TRUE(result.timedOut) << result.output;
}

} // namespace
