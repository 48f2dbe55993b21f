#pragma once

#include <boost/shared_ptr.hpp>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <variant>

#include "corvan/Link.h"

namespace corvan
{

/// What the link's threads tell the main thread, in order: the connection came up, it was lost, it
/// was refused, a message came in.
struct LinkUp
{
    Link::Welcome who{};
};
struct LinkDown
{
    String reason;
};
struct LinkTurnedAway
{
    String reason;
};
using LinkNews = std::variant<LinkUp, LinkDown, LinkTurnedAway, boost::shared_ptr<Message>>;

/// A queue between the link and the main thread. Any thread.
///
/// It is bounded: a message that finds it full waits until the main thread has taken some, so a
/// Master that sends faster than the program reads is slowed down and no memory piles up.
class MessageQueue
{
public:
    static constexpr std::size_t k_MaxMessages = 10'000;
    static constexpr std::size_t k_MaxBytes = 64u << 20;

    /// Appends. Waits while the queue is full (connection news never wait). True when the queue was
    /// empty before, so that the main thread wants waking; false also once the queue is closed.
    bool Push(LinkNews news);

    std::optional<LinkNews> Take();
    std::size_t Count() const;

    /// Empties the queue; from now on it takes nothing and nobody waits.
    void Close();
    void Open();

private:
    static std::size_t BytesOf(const LinkNews &news);
    bool IsFull() const;

    mutable std::mutex m_mutex;
    std::condition_variable m_hasRoom;
    std::deque<LinkNews> m_news;
    std::size_t m_bytes = 0;
    bool m_isClosed = true;
};

} // namespace corvan
