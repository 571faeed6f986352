#include "Utilities/StaticSingleton.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

// Counts its constructions and announces its destruction; slow to build, so
// racing first calls overlap.
struct Counted
{
    static std::atomic<int> s_constructions;
    Counted()
    {
        usleep(20000);
        ++s_constructions;
    }
    ~Counted() { std::fputs("destroyed at exit\n", stderr); }
    int m_value = 0;
};
std::atomic<int> Counted::s_constructions{0};

TEST(StaticSingleton, RacingFirstCallsBuildOneInstanceThatIsDestroyedAtExit)
{
    auto child = CoreTest::RunInChild([] {
        std::vector<std::thread> threads;
        std::vector<Counted*> seen(8);
        for (int i = 0; i < 8; ++i)
            threads.emplace_back([&seen, i] { seen[i] = &Core::Patterns::StaticSingleton<Counted>::ref(); });
        for (auto& t : threads)
            t.join();
        for (Counted* p : seen)
            if (p != seen[0])
                std::fputs("different instances\n", stderr);
        Core::Patterns::StaticSingleton<Counted>::ref().m_value = 5;
        std::fprintf(stderr, "constructions %d value %d\n", Counted::s_constructions.load(),
                     Core::Patterns::StaticSingleton<Counted>::ref().m_value);
        std::exit(0);
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ("constructions 1 value 5\ndestroyed at exit\n", child.output);
}

} // namespace
