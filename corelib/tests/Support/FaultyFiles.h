// A file layer for tests that fails one chosen operation: the Nth call of a
// kind fails with a chosen errno (EIO, ENOSPC, EDQUOT, ...), or the Nth write
// writes only half of what it was given. Everything else is plain POSIX.
// Install it for a scope with ScopedFiles; PowerLoss builds on it.
// Not thread-safe: one test thread drives the writer under test.
#ifndef CORELIB_TESTS_SUPPORT_FAULTYFILES_H
#define CORELIB_TESTS_SUPPORT_FAULTYFILES_H

#include "Utilities/FileLayer.h"

#include <array>
#include <string>

namespace CoreTest
{

// The kinds of operation a fault can hit.
enum class FileOp
{
    Open,
    CreateTemporary,
    Write,
    Sync,
    Close,
    Rename,
    Unlink,
    Truncate,
    Count
};

// A short name for messages ("write", "sync", ...).
const char* FileOpName(FileOp op);

// One fault: the nth (from 1) call of op fails with error; error 0 on a write
// makes it a short write of half the bytes (at least one written).
struct FileFault
{
    FileOp op;
    int nth;
    int error;

    // "the 3rd sync fails with EIO", for messages.
    std::string Describe() const;
};

class FaultyFiles : public Core::Utilities::PosixFileLayer
{
public:
    FaultyFiles() = default;
    FaultyFiles(const FaultyFiles&) = delete;
    FaultyFiles& operator=(const FaultyFiles&) = delete;

    // Arms one fault (replacing any earlier one) and starts counting calls afresh.
    void Arm(const FileFault& fault);
    // Calls of op seen since construction or the last Arm().
    int Calls(FileOp op) const { return m_calls[static_cast<int>(op)]; }
    // True once the armed fault has been injected.
    bool Fired() const { return m_fired; }

    int Open(const char* path, int flags, mode_t mode) override;
    int CreateTemporary(char* pathTemplate) override;
    ssize_t Write(int fd, const void* data, std::size_t length) override;
    int Sync(int fd) override;
    int Close(int fd) override;
    int Rename(const char* from, const char* to) override;
    int Unlink(const char* path) override;
    int Truncate(int fd, off_t length) override;

protected:
    // Counts a call of op; true (with errno set) when it is the one to fail.
    bool Inject(FileOp op);

private:
    std::array<int, static_cast<int>(FileOp::Count)> m_calls{};
    FileFault m_fault{FileOp::Count, 0, 0};
    bool m_fired = false;
};

// Installs a layer for the life of the object, restoring the previous one after.
class ScopedFiles
{
public:
    explicit ScopedFiles(Core::Utilities::FileLayer& layer) : m_previous(Core::Utilities::SetFiles(&layer)) {}
    ~ScopedFiles() { Core::Utilities::SetFiles(m_previous); }
    ScopedFiles(const ScopedFiles&) = delete;
    ScopedFiles& operator=(const ScopedFiles&) = delete;

private:
    Core::Utilities::FileLayer* m_previous;
};

} // namespace CoreTest

#endif
