// report.html: one self-contained page that shows how well the vehicle held
// its lines, drawn as inline SVG with no script and no outside resources. The
// track is kept as an evenly thinned sample of bounded size, and the histogram
// as counts per centimetre, so memory does not grow with the run.
#include "FixSink.h"
#include "Printf.h"
#include "Utilities/UTF8.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <vector>

namespace GuidanceTool
{

namespace
{

// Points kept for the drawings; a screen shows no more.
const std::size_t kMostSamples = 4000;
const double kWidth = 760; // pixels of every drawing
const double kHeight = 420;
const double kMargin = 40;

struct Sample
{
    double x, y; // plane metres
    double time; // seconds since the first fix
    double crossTrack;
    bool onLine;
};

// Maps a rectangle of data onto a drawing, y upwards.
struct Scale
{
    double minX, minY, factorX, factorY;
    std::string Point(double x, double y) const
    {
        return Printf("%.1f,%.1f ", kMargin + (x - minX) * factorX, kHeight - kMargin - (y - minY) * factorY);
    }
};

Scale Fit(double minX, double maxX, double minY, double maxY, bool sameFactor)
{
    const double spanX = std::max(maxX - minX, 1e-9);
    const double spanY = std::max(maxY - minY, 1e-9);
    double fx = (kWidth - 2 * kMargin) / spanX;
    double fy = (kHeight - 2 * kMargin) / spanY;
    if (sameFactor)
        fx = fy = std::min(fx, fy);
    return Scale{minX, minY, fx, fy};
}

std::string Polyline(const std::string& points, const std::string& colour, double width)
{
    return "<polyline fill=\"none\" stroke=\"" + colour + "\" stroke-width=\"" + Printf("%.1f", width) +
           "\" points=\"" + points + "\"/>\n";
}

std::string Svg(const std::string& title, const std::string& body)
{
    return "<h2>" + title + "</h2>\n" +
           Printf("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%.0f\" height=\"%.0f\">", kWidth, kHeight) +
           "<rect width=\"100%\" height=\"100%\" fill=\"#fbfbf8\" stroke=\"#ccc\"/>\n" + body + "</svg>\n";
}

std::string Text(double x, double y, const std::string& text, const char* anchor = "start")
{
    return Printf("<text x=\"%.1f\" y=\"%.1f\" font-size=\"12\" text-anchor=\"%s\">", x, y, anchor) +
           Core::Utilities::HTMLEscape(text) + "</text>\n";
}

class ReportExporter : public FixSink
{
public:
    explicit ReportExporter(std::ostream& out) : m_out(out) {}

    void Begin(const RunContext& run) override
    {
        m_name = run.field.name.empty() ? "the field" : run.field.name;
        m_line = &run.line;
        for (const auto& point : run.line.SampleCurve(1.0))
            m_guidance.push_back(point);
        while (m_guidance.size() > kMostSamples)
            Thin(m_guidance);
    }

    void Add(const FixRecord& point) override
    {
        const FixRecord& r = point;
        if (m_fixes++ == 0)
            m_start = point.Time();
        // Beyond 100 m either side the outermost centimetre counts, which bounds the memory.
        if (r.onLine)
            ++m_centimetres[std::clamp(static_cast<long>(std::floor(r.crossTrack * 100)), -10000L, 10000L)];
        if ((m_fixes - 1) % m_every != 0)
            return;
        m_samples.push_back(Sample{r.x, r.y, point.Time() - m_start, r.crossTrack, r.onLine != 0});
        if (m_samples.size() >= kMostSamples)
        {
            Thin(m_samples);
            m_every *= 2;
        }
    }

    void End(const RunStatistics& statistics) override
    {
        m_out << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n<title>Drive over "
              << Core::Utilities::HTMLEscape(m_name)
              << "</title>\n<style>body{font-family:sans-serif;margin:2em;color:#222}"
                 "table{border-collapse:collapse}td,th{border:1px solid #bbb;padding:2px 8px;text-align:right}"
                 "th{background:#eee}svg{display:block;margin-bottom:1em}</style></head><body>\n<h1>Drive over "
              << Core::Utilities::HTMLEscape(m_name) << "</h1>\n";
        Summary(statistics);
        Map(statistics);
        CrossTrackOverTime();
        Histogram();
        PassTable(statistics);
        m_out << "</body></html>\n";
    }

private:
    // Halves a sample, keeping every other element and the first.
    template <typename T>
    static void Thin(std::vector<T>& points)
    {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < points.size(); i += 2)
            points[kept++] = points[i];
        points.resize(kept);
    }

    void Summary(const RunStatistics& s)
    {
        const DistanceFigures& xte = s.CrossTrack();
        m_out << "<pre>" << Core::Utilities::HTMLEscape(s.RunText())
              << Printf("  cross-track on passes   mean %.3f m, 95th percentile %.3f m, maximum %.3f m (%ld fixes)\n",
                        xte.Mean(), xte.Percentile95(), xte.Maximum(), xte.Count())
              << "</pre>\n";
    }

