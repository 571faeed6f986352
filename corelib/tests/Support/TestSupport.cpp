#include "Support/TestSupport.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <poll.h>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace CoreTest
{

TempDir::TempDir()
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/corelib-test-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (!mkdtemp(buffer.data()))
        throw std::runtime_error("mkdtemp failed: " + std::string(std::strerror(errno)));
    m_path = buffer.data();
}

TempDir::~TempDir()
{
    nftw(
        m_path.c_str(),
        [](const char* path, const struct stat*, int, struct FTW*) { return ::remove(path); }, 16,
        FTW_DEPTH | FTW_PHYS);
}

std::string TempDir::File(const std::string& name) const
{
    return m_path + "/" + name;
}

std::vector<std::string> TempDir::List() const
{
    return ListDirectory(m_path);
}

std::vector<std::string> ListDirectory(const std::string& path)
{
    std::vector<std::string> names;
    if (DIR* dir = opendir(path.c_str()))
    {
        while (dirent* entry = readdir(dir))
        {
            std::string name = entry->d_name;
            if (name != "." && name != "..")
                names.push_back(name);
        }
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string ReadBytes(const std::string& path)
{
    std::string bytes;
    if (FILE* f = std::fopen(path.c_str(), "rb"))
    {
        char chunk[65536];
        size_t n;
        while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0)
            bytes.append(chunk, n);
        std::fclose(f);
    }
    return bytes;
}

bool WriteBytes(const std::string& path, const std::string& bytes)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f)
        return false;
    bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

bool FileExists(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

namespace
{
double NowSeconds()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec + ts.tv_nsec / 1e9;
}

// Collects the child's output until it closes the pipe or the deadline passes,
// then reaps it (killing it first when the deadline passed).
ChildResult Collect(pid_t pid, int readFd, double timeoutSeconds)
{
    ChildResult result;
    const double deadline = NowSeconds() + timeoutSeconds;
    for (;;)
    {
        double left = deadline - NowSeconds();
        if (left <= 0)
        {
            result.timedOut = true;
            kill(pid, SIGKILL);
            break;
        }
        pollfd pfd{readFd, POLLIN, 0};
        int ready = poll(&pfd, 1, static_cast<int>(left * 1000) + 1);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            continue;
        char chunk[4096];
        ssize_t n = read(readFd, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        result.output.append(chunk, static_cast<size_t>(n));
    }
    close(readFd);
    int status = 0;
    // The pipe closed, but a child that handed its descriptors on may still run.
    while (waitpid(pid, &status, result.timedOut ? 0 : WNOHANG) == 0)
    {
        if (NowSeconds() > deadline)
        {
            result.timedOut = true;
            kill(pid, SIGKILL);
        }
        else
            usleep(1000);
    }
    if (WIFEXITED(status))
    {
        result.exited = true;
        result.exitStatus = WEXITSTATUS(status);
    }
    else if (WIFSIGNALED(status))
    {
        result.signalled = true;
        result.signal = WTERMSIG(status);
    }
    return result;
}
} // namespace

ChildResult RunInChild(const std::function<void()>& body, double timeoutSeconds)
{
    std::fflush(nullptr);
    int fds[2];
    if (pipe(fds) != 0)
        throw std::runtime_error("pipe failed");
    pid_t pid = fork();
    if (pid < 0)
        throw std::runtime_error("fork failed");
    if (pid == 0)
    {
        close(fds[0]);
        dup2(fds[1], STDOUT_FILENO);
        dup2(fds[1], STDERR_FILENO);
        close(fds[1]);
        body();
        std::fflush(nullptr);
        _exit(0);
    }
    close(fds[1]);
    return Collect(pid, fds[0], timeoutSeconds);
}

ChildResult RunCommand(const std::string& command, double timeoutSeconds)
{
    return RunInChild(
        [&] {
            execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        },
        timeoutSeconds);
}

} // namespace CoreTest
