#pragma once

#include <deque>
#include <functional>
#include <optional>

#include "master/jobs/Outbox.h"
#include "master/loop/Clock.h"
#include "master/run/SlowWork.h"
#include "master/run/TaskLogs.h"

namespace master
{

/// What a client is told who wants this log. May take as long as the folder of the logs likes.
boost::shared_ptr<Message> ReadLog(const TaskLogs &logs, const LogWish &wish);

/// Answers who wants to see what a command has printed. That may lie on a share; where it hangs,
/// who asked is told so, and nobody else waits. Loop thread.
class LogWishes
{
public:
    /// Sends the answers.
    using Answer = std::function<void(const Outbox &outbox)>;

    /// So long a client waits.
    static constexpr std::chrono::seconds k_Patience{10};

    /// `clock` and `work` outlive it.
    LogWishes(AlarmClock &clock, TaskLogs logs, SlowWork &work, Answer answer);

    void CarryOut(const LogWish &wish);

private:
    struct Waiting
    {
        LogWish wish;
        Clock::Moment until;
    };

    void ReadNext();
    void TakeLog(const boost::shared_ptr<Message> &log);
    void GiveUp();
    void Refuse(const LogWish &wish);

    AlarmClock &m_clock;
    const TaskLogs m_logs;
    SlowWork &m_work;
    Answer m_answer;
    const std::unique_ptr<Alarm> m_alarm;
    std::deque<Waiting> m_waiting;
    bool m_isReading = false;
    std::optional<LogWish> m_read; // Whom that is for; nothing where he was told that it hangs.
};

} // namespace master
