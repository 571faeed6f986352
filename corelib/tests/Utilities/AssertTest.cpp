#include "Utilities/Assert.h"

#include "Support/TestSupport.h"

#include <gtest/gtest.h>

using CoreTest::RunInChild;

namespace
{

// Each body runs in a child that then prints "continued": release builds
// report and go on, debug builds exit(1) (not abort()), running atexit handlers.
TEST(AssertHandlers, OneExactLineThenExitOnlyWhereTheHandlersFlagSaysSo)
{
    const struct
    {
        void (*body)();
        int status;
        std::string output;
    } cases[] = {
        {[] {
             Core::ReleaseAssertHandler::Invoke("m_isRSMatrix",
                                                "Transformation::MakeUnitScale(): m_isRSMatrix == false", 119,
                                                "Maths/Transformation.cpp");
         },
         0,
         "Assertion m_isRSMatrix failed at line 119 in Maths/Transformation.cpp. "
         "Transformation::MakeUnitScale(): m_isRSMatrix == false\ncontinued\n"},
        // An empty message keeps the separator.
        {[] { Core::ReleaseAssertHandler::Invoke("x", "", 7, "f.cpp"); }, 0,
         "Assertion x failed at line 7 in f.cpp. \ncontinued\n"},
        {[] { Core::DebugAssertHandler::Invoke("m_callbackFn", "Tokeniser::Tokenise(): no callback", 3, "t.cpp"); }, 1,
         "Assertion m_callbackFn failed at line 3 in t.cpp. Tokeniser::Tokenise(): no callback\n"},
        // The two flags are independent.
        {[] {
             std::atexit([] { std::fputs("atexit ran\n", stderr); });
             Core::ReleaseAssertHandler::AlwaysAbort(true);
             Core::DebugAssertHandler::AlwaysAbort(false);
             Core::DebugAssertHandler::Invoke("a", "b", 1, "c");
             Core::ReleaseAssertHandler::Invoke("d", "e", 2, "f");
         },
         1, "Assertion a failed at line 1 in c. b\nAssertion d failed at line 2 in f. e\natexit ran\n"},
    };
    for (const auto& c : cases)
    {
        const auto child = RunInChild([&c] {
            c.body();
            std::fputs("continued\n", stderr);
        });
        EXPECT_TRUE(child.exited && child.exitStatus == c.status) << child.exitStatus << ": " << c.output;
        EXPECT_EQ(c.output, child.output);
    }
    EXPECT_FALSE(Core::ReleaseAssertHandler::m_alwaysAbort) << "the parent's defaults are untouched";
    EXPECT_TRUE(Core::DebugAssertHandler::m_alwaysAbort);
}

} // namespace
