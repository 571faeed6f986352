#include "Utilities/CrashHandler.h"

#include "Support/StickDirectory.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
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

// Chained handlers: each reports itself and its signal; the first also
// reports which of the module's logs exist, to show it runs after the log is renamed.
void FirstHandler(int signal)
{
    std::fprintf(stderr, "first %d: %zu crash, %zu partial\n", signal, Glob("/tmp/" + g_module + "_*.crash").size(),
                 Glob("/tmp/" + g_module + "_*.partial").size());
}
void SecondHandler(int signal)
{
    std::fprintf(stderr, "second %d\n", signal);
}

// Splits text at the separator, or at runs of white space when it is a space.
std::vector<std::string> Split(const std::string& text, char separator = '\n')
{
    std::vector<std::string> pieces;
    std::istringstream in(text);
    for (std::string piece; separator == ' ' ? bool(in >> piece) : bool(std::getline(in, piece, separator));)
        pieces.push_back(piece);
    return pieces;
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
    // installation directory, with handlers for the crash signal and another.
    CoreTest::ChildResult Crash(int signal, const std::function<void()>& crash)
    {
        const std::string bin = m_install.File("bin");
        return CoreTest::RunInChild([&] {
            if (chdir(bin.c_str()) != 0)
                return;
            Handler().Enable(g_module);
            Handler().SetHandler(signal, FirstHandler);
            Handler().SetHandler(signal == SIGABRT ? SIGSEGV : SIGABRT, SecondHandler);
            Handler().SetHandler(signal, SecondHandler);
            crash();
            std::fputs("survived\n", stderr);
        });
    }

    // Crashes a child with the signal and checks that it exits with 0 after
    // running only that signal's handlers, in order, once the one local log
    // is complete; checks the log up to the register table, whose signal
    // lines match details. Returns the log's lines.
    std::vector<std::string> CrashLog(int signal, int code, const std::function<void()>& crash,
                                      const std::vector<std::string>& details)
    {
        const CoreTest::ChildResult child = Crash(signal, crash);
        EXPECT_TRUE(child.exited && child.exitStatus == 0) << child.exitStatus << child.output;
        const std::string id = std::to_string(signal);
        EXPECT_EQ("first " + id + ": 1 crash, 0 partial\nsecond " + id + "\n", child.output);

        const auto logs = Glob("/tmp/" + g_module + "_*");
        EXPECT_TRUE(logs.size() == 1 && std::regex_match(logs[0], std::regex(".*_\\d+\\.crash"))) << logs.size();
        const std::vector<std::string> log = Split(logs.size() == 1 ? CoreTest::ReadBytes(logs[0]) : "");
        const std::string lead = "Crash occurred (SWVer: 2.5.1, SWRev: 4711). Received signal " + id + " (" +
                                 std::to_string(code) + ") at ";
        if (log.size() < 8 + details.size() || log[1].compare(0, lead.size(), lead) != 0)
        {
            ADD_FAILURE() << "no complete log: " << (log.size() > 1 ? log[1] : "");
            return {};
        }
        const std::string when = log[1].substr(lead.size());
        EXPECT_TRUE(std::regex_match(when, std::regex(R"([A-Z][a-z]{2} [A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d \d{4})")))
            << when;
        const std::vector<std::string> head = {g_module, log[1], log[2], "Crash log from " + g_module + " at " + when, "",
                                               "Software Version: 2.5.1    Software Revision: 4711"};
        EXPECT_EQ(head, std::vector<std::string>(log.begin(), log.begin() + 6));
        for (size_t i = 0; i < details.size(); ++i)
            EXPECT_TRUE(std::regex_match(log[6 + i], std::regex(details[i]))) << log[6 + i];
        EXPECT_EQ("Registers", log[6 + details.size()]);
        return log;
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
    for (bool autoExit : {true, false})
    {
        auto child = CoreTest::RunInChild([autoExit] {
            Handler().Enable("x");
            Handler().SetAutoExit(autoExit);
            Handler().SetHandler(SIGINT, SecondHandler);
            Handler().SetHandler(SIGTERM, SecondHandler);
            raise(SIGINT);
            raise(SIGINT);
            raise(SIGTERM);
            std::fputs("continued\n", stderr);
            std::_Exit(3);
        });
        const std::string interrupt = "Ctrl-C Detected. Terminating\nsecond 2\n";
        ASSERT_TRUE(child.exited) << "the handler stays installed for the next request";
        EXPECT_EQ(autoExit ? 0 : 3, child.exitStatus);
        EXPECT_EQ(autoExit ? interrupt : interrupt + interrupt + "Ctrl-C Detected. Terminating\nsecond 15\ncontinued\n",
                  child.output);
    }
}

TEST_F(CrashHandlerTest, SegmentationFaultLogsItsBackTraceLocallyAndOnTheStick)
{
    if (CoreTest::kTargetEmulated)
        GTEST_SKIP() << kEmulatorLimit;
    m_stick.emplace();
    const std::vector<std::string> log = CrashLog(SIGSEGV, 1, [] {
        volatile int* volatile invalid = reinterpret_cast<int*>(0x10);
        DiagnosticsCrashes::WriteThroughInvalidPointer(invalid);
    }, {R"(A segmentation fault \(SIGSEGV\) has occurred)", "Signal Address: 0x10",
        "Signal Id: 11    Signal Code: 1    errno: 0"});
    ASSERT_GT(log.size(), 12u);
    EXPECT_TRUE(std::regex_match(log[2], std::regex("Trace: (0x[0-9a-f]+ )+"))) << log[2];
    const std::vector<std::string> trace = Split(log[2].substr(7), ' ');

    // The instruction pointer lies in the function that wrote through the pointer.
    ASSERT_EQ("NIP: ", log[10].substr(0, 5));
    Dl_info nip{};
    ASSERT_NE(0, dladdr(reinterpret_cast<void*>(std::strtoul(log[10].c_str() + 5, nullptr, 16)), &nip));
    EXPECT_EQ(reinterpret_cast<void*>(&DiagnosticsCrashes::WriteThroughInvalidPointer), nip.dli_saddr) << log[10];

    // One symbol line per traced frame, then the addr2line command with the same addresses.
    size_t line = 11;
    for (size_t frame = 1; frame <= trace.size(); ++frame, ++line)
        EXPECT_EQ("[" + std::to_string(frame) + "] ", log.at(line).substr(0, 3 + std::to_string(frame).size()));
    EXPECT_EQ("", log.at(line++));
    EXPECT_EQ("To translate the addresses execute the line below: ", log.at(line++));
    EXPECT_EQ("addr2line --exe=[executable] -f -C " + log[2].substr(7, log[2].size() - 8), log.at(line++));

    // Resolved frames: the handler itself first (a sanitizer's back-trace
    // interceptor adds its own frame in front), the crashing test function demangled.
    ASSERT_LT(line + 1, log.size());
    EXPECT_NE(std::string::npos,
              log[CoreTest::kSanitized ? line + 1 : line].find(":Core::Utilities::CrashHandler::CrashHandlerFn("));
    EXPECT_LE(log.size() - line, trace.size() + 1);
    bool namesCrashingFunction = false;
    for (; line < log.size(); ++line)
    {
        EXPECT_TRUE(std::regex_match(log[line], std::regex(R"([^:]+:(.+\+[0-9A-F]+|\+0x[0-9A-F]+))"))) << log[line];
        namesCrashingFunction |= log[line].find(":DiagnosticsCrashes::WriteThroughInvalidPointer(int volatile*)+") !=
                                 std::string::npos;
    }
    EXPECT_TRUE(namesCrashingFunction);

    if (!m_stick->Available())
        GTEST_SKIP() << "no /mnt/usb and not root: the stick's copy is not checked";
    const auto copies = Glob(CoreTest::StickDirectory::File("module_" + g_module + "_*.txt"));
    ASSERT_EQ(1u, copies.size());
    EXPECT_EQ(std::vector<std::string>(log.begin() + 3, log.end()), Split(CoreTest::ReadBytes(copies[0])))
        << "the stick holds the log from \"Crash log from\" onward";
}

TEST_F(CrashHandlerTest, ArithmeticFaultAndAbortAreDescribedBySignalAndNeedNoLogToRunTheHandlers)
{
    if (CoreTest::kTargetEmulated)
        GTEST_SKIP() << kEmulatorLimit;
    // A sanitizer reports integer division by zero itself, so the signal is
    // raised there: code -6 is a signal sent by the thread itself, 1 an
    // integer division by zero.
    const int fpeCode = CoreTest::kSanitized ? -6 : 1;
    CrashLog(SIGFPE, fpeCode, [] { CoreTest::kSanitized ? raise(SIGFPE) : DiagnosticsCrashes::DivideByZero(1, 0); },
             {R"(A bad arithmetic operation \(SIGFPE\) has occurred)", "Signal Address: 0x[0-9a-f]+",
              "Signal Id: 8    Signal Code: " + std::to_string(fpeCode) + "    errno: 0"});
    TearDown();
    // No fault address for an abort, and the exit status is not that of an abort.
    CrashLog(SIGABRT, -6, [] { std::abort(); },
             {R"(Abort triggered \(SIGABRT\) has occurred)", "Signal Id: 6    Signal Code: -6    errno: 0"});

    TearDown();
    g_module = "no-such-directory/" + g_module;
    auto child = Crash(SIGSEGV, [] { raise(SIGSEGV); });
    EXPECT_TRUE(child.exited && child.exitStatus == 0);
    EXPECT_EQ("first 11: 0 crash, 0 partial\nsecond 11\n", child.output) << "with no log open only the handlers run";
}

} // namespace
