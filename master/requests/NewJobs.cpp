#include "master/requests/NewJobs.h"

#include <boost/make_shared.hpp>
#include <cstdlib>

#include "analysis/SettingCheck.h"
#include "corvan/Parameters.h"
#include "master/jobs/Submission.h"
#include "master/run/RenderCommand.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

const char *const k_other_job = "a job with this identifier exists already, and it is another one";

// What a new job says of the parameters that the Master sets is passed over.
String CheckNewParameter(const Job &job, const String &name, const String &value)
{
    if (corvan::IsMasterParameter(name) || name == corvan::p_Status)
        return {};
    return analysis::CheckSetting(job, name, value);
}

} // namespace

NewJobs::NewJobs(JobStore &store, JobCache &cache, Dependences &dependences)
    : m_store(store), m_cache(cache), m_dependences(dependences)
{
    _CallEntry call("NewJobs::NewJobs", __FILE__, __LINE__);
}

void NewJobs::AddJob(const ClientRequest &request, const corvan::JobMsg &message)
{
    _CallEntry call("NewJobs::AddJob", __FILE__, __LINE__);

    const boost::shared_ptr<Job> owned = CopyOf(*message.job);
    Job &job = *owned;
    const std::optional<JobState> present = m_store.FindState(job.ID());
    if (present && IsSentAgain(request, job, *present))
    {
        ostrel::LogInfo("job " + job.ID().ToString() + " was sent again");
        return request.Accept(job.ID());
    }
    JobState state;
    String reason = present ? k_other_job : CheckNewJob(job, state);
    if (reason.empty())
        reason = job.CheckParameter(corvan::p_Owner, request.caller.who.user);
    if (reason.empty())
        reason = m_dependences.Check(job);
    if (!reason.empty())
        return request.Refuse(reason, job.ID(), job.ID().ToString());
    job.SetParameter(corvan::p_Owner, request.caller.who.user);

    m_store.Add(job, state);
    if (Dependences::NamesAny(job))
        m_dependences.Keep(job, state, request.outbox);
    ostrel::LogStatus("new job " + job.ID().ToString() + " \"" + job.Name() + "\", " +
                      std::to_string(state.tasksTotal) + " tasks");
    request.Accept(job.ID());
    request.NoteChange(job.ID(), k_AllParameters, {}, AllParameters(job));

    String unreadable;
    auto news = boost::make_shared<corvan::JobMsg>();
    news->job = m_cache.Whole(state, &unreadable);
    if (news->job)
        request.outbox.TellJob(job.ID(), news);
}

// By the same user as before: who sends what somebody else has sent hears no more than that the
// identifier is taken.
bool NewJobs::IsSentAgain(const ClientRequest &request, const Job &job, const JobState &present)
{
    _CallEntry call("NewJobs::IsSentAgain", __FILE__, __LINE__);

    if (present.submitted != NameSubmission(job))
        return false;
    const String owner = m_store.FindOwner(job.ID()).value_or(String());
    // An earlier version may have taken it, which knew no owners.
    return owner.empty() || owner == request.caller.who.user;
}

// Fills in the state of a new job, or tells why it cannot be taken.
String NewJobs::CheckNewJob(const Job &job, JobState &state) const
{
    _CallEntry call("NewJobs::CheckNewJob", __FILE__, __LINE__);

    if (job.ID().IsNil())
        return "the job has no identifier";
    if (m_store.IsRemoved(job.ID()))
        return "a job with this identifier was just removed";

    for (const auto &[name, value] : job.Parameters())
        if (String reason = CheckNewParameter(job, name, value); !reason.empty())
            return reason;

    String reason;
    const std::vector<Packet> packets = CutPackets(job, &reason);
    if (packets.empty())
        return reason;

    state.id = job.ID();
    state.created = ostrel::Time::Now();
    state.submitted = NameSubmission(job);
    state.tasksTotal = unsigned(packets.size());
    const String priority = job.ParameterText(corvan::p_Priority, true);
    if (!priority.empty())
        state.priority = int(std::strtol(priority.c_str(), nullptr, 10));
    if (job.ParameterText(corvan::p_Status, true) == std::to_string(int(JobStatus::Paused)))
        state.status = JobStatus::Paused;
    // What waits may still be completed; what would run at once and cannot is better refused now.
    else if (!BuildRenderCommand(job, FirstOf(packets), FirstOf(packets).firstFrame, &reason))
        return reason;
    return {};
}

} // namespace master
