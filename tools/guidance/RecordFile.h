// The record file of a replay: fix records, each one block of an append-only
// block file. Reading resynchronises over damaged blocks and counts the bytes
// it had to skip.
// Not thread-safe: each reader belongs to one thread.
#ifndef GUIDANCE_RECORDFILE_H
#define GUIDANCE_RECORDFILE_H

#include "FixRecord.h"

#include <string>
#include <vector>

namespace GuidanceTool
{

struct RecordFileContents
{
    std::vector<FixRecord> records;
    std::size_t otherBlocks = 0;   // intact blocks that are not fix records, or whose record is incomplete
    long long skippedBytes = 0;    // bytes outside every intact block
};

// Reads every intact block of the file at path. Throws ToolError when the file
// cannot be opened for reading.
RecordFileContents ReadRecordFile(const std::string& path);

// The payload of a fix record's block.
std::string EncodeFixRecord(const FixRecord& record);

} // namespace GuidanceTool

#endif
