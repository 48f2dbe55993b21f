#include "corvan/MessageReader.h"

#include <set>

#include "corvan/JobFactory.h"
#include "corvan/JobType.h"
#include "corvan/Limits.h"
#include "corvan/ParameterCheck.h"
#include "corvan/Utf8.h"
#include "corvan/messages.pb.h"

namespace corvan
{

bool ReadId(const std::string &text, const char *what, UID &id, String *reason)
{
    if (id.FromString(text))
        return true;
    *reason = String(what) + " \"" + Excerpt(text) + "\" is no identifier";
    return false;
}

bool ReadOptionalId(const std::string &text, const char *what, UID &id, String *reason)
{
    id = UID();
    return text.empty() || ReadId(text, what, id, reason);
}

bool ReadIds(const google::protobuf::RepeatedPtrField<std::string> &texts, std::vector<UID> &ids,
             String *reason)
{
    if (texts.empty())
    {
        *reason = "it names no job";
        return false;
    }
    if (std::size_t(texts.size()) > k_MaxJobIds)
    {
        *reason = "it names more than " + std::to_string(k_MaxJobIds) + " jobs";
        return false;
    }
    ids.clear();
    std::set<UID> known;
    for (const std::string &text : texts)
    {
        UID id;
        if (!ReadId(text, "job", id, reason))
            return false;
        if (known.insert(id).second)
            ids.push_back(id);
    }
    return true;
}

namespace
{

String CheckOnce(const wire::Parameter &parameter, std::set<std::string> &names)
{
    if (names.insert(parameter.name()).second)
        return {};
    return "parameter " + Excerpt(parameter.name()) + " is there twice";
}

} // namespace

bool ReadParameters(const google::protobuf::RepeatedPtrField<wire::Parameter> &wireParameters,
                    std::vector<std::pair<String, String>> &parameters, String *reason)
{
    if (std::size_t(wireParameters.size()) > k_MaxParameters)
    {
        *reason = "it names more than " + std::to_string(k_MaxParameters) + " parameters";
        return false;
    }
    parameters.clear();
    std::set<std::string> names;
    for (const wire::Parameter &parameter : wireParameters)
    {
        *reason = CheckOnce(parameter, names);
        if (reason->empty())
            *reason = CheckParameterText(parameter.name(), parameter.value());
        if (!reason->empty())
            return false;
        parameters.emplace_back(parameter.name(), parameter.value());
    }
    return true;
}

namespace
{

bool ReadJobParameters(const wire::Job &wireJob, Job &job, String *reason)
{
    std::set<std::string> names;
    for (const wire::Parameter &parameter : wireJob.parameters())
    {
        *reason = CheckOnce(parameter, names);
        if (!reason->empty())
            return false;
        *reason = job.CheckParameter(parameter.name(), parameter.value());
        if (!reason->empty())
            return false;
        job.SetParameter(parameter.name(), parameter.value());
    }
    return true;
}

} // namespace

boost::shared_ptr<Job> ReadJob(const wire::Job &wireJob, String *reason)
{
    UID id;
    UID type;
    if (!ReadId(wireJob.id(), "id", id, reason) || !ReadId(wireJob.type(), "type", type, reason))
        return nullptr;
    if (!JobFactory::s_JobFactory.FindType(type))
    {
        *reason = "job type " + type.ToString() + " is not known here";
        return nullptr;
    }

    boost::shared_ptr<Job> job = JobFactory::s_JobFactory.CreateJob(type);
    job->SetID(id);
    if (!ReadJobParameters(wireJob, *job, reason))
    {
        *reason = "job " + id.ToString() + ": " + *reason;
        return nullptr;
    }
    return job;
}

void WriteJob(const Job &job, wire::Job &wireJob)
{
    wireJob.set_id(job.ID().ToString());
    wireJob.set_type(job.Type().id.ToString());
    for (const auto &[name, value] : job.Parameters())
    {
        wire::Parameter &parameter = *wireJob.add_parameters();
        parameter.set_name(name);
        parameter.set_value(MakeUtf8(value));
    }
}

} // namespace corvan
