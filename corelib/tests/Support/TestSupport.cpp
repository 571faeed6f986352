#include "Support/TestSupport.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <ftw.h>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/resource.h>
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
    // readdir64, because the 32-bit readdir of the emulated device fails on
    // hosts whose inode numbers do not fit in 32 bits.
    std::vector<std::string> names;
    if (DIR* dir = opendir(path.c_str()))
    {
        while (const dirent64* entry = readdir64(dir))
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
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

std::map<std::string, std::string> ReadDirectory(const std::string& directory)
{
    std::map<std::string, std::string> files;
    for (const std::string& name : ListDirectory(directory))
    {
        const std::string path = directory + "/" + name;
        struct stat status;
        if (lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
            files[name] = ReadBytes(path);
    }
    return files;
}

bool WriteBytes(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    return !out.fail();
}

bool FileExists(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

mode_t ModeOf(const std::string& path)
{
    struct stat status;
    return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

std::string Pattern(size_t size)
{
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    return bytes;
}

#ifdef CORELIB_COVERAGE
extern "C" void __gcov_dump();
#endif

namespace
{
// A child leaves with _exit, which skips the exit handler that saves a
// coverage build's counters; this saves them, so that the code the child
// ran counts.
void SaveCoverageCounters()
{
#ifdef CORELIB_COVERAGE
    __gcov_dump();
#endif
}

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
    result.output = WithoutCoverageNotices(result.output);
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

std::string WithoutCoverageNotices(const std::string& text)
{
    // A notice may follow output that did not end its line.
    std::string kept;
    size_t start = 0;
    while (start < text.size())
    {
        size_t end = text.find('\n', start);
        end = (end == std::string::npos) ? text.size() : end + 1;
        const std::string line = text.substr(start, end - start);
        if (line.rfind("profiling:", 0) != 0)
            kept += line.substr(0, line.find("libgcov profiling error:"));
        start = end;
    }
    return kept;
}

FileSizeLimit::FileSizeLimit(unsigned long bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    m_previous = limit.rlim_cur;
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
}

FileSizeLimit::~FileSizeLimit()
{
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = m_previous;
    setrlimit(RLIMIT_FSIZE, &limit);
}

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
        SaveCoverageCounters();
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
