#include "corvan/MessageQueue.h"

#include <utility>

namespace corvan
{

std::size_t MessageQueue::BytesOf(const LinkNews &news)
{
    const auto *message = std::get_if<boost::shared_ptr<Message>>(&news);
    return message ? (*message)->wireBytes : 0;
}

bool MessageQueue::IsFull() const
{
    return m_news.size() >= k_MaxMessages || m_bytes >= k_MaxBytes;
}

bool MessageQueue::Push(LinkNews news)
{
    std::unique_lock lock(m_mutex);
    if (std::holds_alternative<boost::shared_ptr<Message>>(news))
        m_hasRoom.wait(lock, [&] { return m_isClosed || !IsFull(); });
    if (m_isClosed)
        return false;

    const bool wasEmpty = m_news.empty();
    m_bytes += BytesOf(news);
    m_news.push_back(std::move(news));
    return wasEmpty;
}

std::optional<LinkNews> MessageQueue::Take()
{
    const std::lock_guard lock(m_mutex);
    if (m_news.empty())
        return std::nullopt;
    LinkNews news = std::move(m_news.front());
    m_news.pop_front();
    m_bytes -= BytesOf(news);
    m_hasRoom.notify_one();
    return news;
}

std::size_t MessageQueue::Count() const
{
    const std::lock_guard lock(m_mutex);
    return m_news.size();
}

void MessageQueue::Close()
{
    const std::lock_guard lock(m_mutex);
    m_isClosed = true;
    m_news.clear();
    m_bytes = 0;
    m_hasRoom.notify_all();
}

void MessageQueue::Open()
{
    const std::lock_guard lock(m_mutex);
    m_isClosed = false;
}

} // namespace corvan
