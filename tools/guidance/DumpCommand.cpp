// `guidance dump`: prints the fix records of a record file, skipping damaged
// blocks, and says how many bytes were skipped and which records are missing.
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
    "  line, then how many records were read, how many blocks of other kinds and how\n"
    "  many bytes were skipped as damaged, and which record numbers are missing. With\n"
    "  --csv the records are printed as comma-separated values and the counts go to\n"
    "  standard error.\n";

} // namespace

int Dump(const Arguments& args)
{
    Options options({{"csv", false}});
    if (!options.ParseOrHelp(args, kHelp))
        return 0;
    if (options.Positional().size() != 1)
        throw BadInput("", "dump needs exactly one record file");
    const bool csv = options.Has("csv");

    if (csv)
        std::printf("%s\n", FixRecord::CSVHeader().c_str());
    const RecordFileContents contents = ReadRecordFile(options.Positional()[0], [csv](const FixRecord& record) {
        std::printf("%s\n", csv ? record.CSV().c_str() : record.Text().c_str());
    });
    std::fprintf(csv ? stderr : stdout, "%s\n", contents.CountsText().c_str());
    return kExitSuccess;
}

} // namespace GuidanceTool
