// Internal to the library: not installed and not part of CoreLibrary.h.
// The size rule behind MountedFilesystemStatus, apart from the statfs call, so
// that the flash-filesystem rule and the 32-bit wrap can be checked on any host
// without mounting such filesystems.
// Threading: stateless.
#ifndef CORELIB_UTILITIES_FILESYSTEMSIZE_H
#define CORELIB_UTILITIES_FILESYSTEMSIZE_H

#include <sys/vfs.h>

namespace Core
{
namespace Utilities
{
namespace Internal
{

// Sets freeKiB and totalKiB from a statfs64 result: 0 and 0 for cramfs, JFFS2
// and SquashFS, otherwise f_bsize times f_bavail (free) and times f_blocks
// (total), each product wrapped to 32 bits and then divided by 1024.
void FilesystemSizeKiB(const struct statfs64& status, unsigned int& freeKiB, unsigned int& totalKiB);

} // namespace Internal
} // namespace Utilities
} // namespace Core

#endif
