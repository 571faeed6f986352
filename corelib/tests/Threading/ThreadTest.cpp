// The thread base: Run() on a new thread, and the two error texts.
#include "Threading/Thread.h"

#include "Support/BoundedThread.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace
{

// Records the thread its body ran on; optionally tries to join itself there.
class RecordingThread : public Core::Thread
{
public:
    void Run() override
    {
        ranOn = std::this_thread::get_id();
        try
        {
            if (joinItself)
            {
                Join();
            }
        }
        catch (const std::runtime_error& error)
        {
            joinError = error.what();
        }
    }

    std::thread::id ranOn;
    bool joinItself = false;
    std::string joinError;
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
    // The POSIX join refuses to join the calling thread itself.
    RecordingThread thread;
    thread.joinItself = true;
    thread.Start();
    thread.Join();
    EXPECT_EQ("error joining thread", thread.joinError);
}

TEST(ThreadTest, StartThatCannotCreateAThreadReportsTheStartError)
{
    if (CoreTest::kSanitized || CoreTest::kTargetEmulated)
    {
        GTEST_SKIP() << "sanitizers and the emulator manage the address space themselves";
    }
    CoreTest::ChildResult result = CoreTest::RunInChild([] {
        // Cap the address space just above its current use, so no new stack fits.
        long pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlim_t limit = static_cast<rlim_t>(pages) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (1 << 20);
        const rlimit capped = {limit, limit};
        setrlimit(RLIMIT_AS, &capped);
        // Stacks of joined threads are cached and reused without a new
        // mapping, so keep starting (never joining) until one needs mapping.
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
    });
    EXPECT_TRUE(result.exited);
    EXPECT_EQ("error starting thread", result.output);
}

} // namespace
