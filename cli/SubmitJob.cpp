#include "cli/SubmitJob.h"

#include <boost/algorithm/string/join.hpp>

#include "analysis/SettingCheck.h"
#include "cli/Patterns.h"
#include "corvan/ImageFormats.h"
#include "corvan/JobFactory.h"
#include "corvan/JobStatus.h"
#include "corvan/Parameters.h"

namespace cli
{

using corvan::Job;
using corvan::JobFactory;

namespace
{

String KnownTypes()
{
    std::vector<std::string> names;
    for (const UID &id : JobFactory::s_JobFactory.ListTypes())
        names.push_back(JobFactory::s_JobFactory.FindType(id)->name);
    return names.empty() ? "there are none" : "there are " + boost::algorithm::join(names, ", ");
}

boost::shared_ptr<const corvan::JobType> NeedType(const String &text)
{
    auto type = JobFactory::s_JobFactory.FindTypeByName(text);
    UID id;
    if (!type && id.FromString(text))
        type = JobFactory::s_JobFactory.FindType(id);
    if (!type)
        throw new Failure(k_Refused, "no job type '" + text + "'; " + KnownTypes());
    return type;
}

void SetOrRefuse(Job &job, const String &name, const String &value)
{
    const String reason = analysis::CheckSetting(job, name, value);
    if (!reason.empty())
        throw new Failure(k_Refused, "cannot set " + name + ": " + reason);
    job.SetParameter(name, value);
}

String DefaultName(const NewJob &newJob, const corvan::JobType &type)
{
    if (newJob.patterns.empty())
        return type.name;
    return ostrel::Path(newJob.patterns.front()).Leaf(true);
}

} // namespace

boost::shared_ptr<Job> MakeJob(const NewJob &newJob)
{
    const auto type = NeedType(newJob.type);
    const boost::shared_ptr<Job> job = JobFactory::s_JobFactory.CreateJob(type->id);
    job->SetID(UID(true));

    SetOrRefuse(*job, corvan::p_Name,
                newJob.name.empty() ? DefaultName(newJob, *type) : newJob.name);
    if (!newJob.range.empty())
        SetOrRefuse(*job, corvan::p_Range, newJob.range);
    if (!newJob.patterns.empty())
        SetOrRefuse(*job, corvan::p_ImageFormat,
                    corvan::ShareFormats(JoinPatterns(newJob.patterns)));
    if (newJob.isPaused)
        SetOrRefuse(*job, corvan::p_Status, std::to_string(int(corvan::JobStatus::Paused)));
    for (const auto &[name, value] : newJob.settings)
        SetOrRefuse(*job, name, corvan::SharedValue(name, value));
    job->TakeDefaults();
    return job;
}

UID SubmitJob(Client &client, const boost::shared_ptr<Job> &job)
{
    const auto message = NewMessage<corvan::JobMsg>();
    message->job = job;
    return client.Ask<corvan::AcceptedMsg>(message)->job;
}

} // namespace cli
