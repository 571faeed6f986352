// Guidance geometry against GEOS (offset lines, nearest point on a line), and
// the random number generator against std::mt19937.
#include "BenchSupport.h"

#include "Guidance/PolyLine.h"
#include "Maths/Random.h"

#include <geos_c.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

namespace
{

using namespace CoreBench;
using Core::Maths::Vector3;

// A GEOS context whose notices are discarded, with the path as a line string.
class Geos
{
public:
    explicit Geos(const std::vector<Vector3<double>>& points) : m_context(GEOS_init_r())
    {
        GEOSContext_setNoticeHandler_r(m_context, &Geos::Ignore);
        GEOSContext_setErrorHandler_r(m_context, &Geos::Ignore);
        GEOSCoordSequence* sequence = GEOSCoordSeq_create_r(m_context, static_cast<unsigned int>(points.size()), 2);
        for (unsigned int i = 0; i < points.size(); ++i)
            GEOSCoordSeq_setXY_r(m_context, sequence, i, points[i].x, points[i].y);
        m_line = GEOSGeom_createLineString_r(m_context, sequence);
    }
    ~Geos()
    {
        GEOSGeom_destroy_r(m_context, m_line);
        GEOS_finish_r(m_context);
    }
    Geos(const Geos&) = delete;
    Geos& operator=(const Geos&) = delete;

    GEOSContextHandle_t Context() const { return m_context; }
    const GEOSGeometry* Line() const { return m_line; }

    // The single-sided offset at distance d to the right, as the library
    // counts sides (GEOS counts positive distances to the left), with mitred
    // corners like the library's bisector construction. Returns the point count.
    int Offset(double d) const
    {
        GEOSGeometry* offset = GEOSOffsetCurve_r(m_context, m_line, -d, 8, GEOSBUF_JOIN_MITRE, 1000.0);
        const int count = offset != nullptr ? GEOSGetNumCoordinates_r(m_context, offset) : -1;
        if (offset != nullptr)
            GEOSGeom_destroy_r(m_context, offset);
        return count;
    }

private:
    static void Ignore(const char*, ...) {}

