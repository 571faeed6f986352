#include "Support/StickDirectory.h"

#include <sys/stat.h>
#include <unistd.h>

namespace CoreTest
{

namespace
{
constexpr const char* kStick = "/mnt/usb";

bool IsDirectory(const char* path)
{
    struct stat st;
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}
} // namespace

StickDirectory::StickDirectory()
{
    if (!IsDirectory(kStick) && geteuid() == 0)
    {
        mkdir("/mnt", 0755);
        m_created = mkdir(kStick, 0755) == 0;
    }
    m_available = IsDirectory(kStick);
}

StickDirectory::~StickDirectory()
{
    if (m_created)
        rmdir(kStick);
}

std::string StickDirectory::File(const std::string& name)
{
    return std::string(kStick) + "/" + name;
}

} // namespace CoreTest