    void Map(const RunStatistics& statistics)
    {
        double minX = INFINITY, maxX = -INFINITY, minY = INFINITY, maxY = -INFINITY;
        for (const Sample& s : m_samples)
        {
            minX = std::min(minX, s.x), maxX = std::max(maxX, s.x);
            minY = std::min(minY, s.y), maxY = std::max(maxY, s.y);
        }
        for (const auto& p : m_guidance)
        {
            minX = std::min(minX, p.x), maxX = std::max(maxX, p.x);
            minY = std::min(minY, p.y), maxY = std::max(maxY, p.y);
        }
        const Scale scale = Fit(minX, maxX, minY, maxY, true);
        std::string body;
        std::map<int, bool> drawn;
        for (const PassFigures& pass : statistics.Passes())
        {
            if (drawn[pass.pass] || pass.pass == 0)
                continue;
            drawn[pass.pass] = true;
            std::string points;
            for (const auto& p : m_line->Pass(pass.pass).GetPoints())
                points += scale.Point(p.x, p.y);
            body += Polyline(points, "#7aa6d6", 1);
        }
        std::string guidance;
        for (const auto& p : m_guidance)
            guidance += scale.Point(p.x, p.y);
        body += Polyline(guidance, "#c00000", 2);
        // The track in runs of one colour: grey off the passes, else its band's.
        std::string points;
        std::string colour;
        for (const Sample& s : m_samples)
        {
            const std::string c = s.onLine ? kCrossTrackBand[CrossTrackBandOf(s.crossTrack)].colour : "#999999";
            const std::string point = scale.Point(s.x, s.y);
            if (c != colour && !points.empty())
            {
                body += Polyline(points + point, colour, 2);
                points.clear();
            }
            colour = c;
            points += point;
        }
        if (!points.empty())
            body += Polyline(points, colour, 2);
        for (int band = 0; band < kCrossTrackBands; ++band)
            body += Printf("<rect x=\"%d\" y=\"%.0f\" width=\"12\" height=\"12\" fill=\"%s\"/>", 10 + band * 130,
                           kHeight - 20, kCrossTrackBand[band].colour) +
                    Text(26 + band * 130, kHeight - 10, kCrossTrackBand[band].label);
        body += Text(10, 16, "guidance line red, passes blue, track coloured by absolute cross-track; north up");
        m_out << Svg("Map", body);
    }

    void CrossTrackOverTime()
    {
        double most = 0.05;
        for (const Sample& s : m_samples)
            if (s.onLine)
                most = std::max(most, std::fabs(s.crossTrack));
        const double duration = m_samples.empty() ? 1 : m_samples.back().time;
        const Scale scale = Fit(0, duration, -most, most, false);
        std::string body = Polyline(scale.Point(0, 0) + scale.Point(duration, 0), "#888", 1);
        std::string points;
        for (const Sample& s : m_samples)
        {
            if (s.onLine)
                points += scale.Point(s.time, s.crossTrack);
            else if (!points.empty())
                body += Polyline(points, "#1f5fa8", 1), points.clear();
        }
        if (!points.empty())
            body += Polyline(points, "#1f5fa8", 1);
        body += Text(kMargin, kMargin - 8, Printf("+%.3f m (left)", most)) +
                Text(kMargin, kHeight - kMargin + 16, Printf("-%.3f m (right)", most)) +
                Text(kWidth - kMargin, kHeight - kMargin + 16, Printf("%.0f s", duration), "end");
        m_out << Svg("Cross-track over time (on passes)", body);
    }

    void Histogram()
    {
        std::string body;
        if (!m_centimetres.empty())
        {
            const long low = m_centimetres.begin()->first;
            const long high = m_centimetres.rbegin()->first + 1;
            // At most 60 bars: whole centimetres per bar.
            const long per = std::max(1L, (high - low + 59) / 60);
            std::map<long, long> bars;
            long tallest = 1;
            for (const auto& [cm, count] : m_centimetres)
                tallest = std::max(tallest, bars[(cm - low) / per] += count);
            const long barCount = (high - low + per - 1) / per;
            const Scale scale = Fit(0, static_cast<double>(barCount), 0, static_cast<double>(tallest), false);
            for (const auto& [bar, count] : bars)
                body += Printf("<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"#1f5fa8\"/>\n",
                               kMargin + bar * scale.factorX, kHeight - kMargin - count * scale.factorY,
                               std::max(scale.factorX - 1, 1.0), count * scale.factorY);
            body += Text(kMargin, kHeight - kMargin + 16, Printf("%+.2f m", low / 100.0)) +
                    Text(kWidth - kMargin, kHeight - kMargin + 16, Printf("%+.2f m", high / 100.0), "end") +
                    Text(kMargin, kMargin - 8, Printf("%ld fixes in the tallest bar of %ld cm", tallest, per));
        }
        m_out << Svg("Cross-track histogram (on passes)", body);
    }

    void PassTable(const RunStatistics& statistics)
    {
        m_out << "<h2>Passes</h2>\n<table><tr><th>pass</th><th>line</th><th>start</th><th>end</th><th>length (m)</th>"
                 "<th>time (s)</th><th>mean |xte| (m)</th><th>95th pct (m)</th><th>max (m)</th></tr>\n";
        for (const PassFigures& p : statistics.Passes())
            m_out << Printf("<tr><td>%d</td><td>%d</td><td>%.1f</td><td>%.1f</td><td>%.1f</td><td>%.1f</td>"
                            "<td>%.3f</td><td>%.3f</td><td>%.3f</td></tr>\n",
                            p.number, p.pass, p.start - m_start, p.end - m_start, p.length, p.end - p.start,
                            p.meanCrossTrack, p.percentile95, p.maximumCrossTrack);
        m_out << "</table>\n<p>Start and end in seconds from the first fix.</p>\n";
    }

    std::ostream& m_out;
    std::string m_name;
    GuidanceLine* m_line = nullptr;
    std::vector<Core::Maths::Vector2<double>> m_guidance;
    std::vector<Sample> m_samples;
    long m_fixes = 0;
    long m_every = 1; // a fix is sampled when its index is a multiple of this
    double m_start = 0;
    std::map<long, long> m_centimetres; // on-pass fixes by signed cross-track, floor of centimetres
};

} // namespace

std::unique_ptr<FixSink> ReportExport(std::ostream& out)
{
    return std::make_unique<ReportExporter>(out);
}

} // namespace GuidanceTool
