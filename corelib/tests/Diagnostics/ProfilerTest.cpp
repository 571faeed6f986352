#include "Utilities/Profiler.h"

#include "Support/StickDirectory.h"
#include "Support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <sstream>
#include <unistd.h>
#include <vector>

using Core::Profiler;

namespace
{

// The same text at two call sites: two distinct pointers, so two nodes.
const char kWorkHere[] = "Work";
const char kWorkThere[] = "Work";

class ProfilerTest : public ::testing::Test
{
protected:
    // The report rows of the profiler's whole tree, one string per line.
    std::vector<std::string> Rows(Profiler& profiler, double overallTotal = 1.0)
    {
        std::FILE* file = std::tmpfile();
        profiler.DumpDataForNode(file, "", const_cast<Profiler::Profile*>(&profiler.Root()), overallTotal);
        std::rewind(file);
        std::vector<std::string> rows;
        char line[1024];
        while (std::fgets(line, sizeof line, file))
            rows.emplace_back(line);
        std::fclose(file);
        return rows;
    }

    // The name cell of a row (between "| " and the next " | ").
    static std::string NameCell(const std::string& row) { return row.substr(2, row.find(" | ", 2) - 2); }

    static std::string Padded(const std::string& name) { return name + std::string(76 - name.size(), ' '); }

