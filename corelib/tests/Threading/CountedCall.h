// Bound calls that count how many of them are alive, so that a test can check
// that the worker thread frees every call it was handed, and only once.
#ifndef CORELIB_TESTS_THREADING_COUNTEDCALL_H
#define CORELIB_TESTS_THREADING_COUNTEDCALL_H

#include "Threading/WorkerThread.h"

#include <atomic>
#include <functional>
#include <utility>

namespace ThreadingTest
{

// Calls alive right now, over every test of the program.
inline std::atomic<long> s_liveCalls(0);

class CountedCall : public Core::Bound<void>
{
public:
    explicit CountedCall(std::function<void()> body) : m_body(std::move(body)) { ++s_liveCalls; }
    ~CountedCall() override { --s_liveCalls; }
    void Execute() override { m_body(); }

private:
    std::function<void()> m_body;
};

inline Core::WorkerThread::BoundPtr MakeCall(std::function<void()> body)
{
    return Core::WorkerThread::BoundPtr(new CountedCall(std::move(body)));
}

} // namespace ThreadingTest

#endif
