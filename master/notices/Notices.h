#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "master/jobs/JobCache.h"
#include "master/jobs/Outbox.h"
#include "master/loop/Clock.h"
#include "master/notices/Notice.h"
#include "master/run/ToolThread.h"

namespace master
{

/// Whom to tell, of what, and how.
struct NoticeSettings
{
    std::vector<String> command; ///< With placeholders; nobody is told where it is empty.
    std::set<NoticeEvent> events;
    std::chrono::milliseconds limit{30'000}; ///< For the command.
    /// After it failed: at first, and after doubling each time at most.
    std::chrono::milliseconds firstPause{10'000};
    std::chrono::milliseconds longestPause{600'000};
    int mostTries = 10;
    std::size_t mostWaiting = 1'000;
};

/// Has a command of the administrator's run for what happens to jobs.
///
/// What is to be told is written to the store in the turn of what happened, so that it is told
/// exactly where that is so, also after a restart; it is removed once its command has ended well.
/// So a Master that dies in between tells it twice. A command that fails is tried again, others
/// being told meanwhile, and given up at last; where too many wait, the oldest are not told. The
/// log says so in each case, and what the command prints. Loop thread.
class Notices
{
public:
    Notices(JobStore &store, JobCache &cache, AlarmClock &clock, NoticeSettings settings,
            std::unique_ptr<ToolRunner> runner);

    /// Notes what runs have done to jobs, by what their followers are to be told. Belongs inside
    /// the turn that did it, after all of it.
    void Keep(const Outbox &outbox);
    /// Notes that something has happened to a job. Belongs inside a turn.
    void Keep(NoticeEvent event, const UID &job, const String &reason);
    bool Wants(NoticeEvent event) const
    {
        return !m_settings.command.empty() && m_settings.events.contains(event);
    }

    /// Tells what is to be told; once turns are on disk.
    void Wake();

private:
    struct Waiting
    {
        int tries = 0;
        Clock::Moment next;
    };

    void KeepNews(const UID &job, const String &name, const String &value);
    void ReadWaiting();
    void TellOne(std::int64_t number);
    void TakeEnd(std::int64_t number, const ToolEnd &end);
    void GiveUp(std::int64_t number, const String &why);
    void Remove(std::int64_t number);
    void Rest();

    JobStore &m_store;
    JobCache &m_cache;
    AlarmClock &m_clock;
    const NoticeSettings m_settings;
    const std::unique_ptr<ToolRunner> m_runner;
    const std::unique_ptr<Alarm> m_alarm;
    std::map<std::int64_t, Waiting> m_waiting; // By the numbers of the store.
    std::set<std::int64_t> m_told;             // Those that the disk has not let go yet.
    bool m_isRead = false;                     // What waits is known.
    bool m_isTelling = false;
};

} // namespace master
