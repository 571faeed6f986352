#include "RecordFile.h"

#include "Formats/AppendOnlyFile.h"
#include "Options.h"

#include <fcntl.h>
#include <unistd.h>

namespace GuidanceTool
{

RecordFileContents ReadRecordFile(const std::string& path)
{
    // The block file opens for appending and creates a missing file, so make
    // sure first that the file exists and can be read.
    const int probe = open(path.c_str(), O_RDONLY);
    if (probe < 0)
        throw ToolError("cannot read record file '" + path + "'");
    close(probe);

    Core::AppendOnlyFile file;
    if (!file.Open(path))
        throw ToolError("cannot open record file '" + path + "'");
    RecordFileContents contents;
    for (;;)
    {
        const int before = file.TellRead();
        unsigned short tag = 0;
        Core::IO::CDataBuffer payload;
        if (!file.ReadBlock(tag, payload))
        {
            contents.skippedBytes += file.TellRead() - before;
            break;
        }
        const int blockSize = Core::AppendOnlyFileBase::kHeaderSize + static_cast<int>(payload.Size());
        contents.skippedBytes += file.TellRead() - before - blockSize;

        std::string bytes = payload.ToString();
        Core::IO::ObjectStore store(bytes);
        FixRecord record;
        if (tag == FixRecord::kBlockTag && record.Process(store))
            contents.records.push_back(record);
        else
            ++contents.otherBlocks;
    }
    return contents;
}

std::string EncodeFixRecord(const FixRecord& record)
{
    Core::IO::ObjectStore store;
    FixRecord copy = record;
    copy.Process(store);
    return store.AsString();
}

} // namespace GuidanceTool
