// The USB stick's directory "/mnt/usb" for tests that write onto the stick.
// When it is absent and the test runs as root, it is created for the test and
// removed again afterwards (only if it is then empty); otherwise the test
// skips just its stick checks.
#ifndef CORELIB_TESTS_SUPPORT_STICKDIRECTORY_H
#define CORELIB_TESTS_SUPPORT_STICKDIRECTORY_H

#include <string>

namespace CoreTest
{

class StickDirectory
{
public:
    StickDirectory();
    ~StickDirectory();
    StickDirectory(const StickDirectory&) = delete;
    StickDirectory& operator=(const StickDirectory&) = delete;

    // True when "/mnt/usb" exists as a directory for the test to use.
    bool Available() const { return m_available; }
    // "/mnt/usb/" + name.
    static std::string File(const std::string& name);

private:
    bool m_available = false;
    bool m_created = false;
};

} // namespace CoreTest

#endif
