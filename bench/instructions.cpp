// Instruction counts of per-item operations, for a figure that a busy machine
// does not disturb: run under callgrind (bench/run does), each operation is
// repeated, its counts are zeroed before and dumped after, and bench/table.py
// divides each dump by the items this program prints. The offset construction
// is counted per input point at a small and a large size: equal counts mean
// its work per point does not grow, so the growth of its time per point is
// time spent waiting for memory.
// Run without valgrind (as in the smoke run) it only exercises the same code.
#include "BenchSupport.h"

#include "Formats/AppendOnlyFile.h"
#include "Guidance/PolyLine.h"
#include "IO/DataBuffer.h"
#include "IO/NmeaParser.h"

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_DUMP_STATS_AT(name) (void)(name)
#endif

#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace
{

using Core::Maths::Vector3;

// Runs operation once to warm up (tables, caches, first allocations), then
// count times between zeroed and dumped counters, and prints the row name
// and the items done (count times itemsPerCall) for the table.
template <typename Operation>
void Measure(const std::string& row, int count, Operation operation, int itemsPerCall = 1)
{
    operation(0);
    CALLGRIND_ZERO_STATS;
    for (int i = 0; i < count; ++i)
        operation(i);
    CALLGRIND_DUMP_STATS_AT(row.c_str());
    std::printf("%s\t%d\n", row.c_str(), count * itemsPerCall);
}

// A GGA sentence of a receiver, checksum included.
const char* const kGga = "$GPGGA,123519.00,4807.0381,N,01131.3242,E,2,08,0.9,545.4,M,46.9,M,1.2,0031*43\r\n";

// A curved field line of 200 points 5 m apart, and fixes driving its fourth
// pass 12 m to the right, a little off it, 1 m apart.
const double kWidth = 12.0;

Vector3<double> LinePoint(double along, double offset)
{
    const double radius = 400.0;
    const double angle = along / radius;
    return Vector3<double>((radius + offset) * std::sin(angle), radius - (radius + offset) * std::cos(angle), 0.0);
}

} // namespace

int main()
{
    const bool smoke = CoreBench::Smoke();

    std::string sentence(kGga);
    Core::Nmea::UNmeaData data;
    Core::Nmea::NmeaSentenceTypes type;
    Measure("Nmea/GGA per sentence", smoke ? 10 : 20000, [&](int) {
        if (Core::Nmea::CNmeaParser::ParseNmeaData(type, sentence, data) != Core::Nmea::CNmeaParser::PARSE_OK)
            std::fprintf(stderr, "instructions: the GGA sentence did not decode\n");
    });

    Core::PolyLine line;
    for (int i = 0; i < 200; ++i)
        line.AddPoint(LinePoint(5.0 * i, 0.0), true);
    std::map<long, Core::PolyLine> passes;
    Measure("Guidance step per fix", smoke ? 10 : 5000, [&](int i) {
        // Nearest point on the line gives the pass; nearest point on the
        // pass gives the cross-track error.
        const Vector3<double> fix = LinePoint(100.0 + 0.2 * (i % 4000), -3.0 * kWidth + 0.3 * std::sin(i * 0.1));
        unsigned int segment = 0;
        double distance = 0.0, along = 0.0;
        Vector3<double> nearest;
        line.DistanceToNearest(fix, segment, distance, along, nearest);
        const long pass = std::lround(-distance / kWidth);
        auto found = passes.find(pass);
        if (found == passes.end())
            found = passes.emplace(pass, line.Offset(static_cast<double>(pass) * kWidth)).first;
        found->second.DistanceToNearest(fix, segment, distance, along, nearest);
    });

    for (const int points : {1000, static_cast<int>(CoreBench::Sized(100000, 2000))})
    {
        Core::PolyLine path = CoreBench::LineThrough(CoreBench::RecordedPath(static_cast<std::size_t>(points)));
        const double reach = path.GetMaximumParallelOffset();
        Measure(
            "OffsetConstruction per point at " + std::to_string(points), 1,
            [&](int) {
                // Setting the reach marks the construction out of date.
                path.SetMaximumParallelOffset(reach);
                path.RecalculateOffsetConstruction();
            },
            points);
    }

    Core::AppendOnlyFile file;
    const std::string payload = CoreBench::PseudoRandomBytes(100, 7);
    const Core::IO::CDataBuffer record(reinterpret_cast<const unsigned char*>(payload.data()),
                                       static_cast<unsigned int>(payload.size()));
    if (!file.Open(CoreBench::ScratchFile("records.dat")))
        std::fprintf(stderr, "instructions: cannot open the record file\n");
    Measure("WriteBlock per record", smoke ? 10 : 300, [&](int) {
        if (!file.WriteBlock(7, record))
            std::fprintf(stderr, "instructions: a block write failed\n");
    });
    return 0;
}
