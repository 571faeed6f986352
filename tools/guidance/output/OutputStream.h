// An output stream over an OutputFile, so that the exporters, which write to
// a std::ostream, reach the tool's outputs through the same durable path as
// every other file. Text is handed on in pieces of a fixed size; a failure
// of the file is thrown on as its ToolError (the stream's exceptions are on).
// Not thread-safe: belongs to the thread that writes the output.
#ifndef GUIDANCE_OUTPUT_OUTPUTSTREAM_H
#define GUIDANCE_OUTPUT_OUTPUTSTREAM_H

#include "OutputFile.h"

#include <ostream>
#include <streambuf>

namespace GuidanceTool
{

// Hands what an ostream writes on to an OutputFile in pieces of kPiece bytes.
class OutputFileBuffer : public std::streambuf
{
public:
    explicit OutputFileBuffer(OutputFile& file);
    OutputFileBuffer(const OutputFileBuffer&) = delete;
    OutputFileBuffer& operator=(const OutputFileBuffer&) = delete;

protected:
    int_type overflow(int_type c) override;
    int sync() override;

    OutputFile& m_file;

private:
    static constexpr std::size_t kPiece = 16384;
    char m_buffer[kPiece];
};

// The buffer comes first among the bases so that it exists before the stream.
class OutputStream : private OutputFileBuffer, public std::ostream
{
public:
    explicit OutputStream(OutputFile& file);

    // Hands what is waiting to the file and commits it into place.
    void Commit();
};

} // namespace GuidanceTool

#endif
