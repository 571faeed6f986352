#include "Utilities/Assert.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

using CoreTest::RunInChild;

namespace
{

TEST(AssertHandlers, ReleaseReportsOneExactLineAndContinues)
{
    auto child = RunInChild([] {
        Core::ReleaseAssertHandler::Invoke("m_isRSMatrix", "Transformation::MakeUnitScale(): m_isRSMatrix == false",
                                           119, "Maths/Transformation.cpp");
        std::fputs("continued\n", stderr);
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(0, child.exitStatus);
    EXPECT_EQ("Assertion m_isRSMatrix failed at line 119 in Maths/Transformation.cpp. "
              "Transformation::MakeUnitScale(): m_isRSMatrix == false\ncontinued\n",
              child.output);
}

TEST(AssertHandlers, EmptyMessageKeepsTheSeparator)
{
    auto child = RunInChild([] { Core::ReleaseAssertHandler::Invoke("x", "", 7, "f.cpp"); });
    EXPECT_EQ("Assertion x failed at line 7 in f.cpp. \n", child.output);
}

TEST(AssertHandlers, DebugExitsWithStatusOneByDefaultWithoutSignal)
{
    auto child = RunInChild([] {
        Core::DebugAssertHandler::Invoke("m_callbackFn", "Tokeniser::Tokenise(): no callback", 3, "t.cpp");
        std::fputs("continued\n", stderr);
    });
    ASSERT_TRUE(child.exited) << "the debug handler must exit(), not abort()";
    EXPECT_EQ(1, child.exitStatus);
    EXPECT_EQ("Assertion m_callbackFn failed at line 3 in t.cpp. Tokeniser::Tokenise(): no callback\n",
              child.output);
}

TEST(AssertHandlers, FlagsAreIndependentAndExitRunsAtexitHandlers)
{
    auto child = RunInChild([] {
        std::atexit([] { std::fputs("atexit ran\n", stderr); });
        Core::ReleaseAssertHandler::AlwaysAbort(true);
        Core::DebugAssertHandler::AlwaysAbort(false);
        Core::DebugAssertHandler::Invoke("a", "b", 1, "c");
        Core::ReleaseAssertHandler::Invoke("d", "e", 2, "f");
        std::fputs("not reached\n", stderr);
    });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(1, child.exitStatus);
    EXPECT_EQ("Assertion a failed at line 1 in c. b\nAssertion d failed at line 2 in f. e\natexit ran\n",
              child.output);
    EXPECT_FALSE(Core::ReleaseAssertHandler::m_alwaysAbort) << "the parent's defaults are untouched";
    EXPECT_TRUE(Core::DebugAssertHandler::m_alwaysAbort);
}

} // namespace
