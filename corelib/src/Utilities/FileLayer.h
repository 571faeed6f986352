// Internal to the library, its tests and its tool: not installed and not part of
// CoreLibrary.h. Applications never see this header.
//
// The one path by which the library's durable writes reach the filesystem, and
// the one routine that replaces a file (temporary file beside it, write, sync,
// rename, directory sync). Tests swap the process-wide layer for one that fails
// chosen operations or records them to simulate losing power.
// Threading: the layer in use is a process-wide setting, changed only while no
// other thread writes files; the POSIX layer itself is stateless.
#ifndef CORELIB_UTILITIES_FILELAYER_H
#define CORELIB_UTILITIES_FILELAYER_H

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <string>

namespace Core
{
namespace Utilities
{

// The file operations a durable writer needs. Each returns what its POSIX
// namesake returns: -1 (or a short count) with errno set on failure.
class FileLayer
{
public:
    virtual ~FileLayer();
    // open(2).
    virtual int Open(const char* path, int flags, mode_t mode) = 0;
    // mkstemp(3): completes pathTemplate (ending in "XXXXXX") in place; mode 0600.
    virtual int CreateTemporary(char* pathTemplate) = 0;
    // write(2): one call, which may write fewer bytes than asked.
    virtual ssize_t Write(int fd, const void* data, std::size_t length) = 0;
    // read(2).
    virtual ssize_t Read(int fd, void* buffer, std::size_t length) = 0;
    // fsync(2): data and metadata of a file, or the entries of a directory.
    virtual int Sync(int fd) = 0;
    // sync(2): everything of every filesystem reaches its medium.
    virtual void SyncAll() = 0;
    // close(2).
    virtual int Close(int fd) = 0;
    // rename(2).
    virtual int Rename(const char* from, const char* to) = 0;
    // unlink(2).
    virtual int Unlink(const char* path) = 0;
    // ftruncate(2).
    virtual int Truncate(int fd, off_t length) = 0;
    // stat(2) of path, following symbolic links.
    virtual int Stat(const char* path, struct stat* status) = 0;
};

// The plain POSIX calls. Test layers derive from it and override what they change.
class PosixFileLayer : public FileLayer
{
public:
    int Open(const char* path, int flags, mode_t mode) override;
    int CreateTemporary(char* pathTemplate) override;
    ssize_t Write(int fd, const void* data, std::size_t length) override;
    ssize_t Read(int fd, void* buffer, std::size_t length) override;
    int Sync(int fd) override;
    void SyncAll() override;
    int Close(int fd) override;
    int Rename(const char* from, const char* to) override;
    int Unlink(const char* path) override;
    int Truncate(int fd, off_t length) override;
    int Stat(const char* path, struct stat* status) override;
};

// The layer every durable write of the library goes through (POSIX by default).
FileLayer& Files();
// Installs layer (borrowed: it must outlive its use) and returns the one it
// replaces; null restores the POSIX layer.
FileLayer* SetFiles(FileLayer* layer);

// Writes all of data to fd through Files(), repeating short writes. False when
// a call fails or writes nothing; errno then tells why.
bool WriteAll(int fd, const void* data, std::size_t length);
// Fsyncs the directory holding the file at path (the current directory for a
// bare name), making a creation or rename there durable; false when the
// directory cannot be opened or synced (a filesystem that cannot sync
// directories at all counts as synced).
bool SyncDirectoryOf(const std::string& path);

// How a FileReplacement names, syncs and commits its temporary file; each
// writer of the library keeps its own fixed choices.
struct ReplacementOptions
{
    // Appended to the final path: "XXXXXX" or ".XXXXXX" make a unique name
    // (mkstemp, mode 0600); anything else names one fixed file, created with
    // mode 0666 less the umask.
    const char* suffix;
    // Fsync the temporary file before the rename.
    bool syncFile;
    // Fsync the final name's directory after the rename.
    bool syncDirectory;
    // When true a failed rename removes the temporary file and fails the
    // commit; when false the commit reports success whatever the rename did.
    bool checkRename;
    // When true failed writes and syncs neither stop the rename nor fail the
    // commit (a writer whose result reports its rename alone).
    bool renameDespiteErrors;
};

// Replaces one file: the new contents go to a temporary file beside it, which
// is (optionally) synced and renamed over the final name, so the name holds
// the old file or the complete new one. A final name that is a character
// device, FIFO or socket (a terminal, "/dev/stdout", a pipe) is written in
// place instead; a symbolic link keeps existing and its target is replaced,
// the temporary file sitting beside the target.
// Not thread-safe; not copyable. Destroying an uncommitted replacement
// abandons it (the temporary file is removed).
class FileReplacement
{
public:
    FileReplacement(const std::string& path, const ReplacementOptions& options);
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    // Creates the temporary file (or opens the in-place target). False, with
    // nothing created, when that fails.
    bool Begin();
    // Appends data; false when not all of it was written (the replacement is
    // then failed, and Commit() will refuse).
    bool Write(const void* data, std::size_t length);
    // Closes the temporary file and renames it over the final name, with the
    // syncs the options ask for. False when anything failed on the way: a
    // failed write or sync leaves the temporary file in place (for the caller
    // to Abandon or keep), a failed checked rename removes it.
    bool Commit();
    // Closes the temporary file and, when remove is true, deletes it.
    void Abandon(bool remove = true);

    // The temporary file's name once Begin() has succeeded.
    const std::string& TemporaryName() const { return m_temporary; }
    // True after a write or sync failed.
    bool Failed() const { return m_failed; }

private:
    // Closes the descriptor if open; false when close reports an error.
    bool CloseDescriptor();

    std::string m_path;
    ReplacementOptions m_options;
    std::string m_target;
    std::string m_temporary;
    int m_fd;
    bool m_inPlace;
    bool m_failed;
};

// The whole replacement in one call: Begin, Write(contents), Commit. A
// temporary file that was not renamed is removed, except after an unchecked
// rename failed.
bool ReplaceFile(const std::string& path, const std::string& contents, const ReplacementOptions& options);

} // namespace Utilities
} // namespace Core

#endif
