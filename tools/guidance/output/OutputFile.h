// One output of the tool, written so that a failure never costs the previous
// version: through the library's file replacement, a regular file (or the
// file a symbolic link leads to) is replaced whole by a synced temporary file
// renamed over it, then the directory is synced; a device or FIFO is written
// in place, never replaced. The new file keeps the mode of the one it
// replaces; a new output gets 0666 less the umask. "-" writes to standard
// output.
// Not thread-safe: each output belongs to one thread.
#ifndef GUIDANCE_OUTPUTFILE_H
#define GUIDANCE_OUTPUTFILE_H

#include "Utilities/FileLayer.h"

#include <string>

namespace GuidanceTool
{

class OutputFile
{
public:
    // Creates the temporary file, or opens the target itself when it is
    // written in place. Throws ToolError naming the file and the reason.
    explicit OutputFile(const std::string& path);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Appends text (written out in pieces of a fixed size). Returns false,
    // quietly, when the reader of standard output has gone (the rest is not
    // wanted); throws ToolError on any other failure.
    bool Write(const std::string& text);
    // Syncs the temporary file, renames it into place and syncs the
    // directory. Throws ToolError naming the file, the operation and the
    // reason; the previous version is then untouched.
    void Commit();

    const std::string& Path() const { return m_path; }

private:
    // Writes out what is waiting.
    void Flush();
    // The name a failure is reported under: the temporary file while there is one.
    std::string Shown() const;

    std::string m_path;
    std::string m_buffer;
    bool m_standardOutput;
    bool m_readerGone = false;
    Core::Utilities::FileReplacement m_replacement;
};

} // namespace GuidanceTool

#endif
