#pragma once

#include <map>
#include <vector>

#include "tests/simulation/SimulatedDoor.h"

namespace simulation
{

/// Asks a Master what there is, and is answered at once.
class Inspector : private SimulatedDoor::Visitor
{
public:
    void Come(SimulatedDoor &door);
    /// The questions; they are answered when the loop has run.
    void AskForJobs();
    void AskForTasks(const std::vector<boost::shared_ptr<Job>> &jobs);
    void Leave();

    const std::vector<boost::shared_ptr<Job>> &Jobs() const
    {
        return m_jobs;
    }
    const std::map<UID, corvan::TaskListMsg> &Tasks() const
    {
        return m_tasks;
    }
    /// Of the questions; empty where none was refused.
    const String &Refusal() const
    {
        return m_refusal;
    }
    bool IsAnswered() const
    {
        return m_open == 0;
    }

private:
    void OnSent(const Outgoing &message) override;
    void OnTaken(std::uint64_t /*serial*/) override {}
    void Ask(boost::shared_ptr<Message> message);

    SimulatedDoor *m_door = nullptr;
    ClientNumber m_number = 0;
    std::uint64_t m_serial = 0;
    int m_open = 0;
    std::vector<boost::shared_ptr<Job>> m_jobs;
    std::map<UID, corvan::TaskListMsg> m_tasks;
    String m_refusal;
};

} // namespace simulation
