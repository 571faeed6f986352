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

// Forks; the child runs body and exits. The parent drains the pipe for
// delayMicroseconds (or until the child finishes), sends SIGKILL, reaps the
// child and collects the remaining lines. A body still running after
// the delay is killed wherever it is; the call itself never takes much longer
// than the delay. Requires: the calling program is single-threaded.
KilledChildResult RunAndKill(const std::function<void(ChildReporter&)>& body, long delayMicroseconds);

} // namespace CoreTest

#endif
