// A test thread whose join has a deadline: a body that is still running when
// the deadline passes is reported as a hang and the test program exits with
// status 1, so a broken implementation fails instead of stalling the suite.
#ifndef CORELIB_TESTS_SUPPORT_BOUNDEDTHREAD_H
#define CORELIB_TESTS_SUPPORT_BOUNDEDTHREAD_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <thread>

namespace CoreTest
{

// True under the thread sanitizer, which stops the program at deliberate
// misuse of a mutex or a thread handle: tests of such misuse skip there.
constexpr bool kThreadSanitized =
#if defined(__SANITIZE_THREAD__)
    true;
#else
    false;
#endif

// Generous enough for qemu and the sanitizers; only a hang ever reaches it.
constexpr double kHangSeconds = 20.0;

class BoundedThread
{
public:
    explicit BoundedThread(std::function<void()> body)
        : m_thread([this, body = std::move(body)] {
              body();
              std::lock_guard<std::mutex> lock(m_lock);
              m_finished = true;
              m_done.notify_all();
          })
    {
    }

    ~BoundedThread()
    {
        if (m_thread.joinable())
        {
            Join();
        }
    }

    BoundedThread(const BoundedThread&) = delete;
    BoundedThread& operator=(const BoundedThread&) = delete;

    // Whether the body has returned.
    bool Finished()
    {
        std::lock_guard<std::mutex> lock(m_lock);
        return m_finished;
    }

    // Waits up to seconds for the body to return, then joins; exits the
    // program if it has not returned by then.
    void Join(double seconds = kHangSeconds)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        if (!m_done.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return m_finished; }))
        {
            std::fprintf(stderr, "test thread still running after %.0f s: treated as a hang\n", seconds);
            std::fflush(stderr);
            std::_Exit(1);
        }
        lock.unlock();
        m_thread.join();
    }

private:
    std::mutex m_lock;
    std::condition_variable m_done;
    bool m_finished = false;
    std::thread m_thread;
};

// Polls predicate until it holds or seconds pass; returns its last result.
inline bool WaitUntil(const std::function<bool()>& predicate, double seconds = kHangSeconds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!predicate())
    {
        if (std::chrono::steady_clock::now() >= deadline)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace CoreTest

#endif
