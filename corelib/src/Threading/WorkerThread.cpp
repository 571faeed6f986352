#include "Threading/WorkerThread.h"

#include <utility>

namespace Core
{

WorkerThread::ItemQueue::ItemQueue() : m_head(new Node{nullptr, nullptr}), m_tail(m_head) {}

WorkerThread::ItemQueue::~ItemQueue()
{
    while (m_head != nullptr)
    {
        Node* next = m_head->next;
        delete m_head->item;
        delete m_head;
        m_head = next;
    }
}

void WorkerThread::ItemQueue::Append(std::unique_ptr<Item> item)
{
    Node* node = new Node{nullptr, nullptr};
    node->item = item.release();
    m_tail->next = node;
    m_tail = node;
}

std::unique_ptr<WorkerThread::Item> WorkerThread::ItemQueue::Remove()
{
    // The first real node gives up its item and becomes the new dummy head.
    Node* oldHead = m_head;
    Node* first = oldHead->next;
    std::unique_ptr<Item> item(first->item);
    first->item = nullptr;
    m_head = first;
    delete oldHead;
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
    MutexGuard guard(m_outstandingMutex);
    m_outstanding.Value(value);
}

void WorkerThread::AddItem(BoundPtr work, BoundPtr completion)
{
    // Counted before the item is queued, from an unlocked look at the queue.
    SetOutstanding(m_workCount.Value() + 1);
    MutexGuard guard(m_workMutex);
    // Moved, not copied: the caller's parameters are released after the lock
    // is gone, and must not touch a count the worker may be changing.
    m_workQueue.Append(std::unique_ptr<Item>(new Item{std::move(work), std::move(completion)}));
    m_workCount.Value(m_workCount.Value() + 1);
}

void WorkerThread::AddForegroundItem(BoundPtr work)
{
    MutexGuard guard(m_foregroundMutex);
    m_foregroundQueue.Append(std::unique_ptr<Item>(new Item{BoundPtr(), std::move(work)}));
    m_foregroundCount.Value(m_foregroundCount.Value() + 1);
}

void WorkerThread::Process()
{
    for (;;)
    {
        std::unique_ptr<Item> item;
        {
            MutexGuard guard(m_foregroundMutex);
            if (m_foregroundCount.Value() <= 0)
            {
                return;
            }
            item = m_foregroundQueue.Remove();
            m_foregroundCount.Value(m_foregroundCount.Value() - 1);
        }
        item->completion->Execute();
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
        std::unique_ptr<Item> item;
        {
            ConditionalGuard guard(m_workCount, m_workMutex, ConditionalGuard::CONDITION_GREATER_THAN, 0);
            item = m_workQueue.Remove();
            m_workCount.Value(m_workCount.Value() - 1);
        }
        item->work->Execute();
        if (item->completion)
        {
            // The work travels with its completion, so it stays alive until
            // the completion has run; the worker keeps no share of either.
            MutexGuard guard(m_foregroundMutex);
            m_foregroundQueue.Append(std::move(item));
            m_foregroundCount.Value(m_foregroundCount.Value() + 1);
        }
        SetOutstanding(m_workCount.Value());
    }
}

} // namespace Core
