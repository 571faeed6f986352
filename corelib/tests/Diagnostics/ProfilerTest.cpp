#include "Utilities/Profiler.h"

#include "Support/StickDirectory.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <regex>
#include <sstream>
#include <unistd.h>
#include <vector>

using Core::Profiler;

namespace
{

// The report rows of the profiler's whole tree, one string per line.
std::vector<std::string> Rows(Profiler& profiler)
{
    std::FILE* file = std::tmpfile();
    profiler.DumpDataForNode(file, "", const_cast<Profiler::Profile*>(&profiler.Root()), 1.0);
    std::rewind(file);
    std::vector<std::string> rows;
    char line[1024];
    while (std::fgets(line, sizeof line, file))
        rows.emplace_back(line);
    std::fclose(file);
    return rows;
}

// The name cell of a row (between "| " and the next " | ").
std::string NameCell(const std::string& row)
{
    return row.substr(2, row.find(" | ", 2) - 2);
}

// Width of the report's name column; longer names widen their row.
const size_t kNameWidth = 76;

std::string Padded(const std::string& name)
{
    return name + std::string(kNameWidth - std::min(name.size(), kNameWidth), ' ');
}

// One call of name from file:line that lasts at least ms milliseconds.
void Call(Profiler& profiler, const char* name, const char* file = nullptr, int line = 0, int ms = 0)
{
    profiler.Entry(name, file, line);
    usleep(static_cast<useconds_t>(ms) * 1000);
    profiler.Exit();
}

TEST(ProfilerTest, CallPathsAreKeyedByNamePointerAnUnmatchedExitClosesTheRootAndTagsRecord)
{
    // The same text at two call sites: two distinct pointers, so two nodes.
    static const char workHere[] = "Work", workThere[] = "Work";
    Profiler profiler;
    Call(profiler, workHere);
    Call(profiler, workHere);
    Call(profiler, workThere);
    const auto& children = profiler.Root().m_children;
    ASSERT_EQ(2u, children.size());
    EXPECT_EQ(2, children.front().m_calls);

    profiler.Entry("Outer", nullptr, 0);
    profiler.Exit();
    profiler.Exit();
    EXPECT_EQ(&profiler.Root(), profiler.Current());
    EXPECT_EQ(1, profiler.Root().m_calls) << "the unmatched exit counted on the root";

    // Tags record into the process's profiler.
    Profiler& process = Core::Patterns::StaticSingleton<Profiler>::ref();
    {
        Profiler::ProfileTag tag(workHere, __FILE__, __LINE__);
        Profiler::ProfileTag nested(workThere, __FILE__, __LINE__);
    }
    EXPECT_EQ(&process.Root(), process.Current());
    const Profiler::Profile& tagged = process.Root().m_children.back();
    EXPECT_EQ(workHere, tagged.m_name);
    ASSERT_EQ(1u, tagged.m_children.size());
    EXPECT_EQ(workThere, tagged.m_children.front().m_name);
}

TEST(ProfilerTest, RowsNestWithOneDashPerLevelAndCarryCallsAndTimes)
{
    Profiler profiler;
    const char* shared = "Shared";
    const std::string longName(100, 'n');
    profiler.Entry("First", "first.cpp", 7);
    for (int ms : {2, 1, 3})
        Call(profiler, shared, "shared.cpp", 99, ms);
    profiler.Exit();
    profiler.Entry("Second", nullptr, 0);
    Call(profiler, shared, "shared.cpp", 99);
    profiler.Exit();
    Call(profiler, longName.c_str());

    const std::vector<std::string> rows = Rows(profiler);
    ASSERT_EQ(6u, rows.size());
    const std::string names[] = {"Overall", "-first.cpp (7):First", "--shared.cpp (99):Shared", "-Second",
                                 "--shared.cpp (99):Shared", "-" + longName};  // a long name is not cut
    for (size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(Padded(names[i]), NameCell(rows[i]));
    // Calls in 7 columns, five times in seconds to 9 places, percentages in 10 and 11.
    const std::regex rowFormat(R"(\| .{76,} \| {1,7}\d+ \|( +\d+\.\d{9} \|){5} .{10} \| .{11} \|\n)");
    for (const std::string& row : rows)
        EXPECT_TRUE(std::regex_match(row, rowFormat)) << row;

    double calls = 0, firstCalled = 0, total = 0, min = 0, avg = 0, max = 0;
    ASSERT_EQ(6, std::sscanf(rows[2].c_str() + 79, "| %lf | %lf | %lf | %lf | %lf | %lf", &calls, &firstCalled,
                             &total, &min, &avg, &max))
        << rows[2];
    EXPECT_EQ(3, calls);
    EXPECT_GE(min, 0.001);
    EXPECT_GE(max, 0.003);
    EXPECT_GE(total, 0.006);
    EXPECT_LE(min + max, total + 1e-9) << "min and max are two of the three calls";
    EXPECT_NEAR(total / 3, avg, 1e-9);
}

TEST(ProfilerTest, DumpDataWritesTheReportOntoTheStick)
{
    CoreTest::StickDirectory stick;
    if (!stick.Available())
        GTEST_SKIP() << "no /mnt/usb and not root: cannot check the report on the stick";
    const std::string path = CoreTest::StickDirectory::File("profile_" + std::to_string(getpid()) + ".txt");
    Profiler profiler;
    Call(profiler, "Work", nullptr, 0, 2);
    usleep(2000);
    profiler.DumpData();
    std::istringstream report(CoreTest::ReadBytes(path));
    std::remove(path.c_str());

    std::string header, rule, root, work;
    std::getline(std::getline(std::getline(std::getline(report, header), rule), root), work);
    EXPECT_EQ("|                                    Name                                      |  Calls  | First Called "
              "|  Total Time  |   Min Time   |   Avg Time   |   Max Time   | % of Total | % of Parent |",
              header);
    EXPECT_EQ("|" + std::string(kNameWidth + 2, '-') +
                  "|---------|--------------|--------------|--------------|--------------"
                  "|--------------|------------|-------------|",
              rule);
    EXPECT_EQ(header.size(), root.size());
    const std::string rootStart = "| " + Padded("Overall") + " |       0 |  0.000000000 |";
    EXPECT_EQ(rootStart, root.substr(0, rootStart.size()));
    EXPECT_EQ("|    100.000 |     100.000 |", root.substr(root.size() - 28));
    EXPECT_GE(profiler.Root().m_total.AsDouble(), 0.004) << "the root total is the profiler's lifetime";
    EXPECT_EQ("| " + Padded("-Work") + " |       1 |", work.substr(0, 90));
}

} // namespace
