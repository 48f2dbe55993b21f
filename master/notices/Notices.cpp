#include "master/notices/Notices.h"

#include <algorithm>
#include <utility>

#include "corvan/Messages.h"
#include "corvan/Parameters.h"
#include "corvan/Utf8.h"
#include "master/run/CommandEnvironment.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using corvan::JobStatus;
using ostrel::_CallEntry;
using ostrel::Attempt;

namespace
{

constexpr std::size_t k_most_printed = 4096;
constexpr std::chrono::seconds k_disk_pause{5};

// Of the Master's log, each of what it prints is a line.
void LogPrinted(const std::string &text)
{
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        String line = corvan::MakeUtf8(std::string_view(text).substr(begin, end - begin));
        std::ranges::replace_if(
            line,
            [](char c) {
                return corvan::HasControlCharacters({&c, 1});
            },
            ' ');
        if (!line.empty())
            ostrel::LogStatus("the notices' command says: " + line);
        begin = end + 1;
    }
}

String HowItEnded(const ToolEnd &end, std::chrono::milliseconds limit)
{
    if (!end.isStarted)
        return end.error;
    if (end.isCutOff)
        return "it took longer than " +
               std::to_string(std::chrono::ceil<std::chrono::seconds>(limit).count()) + " seconds";
    return end.status < 0 ? String("it was ended by a signal")
                          : String("exit status " + std::to_string(end.status));
}

} // namespace

Notices::Notices(JobStore &store, JobCache &cache, AlarmClock &clock, NoticeSettings settings,
                 std::unique_ptr<ToolRunner> runner)
    : m_store(store), m_cache(cache), m_clock(clock), m_settings(std::move(settings)),
      m_runner(std::move(runner)), m_alarm(clock.MakeAlarm())
{
    _CallEntry call("Notices::Notices", __FILE__, __LINE__);
}

void Notices::Keep(const Outbox &outbox)
{
    _CallEntry call("Notices::Keep", __FILE__, __LINE__);

    if (m_settings.command.empty())
        return;
    for (const Outgoing &outgoing : outbox.Messages())
        if (const auto *news =
                dynamic_cast<const corvan::JobParameterMsg *>(outgoing.message.get()))
            KeepNews(news->job, news->name, news->value);
}

void Notices::KeepNews(const UID &job, const String &name, const String &value)
{
    _CallEntry call("Notices::KeepNews", __FILE__, __LINE__);

    if (name != corvan::p_Status)
        return;
    const std::optional<JobStatus> status = corvan::ParseStatus(value);
    if (status == JobStatus::Done)
        Keep(NoticeEvent::Done, job, {});
    else if (status == JobStatus::Failed)
        Keep(NoticeEvent::Failed, job, {});
    else if (status == JobStatus::Paused)
        if (const std::optional<JobState> state = m_store.FindState(job))
            Keep(NoticeEvent::Paused, job, state->waiting);
}

void Notices::Keep(NoticeEvent event, const UID &id, const String &reason)
{
    _CallEntry call("Notices::Keep", __FILE__, __LINE__);

    if (!Wants(event))
        return;
    const std::optional<JobState> state = m_store.FindState(id);
    String unreadable;
    const boost::shared_ptr<Job> job = state ? m_cache.Whole(*state, &unreadable) : nullptr;
    if (!job)
        return;
    NoticeStore &notices = m_store.Notices();
    const std::vector<std::int64_t> waiting = notices.List();
    if (waiting.size() >= m_settings.mostWaiting)
    {
        ostrel::LogError("more than " + std::to_string(m_settings.mostWaiting) +
                         " notices wait; the oldest of them is not told");
        notices.Remove(waiting.front());
    }
    notices.Add(MakeNotice(event, *job, m_store.MasterID(), reason));
    m_isRead = false;
}

void Notices::ReadWaiting()
{
    _CallEntry call("Notices::ReadWaiting", __FILE__, __LINE__);

    if (m_isRead)
        return;
    std::map<std::int64_t, Waiting> waiting;
    for (const std::int64_t number : m_store.Notices().List())
    {
        const auto known = m_waiting.find(number);
        waiting[number] = known == m_waiting.end() ? Waiting{0, m_clock.Now()} : known->second;
    }
    m_waiting = std::move(waiting);
    m_isRead = true;
}

