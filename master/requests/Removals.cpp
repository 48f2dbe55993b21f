#include "master/requests/Removals.h"

#include <boost/make_shared.hpp>

#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

Removals::Removals(JobStore &store, JobCache &cache, Dependences &dependences)
    : m_store(store), m_cache(cache), m_dependences(dependences)
{
    _CallEntry call("Removals::Removals", __FILE__, __LINE__);
}

void Removals::RemoveJob(const ClientRequest &request, const corvan::RemoveJobMsg &message)
{
    _CallEntry call("Removals::RemoveJob", __FILE__, __LINE__);

    const std::optional<JobState> state = m_store.FindState(message.job);
    if (!state)
        return request.RefuseUnknown(message.job, message.job.ToString());
    if (!corvan::IsOver(state->status) && !message.cancel)
        return request.Refuse(
            String("the job is ") + corvan::StatusName(state->status) +
                ", and removing one that is not over cancels it: ask for that too",
            message.job, message.job.ToString());
    request.Accept(message.job);
    // It is the last that is known of the job.
    const auto entry = m_cache.Get(message.job);
    request.NoteChange(message.job, k_AllParameters,
                       entry->job ? AllParameters(*entry->job) : String(), {});
    TakeAway(*state, request.outbox);
}

void Removals::TakeAway(const JobState &state, Outbox &outbox)
{
    _CallEntry call("Removals::TakeAway", __FILE__, __LINE__);

    m_dependences.NoteRemoval(state);
    m_store.Remove(state);
    m_cache.Forget(state.id);
    // Commands of a job that was just cancelled may still be there.
    outbox.EndRuns(state.id);
    outbox.FollowFrames(state.id);
    const auto news = boost::make_shared<corvan::JobRemovedMsg>();
    news->job = state.id;
    outbox.TellJob(state.id, news);
    ostrel::LogStatus("job " + state.id.ToString() + " is removed");
}

} // namespace master
