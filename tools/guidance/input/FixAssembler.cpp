#include "FixAssembler.h"

#include "IO/NmeaParser.h"
#include "LocalPlane.h"
#include "RmcSentence.h"
#include "SpeedUnits.h"

#include <cmath>

namespace GuidanceTool
{

namespace
{

using Core::Nmea::CNmeaParser;

// A type the parser never writes: still set after a call means the checksum failed.
const Core::Nmea::NmeaSentenceTypes kNotIdentified = static_cast<Core::Nmea::NmeaSentenceTypes>(-1);
const double kSecondsPerDay = 86400;

bool IsBlank(const std::string& line)
{
    return line.find_first_not_of(" \t\r\n") == std::string::npos;
}

} // namespace

FixAssembler::Outcome FixAssembler::Line(const std::string& line)
{
    if (IsBlank(line))
        return Outcome::Blank;
    const std::string type = SentenceType(line);
    if (!type.empty())
        m_check.Sentence(type);

    RmcFix rmc;
    const RmcResult rmcResult = DecodeRmc(line, rmc);
    if (rmcResult == RmcResult::Malformed)
        return Outcome::Malformed;
    if (rmcResult == RmcResult::Decoded)
    {
        EpochAt(rmc.timeOfDay, m_hasRmc);
        m_midnight = rmc.utc - rmc.timeOfDay;
        m_rmcTime = rmc.timeOfDay;
        m_hasRmc = true;
        m_rmcValid = rmc.valid;
        if (!rmc.valid)
            m_check.NoPosition("RMC void");
        else if (!m_hasGga)
        {
            m_point.latitude = rmc.latitude;
            m_point.longitude = rmc.longitude;
        }
        if (rmc.valid && !m_hasTrack && rmc.speedMetres >= 0 && rmc.courseDegrees >= 0)
        {
            m_point.speed = rmc.speedMetres;
            m_point.heading = CourseToHeading(rmc.courseDegrees);
        }
        CloseIfComplete();
        return Outcome::Decoded;
    }

    Core::Nmea::NmeaSentenceTypes parsed = kNotIdentified;
    Core::Nmea::UNmeaData data;
    const int result = CNmeaParser::ParseNmeaData(parsed, line, data);
    if (result == CNmeaParser::PARSE_NOT_DECODED)
        return Outcome::Unsupported;
    if (result != CNmeaParser::PARSE_OK)
        return parsed == kNotIdentified ? Outcome::Checksum : Outcome::Malformed;
    if (parsed == Core::Nmea::NMEA_GGA)
    {
        EpochAt(data.gga.timeOfDay, m_hasGga);
        m_hasGga = true;
        m_ggaPosition = data.gga.fixQuality > 0;
        if (!m_ggaPosition)
            m_check.NoPosition("GGA with quality 0");
        FixRecord& record = m_point;
        record.latitude = data.gga.latitudeDegrees;
        record.longitude = data.gga.longitudeDegrees;
        record.fixQuality = data.gga.fixQuality;
        record.satellites = data.gga.satellitesInUse;
        // The parser marks an empty height with -1.
        m_point.altitude = data.gga.altitude != -1.0 ? data.gga.altitude : NAN;
    }
    else if (parsed == Core::Nmea::NMEA_VTG && m_open && !m_hasTrack)
    {
        // The track sentence of an epoch belongs to it; a second one is ignored.
        m_hasTrack = true;
        // In km/h when the sentence gives them, else in knots, else none (0).
        const double kmh = data.vtg.speedKmh;
        const double knots = data.vtg.speedKnots;
        m_point.speed = kmh >= 0 ? kmh / kKmhPerMetrePerSecond : (knots >= 0 ? knots * kMetresPerSecondPerKnot : 0);
        m_point.heading = CourseToHeading(data.vtg.trackTrueDegrees);
    }
    CloseIfComplete();
    return Outcome::Decoded;
}

void FixAssembler::CloseIfComplete()
{
    if (m_hasGga && m_hasRmc && m_hasTrack)
        CloseEpoch();
}

void FixAssembler::EpochAt(double timeOfDay, bool repeated)
{
    if (m_open && timeOfDay == m_time && !repeated)
        return;
    CloseEpoch();
    m_open = true;
    m_time = timeOfDay;
    m_hasGga = m_ggaPosition = m_hasRmc = m_rmcValid = m_hasTrack = false;
    m_point = FixRecord();
    m_point.timeOfDay = timeOfDay;
}

void FixAssembler::CloseEpoch()
{
    if (!m_open)
        return;
    m_open = false;
    const bool position = m_hasGga ? m_ggaPosition : m_rmcValid;
    if (!position)
        return;
    if (!m_hasGga)
        m_point.fixQuality = kQualityUnknown;
    if (m_midnight >= 0 && m_time >= 0)
    {
        m_point.utc = m_midnight + m_time;
        // An epoch without its own RMC just past midnight still has the previous day's date.
        if (!m_hasRmc && m_time + kSecondsPerDay / 2 < m_rmcTime)
            m_point.utc += kSecondsPerDay;
    }
    m_ready.push_back(m_point);
}

bool FixAssembler::Next(FixRecord& point)
{
    if (m_ready.empty())
        return false;
    point = m_ready.front();
    m_ready.pop_front();
    return true;
}

} // namespace GuidanceTool
