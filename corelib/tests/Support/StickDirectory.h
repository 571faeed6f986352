// The USB stick's directory "/mnt/usb" for tests that write onto the stick.
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
    StickDirectory()
    {
        if (!Available() && geteuid() == 0)
        {
            mkdir("/mnt", 0755);
            m_created = mkdir("/mnt/usb", 0755) == 0;
        }
    }
    ~StickDirectory()
    {
        if (m_created)
            rmdir("/mnt/usb");
    }
    StickDirectory(const StickDirectory&) = delete;
    StickDirectory& operator=(const StickDirectory&) = delete;

    // True when "/mnt/usb" exists as a directory for the test to use.
    static bool Available()
    {
        struct stat st;
        return stat("/mnt/usb", &st) == 0 && S_ISDIR(st.st_mode);
    }
    // "/mnt/usb/" + name.
    static std::string File(const std::string& name) { return "/mnt/usb/" + name; }

private:
    bool m_created = false;
};

} // namespace CoreTest

#endif
