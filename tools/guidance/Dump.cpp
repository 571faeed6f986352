// `guidance dump`: prints the fix records of a record file, skipping damaged
// blocks, and says how many bytes were skipped.
#include "Formats/AppendOnlyFile.h"
#include "FixRecord.h"
#include "RecordFile.h"
#include "Tool.h"

#include <cstdio>

namespace GuidanceTool
{

namespace
{

const char kHelp[] =
    "usage: guidance dump [--csv] FILE\n"
    "  Prints the fix records of a record file written by 'guidance replay', one per\n"
    "  line, then how many records were read and how many bytes were skipped as\n"
    "  damaged. With --csv the records are printed as comma-separated values and the\n"
    "  counts go to standard error.\n";

} // namespace

int Dump(const Arguments& args)
{
    Options options({{"csv", false}});
    if (!options.ParseOrHelp(args, kHelp))
        return 0;
    if (options.Positional().size() != 1)
        throw ToolError("dump needs exactly one record file");
    const bool csv = options.Has("csv");

    const RecordFileContents contents = ReadRecordFile(options.Positional()[0]);
    if (csv)
        std::printf("%s\n", FixRecord::CSVHeader().c_str());
    for (const FixRecord& record : contents.records)
        std::printf("%s\n", csv ? record.CSV().c_str() : record.Text().c_str());
    std::fprintf(csv ? stderr : stdout,
                 "%zu records, %zu blocks of other kinds, %lld bytes skipped as damaged\n",
                 contents.records.size(), contents.otherBlocks, contents.skippedBytes);
    return 0;
}

} // namespace GuidanceTool
