#include "corvan/ReconnectPause.h"

#include <algorithm>

namespace corvan
{

LinkTiming::Milliseconds ReconnectPause::Next(LinkTiming::Milliseconds lived)
{
    if (lived >= m_timing.settled)
    {
        m_next = LinkTiming::Milliseconds(0);
        return m_next;
    }
    m_next = std::clamp(m_next * 2, m_timing.firstPause, m_timing.longestPause);
    // Many clients lose one Master at the same moment; they are not to come back at one moment.
    std::uniform_int_distribution<long> shorter(0, m_next.count() / 5);
    return m_next - LinkTiming::Milliseconds(shorter(m_random));
}

} // namespace corvan
