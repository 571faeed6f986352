#include "Utilities/Profiler.h"

#include "Utilities/FileUtilities.h"

#include <unistd.h>

namespace Core
{

template class Patterns::StaticSingleton<Profiler>;

namespace
{
// Width of the name column, padded with spaces; longer names are not cut.
constexpr std::string::size_type kNameWidth = 76;
} // namespace

Profiler::Profile::Profile() : Profile(nullptr, nullptr, 0, nullptr) {}

Profiler::Profile::Profile(const char* name, const char* file, int line, Profile* parent)
    : m_name(name),
      m_file(file),
      m_line(line),
      m_calls(0),
      m_firstCalled(Time::Now()),
      m_start(m_firstCalled),
      m_parent(parent)
{
}

Profiler::ProfileTag::ProfileTag(const char* name, const char* file, int line)
{
    Patterns::StaticSingleton<Profiler>::ref().Entry(name, file, line);
}

Profiler::ProfileTag::~ProfileTag()
{
    Patterns::StaticSingleton<Profiler>::ref().Exit();
}

Profiler::Profiler() : m_root("Overall", nullptr, 0, nullptr), m_current(&m_root) {}

void Profiler::Entry(const char* name, const char* file, int line)
{
    if (!m_current)
        return;
    Profile* found = nullptr;
    for (Profile& child : m_current->m_children)
    {
        if (child.m_name == name)
        {
            found = &child;
            break;
        }
    }
    if (!found)
    {
        m_current->m_children.emplace_back(name, file, line, m_current);
        found = &m_current->m_children.back();
    }
    m_current = found;
    m_current->m_start = Time::Now();
}

void Profiler::Exit()
{
    if (!m_current)
        return;
    Profile& node = *m_current;
    const Time elapsed = Time::Now() - node.m_start;
    if (node.m_calls == 0)
    {
        node.m_min = elapsed;
        node.m_max = elapsed;
    }
    else
    {
        if (elapsed < node.m_min)
            node.m_min = elapsed;
        if (elapsed > node.m_max)
            node.m_max = elapsed;
    }
    node.m_total += elapsed;
    ++node.m_calls;
    if (node.m_parent)
        m_current = node.m_parent;
}

void Profiler::DumpData()
{
    m_root.m_total = Time::Now() - m_root.m_start;
    const std::string path = Utilities::kUSBMountPoint + ("profile_" + std::to_string(getpid()) + ".txt");
    std::FILE* file = std::fopen(path.c_str(), "wt");
    if (!file)
        return;
    std::fputs("|                                    Name                                      "
               "|  Calls  | First Called |  Total Time  |   Min Time   |   Avg Time   |   Max Time   ",
               file);
    std::fprintf(file, "| %% of Total ");
    std::fprintf(file, "| %% of Parent |\n");
    std::fprintf(file, "|%s|---------", std::string(78, '-').c_str());
    for (int column = 0; column < 5; ++column)
        std::fputs("|--------------", file);
    std::fputs("|------------|-------------|\n", file);
    DumpDataForNode(file, "", &m_root, m_root.m_total.AsDouble());
    std::fclose(file);
}

void Profiler::DumpDataForNode(std::FILE* file, const std::string& prefix, Profile* node, double overallTotal)
{
    std::string cell = prefix;
    if (node->m_file)
        cell += std::string(node->m_file) + " (" + std::to_string(node->m_line) + "):";
    cell += node->m_name;
    if (cell.size() < kNameWidth)
        cell.append(kNameWidth - cell.size(), ' ');

    const double total = node->m_total.AsDouble();
    const double average = node->m_calls == 0 ? total : total / node->m_calls;
    const double parentTotal = node->m_parent ? node->m_parent->m_total.AsDouble() : overallTotal;
    std::fprintf(file, "| %s | %7d | %12.9lf | %12.9lf | %12.9lf | %12.9lf | %12.9lf | %10.3f | %11.3f |\n",
                 cell.c_str(), node->m_calls, (node->m_firstCalled - m_root.m_firstCalled).AsDouble(), total,
                 node->m_min.AsDouble(), average, node->m_max.AsDouble(), total / overallTotal * 100,
                 total / parentTotal * 100);
    for (Profile& child : node->m_children)
        DumpDataForNode(file, prefix + "-", &child, overallTotal);
}

} // namespace Core
