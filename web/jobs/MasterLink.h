#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <memory>

#include "corvan/Link.h"

namespace web
{

using corvan::Message;
using ostrel::String;

/// What became of a question to the Master.
struct MasterAnswer
{
    enum class Kind
    {
        Answered, ///< By `message`.
        Refused,  ///< With `reason`, the Master's own words.
        NoRight,  ///< The same: the user lacks the right to it.
        NoMaster, ///< There is none, or it went before it answered: nobody knows what it has done.
        Silent,   ///< It has not answered in time.
    };
    Kind kind = Kind::NoMaster;
    boost::shared_ptr<Message> message{};
    String reason{};

    bool IsRefused() const
    {
        return kind == Kind::Refused || kind == Kind::NoRight;
    }
};

/// A connection to the Master that comes back by itself: asks, and tells what comes.
///
/// Loop thread. The link's own thread only queues, and waits where the queue is full.
class MasterLink
{
public:
    using Told = std::function<void(const MasterAnswer &)>;

    /// Whoever is told what happens. It may delete the link from within, but from `OnNews`.
    class User
    {
    public:
        virtual ~User() = default;
        virtual void OnUp() = 0;
        virtual void OnDown(const String &reason) = 0;
        /// There is a Master, and it does not take this client.
        virtual void OnTurnedAway(const String &reason) = 0;
        /// What answers no question.
        virtual void OnNews(const boost::shared_ptr<Message> &message) = 0;
    };

    static constexpr std::chrono::seconds k_AnswerTime{20};

    /// Begins to connect. The user outlives it.
    MasterLink(boost::asio::io_context &loop, std::unique_ptr<corvan::Link> link, User &user);
    /// What was asked and is not answered is dropped: nobody is told.
    ~MasterLink();
    MasterLink(const MasterLink &) = delete;
    MasterLink &operator=(const MasterLink &) = delete;

    bool IsUp() const
    {
        return m_isUp;
    }
    /// As the Master said when it was there last.
    const corvan::Link::Welcome &Who() const
    {
        return m_who;
    }

    /// Sends a message and calls `told` once, later or at once.
    void Ask(const boost::shared_ptr<Message> &question, Told told);

private:
    struct Inbox;
    struct Question
    {
        Told told;
        std::chrono::steady_clock::time_point deadline;
    };

    void Dispatch();
    void WakeLater();
    void OnDown(const String &reason);
    void OnMessage(const boost::shared_ptr<Message> &message);
    void WatchDeadline();
    void EndLate();

    boost::asio::io_context &m_loop;
    User &m_user;
    bool m_isUp = false;
    corvan::Link::Welcome m_who;
    std::uint64_t m_lastSerial = 0;
    std::map<std::uint64_t, Question> m_questions; // The oldest first.
    boost::asio::steady_timer m_timer;
    std::shared_ptr<Inbox> m_inbox; // Shared with the link's thread, and with what is posted.
    std::unique_ptr<corvan::Link> m_link;
};

} // namespace web
