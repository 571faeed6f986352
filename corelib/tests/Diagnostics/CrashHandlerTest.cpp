#include "Utilities/CrashHandler.h"

#include "Support/StickDirectory.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <dlfcn.h>
#include <glob.h>
#include <optional>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using Core::Utilities::CrashHandler;

// The functions that crash. They have external linkage so that the exported
// symbol table of the test program names them in the resolved back-trace.
namespace DiagnosticsCrashes
{
[[gnu::noinline]] void WriteThroughInvalidPointer(volatile int* target)
{
    *target = 1;
}

// Both operands are read at run time, so the compiler cannot replace the
// division (1 / x becomes a comparison otherwise).
[[gnu::noinline]] int DivideByZero(volatile int dividend, volatile int divisor)
{
    return dividend / divisor;
}
} // namespace DiagnosticsCrashes

namespace
{

CrashHandler& Handler()
{
    return Core::Patterns::StaticSingleton<CrashHandler>::ref();
}

// The module name of the running test, unique per process and test, so its
// logs in /tmp and on the stick are told apart from any other run's.
std::string g_module;

std::vector<std::string> Glob(const std::string& pattern)
{
    std::vector<std::string> paths;
    glob_t found{};
    if (glob(pattern.c_str(), 0, nullptr, &found) == 0)
        paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    globfree(&found);
    return paths;
}

// Chained handlers: each reports itself; the first also reports which of the
// module's logs exist, to show it runs after the logs are closed.
void FirstHandler(int signal)
{
    std::fprintf(stderr, "first %d: %zu crash, %zu partial\n", signal, Glob("/tmp/" + g_module + "_*.crash").size(),
                 Glob("/tmp/" + g_module + "_*.partial").size());
}
void SecondHandler(int signal)
{
    std::fprintf(stderr, "second %d\n", signal);
}
void OtherSignalHandler(int signal)
{
    std::fprintf(stderr, "other %d\n", signal);
}

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// The addresses in a line of " 0x..." words after a fixed lead.
std::vector<std::string> Addresses(const std::string& line, const std::string& lead)
{
    std::vector<std::string> words;
    std::istringstream in(line.substr(lead.size()));
    for (std::string word; in >> word;)
        words.push_back(word);
    return words;
}

class CrashHandlerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        g_module = "corelibtest" + std::to_string(getpid()) + "_" +
                   ::testing::UnitTest::GetInstance()->current_test_info()->name();
        ASSERT_EQ(0, mkdir(m_install.File("bin").c_str(), 0755));
        ASSERT_EQ(0, mkdir(m_install.File("etc").c_str(), 0755));
        CoreTest::WriteBytes(m_install.File("etc/version"), "2.5.1\n");
        CoreTest::WriteBytes(m_install.File("etc/svn_version"), "4711\n");
    }

    void TearDown() override
    {
        for (const std::string& path : Glob("/tmp/" + g_module + "_*"))
            std::remove(path.c_str());
        for (const std::string& path : Glob(CoreTest::StickDirectory::File("module_" + g_module + "_*")))
            std::remove(path.c_str());
    }

    // Runs crash in a child that enabled the handler as g_module from an
    // installation directory, with handlers for the crash signal and SIGABRT.
    CoreTest::ChildResult Crash(int signal, const std::function<void()>& crash)
    {
        const std::string bin = m_install.File("bin");
        return CoreTest::RunInChild([&] {
            if (chdir(bin.c_str()) != 0)
                return;
            Handler().Enable(g_module);
            Handler().SetHandler(signal, FirstHandler);
            Handler().SetHandler(signal == SIGABRT ? SIGSEGV : SIGABRT, OtherSignalHandler);
            Handler().SetHandler(signal, SecondHandler);
            crash();
            std::fputs("survived\n", stderr);
        });
    }

    // The one local crash log of the test, as lines; fails when there is not exactly one.
    std::vector<std::string> LocalLog()
    {
        const auto logs = Glob("/tmp/" + g_module + "_*");
        if (logs.size() != 1 || !std::regex_match(logs[0], std::regex(".*_\\d+\\.crash")))
        {
            ADD_FAILURE() << "expected exactly one .crash file, found " << logs.size();
            return {};
        }
        return Lines(CoreTest::ReadBytes(logs[0]));
    }

    static constexpr const char* kEmulatorLimit =
        "under qemu-ppc, backtrace() inside a signal handler aborts the process (the emulator's signal "
        "frame cannot be unwound); the crash path runs in the host builds";

    CoreTest::TempDir m_install;
    // Made by a test that checks the stick; it outlives TearDown, which
    // removes the test's files from it first.
    std::optional<CoreTest::StickDirectory> m_stick;
};

