// A thread that executes queued bound calls one at a time, in the order they
// were added, and hands each call's completion back to the owning (foreground)
// thread, which runs completions when it calls Process(). This moves slow work
// such as file writing off the application's loop while keeping the follow-up
// code on it.
// Threading: AddItem, AddForegroundItem, GetQueueSize, Drain, Stop and StopNow
// may be called from any thread; Process() from the foreground thread. Work and
// completions run with no lock held, so they may queue further items. The
// owner calls Stop() or StopNow(), then Join(), before destroying the object.
#ifndef CORELIB_THREADING_WORKERTHREAD_H
#define CORELIB_THREADING_WORKERTHREAD_H

#include "Threading/Functor.h"
#include "Threading/Mutex.h"
#include "Threading/Thread.h"

#include <atomic>
#include <deque>
#include <memory>

namespace Core
{

class WorkerThread : public Thread
{
public:
    // A queued call, shared between the queue and any other owner.
    typedef SharedPtr<Bound<void>, SimpleReferenceCounter> BoundPtr;

    // Ready to Start(); nothing runs until then.
    WorkerThread();
    // Frees what is still queued without executing it. Does not stop or join.
    ~WorkerThread() override;
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    // Queues work for the worker thread; once it has run, completion (if not
    // empty) is queued for Process(). The queue takes over both pointers: a
    // caller that keeps its own copy must not touch it while the item is
    // queued, since the counts are not thread-safe.
    // Requires: work is not empty.
    void AddItem(BoundPtr work, BoundPtr completion);

    // Queues a call for the next Process(), bypassing the worker.
    void AddForegroundItem(BoundPtr work);

    // Runs, on the calling thread, every completion and foreground call
    // queued so far and any that arrive meanwhile; returns when none is left.
    void Process();

    // A snapshot of the outstanding work: set to the queue length plus one
    // when an item is added and to the queue length when one finishes.
    int GetQueueSize();

    // Blocks until the outstanding work (as GetQueueSize counts it) is 0.
    void Drain();

    // Queues a stop behind everything queued so far and returns at once:
    // every earlier item runs, no later one does.
    void Stop();

    // Stops as soon as the item being executed (if any) has finished; items
    // still queued are never executed.
    void StopNow();

    // The stop item's body, run on the worker thread: ends the loop.
    void StopImpl();

    // The worker's loop; runs on the thread Start() creates.
    void Run() override;

private:
    // A queued pair: work for the worker, and the call for the foreground
    // thread (a completion, or a foreground item with no work).
    struct Item
    {
        BoundPtr work;
        BoundPtr completion;
    };

    // Items by value in blocks of several, so that queueing one allocates
    // nothing in the steady state.
    typedef std::deque<Item> ItemQueue;

    // Takes the oldest item. Requires: queue is not empty.
    static Item TakeFront(ItemQueue& queue);

    // Sets the outstanding-work count under its own lock and wakes Drain()
    // after unlocking.
    void SetOutstanding(int value);

    Mutex m_workMutex;
    // Only the worker waits on it, to rise above 0.
    Conditional m_workCount;
    ItemQueue m_workQueue;
    Mutex m_foregroundMutex;
    // Nobody waits on it: Process() takes what is there and returns.
    Conditional m_foregroundCount;
    ItemQueue m_foregroundQueue;
    // Read at the top of every round without a lock.
    std::atomic<bool> m_running;
    std::unique_ptr<Functor<void>::Method<WorkerThread>> m_stopCall;
    // Guards only the outstanding-work count, so that Drain() cannot miss the
    // broadcast of a change made between its check and its wait. Never held
    // together with either queue's mutex.
    Mutex m_outstandingMutex;
    Conditional m_outstanding;
};

} // namespace Core

#endif
