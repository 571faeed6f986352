// Runs a writer in a forked child and kills it with SIGKILL after a chosen
// delay, collecting what the child reported through a pipe before it died.
// Crash-consistency tests use it: the child reports each write the library
// acknowledged, and the parent checks the files against those reports.
#ifndef CORELIB_TESTS_SUPPORT_KILLEDCHILD_H
#define CORELIB_TESTS_SUPPORT_KILLEDCHILD_H

#include <functional>
#include <string>
#include <vector>

namespace CoreTest
{

// The child's side of the pipe.
class ChildReporter
{
public:
    explicit ChildReporter(int fd) : m_fd(fd) {}
    // Sends one line. A line is sent by a single write of at most PIPE_BUF
    // bytes, so a kill never leaves half of one in the pipe.
    void Report(const std::string& line);

private:
    int m_fd;
};

struct KilledChildResult
{
    std::vector<std::string> reports;  // every line the child reported, in order
    bool finished = false;             // the body returned before the kill
    bool killed = false;               // the child died of the SIGKILL
};

// Forks; the child runs body and exits. The parent drains the pipe until the
// child has reported afterReports lines, then for delayMicroseconds more, and
// then sends SIGKILL, reaps the child and collects the remaining lines.
// Counting reports first puts the kill among the child's writes rather than
// in its start-up, however slow the machine. The wait for the reports is
// bounded (kReportWaitSeconds), and a child that finishes first is not
// waited for. Requires: the calling program is single-threaded.
KilledChildResult RunAndKill(const std::function<void(ChildReporter&)>& body, unsigned int afterReports,
                             long delayMicroseconds);

// The longest wait for the reports before the kill comes anyway.
constexpr double kReportWaitSeconds = 60.0;

} // namespace CoreTest

#endif