TEST_F(CrashHandlerTest, TerminateRequestsRunTheirHandlersAndExitOrContinue)
{
    auto exits = CoreTest::RunInChild([] {
        if (Handler().Enable("x") != 0)
            std::fputs("enable failed\n", stderr);
        Handler().SetHandler(SIGINT, SecondHandler);
        Handler().SetHandler(SIGTERM, OtherSignalHandler);
        Handler().SetHandler(SIGINT, SecondHandler);
        raise(SIGINT);
        std::fputs("continued\n", stderr);
        std::_Exit(3);
    });
    ASSERT_TRUE(exits.exited);
    EXPECT_EQ(0, exits.exitStatus);
    EXPECT_EQ("Ctrl-C Detected. Terminating\nsecond 2\nsecond 2\n", exits.output);

    auto continues = CoreTest::RunInChild([] {
        Handler().Enable("x");
        Handler().SetAutoExit(false);
        Handler().SetHandler(SIGTERM, OtherSignalHandler);
        raise(SIGTERM);
        raise(SIGTERM);
        std::fputs("continued\n", stderr);
    });
    ASSERT_TRUE(continues.exited) << "the handler stays installed for the second request";
    EXPECT_EQ(0, continues.exitStatus);
    EXPECT_EQ("Ctrl-C Detected. Terminating\nother 15\nCtrl-C Detected. Terminating\nother 15\ncontinued\n",
              continues.output);
}

TEST_F(CrashHandlerTest, SegmentationFaultWritesTheWholeLogThenRunsItsHandlers)
{
    if (CoreTest::kTargetEmulated)
        GTEST_SKIP() << kEmulatorLimit;
    m_stick.emplace();
    auto child = Crash(SIGSEGV, [] {
        volatile int* volatile invalid = reinterpret_cast<int*>(0x10);
        DiagnosticsCrashes::WriteThroughInvalidPointer(invalid);
    });
    ASSERT_TRUE(child.exited) << child.output;
    EXPECT_EQ(0, child.exitStatus);
    EXPECT_EQ("first 11: 1 crash, 0 partial\nsecond 11\n", child.output)
        << "only the SIGSEGV handlers run, in order, after the log is renamed";

    const std::vector<std::string> log = LocalLog();
    ASSERT_GT(log.size(), 12u);
    const std::regex ctimeText(R"([A-Z][a-z]{2} [A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d \d{4})");
    const std::string crashLead = "Crash occurred (SWVer: 2.5.1, SWRev: 4711). Received signal 11 (1) at ";
    EXPECT_EQ(g_module, log[0]);
    ASSERT_EQ(crashLead, log[1].substr(0, crashLead.size()));
    const std::string when = log[1].substr(crashLead.size());
    EXPECT_TRUE(std::regex_match(when, ctimeText)) << when;
    const std::vector<std::string> trace = Addresses(log[2], "Trace: ");
    EXPECT_TRUE(std::regex_match(log[2], std::regex("Trace: (0x[0-9a-f]+ )+"))) << log[2];

    // The block that the stick's copy holds as well.
    const std::vector<std::string> common = {"Crash log from " + g_module + " at " + when,
                                             "",
                                             "Software Version: 2.5.1    Software Revision: 4711",
                                             "A segmentation fault (SIGSEGV) has occurred",
                                             "Signal Address: 0x10",
                                             "Signal Id: 11    Signal Code: 1    errno: 0",
                                             "Registers"};
    for (size_t i = 0; i < common.size(); ++i)
        EXPECT_EQ(common[i], log[3 + i]);

    // The instruction pointer lies in the function that wrote through the pointer.
    const std::string& nipLine = log[10];
    ASSERT_EQ("NIP: ", nipLine.substr(0, 5));
    Dl_info nip{};
    ASSERT_NE(0, dladdr(reinterpret_cast<void*>(std::strtoul(nipLine.c_str() + 5, nullptr, 16)), &nip));
    EXPECT_EQ(reinterpret_cast<void*>(&DiagnosticsCrashes::WriteThroughInvalidPointer), nip.dli_saddr) << nipLine;

    // One symbol line per traced frame, then the addr2line command with the same addresses.
    size_t line = 11;
    for (size_t frame = 1; frame <= trace.size(); ++frame, ++line)
        EXPECT_EQ("[" + std::to_string(frame) + "] ", log.at(line).substr(0, 3 + std::to_string(frame).size()));
    EXPECT_EQ("", log.at(line++));
    EXPECT_EQ("To translate the addresses execute the line below: ", log.at(line++));
    const std::string addr2line = "addr2line --exe=[executable] -f -C";
    EXPECT_EQ(addr2line, log.at(line).substr(0, addr2line.size()));
    EXPECT_EQ(trace, Addresses(log.at(line++), addr2line));

    // Resolved frames: the handler itself first (a sanitizer's back-trace
    // interceptor adds its own frame in front), the crashing test function demangled.
    ASSERT_LT(line, log.size());
    const size_t handlerFrame = CoreTest::kSanitized ? line + 1 : line;
    EXPECT_NE(std::string::npos, log.at(handlerFrame).find(":Core::Utilities::CrashHandler::CrashHandlerFn("))
        << log[handlerFrame];
    bool namesCrashingFunction = false;
    for (size_t i = line; i < log.size(); ++i)
    {
        EXPECT_TRUE(std::regex_match(log[i], std::regex(R"([^:]+:(.+\+[0-9A-F]+|\+0x[0-9A-F]+))"))) << log[i];
        namesCrashingFunction |=
            log[i].find(":DiagnosticsCrashes::WriteThroughInvalidPointer(int volatile*)+") != std::string::npos;
    }
    EXPECT_TRUE(namesCrashingFunction);
    EXPECT_LE(log.size() - line, trace.size() + 1);

    if (!m_stick->Available())
        GTEST_SKIP() << "no /mnt/usb and not root: the stick's copy is not checked";
    const auto copies = Glob(CoreTest::StickDirectory::File("module_" + g_module + "_*.txt"));
    ASSERT_EQ(1u, copies.size());
    EXPECT_EQ(std::vector<std::string>(log.begin() + 3, log.end()), Lines(CoreTest::ReadBytes(copies[0])))
        << "the stick holds the log from \"Crash log from\" onward";
}

