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
#include <type_traits>

namespace
{

using Core::ConditionalGuard;
using Core::DeadlockException;
using Core::Mutex;
using CoreTest::BoundedThread;

// The tests pass kinds and comparisons outside the enumerators; a fixed int makes them defined.
static_assert(std::is_same_v<int, std::underlying_type_t<Mutex::EMutexType>>);
static_assert(std::is_same_v<int, std::underlying_type_t<ConditionalGuard::EConditionType>>);

// Whether another thread can take m right now.
bool FreeElsewhere(Mutex& m)
{
    bool taken = false;
    BoundedThread([&] {
        if ((taken = m.TryLock()))
            m.Unlock();
    }).Join();
    return taken;
}

void SetUnderLock(Core::Conditional& c, Mutex& m, int value)
{
    Core::MutexGuard guard(m);
    c.Value(value);
}

TEST(MutexTest, EveryKindButNormalReportsMisuseAndGuardsUnlockOnlyWhatTheyHold)
{
    if (CoreTest::kThreadSanitized)
        GTEST_SKIP() << "the thread sanitizer stops at deliberate mutex misuse";
    // In a bounded thread: a kind mapped to the normal one would block for
    // ever at the relock.
    BoundedThread([] {
        // Error checking (3), two values that are not kinds and so fall back to
        // error checking, and recursive (2).
        for (int kind : {3, 0, 7, 2})
        {
            SCOPED_TRACE(kind);
            const bool recursive = kind == Mutex::MUTEX_RECURSIVE;
            Mutex mutex(static_cast<Mutex::EMutexType>(kind));
            mutex.Lock();
            EXPECT_EQ(recursive, mutex.TryLock()) << "held by the caller: a second hold or false, never an exception";
            if (!recursive)
            {
                EXPECT_THROW(mutex.Lock(), DeadlockException);
                // The guard's own lock fails, so it unlocks nothing.
                EXPECT_THROW(Core::MutexGuard guard(mutex), DeadlockException);
            }
            BoundedThread([&] { EXPECT_THROW(mutex.Unlock(), DeadlockException); }).Join();
            {
                Core::MutexGuard adopted(mutex, Core::MutexGuard::ADOPT_LOCK);
            }
            EXPECT_EQ(!recursive, FreeElsewhere(mutex)) << "one unlock releases one lock";
            if (recursive)
                mutex.Unlock();
            EXPECT_THROW(mutex.Unlock(), DeadlockException) << "unlock of a free mutex";
        }
    }).Join();
    Mutex normal(Mutex::MUTEX_NORMAL);
    normal.Lock();
    BoundedThread([&] { EXPECT_NO_THROW(normal.Unlock()); }).Join();
    EXPECT_TRUE(FreeElsewhere(normal)) << "a normal mutex checks nothing: anyone may unlock it";
}

TEST(ConditionalTest, TimedWaitTakesAnAbsoluteWallClockDeadline)
{
    Mutex mutex;
    Core::Conditional flag(0);
    Core::MutexGuard guard(mutex);
    EXPECT_FALSE(flag.Wait(mutex, Core::Time(1L))) << "a deadline in 1970 has passed";
    // Nobody signals: the wait ends at the deadline, not before it.
    const Core::Time deadline = Core::Time::TimerMs(100);
    EXPECT_FALSE(flag.Wait(mutex, deadline) || Core::Time::Now() < deadline);
    // A microsecond field outside 0..999999 is an invalid deadline, not a
    // later one.
    try
    {
        flag.Wait(mutex, Core::Time(0L, 2000000L));
        ADD_FAILURE() << "no exception";
    }
    catch (const std::runtime_error& error)
    {
        EXPECT_STREQ("pthread_cond_timedwait interrupted", error.what());
    }
    BoundedThread setter([&] { SetUnderLock(flag, mutex, 1); });
    // A true result with the value still 0 is a spurious wake-up: wait again.
    while (flag.Value() == 0)
        ASSERT_TRUE(flag.Wait(mutex, Core::Time::Timer(static_cast<int>(CoreTest::kHangSeconds))));
    // The other thread can take the mutex only once the wait has released it.
    BoundedThread signaller([&] {
        Core::MutexGuard locked(mutex);
        flag.Signal();
    });
    EXPECT_TRUE(flag.Wait(mutex, Core::Time::Timer(static_cast<int>(CoreTest::kHangSeconds)))) << "Signal wakes it";
}

TEST(ConditionalGuardTest, WaitsUntilAnotherThreadMakesTheComparisonHold)
{
    const struct
    {
        ConditionalGuard::EConditionType type;
        int limit, initial, notYet, satisfying;
    } cases[] = {
        {ConditionalGuard::CONDITION_EQUAL_TO, 0, 3, 1, 0},
        // Greater than 0 keeps waiting through 0 and negative values.
        {ConditionalGuard::CONDITION_GREATER_THAN, 0, -2, 0, 1},
        {ConditionalGuard::CONDITION_LESS_THAN, 10, 10, 11, 9},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.type);
        Mutex mutex;
        Core::Conditional value(c.initial);
        int seen = 0;
        bool heldInside = false;
        BoundedThread waiter([&] {
            ConditionalGuard guard(value, mutex, c.type, c.limit);
            seen = value.Value();
            heldInside = !FreeElsewhere(mutex);
        });
        // A short pause can let a broken wait pass, never fail a correct one.
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        SetUnderLock(value, mutex, c.notYet);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(waiter.Finished());
        SetUnderLock(value, mutex, c.satisfying);
        waiter.Join();
        EXPECT_EQ(c.satisfying, seen);
        EXPECT_TRUE(heldInside && FreeElsewhere(mutex)) << "held inside the guard, and unlocked when it goes";
    }
    // The adopting form waits but leaves the lock with the caller.
    Mutex mutex;
    Core::Conditional five(5);
    mutex.Lock();
    {
        ConditionalGuard guard(five, mutex, ConditionalGuard::CONDITION_LESS_THAN, 6, ConditionalGuard::ADOPT_LOCK);
    }
    EXPECT_FALSE(FreeElsewhere(mutex));
    mutex.Unlock();
    // A comparison outside the three never holds, whatever the value.
    CoreTest::ChildResult result = CoreTest::RunInChild(
        [] {
            Mutex mutex;
            Core::Conditional value(0);
            std::thread([&] {
                for (int v = -3; v <= 3; ++v)
                    SetUnderLock(value, mutex, v);
            }).detach();
            ConditionalGuard guard(value, mutex, static_cast<ConditionalGuard::EConditionType>(3), 0);
        },
        1.0);
    EXPECT_TRUE(result.timedOut) << result.output;
}

} // namespace
