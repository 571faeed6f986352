#include "SerialFeed.h"

#include "Replayer.h"
#include "SerialLink.h"

#include <algorithm>

namespace GuidanceTool
{

const std::chrono::milliseconds SerialFeed::kBurstPause(15);

SerialFeed::SerialFeed(SerialLink& link, Replayer& replayer)
    : m_link(link), m_replayer(replayer), m_lastData(Clock::now()), m_epochOpen(false)
{
}

SerialFeed::Event SerialFeed::Step(Clock::duration maxWait)
{
    Clock::duration wait = maxWait;
    if (m_epochOpen)
        wait = std::max(Clock::duration::zero(), std::min(wait, m_lastData + kBurstPause - Clock::now()));
    const std::string chunk = m_link.Read(std::chrono::duration<double>(wait).count());
    const Clock::time_point now = Clock::now();
    if (!chunk.empty())
    {
        m_lastData = now;
        m_epochOpen = true;
        m_replayer.Feed(chunk);
        return Event::Data;
    }
    if (m_epochOpen && now - m_lastData >= kBurstPause)
    {
        m_epochOpen = false;
        m_replayer.InputPaused();
        return Event::Paused;
    }
    return Event::Quiet;
}

} // namespace GuidanceTool
