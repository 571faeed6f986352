#include "Threading/Mutex.h"

#include "Utilities/Time.h"

#include <cerrno>
#include <stdexcept>

namespace Core
{

namespace
{

// The POSIX kind for a mutex kind; the error-checking kind is the default for
// every value that is not explicitly normal or recursive.
int PosixMutexKind(Mutex::EMutexType type)
{
    switch (type)
    {
    case Mutex::MUTEX_NORMAL:
        return PTHREAD_MUTEX_NORMAL;
    case Mutex::MUTEX_RECURSIVE:
        return PTHREAD_MUTEX_RECURSIVE;
    default:
        return PTHREAD_MUTEX_ERRORCHECK;
    }
}

// Whether value compares to limit as type says; unknown types never hold.
bool ConditionHolds(ConditionalGuard::EConditionType type, int value, int limit)
{
    switch (type)
    {
    case ConditionalGuard::CONDITION_GREATER_THAN:
        return value > limit;
    case ConditionalGuard::CONDITION_LESS_THAN:
        return value < limit;
    case ConditionalGuard::CONDITION_EQUAL_TO:
        return value == limit;
    }
    return false;
}

} // namespace

Mutex::Mutex(EMutexType type)
{
    pthread_mutexattr_init(&m_attributes);
    pthread_mutexattr_settype(&m_attributes, PosixMutexKind(type));
    pthread_mutex_init(&m_mutex, &m_attributes);
}

Mutex::~Mutex()
{
    pthread_mutex_destroy(&m_mutex);
    pthread_mutexattr_destroy(&m_attributes);
}

void Mutex::Lock()
{
    const int result = pthread_mutex_lock(&m_mutex);
    if (result == EDEADLK)
    {
        throw DeadlockException();
    }
    if (result != 0)
    {
        throw std::runtime_error("pthread_mutex_lock error");
    }
}

bool Mutex::TryLock()
{
    const int result = pthread_mutex_trylock(&m_mutex);
    if (result == 0)
    {
        return true;
    }
    if (result == EBUSY)
    {
        return false;
    }
    throw std::runtime_error("pthread_mutex_trylock error");
}

void Mutex::Unlock()
{
    const int result = pthread_mutex_unlock(&m_mutex);
    if (result == EPERM)
    {
        throw DeadlockException();
    }
    if (result != 0)
    {
        throw std::runtime_error("pthread_mutex_unlock error");
    }
}

pthread_mutex_t* Mutex::GetMutex()
{
    return &m_mutex;
}

MutexGuard::MutexGuard(Mutex& m) : m_mutex(&m)
{
    m.Lock();
}

MutexGuard::MutexGuard(Mutex& m, EAdoptLock) : m_mutex(&m) {}

MutexGuard::~MutexGuard() noexcept(false)
{
    m_mutex->Unlock();
}

Conditional::Conditional(int value) : m_value(value)
{
    pthread_cond_init(&m_condition, nullptr);
}

Conditional::~Conditional()
{
    pthread_cond_destroy(&m_condition);
}

int Conditional::Value() const
{
    return m_value.load(std::memory_order_relaxed);
}

void Conditional::Value(int value)
{
    Store(value);
    Broadcast();
}

void Conditional::Store(int value)
{
    m_value.store(value, std::memory_order_relaxed);
}

void Conditional::Signal()
{
    pthread_cond_signal(&m_condition);
}

void Conditional::Broadcast()
{
    pthread_cond_broadcast(&m_condition);
}

void Conditional::Wait(Mutex& m)
{
    pthread_cond_wait(&m_condition, m.GetMutex());
}

bool Conditional::Wait(Mutex& m, const Time& deadline)
{
    timespec absolute;
    deadline.AsTimespec(absolute);
    const int result = pthread_cond_timedwait(&m_condition, m.GetMutex(), &absolute);
    if (result == 0)
    {
        return true;
    }
    if (result == ETIMEDOUT)
    {
        return false;
    }
    throw std::runtime_error("pthread_cond_timedwait interrupted");
}

ConditionalGuard::ConditionalGuard(Conditional& c, Mutex& m, EConditionType type, int limit) : m_mutex(&m)
{
    m.Lock();
    WaitForCondition(c, m, type, limit);
}

ConditionalGuard::ConditionalGuard(Conditional& c, Mutex& m, EConditionType type, int limit, EAdoptLock)
    : m_mutex(nullptr)
{
    WaitForCondition(c, m, type, limit);
}

ConditionalGuard::~ConditionalGuard() noexcept(false)
{
    if (m_mutex != nullptr)
    {
        m_mutex->Unlock();
    }
}

void ConditionalGuard::WaitForCondition(Conditional& c, Mutex& m, EConditionType type, int limit)
{
    while (!ConditionHolds(type, c.Value(), limit))
    {
        c.Wait(m);
    }
}

} // namespace Core
