#include "tests/simulation/History.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <cstdlib>
#include <filesystem>
#include <limits>

#include "corvan/JobStatus.h"
#include "corvan/Parameters.h"
#include "corvan/RequeueJob.h"
#include "master/store/StoreFiles.h"
#include "ostrel/Attempt.h"
#include "tests/simulation/SimulatedLooker.h"

namespace simulation
{

using corvan::JobStatus;
using ostrel::Attempt;

namespace
{

constexpr long k_most_steps = 200'000;
constexpr int k_most_turns = 10'000;
constexpr int k_most_rounds = 80;
constexpr std::chrono::seconds k_round{30};
constexpr int k_checkpoint_pages = 40;

int Number(const Job &job, const String &name)
{
    return std::atoi(job.ParameterText(name, false).c_str());
}

JobStatus StatusIn(const Job &job)
{
    return JobStatus(Number(job, corvan::p_Status));
}

// It waits for a job that nobody will have done.
bool NeverBegins(const Job &job)
{
    const String waiting = job.ParameterText(corvan::p_Waiting, false);
    return waiting.find(" was removed before ") != String::npos ||
           waiting.find(" was cancelled") != String::npos;
}

// Nothing more comes of it.
bool IsOverFor(const Job &job)
{
    const String checked = job.ParameterText(corvan::p_FramesChecked, false);
    return StatusIn(job) == JobStatus::Cancelled ||
           (StatusIn(job) == JobStatus::Done && (checked.empty() || checked == "done"));
}

// Of each kind of harm, half of the histories have none.
unsigned SomePercent(Chance &chance, unsigned most)
{
    return chance.IsOneIn(2) ? chance.Between(1, most) : 0;
}

} // namespace

void Figures::Add(const Figures &other)
{
    requests += other.requests;
    commands += other.commands;
    operations += other.operations;
    crashes += other.crashes;
    harms += other.harms;
    rights += other.rights;
    cuts += other.cuts;
    expired += other.expired;
    waited += other.waited;
    inTurn += other.inTurn;
    requeues += other.requeues;
    seconds += other.seconds;
}

History::Setting History::MakeSetting(const ostrel::Path &data)
{
    FaultyDisk disk;
    {
        master::JobStore store(master::StoreFileIn(data), disk.Name());
    }
    return {data, disk.Seen()};
}

History::History(std::uint64_t seed, Setting setting, Verdict::Listener listener)
    : m_verdict(std::move(listener)), m_chance(seed), m_setting(std::move(setting)),
      m_wallClock(m_agenda), m_disk(m_chance.Seed(), m_setting.emptyStore),
      m_machine(m_agenda, m_chance, m_verdict), m_witness(m_agenda, m_machine, m_verdict),
      m_audit(m_setting.data, m_disk, m_chance, m_verdict),
      m_keepDays(m_chance.IsOneIn(2) ? 0 : m_chance.Between(1, 3)),
      m_ledger(m_verdict, m_agenda, m_keepDays)
{
    MakeWorld();
}

History::~History()
{
    m_disk.Stop();
    m_life.reset();
    std::error_code none;
    std::filesystem::remove_all((m_setting.data / "tasks").Text().c_str(), none);
}

// Of two users, who may be the same with another role. One there is who can set all going again.
std::shared_ptr<const master::Identity> History::SomeIdentity(bool mayDoAll)
{
    const char *const user = m_chance.IsOneIn(2) ? "anna" : "bo";
    return MakeIdentity(user, mayDoAll ? master::Role::EditAll : master::Role(m_chance.Below(5)));
}

// What is likely in one history is not in another, so that some show what one trouble does alone.
void History::MakeWorld()
{
    m_machine.SetWatcher(&m_witness);
    m_disk.SetCheckpoint(k_checkpoint_pages);
    m_slots = int(m_chance.Between(1, 4));
    m_acts = m_chance.Between(5, 50);
    m_machine.SetHealth({.refused = SomePercent(m_chance, 10),
                         .unstarted = SomePercent(m_chance, 20),
                         .lost = SomePercent(m_chance, 10),
                         .failed = SomePercent(m_chance, 40),
                         .hanging = SomePercent(m_chance, 5),
                         .flawed = SomePercent(m_chance, 40),
                         .blind = SomePercent(m_chance, 40)});
    m_audit.SetFailures(SomePercent(m_chance, 30));
    for (const Harm harm : {Harm::Crash, Harm::CrashSoon, Harm::Stop, Harm::Errors, Harm::FullDisk,
                            Harm::Sleep, Harm::SetClock})
        if (m_chance.IsOneIn(2))
            m_harms.push_back(harm);
    const Client::World world{m_agenda, m_chance, m_verdict, m_ledger};
    const int clients = int(m_chance.Between(1, 4));
    for (int number = 1; number <= clients; ++number)
        m_clients.push_back(std::make_unique<Client>(world, number, SomeIdentity(number == 1)));
}

std::string History::Run()
{
    BeginMaster();
    for (std::size_t client = 0; client < m_clients.size(); ++client)
        ScheduleAct(client);
    ScheduleHarm();
    while (m_acts > 0 && m_verdict.Found().empty())
        Step();
    m_figures.seconds = m_agenda.Passed().count() / 1000;
    if (m_verdict.Found().empty())
        RunToEnd();
    return m_verdict.Found();
}

Figures History::Done() const
{
    Figures figures = m_figures;
    figures.commands = m_machine.CountStarted();
    figures.operations = m_disk.Count();
    figures.cuts = m_audit.CountCuts();
    figures.expired = m_ledger.CountExpired();
    figures.waited = m_witness.CountWaited();
    figures.inTurn = m_witness.CountInTurn();
    for (const Ledger::Wish &wish : m_ledger.Wishes())
        figures.rights += wish.outcome == Ledger::Wish::Outcome::MissingRight ? 1 : 0;
    return figures;
}

void History::BeginMaster()
{
    m_verdict.Tell([] { return "a Master begins"; });
    std::unique_ptr<Life> life;
    if (const auto reason = Attempt([&] { life = MakeLife(); }))
    {
        m_verdict.Tell([&] { return "it cannot: " + *reason; });
        if (m_disk.IsStopped())
        {
            m_audit.Crash(FaultyDisk::Restart::AfterPowerCut);
            m_disk.Start(FaultyDisk::Restart::AfterPowerCut);
        }
        m_agenda.After(m_chance.Span(1000, 5000), [this] { BeginMaster(); });
        return;
    }
    m_life = std::move(life);
    RunLoop();
    Inspect(true);
}

std::unique_ptr<History::Life> History::MakeLife()
{
    const auto isStopped = [this] { return m_disk.IsStopped(); };
    auto life = std::make_unique<Life>();
    life->isUnharmed = !m_mayDiskFail;
    life->runner = std::make_unique<SimulatedRunner>(m_machine, m_agenda, m_slots, isStopped);
    const auto openDoor = [this, isStopped, &door = life->door](const UID & /*master*/,
                                                                const master::Health & /*health*/,
                                                                master::Door::User &user)
    {
        auto made = std::make_unique<SimulatedDoor>(
            user, m_chance, isStopped, [this](const auto &message) { m_witness.Hear(message); });
        door = made.get();
        return made;
    };
    master::MasterSettings settings;
    settings.data = m_setting.data;
    settings.keepDays = m_keepDays;
    // So long that it does not; then nothing is written by the machine's own clock.
    settings.endWhenIdle = std::chrono::hours(10'000);
    master::Surroundings surroundings{std::make_unique<SimulatedClock>(m_agenda), *life->runner,
                                      openDoor, m_disk.Name(), &m_audit};
    surroundings.looker =
        std::make_unique<SimulatedLooker>(m_machine, m_agenda, m_chance, isStopped);
    surroundings.makeID = [this]
    {
        ++m_figures.requeues;
        return m_chance.NewID();
    };
    life->master = std::make_unique<master::Master>(life->loop, settings, std::move(surroundings));
    return life;
}

// The program has ended, one way or the other.
void History::LoseLife()
{
    m_machine.LoseMaster();
    for (const std::unique_ptr<Client> &client : m_clients)
        client->LoseMaster();
    m_life.reset();
    m_agenda.After(m_chance.Span(0, 5000), [this] { BeginMaster(); });
}

void History::Crash()
{
    const auto restart = FaultyDisk::Restart(m_chance.Below(3));
    m_verdict.Tell(
        [&]
        {
            return restart == FaultyDisk::Restart::AfterKill ? "the Master is killed"
                                                             : "the power is cut";
        });
    ++m_figures.crashes;
    m_disk.Stop();
    LoseLife();
    m_audit.Crash(restart);
    m_ledger.LoseMaster();
    m_disk.Start(restart);
    m_mayDiskFail = false;
}

// As the program runs it: what a handler throws is logged.
void History::RunLoop()
{
    for (int turn = 0; m_life && !m_disk.IsStopped() && !m_life->loop.stopped(); ++turn)
    {
        std::size_t count = 1;
        if (const auto reason = Attempt([&] { count = m_life->loop.poll_one(); }))
            m_verdict.Tell([&] { return "the loop goes on after: " + *reason; });
        if (count == 0)
            return;
        if (turn == k_most_turns)
            return m_verdict.Wrong("the loop does not come to rest");
    }
}

void History::Step()
{
    if (++m_steps > k_most_steps)
        m_verdict.Wrong("the history does not end");
    const Agenda::Work work = m_agenda.Take();
    if (const auto reason = Attempt(work))
        m_verdict.Tell([&] { return "the loop goes on after: " + *reason; });
    RunLoop();
    if (m_life && m_disk.IsStopped())
        Crash();
    else if (m_life && m_life->loop.stopped())
    {
        m_verdict.Tell([] { return "the Master has ended"; });
        if (m_machine.CountOwn() > 0)
            m_verdict.Wrong("a Master has ended before its commands");
        LoseLife();
    }
}

void History::RunFor(Milliseconds time)
{
    const Agenda::Moment end = m_agenda.Now() + time;
    m_agenda.At(end, [] {});
    while (m_agenda.Next() && *m_agenda.Next() <= end && m_verdict.Found().empty())
        Step();
}

void History::ScheduleAct(std::size_t client)
{
    m_agenda.After(m_chance.Span(5, 8000),
                   [this, client]
                   {
                       if (m_isCalm || m_acts == 0)
                           return;
                       --m_acts;
                       Act(*m_clients[client]);
                       ScheduleAct(client);
                   });
}

void History::Act(Client &client)
{
    if (!m_life)
        return;
    if (!client.IsConnected())
        return client.Connect(*m_life->door);
    if (m_chance.IsOneIn(12))
    {
        m_verdict.Tell([] { return "a connection is lost"; });
        return client.Disconnect();
    }
    ++m_figures.requests;
    client.Act();
    if (!m_chance.IsOneIn(6))
        return;
    RunLoop();
    Inspect(false);
}

void History::ScheduleHarm()
{
    if (m_harms.empty())
        return;
    m_agenda.After(m_chance.Span(100, 60'000),
                   [this]
                   {
                       if (m_isCalm)
                           return;
                       if (m_life)
                           Do(m_harms[m_chance.Below(unsigned(m_harms.size()))]);
                       ScheduleHarm();
                   });
}

void History::Do(Harm harm)
{
    constexpr long k_for_good = std::numeric_limits<long>::max() / 2;

    ++m_figures.harms;
    switch (harm)
    {
    case Harm::Crash:
        m_disk.Stop();
        break;
    case Harm::CrashSoon:
        m_disk.StopAt(m_disk.Count() + m_chance.Between(1, 80));
        break;
    case Harm::Stop:
        m_verdict.Tell([] { return "the Master is to end"; });
        m_life->isStopping = true;
        m_life->master->Stop();
        break;
    case Harm::Errors:
        FailDisk(m_chance.Between(1, 60), m_chance.Between(1, 5), FaultyDisk::Fault::Error);
        break;
    case Harm::FullDisk:
        FailDisk(m_chance.Between(1, 60), k_for_good, FaultyDisk::Fault::Full);
        m_agenda.After(m_chance.Span(200, 60'000), [this] { m_disk.Fail(0, 0, {}); });
        break;
    case Harm::Sleep:
        m_verdict.Tell([] { return "the machine sleeps"; });
        m_agenda.Sleep(m_chance.Span(1000, 7'200'000));
        break;
    case Harm::SetClock:
        SetClock();
        break;
    }
}

// By minutes or by days, forward or back.
void History::SetClock()
{
    constexpr unsigned k_most_seconds = 5 * 86'400;

    const auto by = std::chrono::duration_cast<std::chrono::seconds>(
        m_chance.Span(60'000, k_most_seconds * 1000));
    const auto ahead = m_chance.IsOneIn(2) ? by : -by;
    m_verdict.Tell([&] { return "the clock is set by " + std::to_string(ahead.count()) + " s"; });
    m_ledger.NoteWallTime();
    m_agenda.SetWallClock(ahead);
    m_ledger.NoteWallTime();
}

void History::FailDisk(long from, long count, FaultyDisk::Fault fault)
{
    m_verdict.Tell([&] { return "the disk will fail, in " + std::to_string(from); });
    m_mayDiskFail = true;
    m_life->isUnharmed = false;
    m_disk.Fail(m_disk.Count() + from, count, fault);
}

// Gives all jobs, after they were held against what clients were answered, and what commands did.
History::Jobs History::Inspect(bool isNewRun, bool withCounts)
{
    if (!m_life || m_disk.IsStopped() || m_life->isStopping)
        return {};
    m_disk.SetAside(true);
    m_inspector.Come(*m_life->door);
    // The first question has the Master do what the disk has kept it from.
    m_inspector.AskForJobs();
    RunLoop();
    m_inspector.AskForJobs();
    RunLoop();
    m_inspector.AskForTasks(m_inspector.Jobs());
    RunLoop();
    m_inspector.Leave();
    m_disk.SetAside(false);
    if (!m_inspector.IsAnswered() || !m_inspector.Refusal().empty())
        m_verdict.Wrong("a question is not answered: " + m_inspector.Refusal());

    m_witness.HearAll(m_inspector.Jobs(), m_inspector.Tasks());
    m_ledger.Compare(m_inspector.Jobs(), isNewRun);
    CheckRequeues(m_inspector.Jobs());
    // On a full disk the newest lines may still be in the store alone.
    if ((isNewRun || withCounts) && !m_disk.IsFull())
        m_audit.Compare(m_ledger);
    for (const std::unique_ptr<Client> &client : m_clients)
        client->Compare(m_inspector.Jobs(), withCounts);
    std::size_t running = 0;
    for (const boost::shared_ptr<Job> &job : m_inspector.Jobs())
        CheckTasks(*job, m_inspector.Tasks().at(job->ID()), running);
    if (m_life->isUnharmed && running != m_machine.CountRendering())
        m_verdict.Wrong(std::to_string(running) + " tasks run, and " +
                        std::to_string(m_machine.CountRendering()) + " commands");
    return m_inspector.Jobs();
}

void History::CheckTasks(const Job &job, const corvan::TaskListMsg &list, std::size_t &running)
{
    int done = 0, failed = 0;
    for (const corvan::TaskInfo &task : list.tasks)
    {
        done += task.status == JobStatus::Done ? 1 : 0;
        failed += task.status == JobStatus::Failed ? 1 : 0;
        running += task.status == JobStatus::Running ? 1 : 0;
        if (m_life->isUnharmed && task.status == JobStatus::Running &&
            !m_machine.IsRendering(job.ID(), task.firstFrame, task.lastFrame))
            m_verdict.Wrong("nothing runs for task " + std::to_string(task.index) + " of " +
                            Describe(job));
        for (int frame = task.firstFrame; task.status == JobStatus::Done && frame <= task.lastFrame;
             ++frame)
            if (!m_machine.HasRendered(job.ID(), frame))
                m_verdict.Wrong("frame " + std::to_string(frame) +
                                " is done and was not rendered: " + Describe(job));
    }

    const int total = int(list.tasks.size());
    if (total != Number(job, corvan::p_TasksTotal) || done != Number(job, corvan::p_TasksDone) ||
        failed != Number(job, corvan::p_TasksFailed))
        m_verdict.Wrong("of " + std::to_string(total) + " tasks " + std::to_string(done) +
                        " are done and " + std::to_string(failed) + " failed: " + Describe(job));
    const JobStatus status = StatusIn(job);
    const bool isAllOver = done + failed == total;
    const bool isOver = status == JobStatus::Done || status == JobStatus::Failed;
    if (status != JobStatus::Cancelled && isAllOver != isOver)
        m_verdict.Wrong("its tasks say something else: " + Describe(job));
    if (isOver && (status == JobStatus::Failed) != (failed > 0))
        m_verdict.Wrong("it is the other way round: " + Describe(job));
}

// At a time there is one at most of a job, and in all no more than were asked for each time that
// somebody has changed the job.
void History::CheckRequeues(const Jobs &jobs)
{
    std::map<UID, int> active;
    std::map<UID, int> all;
    for (const boost::shared_ptr<Job> &job : jobs)
        if (const UID origin = corvan::OriginOf(*job); !origin.IsNil())
        {
            ++all[origin];
            active[origin] += corvan::IsOver(StatusIn(*job)) ? 0 : 1;
        }
    for (const auto &[origin, count] : active)
        if (count > 1)
            m_verdict.Wrong(std::to_string(count) + " jobs render bad frames of job " +
                            origin.ToString() + " at a time");
    for (const auto &[origin, count] : all)
    {
        const long changes = std::ranges::count(m_ledger.Wishes(), origin, &Ledger::Wish::job);
        if (count > 3 * (changes + 1))
            m_verdict.Wrong("there are " + std::to_string(count) + " requeues of job " +
                            origin.ToString() + ", which was changed " + std::to_string(changes) +
                            " times");
    }
}

// Nothing is written any more.
void History::CheckFrames(const Job &job)
{
    if (job.ParameterText(corvan::p_CheckFrames, false) != "sizes" ||
        StatusIn(job) != JobStatus::Done)
        return;
    check::LookRequest request;
    request.formats = {job.ParameterText(corvan::p_ImageFormat, false)};
    request.input = *analysis::ReadExpansionInput(job);
    const auto bad = check::AllOf(FindBadFiles(m_machine, request));
    if (job.ParameterText(corvan::p_FramesBadRange, false) !=
        corvan::SequenceDistributor::CalculateRange(bad))
        m_verdict.Wrong("the bad frames are " + corvan::SequenceDistributor::CalculateRange(bad) +
                        ", not as it says: " + Describe(job));
}

// All is well again: what is left to do is done, and all that was said stays.
void History::RunToEnd()
{
    m_verdict.Tell([] { return "nothing fails any more"; });
    m_isCalm = true;
    m_disk.Heal();
    m_audit.SetFailures(0);
    m_machine.SetHealth({});
    for (const std::unique_ptr<Client> &client : m_clients)
        client->CalmDown();

    Jobs jobs;
    for (int round = 0; m_verdict.Found().empty(); ++round)
    {
        RunFor(k_round);
        jobs = Inspect(false);
        if (IsOver(jobs))
            break;
        if (round == k_most_rounds)
            for (const boost::shared_ptr<Job> &job : jobs)
                if (!IsOverFor(*job))
                    m_verdict.Wrong("it is never done: " + Describe(*job));
        SetGoing(jobs);
    }
    if (!m_verdict.Found().empty())
        return;
    for (const boost::shared_ptr<Job> &job : Inspect(false, true))
        CheckFrames(*job);
    Crash();
    RunFor(k_round);
    if (!IsOver(Inspect(true)))
        m_verdict.Wrong("what was done is not, after the Master was started again");
    CheckStore();
}

bool History::IsOver(const Jobs &jobs)
{
    if (!m_life || m_life->isStopping)
        return false;
    for (const std::unique_ptr<Client> &client : m_clients)
        if (client->HasOpenSubmits())
            return false;
    for (const boost::shared_ptr<Job> &job : jobs)
        if (!IsOverFor(*job))
            return false;
    return true;
}

// As the people would do before their screens.
void History::SetGoing(const Jobs &jobs)
{
    if (!m_life || m_life->isStopping)
        return;
    for (const std::unique_ptr<Client> &client : m_clients)
    {
        if (!client->IsConnected())
            client->Connect(*m_life->door);
        else
            client->SendAgain();
    }
    for (const boost::shared_ptr<Job> &job : jobs)
        if (StatusIn(*job) == JobStatus::Paused || StatusIn(*job) == JobStatus::Failed)
        {
            if (corvan::OriginOf(*job).IsNil())
                m_clients.front()->SetGoing(job->ID());
            else if (m_clients.front()->IsConnected())
                m_clients.front()->SetGoingOfMaster(job->ID());
        }
        else if (NeverBegins(*job))
            m_clients.front()->LetGo(job->ID());
    RunLoop();
}

void History::CheckStore()
{
    m_disk.SetAside(true);
    const SQLite::Database database(master::StoreFileIn(m_setting.data).Text().c_str(),
                                    SQLite::OPEN_READWRITE, 0, m_disk.Name());
    for (const char *check : {"PRAGMA integrity_check", "PRAGMA foreign_key_check"})
        for (SQLite::Statement rows(database, check); rows.executeStep();)
            if (const std::string row = rows.getColumn(0).getString(); row != "ok")
                m_verdict.Wrong("the store is damaged: " + row);
    m_disk.SetAside(false);
}

} // namespace simulation
