#include "Threading/WorkerThread.h"

#include <utility>

namespace Core
{

WorkerThread::Item WorkerThread::TakeFront(ItemQueue& queue)
{
    Item item = std::move(queue.front());
    queue.pop_front();
    return item;
}

WorkerThread::WorkerThread()
    : m_workMutex(Mutex::MUTEX_ERRORCHECK),
      m_workCount(0),
      m_foregroundMutex(Mutex::MUTEX_ERRORCHECK),
      m_foregroundCount(0),
      m_running(true),
      m_stopCall(new Functor<void>::Method<WorkerThread>(this, &WorkerThread::StopImpl)),
      m_outstandingMutex(Mutex::MUTEX_ERRORCHECK),
      m_outstanding(0)
{
}

WorkerThread::~WorkerThread() {}

void WorkerThread::SetOutstanding(int value)
{
    {
        MutexGuard guard(m_outstandingMutex);
        m_outstanding.Store(value);
    }
    // A Drain() that saw the old value is already waiting, so it cannot miss
    // this wake-up; the owner joins the worker before destroying the object.
    m_outstanding.Broadcast();
}

void WorkerThread::AddItem(BoundPtr work, BoundPtr completion)
{
    // Counted before the item is queued, from an unlocked look at the queue.
    SetOutstanding(m_workCount.Value() + 1);
    {
        MutexGuard guard(m_workMutex);
        // Moved, not copied: the caller's parameters are released after the
        // lock is gone, and must not touch a count the worker may be changing.
        m_workQueue.push_back(Item{std::move(work), std::move(completion)});
        m_workCount.Store(m_workCount.Value() + 1);
    }
    m_workCount.Broadcast();
}

void WorkerThread::AddForegroundItem(BoundPtr work)
{
    MutexGuard guard(m_foregroundMutex);
    m_foregroundQueue.push_back(Item{BoundPtr(), std::move(work)});
    m_foregroundCount.Store(m_foregroundCount.Value() + 1);
}

void WorkerThread::Process()
{
    for (;;)
    {
        Item item;
        {
            MutexGuard guard(m_foregroundMutex);
            if (m_foregroundCount.Value() <= 0)
            {
                return;
            }
            item = TakeFront(m_foregroundQueue);
            m_foregroundCount.Store(m_foregroundCount.Value() - 1);
        }
        item.completion->Execute();
    }
}

int WorkerThread::GetQueueSize()
{
    return m_outstanding.Value();
}

void WorkerThread::Drain()
{
    ConditionalGuard guard(m_outstanding, m_outstandingMutex, ConditionalGuard::CONDITION_EQUAL_TO, 0);
}

void WorkerThread::Stop()
{
    AddItem(BoundPtr(m_stopCall->Bind()), BoundPtr());
}

void WorkerThread::StopNow()
{
    m_running.store(false, std::memory_order_relaxed);
    Stop();
}

void WorkerThread::StopImpl()
{
    m_running.store(false, std::memory_order_relaxed);
}

void WorkerThread::Run()
{
    while (m_running.load(std::memory_order_relaxed))
    {
        Item item;
        {
            ConditionalGuard guard(m_workCount, m_workMutex, ConditionalGuard::CONDITION_GREATER_THAN, 0);
            item = TakeFront(m_workQueue);
            m_workCount.Store(m_workCount.Value() - 1);
        }
        item.work->Execute();
        if (item.completion)
        {
            // The work travels with its completion, so it stays alive until
            // the completion has run; the worker keeps no share of either.
            MutexGuard guard(m_foregroundMutex);
            m_foregroundQueue.push_back(std::move(item));
            m_foregroundCount.Store(m_foregroundCount.Value() + 1);
        }
        SetOutstanding(m_workCount.Value());
    }
}

} // namespace Core
