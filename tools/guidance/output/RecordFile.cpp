#include "RecordFile.h"

#include "Formats/AppendOnlyFile.h"
#include "ToolError.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace GuidanceTool
{

void SequenceGaps::Add(int sequence)
{
    if (sequence > m_last + 1)
    {
        m_missing += sequence - m_last - 1;
        if (m_ranges < kRangesListed)
        {
            const std::string first = std::to_string(m_last + 1);
            const std::string last = std::to_string(sequence - 1);
            m_listed += (m_ranges == 0 ? "" : ", ") + (first == last ? first : first + "-" + last);
        }
        else if (m_ranges == kRangesListed)
            m_listed += ", ...";
        ++m_ranges;
    }
    if (sequence > m_last)
        m_last = sequence;
}

std::string SequenceGaps::Text() const
{
    return m_missing == 0 ? "none" : m_listed;
}

std::string RecordFileContents::CountsText() const
{
    return std::to_string(recordCount) + " records, " + std::to_string(otherBlocks) + " blocks of other kinds, " +
           std::to_string(skippedBytes) + " bytes skipped as damaged, " + std::to_string(gaps.Missing()) + " missing" +
           (gaps.Missing() == 0 ? "" : " (" + gaps.Text() + ")");
}

RecordFileContents ReadRecordFile(const std::string& path, const std::function<void(const FixRecord&)>& each)
{
    // The block file opens for appending and creates a missing file, so make
    // sure first that the file exists and can be read.
    const int probe = open(path.c_str(), O_RDONLY);
    if (probe < 0)
        throw ToolError(errno == ENOENT || errno == EACCES ? kExitBadInput : kExitIoFailure, path,
                        "cannot read the record file", std::strerror(errno));
    close(probe);

    Core::AppendOnlyFile file;
    if (!file.Open(path))
        throw IoFailure(path, "cannot open the record file");
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
        {
            ++contents.recordCount;
            contents.gaps.Add(record.sequence);
            each(record);
        }
        else
            ++contents.otherBlocks;
    }
    return contents;
}

RecordFileContents ReadRecordFile(const std::string& path)
{
    std::vector<FixRecord> records;
    RecordFileContents contents = ReadRecordFile(path, [&](const FixRecord& record) { records.push_back(record); });
    contents.records = std::move(records);
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
