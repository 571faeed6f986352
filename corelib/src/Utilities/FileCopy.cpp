#include "Utilities/FileCopy.h"

#include "Utilities/FileUtilities.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace Core
{
namespace Utilities
{

namespace
{

// How one block's copy ended.
enum class BlockResult
{
    End,       // the read returned nothing
    Copied,    // every byte read was written
    ShortWrite // fewer bytes were written than read
};

// Moves one block from `from` to `to`, adds the bytes written to copied and
// reports progress.
BlockResult CopyBlock(FILE* from, FILE* to, int& copied, int total, CopyProgress* progress)
{
    char block[kCopyBlockSize];
    const size_t read = fread(block, 1, sizeof block, from);
    if (read == 0)
    {
        return BlockResult::End;
    }
    const size_t written = fwrite(block, 1, read, to);
    copied += static_cast<int>(written);
    if (progress != nullptr)
    {
        progress->Execute(copied, total);
    }
    return written < read ? BlockResult::ShortWrite : BlockResult::Copied;
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

// Creates a unique file from name (which ends in "XXXXXX" and is completed in
// place) and opens a write stream on it. created says whether the file exists
// afterwards, even when the stream could not be opened.
FILE* CreateTemporary(std::string& name, bool& created)
{
    const int descriptor = mkstemp(&name[0]);
    created = descriptor != -1;
    if (!created)
    {
        return nullptr;
    }
    FILE* stream = fdopen(descriptor, "wb");
    if (stream == nullptr)
    {
        close(descriptor);
    }
    return stream;
}

// Puts the temporary file's data on the medium, then closes both streams.
void SyncAndClose(FILE* source, FILE* temporary)
{
    fflush(temporary);
    fsync(fileno(temporary));
    fclose(source);
    fclose(temporary);
}

// Renames the temporary file over the destination and makes that durable;
// removes the temporary file if the rename fails.
bool ReplaceDestination(const std::string& temporaryName, const std::string& destination)
{
    if (rename(temporaryName.c_str(), destination.c_str()) != 0)
    {
        unlink(temporaryName.c_str());
        return false;
    }
    SyncParentDir(destination);
    return true;
}

} // namespace

bool SafeFileCopy(const std::string& source, const std::string& destination, CopyProgress* progress)
{
    // The name must fit the one block buffer it shares with the data.
    std::string temporaryName = destination + ".XXXXXX";
    if (temporaryName.size() >= static_cast<size_t>(kCopyBlockSize))
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
    bool created = false;
    FILE* to = CreateTemporary(temporaryName, created);
    if (to == nullptr)
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
            failed = ferror(from) != 0 || ferror(to) != 0;
            break;
        }
        if (result == BlockResult::ShortWrite)
        {
            failed = true;
            break;
        }
    }
    SyncAndClose(from, to);
    if (failed)
    {
        // Left in place on purpose: only a failed rename removes it.
        return false;
    }
    return ReplaceDestination(temporaryName, destination);
}

CIncrementalFileCopy::CIncrementalFileCopy(const std::string& source, const std::string& destination,
                                           CopyProgress* progress)
    : m_source(nullptr),
      m_temporary(nullptr),
      m_temporaryName(destination + ".XXXXXX"),
      m_destination(destination),
      m_failed(false),
      m_temporaryExists(false),
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
    m_temporary = CreateTemporary(m_temporaryName, m_temporaryExists);
    if (m_temporary == nullptr)
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
        const BlockResult result = CopyBlock(m_source, m_temporary, m_copiedBytes, m_totalBytes, m_progress);
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
    if (ferror(m_source) != 0 || ferror(m_temporary) != 0)
    {
        ErrorCleanup();
        return;
    }
    SyncAndClose(m_source, m_temporary);
    m_source = nullptr;
    m_temporary = nullptr;
    // Whether or not the rename works, the temporary name is gone afterwards.
    m_temporaryExists = false;
    ReplaceDestination(m_temporaryName, m_destination);
}

void CIncrementalFileCopy::Cleanup()
{
    if (m_source != nullptr)
    {
        fclose(m_source);
        m_source = nullptr;
    }
    if (m_temporary != nullptr)
    {
        fclose(m_temporary);
        m_temporary = nullptr;
    }
    if (m_temporaryExists)
    {
        unlink(m_temporaryName.c_str());
        m_temporaryExists = false;
    }
}

void CIncrementalFileCopy::ErrorCleanup()
{
    m_failed = true;
    Cleanup();
}

} // namespace Utilities
} // namespace Core
