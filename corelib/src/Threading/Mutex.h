// Mutexes and condition variables over POSIX threads: the library's only
// locking. Mutex reports misuse (re-locking a mutex the caller holds,
// unlocking one it does not hold) as DeadlockException when the kind detects
// it, and every other failure as std::runtime_error. Conditional is a condition
// variable that carries an int state word; ConditionalGuard locks a mutex and
// waits until that word satisfies a comparison.
// Threading: every operation may be called from any thread. Conditional's
// value is a plain int guarded by the caller's mutex.
#ifndef CORELIB_THREADING_MUTEX_H
#define CORELIB_THREADING_MUTEX_H

#include <pthread.h>

#include <atomic>
#include <exception>

namespace Core
{

class Time;

// Thrown when the calling thread re-locks a mutex it holds or unlocks one it
// does not hold. It carries no message: the type is the report.
class DeadlockException : public std::exception
{
public:
    ~DeadlockException() override {}
};

// A POSIX mutex whose kind is fixed at construction.
// Not copyable.
class Mutex
{
public:
    // The kind of mutex. Any value other than MUTEX_NORMAL and MUTEX_RECURSIVE
    // (0 and out-of-range values included) gives an error-checking mutex.
    enum EMutexType : int
    {
        MUTEX_NORMAL = 1,
        MUTEX_RECURSIVE = 2,
        MUTEX_ERRORCHECK = 3
    };

    // An unlocked mutex of the given kind.
    explicit Mutex(EMutexType type = MUTEX_ERRORCHECK);
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    // Blocks until the caller holds the mutex. Throws DeadlockException if an
    // error-checking mutex is already held by the caller, std::runtime_error
    // ("pthread_mutex_lock error") on any other failure. A normal mutex locked
    // twice by its owner blocks for ever.
    void Lock();

    // True if the mutex was free and is now held; false if it is held by
    // anyone, the caller included. Throws std::runtime_error
    // ("pthread_mutex_trylock error") on any other failure.
    bool TryLock();

    // Releases the mutex. Throws DeadlockException if an error-checking or
    // recursive mutex is not held by the caller, std::runtime_error
    // ("pthread_mutex_unlock error") on any other failure.
    void Unlock();

    // The underlying POSIX mutex, for condition waits.
    pthread_mutex_t* GetMutex();

private:
    pthread_mutex_t m_mutex;
    pthread_mutexattr_t m_attributes;
};

// Holds a mutex locked for its own lifetime. Not copyable.
class MutexGuard
{
public:
    // Tag of the constructor that takes over a mutex already locked.
    enum EAdoptLock
    {
        ADOPT_LOCK
    };

    // Locks m; a DeadlockException from Lock() leaves no guard behind.
    explicit MutexGuard(Mutex& m);
    // Takes over m, which the caller has already locked.
    MutexGuard(Mutex& m, EAdoptLock);
    // Unlocks the mutex.
    ~MutexGuard() noexcept(false);
    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;

private:
    Mutex* m_mutex;
};

// A condition variable with an int state word, used as a counter or a state.
// Timed waits measure the wall clock. Not copyable.
// The value is meant to be read and written with the associated mutex held;
// a read without it is a snapshot that may already be stale.
class Conditional
{
public:
    // A condition variable whose state word starts at value.
    explicit Conditional(int value);
    ~Conditional();
    Conditional(const Conditional&) = delete;
    Conditional& operator=(const Conditional&) = delete;

    // The state word. Requires: the caller holds the associated mutex.
    int Value() const;
    // Stores the state word and wakes every waiter.
    // Requires: the caller holds the associated mutex.
    void Value(int value);
    // Stores the state word and wakes no one: for a word nobody waits on, or
    // when the caller wakes the waiters itself after unlocking, so that they
    // do not wake only to block on the mutex it still holds.
    // Requires: the caller holds the associated mutex.
    void Store(int value);

    // Wakes one waiter.
    void Signal();
    // Wakes every waiter.
    void Broadcast();

    // Waits for a signal or broadcast. Requires: the caller holds m. Wakes may
    // be spurious: re-check the state after returning.
    void Wait(Mutex& m);

    // Waits as above until the absolute wall-clock time deadline (not an
    // interval). True when woken, false when the deadline passed (at once
    // for a deadline in the past). Throws std::runtime_error
    // ("pthread_cond_timedwait interrupted") on any other failure, such as
    // a deadline whose microsecond field is outside 0..999999.
    // Requires: the caller holds m.
    bool Wait(Mutex& m, const Time& deadline);

private:
    pthread_cond_t m_condition;
    // Atomic only so that deliberate unlocked snapshot reads (a queue length
    // polled without its lock) are not data races; relaxed, because the
    // caller's mutex orders everything that matters.
    std::atomic<int> m_value;
};

// Locks a mutex and returns only once a Conditional's value satisfies a
// comparison; the mutex stays held until the guard is destroyed.
// Not copyable.
class ConditionalGuard
{
public:
    // How the value must compare to the limit: greater than, less than, or equal to it.
    enum EConditionType : int
    {
        CONDITION_GREATER_THAN = 0,
        CONDITION_LESS_THAN = 1,
        CONDITION_EQUAL_TO = 2
    };

    // Tag of the constructor that waits on a mutex the caller already holds.
    enum EAdoptLock
    {
        ADOPT_LOCK
    };

    // Locks m, then waits until c's value compares to limit as type says.
    ConditionalGuard(Conditional& c, Mutex& m, EConditionType type, int limit);

    // Waits as above on a mutex the caller already holds. This form does not
    // remember m, so the guard unlocks nothing: the caller keeps the lock and
    // must release it.
    ConditionalGuard(Conditional& c, Mutex& m, EConditionType type, int limit, EAdoptLock);

    // Unlocks the mutex locked by the first constructor.
    ~ConditionalGuard() noexcept(false);
    ConditionalGuard(const ConditionalGuard&) = delete;
    ConditionalGuard& operator=(const ConditionalGuard&) = delete;

    // Waits on c until its value compares to limit as type says, re-checking
    // after every wake-up. A type outside the enumerators never holds, so the
    // call then waits for ever. Requires: the caller holds m.
    void WaitForCondition(Conditional& c, Mutex& m, EConditionType type, int limit);

private:
    Mutex* m_mutex;
};

} // namespace Core

#endif
