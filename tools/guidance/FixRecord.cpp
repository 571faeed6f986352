#include "FixRecord.h"

#include "Maths/Maths.h"

#include <cstdio>

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

std::string FixRecord::CSVHeader()
{
    return "sequence,time,latitude,longitude,quality,satellites,x,y,speed,heading,pass,cross_track,"
           "along_track,heading_error,on_line";
}

std::string FixRecord::CSV() const
{
    char text[320];
    std::snprintf(text, sizeof text, "%d,%.2f,%.9f,%.9f,%d,%d,%.3f,%.3f,%.3f,%.5f,%d,%.3f,%.3f,%.5f,%d", sequence,
                  timeOfDay, latitude, longitude, fixQuality, satellites, x, y, speed, heading, pass, crossTrack,
                  alongTrack, headingError, onLine);
    return text;
}

std::string FixRecord::Text() const
{
    char text[320];
    std::snprintf(text, sizeof text,
                  "#%d  t %.2f  %.9f %.9f  q%d  sats %d  x %.3f y %.3f  %.2f m/s  pass %d  xte %+.3f m  along "
                  "%.2f m  heading error %+.2f deg%s",
                  sequence, timeOfDay, latitude, longitude, fixQuality, satellites, x, y, speed, pass, crossTrack,
                  alongTrack, Core::Maths::Degrees(headingError), onLine ? "" : "  (off the line)");
    return text;
}

bool FixRecord::operator==(const FixRecord& o) const
{
    return sequence == o.sequence && timeOfDay == o.timeOfDay && latitude == o.latitude &&
           longitude == o.longitude && fixQuality == o.fixQuality && satellites == o.satellites && x == o.x &&
           y == o.y && speed == o.speed && heading == o.heading && pass == o.pass && crossTrack == o.crossTrack &&
           alongTrack == o.alongTrack && headingError == o.headingError && onLine == o.onLine && utc == o.utc &&
           (altitude == o.altitude || (std::isnan(altitude) && std::isnan(o.altitude)));
}

} // namespace GuidanceTool
