#include "Replayer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace GuidanceTool
{

namespace
{

// Longest text kept while waiting for a line end.
const std::size_t kLongestLine = 1024;

} // namespace

Replayer::Replayer(const Field& field, const std::string& recordPath)
    : m_field(field), m_writer(recordPath), m_check(field), m_assembler(m_check), m_statistics(field.workingWidth)
{
}

void Replayer::Feed(const std::string& chunk)
{
    m_check.Bytes(chunk.size());
    m_partialLine += chunk;
    std::size_t start = 0;
    for (std::size_t end; (end = m_partialLine.find('\n', start)) != std::string::npos; start = end + 1)
        HandleLine(m_partialLine.substr(start, end + 1 - start));
    m_partialLine.erase(0, start);
    // A sentence is at most 82 characters; noise without line ends is taken
    // as one bad line rather than held without limit.
    if (m_partialLine.size() > kLongestLine)
    {
        HandleLine(m_partialLine);
        m_partialLine.clear();
    }
    m_writer.Process();
}

void Replayer::InputPaused()
{
    if (!m_partialLine.empty())
        return;
    m_assembler.Finish();
    TakeFixes();
    m_writer.Process();
}

void Replayer::Finish()
{
    if (!m_partialLine.empty())
        HandleLine(m_partialLine);
    m_partialLine.clear();
    m_assembler.Finish();
    TakeFixes();
    m_statistics.Finish();
    m_writer.Finish();
}

int Replayer::ProcessCompletions()
{
    m_writer.Process();
    return m_writer.Outstanding();
}

void Replayer::HandleLine(const std::string& line)
{
    switch (m_assembler.Line(line))
    {
    case FixAssembler::Outcome::Blank: return;
    case FixAssembler::Outcome::Decoded: ++m_counts.decoded; break;
    case FixAssembler::Outcome::Checksum: ++m_counts.checksum; break;
    case FixAssembler::Outcome::Malformed: ++m_counts.malformed; break;
    case FixAssembler::Outcome::Unsupported: ++m_counts.unsupported; break;
    }
    ++m_counts.read;
    TakeFixes();
}

void Replayer::TakeFixes()
{
    for (FixRecord record; m_assembler.Next(record);)
    {
        if (!m_plane)
        {
            m_plane.reset(new LocalPlane(record.latitude, record.longitude));
            m_line.reset(new GuidanceLine(m_field, *m_plane));
        }
        const Core::Maths::Vector2<double> position = m_plane->ToPlane(record.latitude, record.longitude);
        record.x = position.x;
        record.y = position.y;
        record.sequence = static_cast<int>(m_recordCount) + 1;
        m_line->Measure(record);
        m_statistics.Add(record);
        m_check.Fix(record, *m_plane);
        m_latest = record;
        ++m_recordCount;
        m_writer.Append(record);
    }
}

std::string Replayer::Summary(const std::string& recordsLine) const
{
    const DistanceFigures& xte = m_statistics.CrossTrack();
    char text[2048];
    std::snprintf(text, sizeof text,
                  "  sentences read          %10ld\n"
                  "  decoded                 %10ld\n"
                  "  rejected by checksum    %10ld\n"
                  "  malformed               %10ld\n"
                  "  unsupported             %10ld\n"
                  "  fixes recorded          %10d\n"
                  "  record file             %s\n"
                  "  cross-track mean        %10.3f m\n"
                  "  cross-track 95th pct    %10.3f m\n"
                  "  cross-track maximum     %10.3f m\n",
                  m_counts.read, m_counts.decoded, m_counts.checksum, m_counts.malformed, m_counts.unsupported,
                  m_writer.Written(), recordsLine.c_str(), xte.Mean(), xte.Percentile95(), xte.Maximum());
    return text + m_statistics.RunText() + m_statistics.PassTable();
}

} // namespace GuidanceTool
