#include "FixRecord.h"

#include "LocalPlane.h"
#include "Maths/Maths.h"
#include "SpeedUnits.h"
#include "UtcTime.h"
#include "Utilities/StringUtilities.h"

#include <cmath>

namespace GuidanceTool
{

bool FixRecord::Process(Core::IO::ObjectStore& store)
{
    // Keys ascend in field order; new fields take new keys so old files still read.
    bool ok = store.ProcessInt(sequence, 1);
    ok = store.ProcessDouble(timeOfDay, 2) && ok;
    ok = store.ProcessDouble(latitude, 3) && ok;
    ok = store.ProcessDouble(longitude, 4) && ok;
    ok = store.ProcessInt(fixQuality, 5) && ok;
    ok = store.ProcessInt(satellites, 6) && ok;
    ok = store.ProcessDouble(x, 7) && ok;
    ok = store.ProcessDouble(y, 8) && ok;
    ok = store.ProcessDouble(speed, 9) && ok;
    ok = store.ProcessDouble(heading, 10) && ok;
    ok = store.ProcessInt(pass, 11) && ok;
    ok = store.ProcessDouble(crossTrack, 12) && ok;
    ok = store.ProcessDouble(alongTrack, 13) && ok;
    ok = store.ProcessDouble(headingError, 14) && ok;
    ok = store.ProcessInt(onLine, 15) && ok;
    // Records written before the date and height were kept lack them: they stay unknown.
    if (!store.ProcessDouble(utc, 16))
        utc = -1;
    if (!store.ProcessDouble(altitude, 17))
        altitude = NAN;
    return ok;
}

namespace
{

// A figure with its decimals, or "" when unknown: an empty CSV field or an
// absent one in the text, never a stand-in number.
std::string Figure(double value, int decimals, bool known = true)
{
    return known && std::isfinite(value) ? Core::Utilities::FormatDouble(value, decimals) : "";
}

} // namespace

std::string FixRecord::CSVHeader()
{
    return "sequence,time_utc,time_of_day_s,latitude_deg,longitude_deg,altitude_m,quality,satellites,x_m,y_m,"
           "speed_m_s,speed_km_h,heading_deg,pass,xte_m,along_m,heading_error_deg,on_line";
}

std::string FixRecord::CSV() const
{
    const bool moving = speed >= 0;
    const std::string fields[] = {std::to_string(sequence),
                                  IsoTime(utc, 2),
                                  Figure(timeOfDay, 2, timeOfDay >= 0),
                                  Figure(latitude, 9),
                                  Figure(longitude, 9),
                                  Figure(altitude, 3),
                                  fixQuality >= 0 ? std::to_string(fixQuality) : "",
                                  satellites >= 0 ? std::to_string(satellites) : "",
                                  Figure(x, 3),
                                  Figure(y, 3),
                                  Figure(speed, 3, moving),
                                  Figure(speed * kKmhPerMetrePerSecond, 2, moving),
                                  Figure(HeadingToCourse(heading), 2, moving),
                                  std::to_string(pass),
                                  Figure(crossTrack, 3),
                                  Figure(alongTrack, 3),
                                  Figure(-Core::Maths::Degrees(headingError), 2, moving),
                                  std::to_string(onLine)};
    std::string text = fields[0];
    for (std::size_t i = 1; i < sizeof fields / sizeof fields[0]; ++i)
        text += "," + fields[i];
    return text;
}

std::string FixRecord::Text() const
{
    const bool moving = speed >= 0;
    std::string text = "#" + std::to_string(sequence) + "  " +
                       (utc >= 0 ? IsoTime(utc, 2) : "time of day " + Figure(timeOfDay, 2) + " s") + "  " +
                       Figure(latitude, 9) + " " + Figure(longitude, 9);
    if (!std::isnan(altitude))
        text += "  " + Figure(altitude, 2) + " m";
    text += "  quality " + (fixQuality >= 0 ? std::to_string(fixQuality) : std::string("unknown"));
    if (satellites >= 0)
        text += "  sats " + std::to_string(satellites);
    if (moving)
        text += "  " + Figure(speed, 2) + " m/s (" + Figure(speed * kKmhPerMetrePerSecond, 1) + " km/h)  heading " +
                Figure(HeadingToCourse(heading), 1) + " deg";
    text += "  pass " + std::to_string(pass) + "  xte " + (crossTrack >= 0 ? "+" : "") + Figure(crossTrack, 3) +
            " m  along " + Figure(alongTrack, 2) + " m";
    if (moving)
        text += "  heading error " + Figure(-Core::Maths::Degrees(headingError), 2) + " deg";
    return text + (onLine ? "" : "  (off the line)");
}

bool FixRecord::operator==(const FixRecord& o) const
{
    return sequence == o.sequence && timeOfDay == o.timeOfDay && latitude == o.latitude && longitude == o.longitude &&
           fixQuality == o.fixQuality && satellites == o.satellites && x == o.x && y == o.y && speed == o.speed &&
           heading == o.heading && pass == o.pass && crossTrack == o.crossTrack && alongTrack == o.alongTrack &&
           headingError == o.headingError && onLine == o.onLine && utc == o.utc &&
           (altitude == o.altitude || (std::isnan(altitude) && std::isnan(o.altitude)));
}

} // namespace GuidanceTool
