#pragma once

#include <map>
#include <set>
#include <utility>
#include <vector>

#include "corvan/Messages.h"
#include "tests/simulation/Agenda.h"
#include "tests/simulation/Machine.h"
#include "tests/simulation/Verdict.h"

namespace simulation
{

/// Hears all that a Master tells of its jobs, and sees each command that is to begin: whether its
/// job waits for others that are not done, whether frames of the job come before these, and whether
/// it is somebody else's turn.
class Witness : public Machine::Watcher
{
public:
    using Jobs = std::vector<boost::shared_ptr<corvan::Job>>;
    using Tasks = std::map<UID, corvan::TaskListMsg>;

    /// Both outlive it.
    Witness(const Agenda &agenda, const Machine &machine, Verdict &verdict)
        : m_agenda(agenda), m_machine(machine), m_verdict(verdict)
    {
    }

    /// The Master has let go of a message to whomever.
    void Hear(const corvan::Message &message);
    /// All that there is: a Master that has crashed may not have told of it.
    void HearAll(const Jobs &jobs, const Tasks &tasks);
    /// A command for these frames is about to be begun.
    void See(const UID &job, int firstFrame, int lastFrame) override;
    /// The machine has not taken it.
    void SeeRefusal() override;

    long CountWaited() const
    {
        return m_waited;
    }
    long CountInTurn() const
    {
        return m_inTurn;
    }

private:
    using Values = std::map<String, String>;
    using Frames = std::pair<int, int>;

    static bool IsActive(const Values &values);
    bool MayBegin(const Values &values, std::string *why) const;
    static std::vector<Frames> PacketsInOrder(const Values &values);
    bool WasBegun(const UID &job, const Frames &packet) const;
    bool HasMore(const UID &job, const Values &values) const;
    unsigned RunsOf(const String &owner, const String &priority) const;
    void CheckWaiting(const UID &job, const Values &values);
    void CheckOrder(const UID &job, const Values &values, const Frames &frames);
    void CheckTurn(const UID &job, const Values &values);

    const Agenda &m_agenda;
    const Machine &m_machine;
    Verdict &m_verdict;
    std::map<UID, Values> m_jobs;
    std::map<UID, bool> m_gone; // Whether it was done.
    std::set<UID> m_begun;
    std::map<UID, std::set<Frames>> m_packets; // That were begun, some time.
    Agenda::Moment m_refused{};
    long m_waited = 0;
    long m_inTurn = 0;
};

} // namespace simulation
