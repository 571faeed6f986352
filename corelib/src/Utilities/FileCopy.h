// Copies a file so that the destination is always either the old file or the
// complete new one, and is on the medium before the copy reports success: the
// data goes to a temporary file beside the destination ("<destination>.XXXXXX"),
// which is flushed, synced and renamed over the destination, and then the
// directory is synced. SafeFileCopy does it in one call; CIncrementalFileCopy
// does a few blocks per call so an idle loop is never blocked for long.
// Not thread-safe: an incremental copy belongs to the thread that calls Idle(),
// which is also where the progress callback runs.
#ifndef CORELIB_UTILITIES_FILECOPY_H
#define CORELIB_UTILITIES_FILECOPY_H

#include "Threading/Functor.h"

#include <cstdio>
#include <memory>
#include <string>

namespace Core
{
namespace Utilities
{

class FileReplacement;

// Progress callback, called after every block with the bytes copied so far
// (cumulative) and the source's size when the copy began (0 if unknown).
typedef Functor<void, int, int, void, void, void, void>::Signature CopyProgress;

// Bytes moved per block by both copies.
constexpr int kCopyBlockSize = 4096;

// Copies source over destination. True only when the destination has been
// replaced. On failure the destination is untouched; a temporary file left by
// a failed read, write or sync stays behind (only a failed rename removes it).
// progress may be null; it is borrowed for the call.
bool SafeFileCopy(const std::string& source, const std::string& destination, CopyProgress* progress);

// A copy done a few blocks at a time. Errors are recorded, never thrown; a
// failed copy removes its temporary file at once, and so does destroying an
// unfinished one. Completion is decided by the byte count against the source
// size taken at construction, not by end of file: a source that shrinks never
// finishes, one that grows finishes as soon as that many bytes are copied.
// Not copyable.
class CIncrementalFileCopy
{
public:
    // Opens the source and the temporary file; failures mark the copy failed.
    // progress may be null; it is borrowed and must outlive the copy.
    CIncrementalFileCopy(const std::string& source, const std::string& destination, CopyProgress* progress);
    // Cleanup(): an abandoned copy leaves no temporary file.
    ~CIncrementalFileCopy();
    CIncrementalFileCopy(const CIncrementalFileCopy&) = delete;
    CIncrementalFileCopy& operator=(const CIncrementalFileCopy&) = delete;

    // Copies at most blocks blocks (none if blocks <= 0), then finalises if
    // Finished(). True while no error has occurred, including on the call that
    // completes the copy. After finalisation it does nothing and returns true.
    bool Idle(int blocks);

    // True once the copy has failed or every byte of the source's size has
    // been copied.
    bool Finished() const;

    // Completes the copy: flush, sync, close, rename over the destination and
    // sync the directory. A failed rename removes the temporary file but does
    // not mark the copy failed; a failed sync fails the copy. Called by Idle().
    void Finalise();

    // Closes both files and removes the temporary file if it still exists.
    void Cleanup();

    // Marks the copy failed, then Cleanup().
    void ErrorCleanup();

private:
    FILE* m_source;
    // The temporary file beside the destination; null once it is gone.
    std::unique_ptr<FileReplacement> m_temporary;
    std::string m_destination;
    bool m_failed;
    int m_totalBytes;
    int m_copiedBytes;
    CopyProgress* m_progress;
};

} // namespace Utilities
} // namespace Core

#endif
