#include "OutputStream.h"

namespace GuidanceTool
{

OutputFileBuffer::OutputFileBuffer(OutputFile& file) : m_file(file)
{
    setp(m_buffer, m_buffer + kPiece);
}

OutputFileBuffer::int_type OutputFileBuffer::overflow(int_type c)
{
    sync();
    if (c != traits_type::eof())
    {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    return traits_type::not_eof(c);
}

int OutputFileBuffer::sync()
{
    if (pptr() > pbase())
        m_file.Write(std::string(pbase(), pptr()));
    setp(m_buffer, m_buffer + kPiece);
    return 0;
}

OutputStream::OutputStream(OutputFile& file)
    : OutputFileBuffer(file), std::ostream(static_cast<OutputFileBuffer*>(this))
{
    exceptions(std::ios::badbit);
}

void OutputStream::Commit()
{
    flush();
    m_file.Commit();
}

} // namespace GuidanceTool