    GEOSContextHandle_t m_context;
    GEOSGeometry* m_line;
};

const double kOffsetDistance = 4.5;

// The library's figures are per call on lines of 1 000, 10 000 and 100 000
// points; bench/table.py also compares its time per point across the sizes.
void OffsetArguments(benchmark::internal::Benchmark* b)
{
    b->Arg(1000)->Arg(10000)->Arg(Sized(100000, 20000))->Unit(benchmark::kMillisecond);
}

// The construction against one GEOS offset line at the same distance (GEOS
// has no construction for every distance: one offset line is the work a
// caller of GEOS does for each new distance). The two take turns, call by
// call (see Alternate), so that both meet the same state of the caches and
// the heap that the benchmarks before them left.
class OffsetConstructionPair
{
public:
    explicit OffsetConstructionPair(std::size_t points)
        : m_path(RecordedPath(points)), m_line(LineThrough(m_path)), m_geos(m_path)
    {
    }
    void Library()
    {
        // Setting the reach marks the construction out of date.
        m_line.SetMaximumParallelOffset(Core::PolyLine().GetMaximumParallelOffset());
        m_line.RecalculateOffsetConstruction();
        benchmark::DoNotOptimize(m_line.GetOffsetVerticies().data());
    }
    void GeosOffset() { benchmark::DoNotOptimize(m_geos.Offset(kOffsetDistance)); }
    // Offset vertices per input point: the number of collapse events the
    // construction handled, relative to the line's size.
    double VerticesPerPoint() const
    {
        return static_cast<double>(m_line.GetOffsetVerticies().size()) / static_cast<double>(m_path.size());
    }

private:
    const std::vector<Vector3<double>> m_path;
    Core::PolyLine m_line;
    const Geos m_geos;
};

void OffsetConstructionLib(benchmark::State& state)
{
    OffsetConstructionPair pair(static_cast<std::size_t>(state.range(0)));
    Alternate(
        state, Clock::ThreadCpu, [&] { pair.Library(); }, [&] { pair.GeosOffset(); });
    state.counters["vertices_per_point"] = pair.VerticesPerPoint();
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void OffsetConstructionRef(benchmark::State& state)
{
    OffsetConstructionPair pair(static_cast<std::size_t>(state.range(0)));
    Alternate(
        state, Clock::ThreadCpu, [&] { pair.GeosOffset(); }, [&] { pair.Library(); });
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// One GEOS offset line, the comparison of a line drawn from the construction.
void GeosOffsetRef(benchmark::State& state)
{
    const Geos geos(RecordedPath(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state)
        benchmark::DoNotOptimize(geos.Offset(kOffsetDistance));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void OffsetLib(benchmark::State& state)
{
    const auto points = RecordedPath(static_cast<std::size_t>(state.range(0)));
    const Core::PolyLine line = LineThrough(points);
    line.RecalculateOffsetConstruction();
    unsigned int count = 0;
    for (auto _ : state)
    {
        const Core::PolyLine offset = line.Offset(kOffsetDistance);
        count = offset.GetPointCount();
        benchmark::DoNotOptimize(offset.GetPoints().data());
    }
    // On this gentle path neither side drops vertices at this distance.
    SameOutput(state, count == points.size() && static_cast<int>(count) == Geos(points).Offset(kOffsetDistance),
               "offset line point counts differ");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The least a draw must do: one read of every offset vertex's range, no
// point computed or kept. Its growth from the smallest size to the largest is
// that of memory once the vertices no longer fit in the caches.
void OffsetReadRef(benchmark::State& state)
{
    const auto points = RecordedPath(static_cast<std::size_t>(state.range(0)));
    const Core::PolyLine line = LineThrough(points);
    line.RecalculateOffsetConstruction();
    const std::vector<Core::PolyLine::sVertex>& vertices = line.GetOffsetVerticies();
    std::size_t active = 0;
    for (auto _ : state)
    {
        active = 0;
        for (const Core::PolyLine::sVertex& v : vertices)
            active += v.AtDistance(kOffsetDistance) ? 1 : 0;
        benchmark::DoNotOptimize(active);
    }
    SameOutput(state, active == points.size(), "vertices at the distance differ from the offset line's points");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(OffsetConstructionLib)->Name("OffsetConstruction/lib")->Apply(OffsetArguments);
BENCHMARK(OffsetConstructionRef)->Name("OffsetConstruction/ref")->Apply(OffsetArguments);
BENCHMARK(OffsetLib)->Name("Offset/lib")->Apply(OffsetArguments);
BENCHMARK(GeosOffsetRef)->Name("Offset/ref")->Apply(OffsetArguments);
BENCHMARK(OffsetLib)->Name("OffsetVsRead/lib")->Apply(OffsetArguments);
BENCHMARK(OffsetReadRef)->Name("OffsetVsRead/ref")->Apply(OffsetArguments);

// Positions around the path, up to 30 m either side of it.
std::vector<Vector3<double>> Queries(std::size_t length)
{
    std::minstd_rand generator(11);
    std::uniform_real_distribution<double> along(0.0, static_cast<double>(length - 1));
    std::uniform_real_distribution<double> across(-30.0, 30.0);
    std::vector<Vector3<double>> queries;
    for (int i = 0; i < 64; ++i)
    {
        const double x = along(generator);
        queries.emplace_back(x, 20.0 * std::sin(x / 60.0) + across(generator), 0.0);
    }
    return queries;
}

const std::size_t kNearestLength = 10000;

void NearestLib(benchmark::State& state)
{
    const Core::PolyLine line = LineThrough(RecordedPath(kNearestLength));
    const auto queries = Queries(kNearestLength);
    unsigned int segment = 0;
    double distance = 0.0, alongTrack = 0.0;
    Vector3<double> nearest;
    std::size_t i = 0;
    for (auto _ : state)
    {
        line.DistanceToNearest(queries[i++ % queries.size()], segment, distance, alongTrack, nearest);
        benchmark::DoNotOptimize(alongTrack);
    }
    // Compare the last query's answer with GEOS's.
    const Geos geos(RecordedPath(kNearestLength));
    const Vector3<double>& q = queries[(i - 1) % queries.size()];
    GEOSGeometry* point = GEOSGeom_createPointFromXY_r(geos.Context(), q.x, q.y);
    double geosDistance = 0.0;
    GEOSDistance_r(geos.Context(), geos.Line(), point, &geosDistance);
    const double geosAlong = GEOSProject_r(geos.Context(), geos.Line(), point);
    GEOSGeom_destroy_r(geos.Context(), point);
    SameOutput(state,
               std::fabs(std::fabs(distance) - geosDistance) < 1e-6 && std::fabs(alongTrack - geosAlong) < 1e-6,
               "nearest point differs from GEOS's");
}

void NearestRef(benchmark::State& state)
{
    const Geos geos(RecordedPath(kNearestLength));
    std::vector<GEOSGeometry*> points;
    for (const Vector3<double>& q : Queries(kNearestLength))
        points.push_back(GEOSGeom_createPointFromXY_r(geos.Context(), q.x, q.y));
    std::size_t i = 0;
    for (auto _ : state)
    {
        const GEOSGeometry* point = points[i++ % points.size()];
        double distance = 0.0;
        GEOSDistance_r(geos.Context(), geos.Line(), point, &distance);
        benchmark::DoNotOptimize(distance);
        benchmark::DoNotOptimize(GEOSProject_r(geos.Context(), geos.Line(), point));
    }
    for (GEOSGeometry* point : points)
        GEOSGeom_destroy_r(geos.Context(), point);
}

BENCHMARK(NearestLib)->Name("DistanceToNearest/lib/10000")->Unit(benchmark::kMicrosecond);
BENCHMARK(NearestRef)->Name("DistanceToNearest/ref/10000")->Unit(benchmark::kMicrosecond);

// ---- Random ------------------------------------------------------------------

const int kDraws = 4096;

void RandomLib(benchmark::State& state)
{
    Core::Random random(5489u);
    std::mt19937 reference(5489u);
    unsigned int last = 0;
    for (auto _ : state)
    {
        for (int i = 0; i < kDraws; ++i)
            last = random.RandInt();
        benchmark::DoNotOptimize(last);
    }
    // Both generators are MT19937 from the same seed: the same sequence.
    reference.discard(static_cast<unsigned long long>(state.iterations()) * kDraws - 1);
    SameOutput(state, last == reference(), "sequence differs from std::mt19937's");
    state.SetItemsProcessed(state.iterations() * kDraws);
}

void RandomRef(benchmark::State& state)
{
    std::mt19937 random(5489u);
    unsigned int last = 0;
    for (auto _ : state)
    {
        for (int i = 0; i < kDraws; ++i)
            last = static_cast<unsigned int>(random());
        benchmark::DoNotOptimize(last);
    }
    state.SetItemsProcessed(state.iterations() * kDraws);
}

BENCHMARK(RandomLib)->Name("Random/lib/RandInt");
BENCHMARK(RandomRef)->Name("Random/ref/RandInt");

} // namespace
