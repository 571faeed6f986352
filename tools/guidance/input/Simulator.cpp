#include "Simulator.h"

#include "LocalPlane.h"
#include "Maths/Maths.h"
#include "Maths/Random.h"
#include "SentenceWriter.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace GuidanceTool
{

namespace
{

typedef Core::Maths::Vector2<double> Point;

const double kEpochSeconds = 0.1;
const long kEpochsPerSecond = 10;
// Catmull-Rom pieces per span of the guidance line.
const int kCurveSteps = 10;
// Straight run beyond each end of a pass before and after the headland turn.
const double kHeadlandRun = 3.0;
// Points on each half circle of a headland turn.
const int kTurnSteps = 24;

// One point of the path with the speed to drive from it.
struct PathPoint
{
    Point position;
    double speed;
};

Point RightNormal(const Point& direction)
{
    const double length = direction.Length();
    return length > 0 ? Point(direction.y / length, -direction.x / length) : Point(0, 0);
}

// The uniform Catmull-Rom curve through the points, with each missing end
// control point reflected through its neighbour; straight spans for a linear
// line.
std::vector<Point> Centreline(const std::vector<Point>& points, bool curved)
{
    if (!curved || points.size() < 3)
        return points;
    std::vector<Point> curve;
    const std::size_t n = points.size();
    for (std::size_t i = 0; i + 1 < n; ++i)
    {
        const Point p1 = points[i];
        const Point p2 = points[i + 1];
        const Point p0 = i == 0 ? p1 * 2.0 - p2 : points[i - 1];
        const Point p3 = i + 2 == n ? p2 * 2.0 - p1 : points[i + 2];
        for (int step = 0; step < kCurveSteps; ++step)
        {
            const double t = static_cast<double>(step) / kCurveSteps;
            const double t2 = t * t;
            const double t3 = t2 * t;
            curve.push_back((p1 * 2.0 + (p2 - p0) * t + (p0 * 2.0 - p1 * 5.0 + p2 * 4.0 - p3) * t2 +
                             (p1 * 3.0 - p0 - p2 * 3.0 + p3) * t3) *
                            0.5);
        }
    }
    curve.push_back(points.back());
    return curve;
}

// The line shifted d metres to its right, each point along the mean of the
// normals of the segments meeting there. Good for offsets well inside the
// line's radius of curvature, which holds for the fields this drives.
std::vector<Point> OffsetToRight(const std::vector<Point>& line, double d)
{
    std::vector<Point> shifted;
    const std::size_t n = line.size();
    for (std::size_t i = 0; i < n; ++i)
    {
        const Point before = i > 0 ? line[i] - line[i - 1] : line[i + 1] - line[i];
        const Point after = i + 1 < n ? line[i + 1] - line[i] : line[i] - line[i - 1];
        Point normal = RightNormal(before) + RightNormal(after);
        normal = normal / normal.Length();
        // Stretch the shift at a corner so the offset segments stay d away.
        const double cosine = normal.x * RightNormal(after).x + normal.y * RightNormal(after).y;
        shifted.push_back(line[i] + normal * (d / cosine));
    }
    return shifted;
}

// A headland turn from the end of one pass (last direction `out`) to the start
// of the next: a straight run out, a half circle, a straight run in.
void AppendTurn(std::vector<PathPoint>& path, const Point& end, const Point& out, const Point& start, const Point& in,
                double speed)
{
    const Point u = out / out.Length();
    const Point v = in / in.Length();
    const Point a = end + u * kHeadlandRun;
    const Point b = start - v * kHeadlandRun;
    const Point centre = (a + b) * 0.5;
    const Point radial = a - centre;
    // Turn towards the next pass, through the side away from the field.
    const double sign = (radial.x * u.y - radial.y * u.x) > 0 ? 1.0 : -1.0;
    const double startAngle = std::atan2(radial.y, radial.x);
    const double radius = radial.Length();
    for (int step = 0; step <= kTurnSteps; ++step)
    {
        const double angle = startAngle + sign * Core::Maths::Math<double>::PI * step / kTurnSteps;
        path.push_back(PathPoint{centre + Point(std::cos(angle), std::sin(angle)) * radius, speed});
    }
}

// The drive pass by pass, so that only one pass is ever held: each piece
// starts at the point where the previous one ended (the start of the drive
// for the first), then runs the headland turn and the pass.
class DrivePath
{
public:
    DrivePath(const std::vector<Point>& centreline, const SimulationSettings& settings, double width)
        : m_centreline(centreline), m_settings(settings), m_width(width)
    {
    }

    // The next piece; false after the last pass.
    bool Next(std::vector<PathPoint>& piece)
    {
        if (m_pass == m_settings.passes)
            return false;
        std::vector<Point> line = OffsetToRight(m_centreline, m_pass * m_width);
        if (m_pass % 2 == 1)
            std::reverse(line.begin(), line.end());
        piece.clear();
        if (!m_previous.empty())
        {
            piece.push_back(PathPoint{m_previous.back(), m_settings.speed});
            AppendTurn(piece, m_previous.back(), m_previous.back() - m_previous[m_previous.size() - 2], line.front(),
                       line[1] - line.front(), m_settings.turnSpeed);
        }
        for (const Point& p : line)
            piece.push_back(PathPoint{p, m_settings.speed});
        m_previous = std::move(line);
        ++m_pass;
        return true;
    }

private:
    const std::vector<Point>& m_centreline;
    const SimulationSettings& m_settings;
    double m_width;
    int m_pass = 0;
    std::vector<Point> m_previous;
};

// The receiver's state beyond the true position: fix quality and dropouts,
// changed at random moments.
class Receiver
{
public:
    Receiver(Core::Random& random, bool disturbances) : m_random(random), m_disturbances(disturbances) {}

    // Advances one epoch; false while the receiver sends nothing.
    bool Step()
    {
        if (m_disturbances && m_qualityLeft == 0 && m_random.Rand() < 1.0 / 400.0)
        {
            m_quality = m_random.Rand() < 0.7 ? 5 : 2;
            m_qualityLeft = 20 + static_cast<int>(m_random.Rand() * 40);
        }
        if (m_qualityLeft > 0 && --m_qualityLeft == 0)
            m_quality = 4;
        if (m_disturbances && m_silentLeft == 0 && m_random.Rand() < 1.0 / 700.0)
            m_silentLeft = 8 + static_cast<int>(m_random.Rand() * 12);
        if (m_silentLeft > 0)
        {
            --m_silentLeft;
            return false;
        }
        return true;
    }

    int Quality() const { return m_quality; }
    // Standard deviation of the position error, metres, for the current quality.
    double Sigma() const { return m_quality == 4 ? 0.015 : (m_quality == 5 ? 0.08 : 0.35); }
    int Satellites() const { return m_quality == 2 ? 9 : 14; }
    double Hdop() const { return m_quality == 2 ? 1.4 : 0.7; }

private:
    Core::Random& m_random;
    bool m_disturbances;
    int m_quality = 4;
    int m_qualityLeft = 0;
    int m_silentLeft = 0;
};

// The sentence as sent: usually intact, sometimes with a character changed
// (the checksum no longer matches) or cut short.
std::string MaybeDamage(const std::string& sentence, double share, Core::Random& random)
{
    if (random.Rand() >= share)
        return sentence;
    const std::size_t star = sentence.rfind('*');
    // A position inside the fields, past "$GPxxx,".
    const std::size_t at = 7 + static_cast<std::size_t>(random.Rand() * (star - 8));
    if (random.Rand() < 0.5)
    {
        std::string damaged = sentence;
        damaged[at] = damaged[at] == '1' ? '7' : '1';
        return damaged;
    }
    return sentence.substr(0, at) + "\r\n";
}

} // namespace

void SimulateDrive(const Field& field, const SimulationSettings& settings,
                   const std::function<bool(const Epoch&)>& each)
{
    const LocalPlane plane(field.points.front().latitude, field.points.front().longitude);
    std::vector<Point> points;
    for (const GeoPoint& p : field.points)
        points.push_back(plane.ToPlane(p.latitude, p.longitude));
    const std::vector<Point> centreline = Centreline(points, field.splineType != 0);
    DrivePath drive(centreline, settings, field.workingWidth);

    Core::Random random(settings.seed);
    Receiver receiver(random, settings.disturbances);
    std::vector<PathPoint> path;
    long epoch = 0;
    double along = 0; // distance driven into the current segment
    while (drive.Next(path))
        for (std::size_t segment = 0; segment + 1 < path.size(); ++epoch)
        {
            const Point from = path[segment].position;
            const Point direction = path[segment + 1].position - from;
            const double length = direction.Length();
            const double t = length > 0 ? along / length : 0;
            const Point truth = from + direction * t;

            Epoch out{epoch * kEpochSeconds, ""};
            if (receiver.Step())
            {
                const double sigma = receiver.Sigma();
                const Point measured = truth + Point(random.RandNorm(0, sigma), random.RandNorm(0, sigma));
                FixReport fix;
                fix.timeOfDay = settings.startTime + out.elapsed;
                plane.ToGeodetic(measured, fix.latitude, fix.longitude);
                fix.fixQuality = receiver.Quality();
                fix.satellites = receiver.Satellites();
                fix.hdop = receiver.Hdop();
                fix.altitude = 72.0 + random.RandNorm(0, sigma * 2);
                fix.geoidSeparation = 47.0;
                fix.courseDegrees = HeadingToCourse(std::atan2(direction.y, direction.x) + random.RandNorm(0, 0.005));
                fix.speedMetres = std::fabs(path[segment].speed + random.RandNorm(0, 0.02));
                fix.midnight = settings.startDate;
                out.text += MaybeDamage(RmcSentence(fix), settings.damagedShare, random);
                out.text += MaybeDamage(GgaSentence(fix), settings.damagedShare, random);
                out.text += MaybeDamage(VtgSentence(fix), settings.damagedShare, random);
                if (epoch % kEpochsPerSecond == 0)
                    out.text += MaybeDamage(GsaSentence(fix.satellites, fix.hdop), settings.damagedShare, random);
            }
            if (!each(out))
                return;

            // Move on by one epoch's distance, across as many path points as it takes.
            along += path[segment].speed * kEpochSeconds;
            while (segment + 1 < path.size() && along >= (path[segment + 1].position - path[segment].position).Length())
            {
                along -= (path[segment + 1].position - path[segment].position).Length();
                ++segment;
            }
        }
}

std::string DriveText(const Field& field, const SimulationSettings& settings)
{
    std::string text;
    SimulateDrive(field, settings, [&text](const Epoch& epoch) {
        text += epoch.text;
        return true;
    });
    return text;
}

} // namespace GuidanceTool
