// The USB stick's directory (kPath) for tests that write onto the stick.
// When it is absent and the test runs as root, it is created for the test and
// removed again afterwards (only if it is then empty); otherwise the test
// skips just its stick checks.
#ifndef CORELIB_TESTS_SUPPORT_STICKDIRECTORY_H
#define CORELIB_TESTS_SUPPORT_STICKDIRECTORY_H

#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace CoreTest
{

class StickDirectory
{
public:
    // Spelled out rather than taken from the library, so that a library
    // writing to another directory fails the stick checks.
    static constexpr const char* kPath = "/mnt/usb";

    StickDirectory()
    {
        if (!Available() && geteuid() == 0)
        {
            mkdir("/mnt", 0755);
            m_created = mkdir(kPath, 0755) == 0;
        }
    }
    ~StickDirectory()
    {
        if (m_created)
            rmdir(kPath);
    }
    StickDirectory(const StickDirectory&) = delete;
    StickDirectory& operator=(const StickDirectory&) = delete;

    // True when kPath exists as a directory for the test to use.
    static bool Available()
    {
        struct stat st;
        return stat(kPath, &st) == 0 && S_ISDIR(st.st_mode);
    }
    // kPath + "/" + name.
    static std::string File(const std::string& name) { return std::string(kPath) + "/" + name; }

private:
    bool m_created = false;
};

} // namespace CoreTest

#endif
