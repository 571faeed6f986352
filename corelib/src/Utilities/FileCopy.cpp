#include "Utilities/FileCopy.h"

#include "Utilities/FileLayer.h"
#include "Utilities/FileUtilities.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace Core
{
namespace Utilities
{

namespace
{

// A temporary file beside the destination, synced before it is renamed over
// it; the caller syncs the directory with SyncParentDir.
const ReplacementOptions kCopyReplacement = {".XXXXXX", true, false, true, false};

// How one block's copy ended.
enum class BlockResult
{
    End,       // the read returned nothing
    Copied,    // every byte read was written
    ShortWrite // not every byte read was written
};

// Moves one block from `from` to `to`, adds the bytes written to copied and
// reports progress.
BlockResult CopyBlock(FILE* from, FileReplacement& to, int& copied, int total, CopyProgress* progress)
{
    char block[kCopyBlockSize];
    const size_t read = fread(block, 1, sizeof block, from);
    if (read == 0)
    {
        return BlockResult::End;
    }
    const bool written = to.Write(block, read);
    if (written)
    {
        copied += static_cast<int>(read);
    }
    if (progress != nullptr)
    {
        progress->Execute(copied, total);
    }
    return written ? BlockResult::Copied : BlockResult::ShortWrite;
}

// The source's size, or 0 if it cannot be read; false in the second case.
bool SourceSize(const std::string& source, int& size)
{
    struct stat status;
    if (stat(source.c_str(), &status) != 0)
    {
        size = 0;
        return false;
    }
    size = static_cast<int>(status.st_size);
    return true;
}

} // namespace

bool SafeFileCopy(const std::string& source, const std::string& destination, CopyProgress* progress)
{
    // The name must fit the one block buffer it shares with the data.
    if (destination.size() + std::strlen(kCopyReplacement.suffix) >= static_cast<size_t>(kCopyBlockSize))
    {
        return false;
    }
    int total = 0;
    SourceSize(source, total);
    FILE* from = fopen(source.c_str(), "rb");
    if (from == nullptr)
    {
        return false;
    }
    FileReplacement to(destination, kCopyReplacement);
    if (!to.Begin())
    {
        fclose(from);
        return false;
    }

    int copied = 0;
    bool failed = false;
    for (;;)
    {
        const BlockResult result = CopyBlock(from, to, copied, total, progress);
        if (result == BlockResult::End)
        {
            failed = ferror(from) != 0;
            break;
        }
        if (result == BlockResult::ShortWrite)
        {
            failed = true;
            break;
        }
    }
    fclose(from);
    // A failed read, write or sync leaves the temporary file in place on
    // purpose: only a failed rename removes it.
    if (failed || !to.Commit())
    {
        to.Abandon(false);
        return false;
    }
    SyncParentDir(destination);
    return true;
}

CIncrementalFileCopy::CIncrementalFileCopy(const std::string& source, const std::string& destination,
                                           CopyProgress* progress)
    : m_source(nullptr),
      m_destination(destination),
      m_failed(false),
      m_totalBytes(0),
      m_copiedBytes(0),
      m_progress(progress)
{
    m_source = fopen(source.c_str(), "rb");
    if (m_source == nullptr)
    {
        ErrorCleanup();
        return;
    }
    m_temporary.reset(new FileReplacement(destination, kCopyReplacement));
    if (!m_temporary->Begin())
    {
        ErrorCleanup();
        return;
    }
    if (!SourceSize(source, m_totalBytes))
    {
        ErrorCleanup();
    }
}

CIncrementalFileCopy::~CIncrementalFileCopy()
{
    Cleanup();
}

bool CIncrementalFileCopy::Idle(int blocks)
{
    if (m_failed)
    {
        ErrorCleanup();
        return false;
    }
    if (m_source == nullptr)
    {
        // Already finalised: there is nothing left to copy or to close.
        return true;
    }
    for (int i = 0; i < blocks; ++i)
    {
        const BlockResult result = CopyBlock(m_source, *m_temporary, m_copiedBytes, m_totalBytes, m_progress);
        if (result == BlockResult::End)
        {
            break;
        }
        if (result == BlockResult::ShortWrite)
        {
            ErrorCleanup();
            break;
        }
    }
    if (Finished())
    {
        Finalise();
    }
    return !m_failed;
}

bool CIncrementalFileCopy::Finished() const
{
    return m_failed || m_copiedBytes >= m_totalBytes;
}

void CIncrementalFileCopy::Finalise()
{
    if (m_failed)
    {
        Cleanup();
        return;
    }
    if (ferror(m_source) != 0 || m_temporary->Failed())
    {
        ErrorCleanup();
        return;
    }
    fclose(m_source);
    m_source = nullptr;
    if (m_temporary->Commit())
    {
        SyncParentDir(m_destination);
    }
    else if (m_temporary->Failed())
    {
        // The data never reached the medium: the copy has failed, and its
        // temporary file goes with it.
        ErrorCleanup();
        return;
    }
    // A failed rename has removed the temporary file without failing the copy.
    m_temporary.reset();
}

void CIncrementalFileCopy::Cleanup()
{
    if (m_source != nullptr)
    {
        fclose(m_source);
        m_source = nullptr;
    }
    // Abandoning the replacement closes and removes its temporary file.
    m_temporary.reset();
}

void CIncrementalFileCopy::ErrorCleanup()
{
    m_failed = true;
    Cleanup();
}

} // namespace Utilities
} // namespace Core
