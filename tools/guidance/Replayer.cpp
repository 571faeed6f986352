#include "Replayer.h"

#include "IO/NmeaParser.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace GuidanceTool
{

namespace
{

using Core::Nmea::CNmeaParser;

// A type the parser never writes: still set after a call means the checksum failed.
const Core::Nmea::NmeaSentenceTypes kNotIdentified = static_cast<Core::Nmea::NmeaSentenceTypes>(-1);

// Longest text kept while waiting for a line end.
const std::size_t kLongestLine = 1024;

// Speeds of the track sentence in metres per second.
const double kMetresPerSecondPerKmh = 1000.0 / 3600.0;
const double kMetresPerSecondPerKnot = 1852.0 / 3600.0;
const double kMillimetresPerMetre = 1000.0;

// The track sentence's speed: in km/h when it gives one, else in knots, else none (0).
double TrackSpeed(const Core::Nmea::UNmeaData& data)
{
    if (data.vtg.speedKmh >= 0)
        return data.vtg.speedKmh * kMetresPerSecondPerKmh;
    return data.vtg.speedKnots >= 0 ? data.vtg.speedKnots * kMetresPerSecondPerKnot : 0;
}

bool IsBlank(const std::string& line)
{
    return line.find_first_not_of(" \t\r\n") == std::string::npos;
}

} // namespace

Replayer::Replayer(const Field& field, const std::string& recordPath) : m_field(field), m_writer(recordPath)
{
}

void Replayer::Feed(const std::string& chunk)
{
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

void Replayer::Finish()
{
    if (!m_partialLine.empty())
        HandleLine(m_partialLine);
    m_partialLine.clear();
    CompletePending();
    m_writer.Finish();
}

int Replayer::ProcessCompletions()
{
    m_writer.Process();
    return m_writer.Outstanding();
}

void Replayer::HandleLine(const std::string& line)
{
    if (IsBlank(line))
        return;
    ++m_counts.read;
    Core::Nmea::NmeaSentenceTypes type = kNotIdentified;
    Core::Nmea::UNmeaData data;
    const int result = CNmeaParser::ParseNmeaData(type, line, data);
    if (result == CNmeaParser::PARSE_NOT_DECODED)
    {
        ++m_counts.unsupported;
        return;
    }
    if (result != CNmeaParser::PARSE_OK)
    {
        ++(type == kNotIdentified ? m_counts.checksum : m_counts.malformed);
        return;
    }
    ++m_counts.decoded;
    if (type == Core::Nmea::NMEA_GGA)
    {
        CompletePending();
        // Quality 0 means the receiver has no position to give.
        if (data.gga.fixQuality == 0)
            return;
        m_pending = true;
        m_pendingHasTrack = false;
        m_pendingRecord = FixRecord();
        m_pendingRecord.timeOfDay = data.gga.timeOfDay;
        m_pendingRecord.latitude = data.gga.latitudeDegrees;
        m_pendingRecord.longitude = data.gga.longitudeDegrees;
        m_pendingRecord.fixQuality = data.gga.fixQuality;
        m_pendingRecord.satellites = data.gga.satellitesInUse;
    }
    else if (type == Core::Nmea::NMEA_VTG && m_pending && !m_pendingHasTrack)
    {
        // The track sentence that follows a fix belongs to it.
        m_pendingHasTrack = true;
        m_pendingRecord.speed = TrackSpeed(data);
        m_pendingRecord.heading = CourseToHeading(data.vtg.trackTrueDegrees);
        CompletePending();
    }
}

void Replayer::CompletePending()
{
    if (!m_pending)
        return;
    m_pending = false;
    FixRecord& record = m_pendingRecord;
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
    if (m_recordCount > 0)
        m_distance += std::hypot(record.x - m_latest.x, record.y - m_latest.y);
    if (record.onLine)
        m_crossTrack.Add(std::fabs(record.crossTrack));
    m_latest = record;
    ++m_recordCount;
    m_writer.Append(record);
}

RunningCrossTrack::RunningCrossTrack() : m_histogram(kHistogramMillimetres + 1, 0) {}

void RunningCrossTrack::Add(double distance)
{
    ++m_fixes;
    m_sum += distance;
    m_maximum = std::max(m_maximum, distance);
    // A distance is counted in the bin of the millimetre it does not exceed.
    const double millimetres = std::ceil(distance * kMillimetresPerMetre);
    ++m_histogram[millimetres < kHistogramMillimetres ? static_cast<std::size_t>(millimetres)
                                                      : kHistogramMillimetres];
}

CrossTrackStatistics RunningCrossTrack::Statistics() const
{
    CrossTrackStatistics statistics;
    if (m_fixes == 0)
        return statistics;
    statistics.fixes = m_fixes;
    statistics.mean = m_sum / m_fixes;
    statistics.maximum = m_maximum;
    const long rank = static_cast<long>(std::ceil(0.95 * m_fixes));
    long seen = 0;
    std::size_t bin = 0;
    while (bin < m_histogram.size() && (seen += m_histogram[bin]) < rank)
        ++bin;
    statistics.percentile95 = std::min(m_maximum, bin / kMillimetresPerMetre);
    return statistics;
}

std::string Replayer::Summary(const std::string& recordsLine) const
{
    const CrossTrackStatistics xte = CrossTrack();
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
                  "  cross-track maximum     %10.3f m\n"
                  "  distance driven         %10.1f m\n",
                  m_counts.read, m_counts.decoded, m_counts.checksum, m_counts.malformed, m_counts.unsupported,
                  m_writer.Written(), recordsLine.c_str(), xte.mean, xte.percentile95, xte.maximum, m_distance);
    return text;
}

} // namespace GuidanceTool
