#include "master/requests/LogWishes.h"

#include <boost/make_shared.hpp>
#include <utility>

#include "corvan/Messages.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

boost::shared_ptr<Message> ReadLog(const TaskLogs &logs, const LogWish &wish)
{
    auto answer = boost::make_shared<corvan::TaskLogMsg>();
    answer->job = wish.job;
    answer->task = wish.task;
    answer->attempt = wish.attempt;
    answer->text = logs.ReadTail(wish.job, wish.log, wish.attempt, wish.isLast);
    return answer;
}

LogWishes::LogWishes(AlarmClock &clock, TaskLogs logs, SlowWork &work, Answer answer)
    : m_clock(clock), m_logs(std::move(logs)), m_work(work), m_answer(std::move(answer)),
      m_alarm(clock.MakeAlarm())
{
    _CallEntry call("LogWishes::LogWishes", __FILE__, __LINE__);
}

void LogWishes::CarryOut(const LogWish &wish)
{
    _CallEntry call("LogWishes::CarryOut", __FILE__, __LINE__);

    // It hangs: nobody has to wait to learn that.
    if (m_isReading && !m_read)
        return Refuse(wish);
    m_waiting.push_back({wish, m_clock.Now() + k_Patience});
    ReadNext();
}

void LogWishes::ReadNext()
{
    _CallEntry call("LogWishes::ReadNext", __FILE__, __LINE__);

    if (m_isReading || m_waiting.empty())
        return;
    m_isReading = true;
    m_read = m_waiting.front().wish;
    m_alarm->Set(m_waiting.front().until, [this] { GiveUp(); });
    m_waiting.pop_front();
    m_work.Do(
        [this, logs = m_logs, wish = *m_read]
        {
            const boost::shared_ptr<Message> log = ReadLog(logs, wish);
            return [this, log] { TakeLog(log); };
        });
}

void LogWishes::TakeLog(const boost::shared_ptr<Message> &log)
{
    _CallEntry call("LogWishes::TakeLog", __FILE__, __LINE__);

    m_alarm->Cancel();
    m_isReading = false;
    if (const std::optional<LogWish> wish = std::exchange(m_read, std::nullopt))
    {
        Outbox outbox;
        outbox.Answer(wish->client, wish->serial, log);
        m_answer(outbox);
    }
    ReadNext();
}

// Who came later would wait for the same.
void LogWishes::GiveUp()
{
    _CallEntry call("LogWishes::GiveUp", __FILE__, __LINE__);

    if (const std::optional<LogWish> wish = std::exchange(m_read, std::nullopt))
        Refuse(*wish);
    for (const Waiting &waiting : std::exchange(m_waiting, {}))
        Refuse(waiting.wish);
}

void LogWishes::Refuse(const LogWish &wish)
{
    _CallEntry call("LogWishes::Refuse", __FILE__, __LINE__);

    Outbox outbox;
    outbox.Refuse(wish.client, wish.serial, "GetTaskLog " + wish.job.ToString(),
                  "the folder " + m_logs.FolderOf(wish.job).Text() + " has not answered for " +
                      std::to_string(k_Patience.count()) + " seconds; is its share there?",
                  wish.job);
    m_answer(outbox);
}

} // namespace master