    static void SleepMs(int ms) { usleep(static_cast<useconds_t>(ms) * 1000); }
};

TEST_F(ProfilerTest, CallPathsAreKeyedByNamePointerNotText)
{
    Profiler profiler;
    for (int i = 0; i < 2; ++i)
    {
        profiler.Entry(kWorkHere, "a.cpp", 10);
        profiler.Exit();
    }
    profiler.Entry(kWorkThere, "b.cpp", 20);
    profiler.Exit();

    const auto& children = profiler.Root().m_children;
    ASSERT_EQ(2u, children.size());
    EXPECT_EQ(kWorkHere, children.front().m_name);
    EXPECT_EQ(2, children.front().m_calls);
    EXPECT_EQ(kWorkThere, children.back().m_name);
    EXPECT_EQ(1, children.back().m_calls);
    EXPECT_EQ(&profiler.Root(), profiler.Current());
}

TEST_F(ProfilerTest, CallsCountWithTotalMinMaxAndAverage)
{
    Profiler profiler;
    for (int ms : {2, 1, 3})
    {
        profiler.Entry("Timed", nullptr, 0);
        SleepMs(ms);
        profiler.Exit();
    }
    const Profiler::Profile& node = profiler.Root().m_children.front();
    EXPECT_EQ(3, node.m_calls);
    EXPECT_GE(node.m_min.AsDouble(), 0.001);
    EXPECT_GE(node.m_max.AsDouble(), 0.003);
    EXPECT_LE(node.m_min, node.m_max);
    EXPECT_GE(node.m_total.AsDouble(), 0.006);
    EXPECT_NEAR(node.m_total.AsDouble(), node.m_min.AsDouble() + node.m_max.AsDouble(), node.m_max.AsDouble())
        << "the middle call lies between min and max";
    EXPECT_LT(node.m_total.Microseconds(), 1000000) << "the total is normalised as it grows";

    double calls = 0, firstCalled = 0, total = 0, min = 0, avg = 0, max = 0;
    const std::string row = Rows(profiler).at(1);
    ASSERT_EQ(6, std::sscanf(row.c_str() + 79, "| %lf | %lf | %lf | %lf | %lf | %lf", &calls, &firstCalled, &total,
                             &min, &avg, &max))
        << row;
    EXPECT_EQ(3, calls);
    EXPECT_NEAR(total / 3, avg, 1e-9);
    EXPECT_NEAR(node.m_min.AsDouble(), min, 1e-9);
    EXPECT_NEAR(node.m_max.AsDouble(), max, 1e-9);
}

TEST_F(ProfilerTest, ExitWithoutEntryClosesTheCurrentNodeAndTheRootStaysCurrent)
{
    Profiler profiler;
    profiler.Entry("Outer", nullptr, 0);
    profiler.Entry("Inner", nullptr, 0);
    profiler.Exit();
    profiler.Exit();
    profiler.Exit();
    EXPECT_EQ(&profiler.Root(), profiler.Current());
    EXPECT_EQ(1, profiler.Root().m_calls) << "the unmatched exit counted on the root";
}

TEST_F(ProfilerTest, RowsNestWithOneDashPerLevelAndRepeatAFunctionUnderEachParent)
{
    Profiler profiler;
    const char* shared = "Shared";
    profiler.Entry("First", "first.cpp", 7);
    profiler.Entry(shared, "shared.cpp", 99);
    profiler.Exit();
    profiler.Exit();
    profiler.Entry("Second", nullptr, 0);
    profiler.Entry(shared, "shared.cpp", 99);
    profiler.Exit();
    profiler.Exit();

    const std::vector<std::string> rows = Rows(profiler);
    ASSERT_EQ(5u, rows.size());
    EXPECT_EQ(Padded("Overall"), NameCell(rows[0]));
    EXPECT_EQ(Padded("-first.cpp (7):First"), NameCell(rows[1]));
    EXPECT_EQ(Padded("--shared.cpp (99):Shared"), NameCell(rows[2]));
    EXPECT_EQ(Padded("-Second"), NameCell(rows[3]));
    EXPECT_EQ(Padded("--shared.cpp (99):Shared"), NameCell(rows[4]));

    // Calls in 7 columns, five times in seconds to 9 places, percentages in 10 and 11.
    const std::regex rowFormat(R"(\| .{76} \| {1,7}\d+ \|( +\d+\.\d{9} \|){5} .{10} \| .{11} \|\n)");
    for (const std::string& row : rows)
        EXPECT_TRUE(std::regex_match(row, rowFormat)) << row;
}

TEST_F(ProfilerTest, LongNamesAreNotCut)
{
    Profiler profiler;
    const std::string name(100, 'n');
    profiler.Entry(name.c_str(), nullptr, 0);
    profiler.Exit();
    EXPECT_EQ("-" + name, NameCell(Rows(profiler).at(1)));
}

TEST_F(ProfilerTest, ProfileTagsRecordIntoTheProcessProfiler)
{
    Profiler& profiler = Core::Patterns::StaticSingleton<Profiler>::ref();
    const char* outer = "TagOuter";
    const char* inner = "TagInner";
    {
        Profiler::ProfileTag tag(outer, __FILE__, __LINE__);
        Profiler::ProfileTag nested(inner, __FILE__, __LINE__);
        EXPECT_EQ(inner, profiler.Current()->m_name);
    }
    EXPECT_EQ(&profiler.Root(), profiler.Current());
    const Profiler::Profile& node = profiler.Root().m_children.back();
    EXPECT_EQ(outer, node.m_name);
    EXPECT_EQ(1, node.m_calls);
    ASSERT_EQ(1u, node.m_children.size());
    EXPECT_EQ(1, node.m_children.front().m_calls);
}

TEST_F(ProfilerTest, DumpDataWritesTheReportOntoTheStick)
{
    CoreTest::StickDirectory stick;
    if (!stick.Available())
        GTEST_SKIP() << "no /mnt/usb and not root: cannot check the report on the stick";
    const std::string path = CoreTest::StickDirectory::File("profile_" + std::to_string(getpid()) + ".txt");

    Profiler profiler;
    profiler.Entry("Work", nullptr, 0);
    SleepMs(2);
    profiler.Exit();
    SleepMs(2);
    profiler.DumpData();
    std::istringstream report(CoreTest::ReadBytes(path));
    std::remove(path.c_str());

    std::string header, rule, root, work;
    std::getline(report, header);
    std::getline(report, rule);
    std::getline(report, root);
    std::getline(report, work);
    EXPECT_EQ("|                                    Name                                      |  Calls  | First Called "
              "|  Total Time  |   Min Time   |   Avg Time   |   Max Time   | % of Total | % of Parent |",
              header);
    EXPECT_EQ("|" + std::string(78, '-') + "|---------|--------------|--------------|--------------|--------------"
              "|--------------|------------|-------------|",
              rule);
    EXPECT_EQ(header.size(), rule.size());
    EXPECT_EQ(header.size(), root.size());
    const std::string rootStart = "| " + Padded("Overall") + " |       0 |  0.000000000 |";
    EXPECT_EQ(rootStart, root.substr(0, rootStart.size()));
    EXPECT_EQ("|    100.000 |     100.000 |", root.substr(root.size() - 28));
    EXPECT_GE(profiler.Root().m_total.AsDouble(), 0.004) << "the root total is the profiler's lifetime";
    EXPECT_FALSE(work.empty());
}

} // namespace
