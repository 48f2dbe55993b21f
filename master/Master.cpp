#include "master/Master.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <cassert>
#include <filesystem>
#include <unistd.h>
#include <utility>

#include "corvan/Parameters.h"
#include "corvan/Utf8.h"
#include "master/door/Server.h"
#include "master/frames/ChildLooker.h"
#include "master/loop/LoopClock.h"
#include "master/store/StoreFiles.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Attempt;
using std::chrono::steady_clock;

namespace
{

constexpr std::chrono::seconds k_retry_after{1};
// To look at what runs takes a fiftieth of the time at most, where much runs.
constexpr int k_pause_for_look = 50;
constexpr std::chrono::milliseconds k_longest_look_pause{60'000};

// What the machine calls itself.
String OwnNode()
{
    char name[256] = "";
    ::gethostname(name, sizeof name - 1);
    return corvan::MakeUtf8(name);
}

Path LogFolder(const MasterSettings &settings, const UID &master)
{
    if (settings.share.Text().empty())
        return settings.data / "tasks";
    return settings.share / master.ToString() / "tasks";
}

Surroundings OfProgram(boost::asio::io_context &loop, const MasterSettings &ofMaster,
                       CommandRunner &runner)
{
    const auto openDoor = [&loop, settings = ofMaster.server](
                              const UID &master, const Health &health, Door::User &user) mutable
    {
        settings.health = &health;
        return std::make_unique<Server>(loop, settings, master, user);
    };
    return {.clock = std::make_unique<LoopClock>(loop),
            .runner = runner,
            .openDoor = openDoor,
            .logLooks = std::make_unique<LogThread>(),
            .slowWork = std::make_unique<SlowThread>(loop),
            .tools = std::make_unique<ToolThread>(loop),
            .looker =
                std::make_unique<ChildLooker>(loop, ofMaster.data / "looks", ofMaster.commandUser)};
}

JobStore OpenStore(const MasterSettings &settings, const char *vfs)
{
    const Path file = StoreFileIn(settings.data);
    if (!settings.checkPatience || vfs)
        return JobStore(file, vfs);
    return JobStore(file, *settings.checkPatience);
}

} // namespace

Master::Master(boost::asio::io_context &loop, const MasterSettings &settings, CommandRunner &runner)
    : Master(loop, settings, OfProgram(loop, settings, runner))
{
    _CallEntry call("Master::Master", __FILE__, __LINE__);
}

Master::Master(boost::asio::io_context &loop, const MasterSettings &settings,
               Surroundings surroundings)
    : m_loop(loop), m_work(loop.get_executor()), m_settings(settings),
      m_runner(surroundings.runner), m_clock(std::move(surroundings.clock)),
      m_lock(MasterLock::OfDataFolder(settings.data)),
      m_store(OpenStore(settings, surroundings.vfs)), m_cache(m_store),
      m_logs(LogFolder(settings, m_store.MasterID())),
      m_slowWork(surroundings.slowWork ? std::move(surroundings.slowWork)
                                       : std::make_unique<WorkInPlace>()),
      m_logWishes(*m_clock, m_logs, *m_slowWork,
                  [this](const Outbox &outbox) { CarryOut(outbox); }),
      m_audit(settings.data, AuditLog::k_FileBytes, surroundings.audit),
      m_dispatcher(m_store, m_cache, m_followers,
                   [this](const UID &job)
                   {
                       std::map<unsigned, RunPlace> places = m_scheduler.PlacesOf(job);
                       m_foresight.Mark(job, places);
                       return places;
                   }),
      m_scheduler(m_store, m_cache, m_logs, m_runner, *m_clock, settings.pauses),
      m_foresight(m_store, m_cache, m_scheduler, *m_clock, std::move(surroundings.logLooks),
                  settings.foresight),
      m_notices(m_store, m_cache, *m_clock, settings.notices, std::move(surroundings.tools)),
      m_ownNode(OwnNode()), m_nodes(*m_clock),
      m_nodeWishes(m_nodes, m_runner, [this](Outbox outbox) { AnswerLater(std::move(outbox)); }),
      m_looker(std::move(surroundings.looker)),
      m_frameChecks(*m_clock, {m_store, m_cache, m_looker.get()}, settings.pauses,
                    surroundings.makeID,
                    [this]
                    {
                        if (!m_isStopping)
                            ScheduleTurn();
                    }),
      m_retention(*m_clock, {m_store, m_cache, m_dispatcher, m_scheduler, m_logs, *m_slowWork},
                  settings.keepDays, [this](const Outbox &outbox) { CarryOut(outbox); }),
      m_retryAlarm(m_clock->MakeAlarm()), m_pauseAlarm(m_clock->MakeAlarm()),
      m_progressAlarm(m_clock->MakeAlarm()), m_idleAlarm(m_clock->MakeAlarm()),
      m_watchAlarm(m_clock->MakeAlarm()), m_idleSince(m_clock->Now()),
      m_vitals(loop, m_store,
               {.store = StoreFileIn(settings.data),
                .statusPort = settings.statusPort,
                .loopPatience = settings.loopPatience,
                .probesStore = settings.endWhenIdle.count() == 0},
               [this] { TakeEmptyTurn(); })
{
    _CallEntry call("Master::Master", __FILE__, __LINE__);

    m_cache.SetMore([this](const JobState &state, Job &job) { m_foresight.AddTo(state, job); });
    CloseOtherEngine();
    m_audit.Restore(m_store.Audit().List());
    m_isRequeued = RequeueRunning();
    m_runner.Begin(m_store.MasterID(), [this] { ScheduleTurn(); });
    if (KeepsRuns())
        m_scheduler.AdoptRuns(*this);
    Door::User &user = *this;
    m_door = surroundings.openDoor(m_store.MasterID(), m_vitals.State(), user);
    ScheduleTurn();
    if (settings.endWhenIdle.count() > 0)
        WatchIdle();
    WatchCheck();
}

Master::~Master()
{
    _CallEntry call("Master::~Master", __FILE__, __LINE__);

    // It calls back while it ends.
    m_door.reset();
}

void Master::OnRequests()
{
    _CallEntry call("Master::OnRequests", __FILE__, __LINE__);

    ScheduleTurn();
}

void Master::OnClientGone(ClientNumber client)
{
    _CallEntry call("Master::OnClientGone", __FILE__, __LINE__);

    m_followers.Forget(client);
}

void Master::OnStarted(int run)
{
    _CallEntry call("Master::OnStarted", __FILE__, __LINE__);

    if (!m_scheduler.NoteStart(run))
        return;
    m_startedRuns.push_back(run);
    ScheduleTurn();
}

void Master::OnEnded(int run, const RunEnd &end)
{
    _CallEntry call("Master::OnEnded", __FILE__, __LINE__);

    m_results.push_back({run, end});
    // It may be noted much later.
    if (RunEnd &noted = m_results.back().end; !noted.took)
        noted.took = m_scheduler.TimeOf(run);
    if (!m_isStopping)
        return ScheduleTurn();
    ForgetRuns();
    StopWhenEmpty();
}

void Master::OnQueued(const UID &job, const String &why)
{
    _CallEntry call("Master::OnQueued", __FILE__, __LINE__);

    if (!m_scheduler.NoteQueued(job, why))
        return;
    m_queued[job] = why;
    ScheduleTurn();
}

void Master::ScheduleTurn()
{
    _CallEntry call("Master::ScheduleTurn", __FILE__, __LINE__);

    if (m_isTurnPosted)
        return;
    m_isTurnPosted = true;
    boost::asio::post(m_loop, [this] { Turn(); });
}

void Master::RetryLater()
{
    _CallEntry call("Master::RetryLater", __FILE__, __LINE__);

    m_retryAlarm->Set(m_clock->Now() + k_retry_after, [this] { ScheduleTurn(); });
}

void Master::WaitForPauses()
{
    _CallEntry call("Master::WaitForPauses", __FILE__, __LINE__);

    const std::optional<Clock::Moment> end = m_scheduler.NextPauseEnd();
    if (!end)
        return m_pauseAlarm->Cancel();
    m_pauseAlarm->Set(*end, [this] { ScheduleTurn(); });
}

void Master::Turn()
{
    _CallEntry call("Master::Turn", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const auto begin = steady_clock::now();
    m_isTurnPosted = false;
    const std::vector<Door::Request> requests = m_door->TakeRequests();
    Outbox outbox;
    const auto reason = Attempt([&] { outbox = TakeTogether(requests); });
    if (reason)
    {
        ostrel::LogError(*reason);
        m_cache.Clear();
        TakeOneByOne(requests);
    }
    else
    {
        ForgetRuns();
        m_frameChecks.ForgetResults();
        CarryOut(outbox);
    }
    m_door->EndRequests();
    FillSlots();
    WatchRuns();
    if (!m_isStopping)
    {
        KeepStuck();
        m_notices.Wake();
    }
    LookAtFrames();
    // What it could not write before it has told, and nobody has to ask for it again.
    const bool isAuditWritten = !Attempt([this] { m_audit.Prepare({}); });
    if (!isAuditWritten)
        RetryLater();
    m_vitals.NoteAudit(isAuditWritten);
    m_retention.Wake();
    m_vitals.NoteTurn(steady_clock::now() - begin);
}

// There may be something to do, or nothing; it is for those who watch.
void Master::TakeEmptyTurn()
{
    _CallEntry call("Master::TakeEmptyTurn", __FILE__, __LINE__);

    m_vitals.NoteClients(m_door->CountClients());
    if (m_isStopping)
        m_vitals.NoteTurn(std::chrono::nanoseconds(0));
    else
        ScheduleTurn();
}

Outbox Master::TakeTogether(const std::vector<Door::Request> &requests)
{
    _CallEntry call("Master::TakeTogether", __FILE__, __LINE__);

    Outbox outbox;
    if (requests.empty() && m_startedRuns.empty() && m_results.empty() && m_queued.empty() &&
        !m_dispatcher.Waiting().IsAnyStirred() && !m_frameChecks.HasResults())
        return outbox;
    JobStore::Turn turn(m_store);
    RecordRuns(outbox);
    m_notices.Keep(outbox);
    for (const Door::Request &request : requests)
        Handle(request, outbox);
    m_frameChecks.NoteChanges(outbox);
    for (const FrameChecks::Bad &bad : m_frameChecks.Record(outbox))
        NoteBad(bad);
    const bool mayBeMore = m_dispatcher.Waiting().Follow(outbox);
    Commit(turn, outbox);
    if (mayBeMore)
        ScheduleTurn();
    return outbox;
}

// The record of what changes is on disk with the change. What follows the commit is no reason to
// refuse it: the store keeps the lines until their file has them.
void Master::Commit(JobStore::Turn &turn, const Outbox &outbox)
{
    _CallEntry call("Master::Commit", __FILE__, __LINE__);

    // What changes nothing waits for no audit log.
    if (outbox.AuditEntries().empty())
        return turn.Commit();
    const std::string lines = m_audit.Prepare(outbox.AuditEntries());
    std::int64_t number = 0;
    if (!lines.empty())
    {
        number = m_store.Audit().Keep(lines);
        m_store.Audit().Forget(m_audit.OnDisk());
    }
    turn.Commit();
    m_audit.Write(number, lines);
}

void Master::TakeOneByOne(const std::vector<Door::Request> &requests)
{
    _CallEntry call("Master::TakeOneByOne", __FILE__, __LINE__);

    // What nobody asks for is tried again by itself: jobs that waited, and what the commands did
    // where the disk refuses it alone, too.
    RetryLater();
    TakeRunsAlone();
    for (const Door::Request &request : requests)
    {
        Outbox outbox;
        const auto reason = Attempt(
            [&]
            {
                JobStore::Turn turn(m_store);
                Handle(request, outbox);
                m_frameChecks.NoteChanges(outbox);
                Commit(turn, outbox);
            });
        if (reason)
        {
            m_cache.Clear();
            outbox = {};
            outbox.Refuse(request.client, request.serial, request.what, *reason, UID());
        }
        CarryOut(outbox);
    }
}

// What the commands did waits for no request that cannot be carried out, and is tried again by
// itself.
void Master::TakeRunsAlone()
{
    _CallEntry call("Master::TakeRunsAlone", __FILE__, __LINE__);

    if (m_startedRuns.empty() && m_results.empty() && m_queued.empty())
        return;
    Outbox outbox;
    const auto reason = Attempt(
        [&]
        {
            JobStore::Turn turn(m_store);
            RecordRuns(outbox);
            m_frameChecks.NoteChanges(outbox);
            m_notices.Keep(outbox);
            turn.Commit();
        });
    if (reason)
    {
        m_cache.Clear();
        return;
    }
    ForgetRuns();
    CarryOut(outbox);
}

void Master::Handle(const Door::Request &request, Outbox &outbox)
{
    _CallEntry call("Master::Handle", __FILE__, __LINE__);

    if (!request.message)
    {
        ostrel::LogInfo("refused " + request.what + " of client " + std::to_string(request.client) +
                        ": " + request.reason);
        outbox.Refuse(request.client, request.serial, request.what, request.reason, UID());
        return;
    }

    Outbox answers;
    const auto reason = Attempt(
        [&]
        {
            JobStore::Step step(m_store);
            m_dispatcher.Handle({request.client, *request.who}, *request.message, answers);
            step.Keep();
        });
    if (reason && !m_store.InTurn())
        throw new StoreException(*reason);
    if (reason)
    {
        m_cache.Clear();
        ostrel::LogError(*reason);
        answers = {};
        answers.Refuse(request.client, request.serial, request.what, *reason, UID());
    }
    outbox.Append(std::move(answers));
}

void Master::RecordRuns(Outbox &outbox)
{
    _CallEntry call("Master::RecordRuns", __FILE__, __LINE__);

    for (const int run : m_startedRuns)
        m_scheduler.RecordStart(run, outbox);
    for (const auto &[job, why] : m_queued)
        m_scheduler.RecordQueued(job, why, outbox);
    for (const RunResult &result : m_results)
        m_scheduler.Record(result, outbox);
}

void Master::NoteBad(const FrameChecks::Bad &bad)
{
    _CallEntry call("Master::NoteBad", __FILE__, __LINE__);

    if (bad.stay)
        m_notices.Keep(NoticeEvent::Bad, bad.job, bad.range);
    m_nodes.NoteBad(bad.rendered, TasksOf(m_cache.GetCut(bad.rendered)->packets, bad.frames),
                    "a frame of it is bad");
}

void Master::ForgetRuns()
{
    _CallEntry call("Master::ForgetRuns", __FILE__, __LINE__);

    m_startedRuns.clear();
    m_queued.clear();
    for (const RunResult &result : m_results)
    {
        if (const auto judged = m_scheduler.JudgeRun(result, m_ownNode))
            m_nodes.Note(judged->node,
                         {judged->job, judged->task,
                          judged->hasFailed ? NodeBook::Outcome::Failed : NodeBook::Outcome::Done,
                          judged->why});
        m_scheduler.Forget(result.run);
    }
    m_results.clear();
}

void Master::FillSlots()
{
    _CallEntry call("Master::FillSlots", __FILE__, __LINE__);

    if (m_isStopping || !m_results.empty() || m_runner.FreeSlots() <= 0)
        return;
    if (!m_isRequeued && !RequeueRunning())
        return RetryLater();
    m_isRequeued = true;

    std::vector<RunResult> failed;
    const std::vector<Scheduler::Planned> planned = PlanOnDisk();
    m_scheduler.Start(planned, *this, failed);
    m_results.insert(m_results.end(), failed.begin(), failed.end());
    // A runner may have room for more than what it takes at once.
    if (!m_results.empty() || (!planned.empty() && m_runner.FreeSlots() > 0 && KeepsRuns()))
        ScheduleTurn();
    WaitForPauses();
}

std::vector<Scheduler::Planned> Master::PlanOnDisk()
{
    _CallEntry call("Master::PlanOnDisk", __FILE__, __LINE__);

    Outbox outbox;
    std::vector<Scheduler::Planned> planned;
    const auto reason = Attempt(
        [&]
        {
            JobStore::Turn turn(m_store);
            planned = m_scheduler.Plan(outbox);
            turn.Commit();
        });
    if (reason)
    {
        ostrel::LogError(*reason);
        m_cache.Clear();
        RetryLater();
        return {};
    }
    CarryOut(outbox);
    return planned;
}

void Master::WatchRuns()
{
    _CallEntry call("Master::WatchRuns", __FILE__, __LINE__);

    if (m_isStopping || m_isWatching || !m_foresight.HasMore())
        return;
    m_isWatching = true;
    m_watchAlarm->Set(m_clock->Now() + m_watchPause, [this] { LookAtRuns(); });
}

void Master::LookAtRuns()
{
    _CallEntry call("Master::LookAtRuns", __FILE__, __LINE__);

    m_isWatching = false;
    if (m_isStopping)
        return;
    const Clock::Moment begin = m_clock->Now();
    Outbox outbox;
    Foresight::Seen seen;
    if (const auto reason = Attempt([&] { seen = m_foresight.Look(outbox); }))
        ostrel::LogError(*reason);
    // One that was held up says nothing of what the next takes.
    const Clock::Moment::duration took = m_clock->Now() - begin;
    m_watchPause = std::clamp<Clock::Moment::duration>(
        k_pause_for_look * std::min(took, std::exchange(m_lastLook, took)),
        m_settings.foresight.lookEach,
        std::max(m_settings.foresight.lookEach, k_longest_look_pause));
    CarryOut(outbox);
    m_newStuck.insert(m_newStuck.end(), seen.stuck.begin(), seen.stuck.end());
    KeepStuck();
    for (const Foresight::Ending &ending : seen.endings)
        m_scheduler.FailRun(ending.run, ending.why);
    WatchRuns();
}

// It is found once, and so kept until the disk takes it.
void Master::KeepStuck()
{
    _CallEntry call("Master::KeepStuck", __FILE__, __LINE__);

    if (!m_notices.Wants(NoticeEvent::Stuck))
        m_newStuck.clear();
    if (m_newStuck.empty())
        return;
    const auto reason = Attempt(
        [&]
        {
            JobStore::Turn turn(m_store);
            for (const Foresight::NewStuck &one : m_newStuck)
                m_notices.Keep(NoticeEvent::Stuck, one.job, one.why);
            turn.Commit();
        });
    if (reason)
    {
        ostrel::LogError(*reason);
        return RetryLater();
    }
    m_newStuck.clear();
    m_notices.Wake();
}

void Master::LookAtFrames()
{
    _CallEntry call("Master::LookAtFrames", __FILE__, __LINE__);

    if (m_isStopping)
        return;
    if (m_frameChecks.HasDue())
    {
        Outbox outbox;
        const auto reason = Attempt(
            [&]
            {
                JobStore::Turn turn(m_store);
                m_frameChecks.Plan(outbox);
                turn.Commit();
            });
        if (reason)
        {
            ostrel::LogError(*reason);
            m_cache.Clear();
            return RetryLater();
        }
        CarryOut(outbox);
        m_frameChecks.Start();
    }
    m_frameChecks.Arm();
}

void Master::CarryOut(const Outbox &outbox)
{
    _CallEntry call("Master::CarryOut", __FILE__, __LINE__);

    m_vitals.NoteRefusals(outbox.Refusals());
    for (const RunsToEnd &runs : outbox.EndedRuns())
        m_scheduler.EndRuns(runs);
    for (const UID &job : outbox.JobsToTry())
        m_scheduler.TryNow(job);
    for (const UID &job : outbox.JobsToRenew())
        m_scheduler.RenewRuns(job);
    for (const UID &job : outbox.ChangedJobs())
        if (const auto reason = Attempt([&] { m_scheduler.TellRunner(job); }))
            ostrel::LogError(*reason);
    for (const NodeWish &wish : outbox.NodeWishes())
        m_nodeWishes.CarryOut(wish);
    for (const LogWish &wish : outbox.LogWishes())
        m_logWishes.CarryOut(wish);
    m_frameChecks.Follow(outbox.FramesToFollow());
    for (const Outgoing &message : outbox.Messages())
        Send(message);
    for (const UID &job : outbox.Progress())
        m_progress.Note(job, m_clock->Now());
    if (!outbox.Progress().empty())
        SendProgress();
}

// What was wished for before has come about, or not.
void Master::AnswerLater(Outbox outbox)
{
    _CallEntry call("Master::AnswerLater", __FILE__, __LINE__);

    if (m_isStopping)
        return;
    const auto reason = Attempt(
        [&]
        {
            JobStore::Turn turn(m_store);
            Commit(turn, outbox);
        });
    if (reason)
        ostrel::LogError(*reason);
    CarryOut(outbox);
}

void Master::Send(const Outgoing &message)
{
    _CallEntry call("Master::Send", __FILE__, __LINE__);

    const auto reason = Attempt(
        [&]
        {
            if (message.client != 0)
                m_door->Send(message, std::vector<ClientNumber>{message.client});
            else
                m_door->Send(message, m_followers.Of(message.followersOf));
        });
    if (reason)
        ostrel::LogError("a message is not sent: " + *reason);
}

void Master::SendProgress()
{
    _CallEntry call("Master::SendProgress", __FILE__, __LINE__);

    Outbox outbox;
    for (const UID &job : m_progress.TakeDue(m_clock->Now()))
    {
        const auto reason = Attempt([&] { TellProgress(job, outbox); });
        if (!reason)
            continue;
        // What is told last stands, so it is told later where the disk does not give it yet.
        ostrel::LogError(*reason);
        m_progress.Note(job, m_clock->Now());
    }
    for (const Outgoing &message : outbox.Messages())
        Send(message);

    if (const auto next = m_progress.NextDue())
        m_progressAlarm->Set(*next, [this] { SendProgress(); });
}

void Master::TellProgress(const UID &job, Outbox &outbox)
{
    _CallEntry call("Master::TellProgress", __FILE__, __LINE__);

    const std::optional<JobState> state = m_store.FindState(job);
    if (!state)
        return;
    outbox.Tell(job, corvan::p_TasksDone, std::to_string(state->tasksDone));
    outbox.Tell(job, corvan::p_TasksFailed, std::to_string(state->tasksFailed));
}

void Master::Reload()
{
    _CallEntry call("Master::Reload", __FILE__, __LINE__);

    m_door->Reload();
}

void Master::WatchCheck()
{
    _CallEntry call("Master::WatchCheck", __FILE__, __LINE__);

    StoreCheck *check = m_store.CheckUnderWay();
    if (!check)
        return;
    ostrel::LogStatus("the job store is looked through while it is served");
    check->WhenThrough([this](const StoreCheck::Finding &finding)
                       { boost::asio::post(m_loop, [this, finding] { TakeFinding(finding); }); });
}

// Nothing more is written to a store that is damaged, also not by an orderly end.
void Master::TakeFinding(const StoreCheck::Finding &finding)
{
    _CallEntry call("Master::TakeFinding", __FILE__, __LINE__);

    if (!finding.trouble.empty())
        return ostrel::LogError("nobody knows whether the job store is whole: " + finding.trouble);
    if (finding.damage.empty())
        return ostrel::LogStatus("the job store is whole");
    m_damage = m_store.NoteDamage(finding.damage);
    ostrel::LogError(m_damage);
    m_vitals.NoteEnd();
    m_loop.stop();
}

void Master::Stop()
{
    _CallEntry call("Master::Stop", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    if (m_isStopping)
        return;
    ostrel::LogStatus("ending");
    m_vitals.NoteEnd();
    m_isStopping = true;
    m_retention.Stop();
    m_frameChecks.Stop();
    // What ended by itself is still noted.
    Turn();
    // What was handed over goes on; the Master that is started next adopts it.
    if (KeepsRuns())
        return m_loop.stop();
    ForgetRuns();
    m_scheduler.EndAllRuns();
    StopWhenEmpty();
}

void Master::StopWhenEmpty()
{
    _CallEntry call("Master::StopWhenEmpty", __FILE__, __LINE__);

    if (m_scheduler.HasRuns())
        return;
    RequeueRunning();
    m_loop.stop();
}

// What was handed to a cluster may run there, and must not run here, too.
void Master::CloseOtherEngine()
{
    _CallEntry call("Master::CloseOtherEngine", __FILE__, __LINE__);

    if (KeepsRuns() || !m_store.Places().HasAny())
        return;
    const std::size_t running = m_store.Places().ListRunning().size();
    const Path folder = m_settings.formerShare / m_store.MasterID().ToString();
    const bool isGone =
        !m_settings.formerShare.Text().empty() && !std::filesystem::exists(folder.Text().c_str());
    if (running > 0 && !isGone)
        throw new ostrel::Exception(
            std::to_string(running) +
            " tasks of this store were handed to Slurm and may run there: start corvan-master with "
            "--engine slurm until they are over. Where that cluster is gone, remove the folder " +
            folder.Text() + ", with key Folder in section \"Slurm\" of the options as it was");
    JobStore::Turn turn(m_store);
    m_store.Places().ForgetAll();
    turn.Commit();
}

// False where the disk refuses.
bool Master::RequeueRunning()
{
    _CallEntry call("Master::RequeueRunning", __FILE__, __LINE__);

    const auto reason = Attempt(
        [&]
        {
            JobStore::Turn turn(m_store);
            const int count = m_store.Tasks().RequeueRunning(
                KeepsRuns() ? TaskStore::Requeue::WithoutPlace : TaskStore::Requeue::All);
            turn.Commit();
            if (count > 0)
                ostrel::LogStatus(std::to_string(count) + " tasks are queued again");
        });
    if (reason)
        ostrel::LogError(*reason);
    return !reason;
}

void Master::WatchIdle()
{
    _CallEntry call("Master::WatchIdle", __FILE__, __LINE__);

    const Clock::Moment now = m_clock->Now();
    m_idleAlarm->Set(now + m_settings.endWhenIdle / 20, [this] { WatchIdle(); });
    if (!IsIdle())
        m_idleSince = now;
    if (now - m_idleSince < m_settings.endWhenIdle)
        return;
    ostrel::LogStatus("nothing to do and nobody there");
    Stop();
}

bool Master::IsIdle()
{
    _CallEntry call("Master::IsIdle", __FILE__, __LINE__);

    return m_door->CountClients() == 0 && !m_scheduler.HasRuns() && !m_store.HasWork() &&
           !m_frameChecks.IsBusy();
}

} // namespace master
