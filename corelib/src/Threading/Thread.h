// The base of every thread the library starts: a derived class supplies Run(),
// and Start() runs it on a new POSIX thread with the normal time-sharing policy.
// The object keeps no state of its own and does not stop, detach or join the
// thread when destroyed.
// Threading: Start() and Join() belong to the owning thread; Run() runs on the
// new one. The object must outlive its thread.
#ifndef CORELIB_THREADING_THREAD_H
#define CORELIB_THREADING_THREAD_H

#include <pthread.h>

namespace Core
{

class Thread
{
public:
    Thread();
    // Does not join: the owner makes Run() return and calls Join() first.
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // The body of the thread. Exceptions escaping it end the process.
    virtual void Run() = 0;

    // Starts a joinable thread running Run(). Throws std::runtime_error
    // ("error starting thread") if the thread cannot be created.
    // Requires: no thread of this object is running or unjoined.
    virtual void Start();

    // Waits for Run() to return and reaps the thread. Throws
    // std::runtime_error ("error joining thread") if the handle names no
    // joinable thread. Requires: a successful Start().
    virtual void Join();

private:
    pthread_t m_thread;
};

} // namespace Core

#endif
