// A test thread whose join has a deadline: a body still running at the
// deadline is reported as a hang and the program exits with status 1, so a
// broken implementation fails instead of stalling the suite.
#ifndef CORELIB_TESTS_SUPPORT_BOUNDEDTHREAD_H
#define CORELIB_TESTS_SUPPORT_BOUNDEDTHREAD_H

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
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

// Generous enough for the emulator and the sanitizers; only a hang reaches it.
constexpr double kHangSeconds = 20.0;

// Polls predicate every millisecond until it holds or seconds pass; returns
// its last result.
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

class BoundedThread
{
public:
    explicit BoundedThread(std::function<void()> body)
        : m_thread([this, body = std::move(body)] {
              body();
              m_finished = true;
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

    bool Finished() const { return m_finished; }

    // Joins once the body has returned; exits the program if it has not
    // returned within kHangSeconds.
    void Join()
    {
        if (!WaitUntil([this] { return m_finished.load(); }))
        {
            std::fprintf(stderr, "test thread still running after %.0f s: treated as a hang\n", kHangSeconds);
            std::fflush(stderr);
            std::_Exit(1);
        }
        m_thread.join();
    }

private:
    std::atomic<bool> m_finished{false};
    std::thread m_thread;
};

} // namespace CoreTest

#endif
