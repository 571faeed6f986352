// File and filesystem utilities: whole-file reads and crash-safe replacement,
// path pieces, file-name cleaning, directory syncing, and the size and presence
// of the removable USB stick mounted at "/mnt/usb/".
// Threading: stateless; any function may be called from any thread.
#ifndef CORELIB_UTILITIES_FILEUTILITIES_H
#define CORELIB_UTILITIES_FILEUTILITIES_H

#include <list>
#include <string>

namespace Core
{
namespace Utilities
{

// ---- Whole files ---------------------------------------------------------

// Appends the file's bytes to contents (which is not cleared). Reads blocks of
// 4096 bytes until one comes back short. Returns false only when the file cannot
// be opened; a read error ends the reading like the end of the file does, so
// true may come with partial contents.
bool ReadFile(const std::string& path, std::string& contents);

// Replaces path with contents atomically: the bytes go to a new file named
// path + six random characters in the same directory, which is then renamed
// over path, so readers see the old file or the complete new one. Returns false,
// with the temporary file removed and path untouched, when the temporary file
// cannot be created or not all bytes reach it. The new file has mode 0600.
// Nothing is fsync'ed: a caller needing durability calls SyncParentDir(path).
// A failing rename is not reported (true, and the temporary file remains).
// A symbolic link keeps existing and its target is replaced; a device or FIFO
// is written in place.
bool WriteFile(const std::string& path, const std::string& contents);

// True when the file can be opened for reading (so an unreadable file counts as absent).
bool FileExists(const std::string& path);
// True when the name was removed (unlink).
bool FileDelete(const std::string& path);

// Appends the paths matching the shell pattern, sorted, to paths (which is not
// cleared). No match is a success that adds nothing; false on any other error.
bool Glob(const std::string& pattern, std::list<std::string>& paths);

// ---- Path pieces (only '/' separates) -------------------------------------

// The text after the last '/', or the whole path without one ("dir/" gives "").
std::string GetFileName(const std::string& path);
// The text after the last '.' when that dot lies after the last '/', else "":
// ".profile" gives "profile", "a.b/c" gives "".
std::string GetFileExtension(const std::string& path);
// The path without the '.' and extension that GetFileExtension finds; the whole
// path when there is none.
std::string RemoveFileExtension(const std::string& path);
// The text before the last '/': "a/b/c" gives "a/b", "dir/" gives "dir" and
// "/file" gives "" (the root is not returned as "/"). A path without '/' gives
// the current working directory, or "" after printing "GetParentPath getcwd"
// with perror when that cannot be determined.
std::string GetParentPath(const std::string& path);
// name with each byte other than an ASCII letter, digit, '-', '_' or '.'
// replaced by the whole replacement (which may be empty or longer than one
// byte). '/' is replaced too, so the result is one path component, although
// "." and ".." pass unchanged.
std::string SanitizeFilename(const std::string& name, const std::string& replacement);

// ---- Directories and filesystems -------------------------------------------

// Makes a creation or rename in path's directory durable: fsyncs the parent
// directory and then calls sync() in every case. Failures are printed on
// standard error only: "SyncParentDir: unable to determine parent path" when
// path has no parent, perror("SyncParentDir:open") and
// perror("SyncParentDir fsync").
void SyncParentDir(const std::string& path);

// Free and total size, in KiB, of the filesystem holding path. Returns false,
// with the outputs untouched, when the filesystem cannot be queried. A cramfs,
// JFFS2 or SquashFS filesystem (the device's internal flash, under a mount point
// with nothing mounted on it) reports 0 and 0. Each size is the byte count
// modulo 2^32 (32-bit arithmetic) divided by 1024, so filesystems of 4 GiB and
// more report wrapped sizes.
bool MountedFilesystemStatus(const std::string& path, unsigned int& freeKiB, unsigned int& totalKiB);
// MountedFilesystemStatus of the USB stick's mount point "/mnt/usb/".
bool USBStatus(unsigned int& freeKiB, unsigned int& totalKiB);
// True when USBStatus succeeds with a total size above 0.
bool USBPresent();

} // namespace Utilities
} // namespace Core

#endif
