#pragma once

#include <map>
#include <memory>
#include <set>

#include "master/run/CommandRunner.h"
#include "tests/simulation/Agenda.h"
#include "tests/simulation/Chance.h"
#include "tests/simulation/Verdict.h"

namespace simulation
{

using ostrel::String;
using ostrel::UID;

/// Where commands run: what of them goes wrong is left to chance. It outlives the Masters; their
/// commands end some time after them. That no frame is rendered by two at a time is looked at
/// here.
class Machine
{
public:
    Machine(Agenda &agenda, Chance &chance, Verdict &verdict);

    /// Who sees what is begun.
    class Watcher
    {
    public:
        virtual ~Watcher() = default;
        /// A command for these frames is about to be taken.
        virtual void See(const UID &job, int firstFrame, int lastFrame) = 0;
        /// It was not.
        virtual void SeeRefusal() = 0;
    };
    /// It outlives the machine's use.
    void SetWatcher(Watcher *watcher)
    {
        m_watcher = watcher;
    }

    /// What goes wrong, in percent.
    struct Health
    {
        unsigned refused = 0;   ///< It cannot be started, as is clear at once,
        unsigned unstarted = 0; ///< or only later.
        unsigned lost = 0;      ///< Nobody knows how it ended.
        unsigned failed = 0;
        unsigned hanging = 0; ///< Until a limit ends it.
        unsigned flawed = 0;  ///< It writes a bad file.
        unsigned blind = 0;   ///< Files cannot be looked at.
    };
    void SetHealth(const Health &health)
    {
        m_health = health;
    }

    /// False, with the reason, where it refuses.
    bool Start(const master::Command &command, master::RunListener &listener, String *reason);
    void End(int run);
    /// The Master of all commands is gone.
    void LoseMaster();

    /// Those of Masters that are gone.
    bool HasOrphans() const;
    int CountOwn() const;
    /// A command of the present Master renders these frames, and was not told to end.
    bool IsRendering(const UID &job, int firstFrame, int lastFrame) const;
    std::size_t CountRendering() const;
    /// The present Master's commands, by their jobs.
    std::map<UID, unsigned> CountOwnByJob() const;
    /// A command of the job was told to end, and has not.
    bool IsEnding(const UID &job) const;
    /// A command has rendered this frame, some time.
    bool HasRendered(const UID &job, int frame) const;
    /// A file that commands have written, some time.
    struct File
    {
        int version = 0; ///< Another each time; 0 for none.
        bool isBad = false;
        bool isAlwaysBad = false; ///< Whoever renders it.
    };
    File FileAt(const std::string &path) const;
    /// Whether who looks at files now finds that they cannot be looked at.
    bool IsBlind();

    long CountStarted() const
    {
        return m_lastProcess;
    }

private:
    struct Process
    {
        UID job;
        int firstFrame = 0;
        int lastFrame = 0;
        int run = 0;
        master::RunListener *listener = nullptr; ///< Null for an orphan.
        bool isStarted = false;
        bool isEnding = false;
        std::vector<std::string> files{};
    };

    void Write(const std::string &path);
    void Begin(int process);
    void Finish(int process, const master::RunEnd &end);
    void FinishAfter(Agenda::Milliseconds time, int process, const master::RunEnd &end);

    Agenda &m_agenda;
    Chance &m_chance;
    Verdict &m_verdict;
    Health m_health;
    std::map<int, Process> m_processes;
    int m_lastProcess = 0;
    std::map<UID, std::set<int>> m_rendered;
    Watcher *m_watcher = nullptr;
    std::map<std::string, File> m_files;
};

/// A Master's hand on the machine.
class SimulatedRunner : public master::CommandRunner
{
public:
    /// `isStopped`: the Master is dead, though it does not know; nothing that it does counts.
    SimulatedRunner(Machine &machine, Agenda &agenda, int slots, std::function<bool()> isStopped);
    ~SimulatedRunner() override;

    void Begin(const UID &master, std::function<void()> isAlone) override;
    int FreeSlots() const override;
    bool Start(const master::Command &command, master::RunListener &listener,
               String *error) override;
    void End(int run) override;

private:
    void Look(const std::function<void()> &isAlone);

    Machine &m_machine;
    Agenda &m_agenda;
    int m_slots;
    std::function<bool()> m_isStopped;
    bool m_isAlone = false;
    std::shared_ptr<bool> m_isThere; // Shared with what the agenda holds.
};

} // namespace simulation
