#include "Threading/Thread.h"

#include <sched.h>

#include <stdexcept>

namespace Core
{

namespace
{

// The POSIX start routine: runs the object's body on the new thread.
void* ThreadEntry(void* argument)
{
    static_cast<Thread*>(argument)->Run();
    return nullptr;
}

} // namespace

Thread::Thread() : m_thread() {}

Thread::~Thread() {}

void Thread::Start()
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setschedpolicy(&attributes, SCHED_OTHER);
    const int result = pthread_create(&m_thread, &attributes, &ThreadEntry, this);
    pthread_attr_destroy(&attributes);
    if (result != 0)
    {
        throw std::runtime_error("error starting thread");
    }
}

void Thread::Join()
{
    if (pthread_join(m_thread, nullptr) != 0)
    {
        throw std::runtime_error("error joining thread");
    }
}

} // namespace Core
