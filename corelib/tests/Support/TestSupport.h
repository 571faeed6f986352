// Helpers shared by every test program: a temporary directory that cleans up
// after itself, whole-file reads and writes that bypass the library under test,
// and a child-process runner with a bounded wait for tests that exit, crash or
// get killed on purpose.
#ifndef CORELIB_TESTS_SUPPORT_TESTSUPPORT_H
#define CORELIB_TESTS_SUPPORT_TESTSUPPORT_H

#include <functional>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace CoreTest
{

// A fresh directory under $TMPDIR (or /tmp), removed with its contents on destruction.
class TempDir
{
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    // The directory's path, without a trailing slash.
    const std::string& Path() const { return m_path; }
    // Path() + "/" + name.
    std::string File(const std::string& name) const;
    // Names of the entries in the directory (not "." or ".."), sorted.
    std::vector<std::string> List() const;

private:
    std::string m_path;
};

// Names of the entries in a directory (not "." or ".."), sorted.
std::vector<std::string> ListDirectory(const std::string& path);

// The whole file as bytes; empty if it cannot be read.
std::string ReadBytes(const std::string& path);
// The regular files directly inside a directory, by name, with their bytes.
std::map<std::string, std::string> ReadDirectory(const std::string& directory);
// Replaces the file with the bytes (plain standard streams, no durability); false on failure.
bool WriteBytes(const std::string& path, const std::string& bytes);
bool FileExists(const std::string& path);
// The type and permission bits of path itself (a link's own, not its
// target's); 0 when it does not exist.
mode_t ModeOf(const std::string& path);
// Bytes 0..255 repeated with a shift every 251 bytes: zeros and high bytes
// included, and no two 4096-byte blocks alike, so a repeated, missing or
// shifted block shows.
std::string Pattern(size_t size);

// How a child process ended.
struct ChildResult
{
    bool exited = false;      // ended through exit() or a return from main
    int exitStatus = -1;      // valid when exited
    bool signalled = false;   // ended by a signal
    int signal = 0;           // valid when signalled
    bool timedOut = false;    // still running at the deadline; it was killed
    std::string output;       // everything it wrote to stdout and stderr
};

// Runs body in a forked child whose stdout and stderr are captured; the child
// exits with status 0 if body returns. Waits at most timeoutSeconds, then
// kills the child with SIGKILL. Safe to call from any single-threaded test.
ChildResult RunInChild(const std::function<void()>& body, double timeoutSeconds = 30.0);

// Runs a shell command, returning its exit status and combined output.
ChildResult RunCommand(const std::string& command, double timeoutSeconds = 60.0);

// The text without the lines a coverage-instrumented program prints on stderr
// when it saves its counters at exit ("profiling:" and "libgcov profiling
// error:"); they belong to the build, not to the program under test. Output
// captured by RunInChild and RunCommand is already without them.
std::string WithoutCoverageNotices(const std::string& text);

// Limits the size of files this process writes, as a full disk would, and
// ignores SIGXFSZ so that the write fails instead. Only the soft limit is
// lowered, so that the destructor can lift it again before the process
// exits: a coverage build writes its counters then, and cut short they would
// corrupt every later run's. For forked children only.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(unsigned long bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    unsigned long m_previous;
};

// True when the program runs under user-mode emulation of the device's processor.
constexpr bool kTargetEmulated =
#ifdef CORELIB_TARGET_EMULATED
    true;
#else
    false;
#endif

// True when the build carries address, undefined-behaviour or thread sanitizers.
constexpr bool kSanitized =
#ifdef CORELIB_SANITIZED
    true;
#else
    false;
#endif

} // namespace CoreTest

#endif
