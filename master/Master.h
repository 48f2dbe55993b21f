#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "master/Retention.h"
#include "master/Surroundings.h"
#include "master/audit/AuditLog.h"
#include "master/door/MasterLock.h"
#include "master/door/ServerSettings.h"
#include "master/jobs/Followers.h"
#include "master/jobs/JobCache.h"
#include "master/jobs/ProgressNews.h"
#include "master/notices/Notices.h"
#include "master/repair/FrameChecks.h"
#include "master/requests/Dispatcher.h"
#include "master/requests/LogWishes.h"
#include "master/run/CommandRunner.h"
#include "master/run/CommandUser.h"
#include "master/run/TaskLogs.h"
#include "master/schedule/Scheduler.h"
#include "master/store/JobStore.h"
#include "master/vitals/Vitals.h"
#include "master/watch/Foresight.h"
#include "master/watch/NodeBook.h"
#include "master/watch/NodeWishes.h"
#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

struct MasterSettings
{
    Path data; ///< Folder of the store and of what the tasks print; made where it is missing.
    /// The folder on a share where tasks print that are handed to a cluster: empty where none are.
    Path share;
    /// The same of a Master that runs its commands itself: one that did not may have printed there.
    Path formerShare;
    ServerSettings server;
    Pauses pauses;
    ForesightPace foresight;
    NoticeSettings notices;
    /// Ends by itself after this long without a client and without work; zero for never.
    std::chrono::milliseconds endWhenIdle{0};
    /// Days that a job is kept once it is over; 0 keeps it until somebody removes it.
    unsigned keepDays = 0;
    /// Who looks at frames where it is not the Master's own user.
    std::optional<CommandUser> commandUser{};
    /// Port of 127.0.0.1 for /metrics and /healthz; 0 for one that the system chooses.
    std::optional<std::uint16_t> statusPort;
    /// How long its loop may take no turn before it counts as hanging.
    std::chrono::milliseconds loopPatience = Health::k_Patience;
    /// How long the clients may have to wait while the store is looked through; where it is not
    /// through by then it goes on beside them. Nothing for as long as it takes.
    std::optional<std::chrono::milliseconds> checkPatience;
};

/// The Master: what the clients ask and how the commands end, a turn at a time.
///
/// All that has come since the last turn shares one transaction. Once it is on disk, and not
/// before, answers and news are sent and commands are ended; then the free slots are filled in a
/// transaction of their own, once what ran before the Master was started is queued again. Where the
/// disk refuses, the requests of that turn are taken one by
/// one, what cannot be kept is refused with the reason, and the Master goes on.
///
/// Loop thread: the loop is run by the caller, and stopped by the Master when it has ended.
class Master : private Door::User, private RunListener
{
public:
    /// Listens from now on. Throws `ostrel::Exception *` where data folder or address cannot be
    /// had.
    Master(boost::asio::io_context &loop, const MasterSettings &settings, CommandRunner &runner);
    /// The same with other surroundings than those of the program.
    Master(boost::asio::io_context &loop, const MasterSettings &settings,
           Surroundings surroundings);
    ~Master() override;

    /// Ends the commands, queues their tasks again, and then stops the loop.
    void Stop();

    /// Takes a renewed certificate and changed tokens; no client is lost by it.
    void Reload();

    /// Why it has stopped the loop by itself, in the midst of all: its store is damaged, which was
    /// found while it was served. Empty where it is not known to be.
    const String &Damage() const
    {
        return m_damage;
    }

    const Door &Connections() const
    {
        return *m_door;
    }
    /// Where /metrics and /healthz are; nothing where nobody asked for them.
    std::optional<std::uint16_t> StatusPort() const
    {
        return m_vitals.StatusPort();
    }

private:
    void OnRequests() override;
    void OnClientGone(ClientNumber client) override;
    void OnStarted(int run) override;
    void OnEnded(int run, const RunEnd &end) override;
    void OnQueued(const UID &job, const String &why) override;

    void ScheduleTurn();
    void RetryLater();
    void WaitForPauses();
    void Turn();
    void TakeEmptyTurn();
    Outbox TakeTogether(const std::vector<Door::Request> &requests);
    void TakeOneByOne(const std::vector<Door::Request> &requests);
    void TakeRunsAlone();
    void Handle(const Door::Request &request, Outbox &outbox);
    void Commit(JobStore::Turn &turn, const Outbox &outbox);
    void RecordRuns(Outbox &outbox);
    void NoteBad(const FrameChecks::Bad &bad);
    void ForgetRuns();
    void FillSlots();
    void WatchRuns();
    void LookAtRuns();
    void KeepStuck();
    std::vector<Scheduler::Planned> PlanOnDisk();
    void LookAtFrames();

    void CarryOut(const Outbox &outbox);
    void AnswerLater(Outbox outbox);
    void Send(const Outgoing &message);
    void SendProgress();
    void TellProgress(const UID &job, Outbox &outbox);
    bool RequeueRunning();
    void WatchCheck();
    void TakeFinding(const StoreCheck::Finding &finding);
    bool KeepsRuns() const
    {
        return m_runner.BatchSize() > 0;
    }
    void CloseOtherEngine();
    void StopWhenEmpty();
    void WatchIdle();
    bool IsIdle();

    boost::asio::io_context &m_loop;
    // Nobody may ask for a long time.
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> m_work;
    const MasterSettings m_settings;
    CommandRunner &m_runner;
    LoopThread m_thread;

    const std::unique_ptr<AlarmClock> m_clock;
    MasterLock m_lock;
    JobStore m_store;
    JobCache m_cache;
    TaskLogs m_logs;
    const std::unique_ptr<SlowWork> m_slowWork;
    LogWishes m_logWishes;
    AuditLog m_audit;
    Followers m_followers;
    Dispatcher m_dispatcher;
    Scheduler m_scheduler;
    Foresight m_foresight;
    Notices m_notices;
    const String m_ownNode;
    NodeBook m_nodes;
    NodeWishes m_nodeWishes;
    const std::unique_ptr<FrameLooker> m_looker;
    FrameChecks m_frameChecks;
    ProgressNews m_progress;
    Retention m_retention;

    // What of the runs is not on disk yet.
    std::vector<int> m_startedRuns;
    std::vector<RunResult> m_results;
    std::map<UID, String> m_queued;              // Why runs of a job are kept from being begun.
    std::vector<Foresight::NewStuck> m_newStuck; // Whoever wants to know is still to be told.
    // What an earlier run of the Master left as running is queued again. Nothing is started before.
    bool m_isRequeued = false;
    bool m_isTurnPosted = false;
    bool m_isStopping = false;
    bool m_isWatching = false; // What runs is looked at before long,
    Clock::Moment::duration m_watchPause = m_settings.foresight.lookEach; // after so long.
    Clock::Moment::duration m_lastLook{};                                 // So long it took.
    String m_damage;
    const std::unique_ptr<Alarm> m_retryAlarm;
    const std::unique_ptr<Alarm> m_pauseAlarm;
    const std::unique_ptr<Alarm> m_progressAlarm;
    const std::unique_ptr<Alarm> m_idleAlarm;
    const std::unique_ptr<Alarm> m_watchAlarm;
    Clock::Moment m_idleSince;
    Vitals m_vitals;

    std::unique_ptr<Door> m_door;
};

} // namespace master