TEST_F(CrashHandlerTest, ArithmeticFaultAndAbortAreDescribedBySignal)
{
    if (CoreTest::kTargetEmulated)
        GTEST_SKIP() << kEmulatorLimit;
    // A sanitizer reports integer division by zero itself, so it is raised there.
    auto fpe = Crash(SIGFPE, [] {
        if (CoreTest::kSanitized)
            raise(SIGFPE);
        else
            DiagnosticsCrashes::DivideByZero(1, 0);
    });
    ASSERT_TRUE(fpe.exited) << fpe.output;
    EXPECT_EQ(0, fpe.exitStatus);
    EXPECT_EQ("first 8: 1 crash, 0 partial\nsecond 8\n", fpe.output);
    std::vector<std::string> log = LocalLog();
    ASSERT_GT(log.size(), 10u);
    EXPECT_EQ("A bad arithmetic operation (SIGFPE) has occurred", log[6]);
    EXPECT_EQ("Signal Address: ", log[7].substr(0, 16));
    EXPECT_EQ(CoreTest::kSanitized ? "Signal Id: 8    Signal Code: -6    errno: 0"
                                   : "Signal Id: 8    Signal Code: 1    errno: 0",
              log[8])
        << "code 1 is an integer division by zero, -6 a signal sent by the thread itself";
    TearDown();

    auto abrt = Crash(SIGABRT, [] { std::abort(); });
    ASSERT_TRUE(abrt.exited) << abrt.output;
    EXPECT_EQ(0, abrt.exitStatus) << "not the status of an abort";
    EXPECT_EQ("first 6: 1 crash, 0 partial\nsecond 6\n", abrt.output);
    log = LocalLog();
    ASSERT_GT(log.size(), 9u);
    EXPECT_EQ("Abort triggered (SIGABRT) has occurred", log[6]);
    EXPECT_EQ("Signal Id: 6    Signal Code: -6    errno: 0", log[7]) << "no fault address for an abort";
}

TEST_F(CrashHandlerTest, WithNoLogOpenOnlyTheHandlersRun)
{
    if (CoreTest::kTargetEmulated)
        GTEST_SKIP() << kEmulatorLimit;
    g_module = "no-such-directory/" + g_module;
    auto child = Crash(SIGSEGV, [] { raise(SIGSEGV); });
    ASSERT_TRUE(child.exited);
    EXPECT_EQ(0, child.exitStatus);
    EXPECT_EQ("first 11: 0 crash, 0 partial\nsecond 11\n", child.output);
}

} // namespace
