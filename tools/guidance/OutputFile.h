// One output of the tool, written so that a failure never costs the previous
// version. A regular file (or the regular file a symbolic link leads to) is
// replaced whole: written to a temporary file beside it, synced, given the old
// file's mode (a new file gets 0666 less the umask), renamed over it, and the
// directory synced. Anything else (a device, a FIFO, "-" for standard output)
// is written in place, never replaced.
// Not thread-safe: each output belongs to one thread.
#ifndef GUIDANCE_OUTPUTFILE_H
#define GUIDANCE_OUTPUTFILE_H

#include <string>
#include <sys/types.h>

namespace GuidanceTool
{

// Where an output's bytes end up.
struct OutputTarget
{
    std::string path;     // the named path with every symbolic link followed
    bool exists = false;
    bool regular = true;  // false for a device, FIFO or socket: written in place
    mode_t mode = 0;      // the existing file's permission bits
};

// The directory part of path: "." when it has none, "/" for the root.
std::string DirectoryOf(const std::string& path);

// Follows path's symbolic links (a dangling one names the file to create).
// Throws ToolError when a link cannot be read or they loop.
OutputTarget ResolveOutput(const std::string& path);

class OutputFile
{
public:
    // Opens the temporary file, or the target itself when it is written in
    // place. Throws ToolError naming the file and the system's reason.
    explicit OutputFile(const std::string& path);
    // Removes the temporary file unless Commit() renamed it.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Appends text (written out in pieces of a fixed size). Returns false,
    // quietly, when the reader of a pipe has gone (the rest is not wanted);
    // throws ToolError on any other failure.
    bool Write(const std::string& text);
    // Syncs and renames the temporary file into place, then syncs the
    // directory; a file written in place is synced when it can be. Throws
    // ToolError naming the file, the operation and the reason.
    void Commit();

    const std::string& Path() const { return m_path; }

private:
    // Writes out what is waiting.
    void Flush();

    std::string m_path;
    std::string m_buffer;
    OutputTarget m_target;
    std::string m_temporary; // empty when written in place
    int m_fd = -1;
    bool m_readerGone = false;
};

// Replaces path with contents through an OutputFile.
void WriteOutput(const std::string& path, const std::string& contents);

// Renames from over to and syncs to's directory. Throws ToolError.
void RenameDurably(const std::string& from, const std::string& to);

} // namespace GuidanceTool

#endif
