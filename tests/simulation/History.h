#pragma once

#include <boost/asio/io_context.hpp>
#include <memory>
#include <vector>

#include "master/Master.h"
#include "tests/simulation/AuditTrail.h"
#include "tests/simulation/Client.h"
#include "tests/simulation/Inspector.h"
#include "tests/simulation/Machine.h"
#include "tests/simulation/Witness.h"
#include "tests/support/FaultyDisk.h"

namespace simulation
{

/// What happened in histories.
struct Figures
{
    long requests = 0;
    long commands = 0;
    long operations = 0; ///< Of the disk.
    long crashes = 0;
    long harms = 0;   ///< Of all kinds, crashes included.
    long rights = 0;  ///< Requests that were refused for want of one.
    long cuts = 0;    ///< Of the power, that took lines of the audit log.
    long expired = 0; ///< Jobs that went by themselves.
    long waited = 0;  ///< Jobs that began after others.
    long inTurn = 0;  ///< Commands that began beside a job of somebody else.
    long seconds = 0; ///< By the clock of the history.
    long requeues = 0; ///< By the Master itself.

    void Add(const Figures &other);
};

/// Some minutes of a Master, its clients and their roles, its commands, its disk and its clock, all
/// of which fail at times; and then as long as it takes the jobs to be done when nothing fails any
/// more. The same seed is the same history.
///
/// The types of tests/master/TestJobs.h are known meanwhile.
class History
{
public:
    /// What histories begin with.
    struct Setting
    {
        ostrel::Path data;               ///< The Master's folder, but for its store.
        FaultyDisk::Contents emptyStore; ///< A disk with the store that belongs there.
    };
    static Setting MakeSetting(const ostrel::Path &data);

    /// `listener` is told all that happens.
    History(std::uint64_t seed, Setting setting, Verdict::Listener listener = {});
    ~History();
    History(const History &) = delete;
    History &operator=(const History &) = delete;

    /// Gives what was wrong first; empty where all was well. Once.
    std::string Run();
    Figures Done() const;

private:
    using Milliseconds = Agenda::Milliseconds;
    using Jobs = std::vector<boost::shared_ptr<Job>>;

    // One run of the Master's program.
    struct Life
    {
        boost::asio::io_context loop;
        std::unique_ptr<SimulatedRunner> runner;
        SimulatedDoor *door = nullptr;
        std::unique_ptr<master::Master> master;
        bool isUnharmed = true; // The disk has not failed.
        bool isStopping = false;
    };

    enum class Harm
    {
        Crash,
        CrashSoon, // In the midst of something.
        Stop,
        Errors,
        FullDisk,
        Sleep,
        SetClock,
    };

    void MakeWorld();
    std::shared_ptr<const master::Identity> SomeIdentity(bool mayDoAll);
    void BeginMaster();
    std::unique_ptr<Life> MakeLife();
    void LoseLife();
    void Crash();
    void RunLoop();
    void Step();
    void RunFor(Milliseconds time);
    void RunToEnd();

    void ScheduleAct(std::size_t client);
    void Act(Client &client);
    void ScheduleHarm();
    void Do(Harm harm);
    void SetClock();
    void FailDisk(long from, long count, FaultyDisk::Fault fault);

    Jobs Inspect(bool isNewRun, bool withCounts = false);
    void CheckTasks(const Job &job, const corvan::TaskListMsg &list, std::size_t &running);
    void CheckRequeues(const Jobs &jobs);
    void CheckFrames(const Job &job);
    bool IsOver(const Jobs &jobs);
    void SetGoing(const Jobs &jobs);
    void CheckStore();

    Verdict m_verdict;
    Chance m_chance;
    Agenda m_agenda;
    const Setting m_setting;
    const OnTheWall m_wallClock;
    FaultyDisk m_disk;
    Machine m_machine;
    Witness m_witness;
    AuditTrail m_audit;
    const unsigned m_keepDays;
    Ledger m_ledger;
    Inspector m_inspector;
    std::vector<std::unique_ptr<Client>> m_clients;
    std::vector<Harm> m_harms;
    int m_slots = 1;
    unsigned m_acts = 0; // That are still to come.
    bool m_isCalm = false;
    bool m_mayDiskFail = false;
    long m_steps = 0;
    Figures m_figures;
    std::unique_ptr<Life> m_life; // Null while no Master runs.
};

} // namespace simulation
