#include "Utilities/StaticSingleton.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
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
        const bool same = std::count(seen.begin(), seen.end(), &Core::Patterns::StaticSingleton<Counted>::ref()) == 8;
        std::fprintf(stderr, "constructions %d, same %d\n", Counted::s_constructions.load(), same);
        std::exit(0);
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ("constructions 1, same 1\ndestroyed at exit\n", child.output);
}

} // namespace
