#include "master/repair/FrameRequeues.h"

#include <boost/make_shared.hpp>

#include "analysis/RequeueRange.h"
#include "corvan/Messages.h"
#include "corvan/Parameters.h"
#include "master/jobs/Submission.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using corvan::SequenceDistributor;
using ostrel::_CallEntry;

FrameRequeues::FrameRequeues(JobStore &store, JobCache &cache, MakeID makeID)
    : m_store(store), m_cache(cache), m_makeID(std::move(makeID))
{
    _CallEntry call("FrameRequeues::FrameRequeues", __FILE__, __LINE__);
}

std::optional<UID> FrameRequeues::Requeue(const JobState &state,
                                          const SequenceDistributor::Items &numbers, Outbox &outbox,
                                          String *reason)
{
    _CallEntry call("FrameRequeues::Requeue", __FILE__, __LINE__);

    const boost::shared_ptr<Job> job = MakeJob(state, numbers, reason);
    if (!job)
        return std::nullopt;
    JobState requeued;
    requeued.tasksTotal = unsigned(CutPackets(*job, reason).size());
    if (requeued.tasksTotal == 0)
        return std::nullopt;
    requeued.id = job->ID();
    requeued.created = ostrel::Time::Now();
    requeued.submitted = NameSubmission(*job);
    requeued.priority = state.priority;
    m_store.Add(*job, requeued);
    ostrel::LogStatus("new job " + job->ID().ToString() + " \"" + job->Name() +
                      "\" renders bad frames of job " + state.id.ToString() +
                      " again: " + job->ParameterText(corvan::p_Range, true));

    auto news = boost::make_shared<corvan::JobMsg>();
    news->job = m_cache.Whole(requeued, reason);
    if (news->job)
        outbox.TellJob(job->ID(), news);
    return job->ID();
}

boost::shared_ptr<Job> FrameRequeues::MakeJob(const JobState &state,
                                              const SequenceDistributor::Items &numbers,
                                              String *reason) const
{
    _CallEntry call("FrameRequeues::MakeJob", __FILE__, __LINE__);

    const std::shared_ptr<const JobCache::Entry> entry = m_cache.Get(state.id);
    if (!entry->job)
    {
        *reason = entry->reason;
        return nullptr;
    }
    std::optional<analysis::ExpansionInput> input = analysis::ReadExpansionInput(*entry->job);
    if (!input || !SequenceDistributor::ParseRange(input->userRange, input->frames, reason))
        return nullptr;
    const analysis::RequeueRange range =
        analysis::FindRequeueRange(*input, numbers, analysis::RequeuePackets::AsTheJob, reason);
    if (range.frames.empty())
    {
        *reason =
            "no frame of the job renders the files " + SequenceDistributor::CalculateRange(numbers);
        return nullptr;
    }
    boost::shared_ptr<Job> job = analysis::MakeRequeue(*entry->job, range, reason);
    if (!job)
        return nullptr;
    job->SetID(m_makeID());
    job->SetParameter(corvan::p_CheckFrames, "none");
    return job;
}

} // namespace master
