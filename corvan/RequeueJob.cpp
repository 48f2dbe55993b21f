#include "corvan/RequeueJob.h"

#include "corvan/JobFactory.h"
#include "corvan/JobStatus.h"
#include "corvan/Parameters.h"

namespace corvan
{

boost::shared_ptr<Job> MakeRequeueJob(const Job &job, const String &range)
{
    const ostrel::UID type(job.ParameterText(p_Type, true), false);
    boost::shared_ptr<Job> requeue = JobFactory::s_JobFactory.CreateJob(type);
    if (!requeue)
        return nullptr; // The factory has logged it.
    requeue->CopyFrom(job, true);
    requeue->SetID(ostrel::UID(true));

    String queued;
    queued = static_cast<int>(JobStatus::Queued);
    requeue->SetParameter(p_Status, queued);
    const ostrel::UID origin = OriginOf(job);
    requeue->SetParameter(p_RequeueOf, (origin.IsNil() ? job.ID() : origin).ToString());
    // It renders again at once what was rendered.
    for (const String &name : {p_After, p_AfterGood})
        if (!requeue->ParameterText(name, false).empty())
            requeue->SetParameter(name, {});
    if (!requeue->SetParameter(p_Range, range))
        return nullptr;
    return requeue;
}

ostrel::UID OriginOf(const Job &job)
{
    return ostrel::UID(job.ParameterText(p_RequeueOf, false), false);
}

} // namespace corvan
