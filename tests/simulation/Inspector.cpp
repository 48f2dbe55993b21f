#include "tests/simulation/Inspector.h"

#include <boost/make_shared.hpp>

namespace simulation
{

void Inspector::Come(SimulatedDoor &door)
{
    m_door = &door;
    m_number = door.Come(*this, MakeIdentity("inspector", master::Role::Admin));
    m_open = 0;
    m_tasks.clear();
    m_refusal.clear();
}

void Inspector::AskForJobs()
{
    Ask(boost::make_shared<corvan::ListJobsMsg>());
}

void Inspector::AskForTasks(const std::vector<boost::shared_ptr<Job>> &jobs)
{
    for (const boost::shared_ptr<Job> &job : jobs)
    {
        auto message = boost::make_shared<corvan::GetTasksMsg>();
        message->job = job->ID();
        Ask(message);
    }
}

void Inspector::Leave()
{
    m_door->Leave(m_number);
}

void Inspector::Ask(boost::shared_ptr<Message> message)
{
    ++m_open;
    m_door->Ask(m_number, ++m_serial, std::move(message));
}

void Inspector::OnSent(const Outgoing &outgoing)
{
    --m_open;
    if (const auto *list = dynamic_cast<const corvan::JobListMsg *>(outgoing.message.get()))
        m_jobs = list->jobs;
    else if (const auto *tasks = dynamic_cast<const corvan::TaskListMsg *>(outgoing.message.get()))
        m_tasks[tasks->job] = *tasks;
    else if (const auto *no = dynamic_cast<const corvan::RefusedMsg *>(outgoing.message.get()))
        m_refusal = no->reason;
}

} // namespace simulation
