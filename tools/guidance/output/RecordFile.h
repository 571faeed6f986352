// The record file of a replay: fix records, each one block of an append-only
// block file, numbered from 1 in the order they were made. Reading
// resynchronises over damaged blocks, counts the bytes it had to skip, and
// names the sequence numbers that are missing between the records it read.
// Not thread-safe: each reader belongs to one thread.
#ifndef GUIDANCE_RECORDFILE_H
#define GUIDANCE_RECORDFILE_H

#include "FixRecord.h"

#include <functional>
#include <string>
#include <vector>

namespace GuidanceTool
{

// The sequence numbers missing from an ascending run of records: counted in
// full, listed as ranges up to a bound so that memory stays bounded.
class SequenceGaps
{
public:
    // Takes the next record's sequence number.
    void Add(int sequence);
    long long Missing() const { return m_missing; }
    // "none", or the ranges, e.g. "5-7, 12", with "..." past the listed ones.
    std::string Text() const;

private:
    static const int kRangesListed = 10;

    int m_last = 0;
    long long m_missing = 0;
    int m_ranges = 0;
    std::string m_listed;
};

struct RecordFileContents
{
    std::vector<FixRecord> records; // only from the overload without a callback
    std::size_t recordCount = 0;
    std::size_t otherBlocks = 0; // intact blocks that are not fix records, or whose record is incomplete
    long long skippedBytes = 0;  // bytes outside every intact block
    SequenceGaps gaps;

    // "N records, M blocks of other kinds, B bytes skipped as damaged, K missing (ranges)".
    std::string CountsText() const;
};

// Reads every intact block of the file at path, handing each fix record to
// each in turn. Throws ToolError when the file cannot be opened for reading.
RecordFileContents ReadRecordFile(const std::string& path, const std::function<void(const FixRecord&)>& each);
// The same, keeping the records.
RecordFileContents ReadRecordFile(const std::string& path);

// The payload of a fix record's block.
std::string EncodeFixRecord(const FixRecord& record);

} // namespace GuidanceTool

#endif
