#pragma once

#include <functional>
#include <map>

#include "corvan/Messages.h"
#include "master/jobs/JobCache.h"
#include "master/requests/ClientRequest.h"
#include "master/run/CommandRunner.h"
#include "master/store/JobStore.h"

namespace master
{

/// Answers what clients ask of jobs and tasks; changes nothing. Loop thread.
class JobAnswers
{
public:
    /// A list of jobs ends with the one that makes it longer than this; the rest is asked for anew.
    static constexpr std::size_t k_ListPartBytes = 256u << 10;
    /// Of the reasons why tasks failed, a list of tasks tells as many as fit here.
    static constexpr std::size_t k_ReasonBytes = 1u << 20;

    /// Of where tasks are, a list of them tells as much as fits here.
    static constexpr std::size_t k_PlaceBytes = 2u << 20;

    /// Where the tasks of a job are that run, by their numbers.
    using FindPlaces = std::function<std::map<unsigned, RunPlace>(const UID &)>;

    JobAnswers(JobStore &store, JobCache &cache, FindPlaces findPlaces);

    void SendJobs(const ClientRequest &request, const corvan::GetJobInfoMsg &message);
    void SendJobList(const ClientRequest &request, const corvan::ListJobsMsg &message);
    void SendTasks(const ClientRequest &request, const corvan::GetTasksMsg &message);
    /// As a wish: what was printed is read later.
    void SendTaskLog(const ClientRequest &request, const corvan::GetTaskLogMsg &message);

private:
    void TellPlaces(const JobState &state, std::vector<corvan::TaskInfo> &tasks);

    JobStore &m_store;
    JobCache &m_cache;
    FindPlaces m_findPlaces;
};

} // namespace master