void Notices::Wake()
{
    _CallEntry call("Notices::Wake", __FILE__, __LINE__);

    if (m_settings.command.empty() || m_isTelling)
        return;
    const auto reason = Attempt(
        [&]
        {
            for (const std::int64_t number : std::set(m_told))
                Remove(number);
            ReadWaiting();
            const auto due = std::ranges::find_if(
                m_waiting, [&](const auto &one)
                { return one.second.next <= m_clock.Now() && !m_told.contains(one.first); });
            if (due != m_waiting.end())
                TellOne(due->first);
        });
    if (reason)
    {
        ostrel::LogError(*reason);
        m_alarm->Set(m_clock.Now() + k_disk_pause, [this] { Wake(); });
    }
    else if (!m_isTelling)
        Rest();
}

// Until the next one is to be tried again.
void Notices::Rest()
{
    _CallEntry call("Notices::Rest", __FILE__, __LINE__);

    std::optional<Clock::Moment> next;
    for (const auto &[number, waiting] : m_waiting)
        if (!next || waiting.next < *next)
            next = waiting.next;
    if (next)
        m_alarm->Set(*next, [this] { Wake(); });
    else
        m_alarm->Cancel();
}

void Notices::TellOne(std::int64_t number)
{
    _CallEntry call("Notices::TellOne", __FILE__, __LINE__);

    const std::optional<String> facts = m_store.Notices().Find(number);
    if (!facts)
    {
        m_waiting.erase(number);
        return;
    }
    String reason;
    const auto arguments =
        corvan::ExpandArguments(m_settings.command, NoticePlaceholders(*facts), &reason);
    if (!arguments)
        return GiveUp(number, reason);
    Tool tool;
    tool.arguments.assign(arguments->begin(), arguments->end());
    tool.environment = CommandEnvironment({});
    tool.input = *facts + "\n";
    tool.mostBytes = k_most_printed;
    m_isTelling = true;
    m_runner->Run(std::move(tool), m_settings.limit,
                  [this, number](const ToolEnd &end)
                  {
                      m_isTelling = false;
                      TakeEnd(number, end);
                      Wake();
                  });
}

void Notices::TakeEnd(std::int64_t number, const ToolEnd &end)
{
    _CallEntry call("Notices::TakeEnd", __FILE__, __LINE__);

    LogPrinted(end.output);
    if (end.isStarted)
        LogPrinted(end.error);
    if (end.isStarted && !end.isCutOff && end.status == 0)
    {
        m_told.insert(number);
        return;
    }
    Waiting &waiting = m_waiting[number];
    ++waiting.tries;
    const String how = HowItEnded(end, m_settings.limit);
    if (waiting.tries >= m_settings.mostTries)
        return GiveUp(number, "its command has failed " + std::to_string(waiting.tries) +
                                  " times, the last time: " + how);
    auto pause = m_settings.firstPause;
    for (int i = 1; i < waiting.tries && pause < m_settings.longestPause; ++i)
        pause *= 2;
    pause = std::min(pause, m_settings.longestPause);
    waiting.next = m_clock.Now() + pause;
    ostrel::LogWarning("the notices' command has failed, and is tried again in " +
                       std::to_string(std::chrono::ceil<std::chrono::seconds>(pause).count()) +
                       " s: " + how);
}

void Notices::GiveUp(std::int64_t number, const String &why)
{
    _CallEntry call("Notices::GiveUp", __FILE__, __LINE__);

    ostrel::LogError("a notice is not told: " + why);
    m_told.insert(number);
}

void Notices::Remove(std::int64_t number)
{
    _CallEntry call("Notices::Remove", __FILE__, __LINE__);

    JobStore::Turn turn(m_store);
    m_store.Notices().Remove(number);
    turn.Commit();
    m_told.erase(number);
    m_waiting.erase(number);
}

} // namespace master
