#include "web/door/StreamQueue.h"

#include "ostrel/CallEntry.h"
#include "web/door/EventStream.h"

namespace web
{

using ostrel::_CallEntry;

StreamQueue::StreamQueue(std::size_t mostBytes, std::size_t mostEvents)
    : m_mostBytes(mostBytes), m_mostEvents(mostEvents)
{
    _CallEntry call("StreamQueue::StreamQueue", __FILE__, __LINE__);
}

void StreamQueue::Add(SharedText text)
{
    _CallEntry call("StreamQueue::Add", __FILE__, __LINE__);

    // One event may be larger than the bound where nothing else waits.
    if (!m_texts.empty() &&
        (m_texts.size() >= m_mostEvents || m_bytes + text->size() > m_mostBytes))
    {
        static const auto s_anew = std::make_shared<const std::string>(EventText("anew", "{}"));
        m_texts.clear();
        m_bytes = 0;
        text = s_anew;
    }
    m_bytes += text->size();
    m_texts.push_back(std::move(text));
}

std::vector<SharedText> StreamQueue::Take(std::size_t bytes)
{
    _CallEntry call("StreamQueue::Take", __FILE__, __LINE__);

    std::vector<SharedText> taken;
    for (std::size_t size = 0; !m_texts.empty() && (taken.empty() || size < bytes);)
    {
        size += m_texts.front()->size();
        m_bytes -= m_texts.front()->size();
        taken.push_back(std::move(m_texts.front()));
        m_texts.pop_front();
    }
    return taken;
}

} // namespace web
