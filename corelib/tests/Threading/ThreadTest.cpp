// The thread base: Run() on a new thread, and the two error texts.
#include "Threading/Thread.h"

#include "Support/BoundedThread.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>

namespace
{

// Records the thread its body ran on; optionally runs extra work there.
class RecordingThread : public Core::Thread
{
public:
    void Run() override
    {
        ranOn = std::this_thread::get_id();
        if (joinItself)
        {
            try
            {
                Join();
            }
            catch (const std::runtime_error& error)
            {
                selfJoinError = error.what();
            }
        }
    }

    std::thread::id ranOn;
    bool joinItself = false;
    std::string selfJoinError;
};

TEST(ThreadTest, RunExecutesOnANewThreadAndJoinReapsIt)
{
    RecordingThread thread;
    thread.Start();
    thread.Join();
    EXPECT_NE(std::thread::id(), thread.ranOn);
    EXPECT_NE(std::this_thread::get_id(), thread.ranOn);
}

TEST(ThreadTest, JoinThatCannotReapReportsTheJoinError)
{
    if (CoreTest::kThreadSanitized)
    {
        GTEST_SKIP() << "the thread sanitizer stops at a self-join";
    }
    // A thread cannot join itself: the POSIX join refuses, and Join() says so.
    RecordingThread thread;
    thread.joinItself = true;
    thread.Start();
    thread.Join();
    EXPECT_EQ("error joining thread", thread.selfJoinError);
}

// Caps this process's address space a little above what it already uses, so
// a new thread's stack cannot be mapped.
void LeaveNoRoomForAThreadStack()
{
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlim_t limit = static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (1 << 20);
    rlimit capped = {limit, limit};
    setrlimit(RLIMIT_AS, &capped);
}

TEST(ThreadTest, StartThatCannotCreateAThreadReportsTheStartError)
{
    if (CoreTest::kSanitized || CoreTest::kTargetEmulated)
    {
        GTEST_SKIP() << "sanitizers and the emulator manage the address space themselves";
    }
    CoreTest::ChildResult result = CoreTest::RunInChild([] {
        LeaveNoRoomForAThreadStack();
        // Stacks of threads joined earlier are cached and reused without a new
        // mapping, so keep starting (and never joining) until one must be mapped.
        for (int started = 0; started < 100; ++started)
        {
            try
            {
                (new RecordingThread)->Start();
            }
            catch (const std::runtime_error& error)
            {
                std::printf("%s", error.what());
                return;
            }
        }
        std::printf("every thread started");
    });
    EXPECT_TRUE(result.exited);
    EXPECT_EQ("error starting thread", result.output);
}

} // namespace
