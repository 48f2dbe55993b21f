#include "web/jobs/MasterLink.h"

#include <boost/asio/post.hpp>
#include <utility>
#include <variant>

#include "corvan/MessageQueue.h"
#include "corvan/Messages.h"
#include "ostrel/Log.h"

namespace web
{

namespace
{

// In one turn of the loop, so that those who ask for pages come in between.
constexpr int k_news_per_turn = 500;

const char *const k_no_master = "the Master is not there";

} // namespace

struct MasterLink::Inbox
{
    corvan::MessageQueue queue;
    corvan::Link::Welcome welcome; // The link's thread alone.
    MasterLink *link = nullptr;    // Loop thread alone; null once it is gone.
};

MasterLink::MasterLink(boost::asio::io_context &loop, std::unique_ptr<corvan::Link> link,
                       User &user)
    : m_loop(loop), m_user(user), m_timer(loop), m_inbox(std::make_shared<Inbox>()),
      m_link(std::move(link))
{
    m_inbox->link = this;
    m_inbox->queue.Open();
    const auto push = [&loop, inbox = m_inbox](corvan::LinkNews news)
    {
        if (inbox->queue.Push(std::move(news)))
            boost::asio::post(loop,
                              [inbox]
                              {
                                  if (inbox->link)
                                      inbox->link->Dispatch();
                              });
    };
    m_link->Start({[push, inbox = m_inbox] { push(corvan::LinkUp{inbox->welcome}); },
                   [push](const String &reason) { push(corvan::LinkDown{reason}); },
                   [push](boost::shared_ptr<Message> message) { push(std::move(message)); },
                   [push](const String &reason) { push(corvan::LinkTurnedAway{reason}); },
                   [inbox = m_inbox](const corvan::Link::Welcome &who) { inbox->welcome = who; }});
}

MasterLink::~MasterLink()
{
    m_inbox->link = nullptr;
    m_inbox->queue.Close();
    m_link->Stop();
}

void MasterLink::Ask(const boost::shared_ptr<Message> &question, Told told)
{
    if (!m_isUp)
        return told({MasterAnswer::Kind::NoMaster, {}, k_no_master});
    question->serial = ++m_lastSerial;
    m_questions[question->serial] = {std::move(told),
                                     std::chrono::steady_clock::now() + k_AnswerTime};
    m_link->Send(question);
    if (m_questions.size() == 1)
        WatchDeadline();
}

void MasterLink::Dispatch()
{
    const std::shared_ptr<Inbox> inbox = m_inbox; // This may be deleted by whoever is told.
    for (int count = 0; inbox->link && count < k_news_per_turn; ++count)
    {
        const std::optional<corvan::LinkNews> news = inbox->queue.Take();
        if (!news)
            return;
        if (const auto *up = std::get_if<corvan::LinkUp>(&*news))
        {
            m_isUp = true;
            m_who = up->who;
            m_user.OnUp();
        }
        else if (const auto *down = std::get_if<corvan::LinkDown>(&*news))
            OnDown(down->reason);
        else if (const auto *away = std::get_if<corvan::LinkTurnedAway>(&*news))
            m_user.OnTurnedAway(away->reason);
        else
            OnMessage(std::get<boost::shared_ptr<Message>>(*news));
    }
    if (inbox->link && inbox->queue.Count() > 0)
        WakeLater();
}

// What is pushed into a queue that is not empty wakes nobody.
void MasterLink::WakeLater()
{
    boost::asio::post(m_loop,
                      [inbox = m_inbox]
                      {
                          if (inbox->link)
                              inbox->link->Dispatch();
                      });
}

void MasterLink::OnDown(const String &reason)
{
    const std::shared_ptr<Inbox> inbox = m_inbox;
    m_isUp = false;
    m_timer.cancel();
    for (const auto &[serial, question] : std::exchange(m_questions, {}))
        question.told({MasterAnswer::Kind::NoMaster,
                       {},
                       "the connection to the Master was lost before it answered"});
    if (inbox->link)
        m_user.OnDown(reason);
}

void MasterLink::OnMessage(const boost::shared_ptr<Message> &message)
{
    if (message->Goes() == corvan::Direction::ToMaster)
        return ostrel::LogWarning(String("a Master does not send ") + message->TypeName() +
                                  "; it is ignored");
    auto question = m_questions.extract(message->answers);
    if (question.empty())
    {
        // An answer to what nobody waits for any more is none of the news.
        if (message->answers == 0)
            m_user.OnNews(message);
        return;
    }
    if (const auto *refused = dynamic_cast<const corvan::RefusedMsg *>(message.get()))
        question.mapped().told({refused->missingRight.empty() ? MasterAnswer::Kind::Refused
                                                              : MasterAnswer::Kind::NoRight,
                                {},
                                refused->reason});
    else
        question.mapped().told({MasterAnswer::Kind::Answered, message, {}});
}

void MasterLink::WatchDeadline()
{
    if (m_questions.empty())
        return;
    m_timer.expires_at(m_questions.begin()->second.deadline);
    m_timer.async_wait(
        [inbox = m_inbox](const boost::system::error_code &error)
        {
            if (!error && inbox->link)
                inbox->link->EndLate();
        });
}

void MasterLink::EndLate()
{
    const auto now = std::chrono::steady_clock::now();
    const std::shared_ptr<Inbox> inbox = m_inbox;
    while (inbox->link && !m_questions.empty() && m_questions.begin()->second.deadline <= now)
    {
        const auto late = m_questions.extract(m_questions.begin());
        late.mapped().told({MasterAnswer::Kind::Silent, {}, "the Master has not answered in time"});
    }
    if (inbox->link)
        WatchDeadline();
}

} // namespace web
