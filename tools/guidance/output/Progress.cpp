#include "Progress.h"

#include <cstdio>
#include <unistd.h>

namespace GuidanceTool
{

bool Progress::Shown()
{
    return isatty(STDERR_FILENO) != 0;
}

Progress::Progress(const std::string& what, long long total, const char* units)
    : m_what(what), m_total(total), m_units(units), m_enabled(Shown()), m_last(std::chrono::steady_clock::now())
{
}

void Progress::Update(long long done)
{
    m_done = done;
    const auto now = std::chrono::steady_clock::now();
    if (!m_enabled || (m_drawn && now - m_last < kRedrawInterval))
        return;
    m_last = now;
    Draw();
}

void Progress::Draw()
{
    m_drawn = true;
    if (m_total > 0)
        std::fprintf(stderr, "\r%s: %3d%% (%lld of %lld %s) ", m_what.c_str(),
                     static_cast<int>(100.0 * m_done / m_total), m_done, m_total, m_units);
    else
        std::fprintf(stderr, "\r%s: %lld %s ", m_what.c_str(), m_done, m_units);
}

void Progress::Close()
{
    // The line ends on the final figure, not on the last one drawn.
    if (m_drawn)
    {
        Draw();
        std::fprintf(stderr, "\n");
    }
    m_drawn = false;
}

} // namespace GuidanceTool
