#include "Support/KilledChild.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace CoreTest
{

void ChildReporter::Report(const std::string& line)
{
    const std::string message = line.substr(0, PIPE_BUF - 1) + "\n";
    ssize_t result;
    do
        result = write(m_fd, message.data(), message.size());
    while (result < 0 && errno == EINTR);
}

namespace
{

// Reads what is available without blocking; false at end of file.
bool DrainPipe(int fd, std::string& received)
{
    char chunk[4096];
    const ssize_t n = read(fd, chunk, sizeof chunk);
    if (n > 0)
        received.append(chunk, static_cast<size_t>(n));
    return n > 0 || (n < 0 && (errno == EINTR || errno == EAGAIN));
}

std::vector<std::string> CompleteLines(const std::string& received)
{
    std::vector<std::string> lines;
    size_t start = 0;
    for (size_t end; (end = received.find('\n', start)) != std::string::npos; start = end + 1)
        lines.push_back(received.substr(start, end - start));
    return lines;
}

} // namespace

KilledChildResult RunAndKill(const std::function<void(ChildReporter&)>& body, unsigned int afterReports,
                             long delayMicroseconds)
{
    int fds[2];
    if (pipe(fds) != 0)
        throw std::runtime_error("pipe failed");
    const pid_t pid = fork();
    if (pid < 0)
        throw std::runtime_error("fork failed");
    if (pid == 0)
    {
        close(fds[0]);
        ChildReporter reporter(fds[1]);
        body(reporter);
        // Skips the parent's exit handlers and buffered output copied by fork.
        _exit(0);
    }
    close(fds[1]);

    // The pipe is drained while waiting so that a child reporting quickly
    // never blocks on a full pipe and is killed at a moment of its own work.
    std::string received;
    bool open = true;
    const auto start = std::chrono::steady_clock::now();
    auto deadline = start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                std::chrono::duration<double>(kReportWaitSeconds));
    bool counted = afterReports == 0;
    if (counted)
        deadline = start + std::chrono::microseconds(delayMicroseconds);
    while (open)
    {
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline)
            break;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now);
        pollfd p = {fds[0], POLLIN, 0};
        if (poll(&p, 1, static_cast<int>(left.count())) > 0)
            open = DrainPipe(fds[0], received);
        if (!counted && static_cast<unsigned int>(std::count(received.begin(), received.end(), '\n')) >= afterReports)
        {
            counted = true;
            deadline = std::chrono::steady_clock::now() + std::chrono::microseconds(delayMicroseconds);
        }
    }
    kill(pid, SIGKILL);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR)
    {
    }
    // With the child gone every line it wrote is in the pipe, followed by the end.
    while (open)
        open = DrainPipe(fds[0], received);
    close(fds[0]);

    KilledChildResult result;
    result.reports = CompleteLines(received);
    result.finished = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    result.killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    return result;
}

} // namespace CoreTest
