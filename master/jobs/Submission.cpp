#include "master/jobs/Submission.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <map>

#include "corvan/JobStatus.h"
#include "corvan/JobType.h"

namespace master
{

namespace
{

bool IsPassedOver(const String &name, const String &value)
{
    if (name == corvan::p_Status)
        return value != std::to_string(int(corvan::JobStatus::Paused));
    return corvan::IsMasterParameter(name);
}

// With its length before it, so that where one text ends is no question of what it holds.
void Append(const String &text, std::string &all)
{
    all += std::to_string(text.size()) + ":" + text;
}

} // namespace

String NameSubmission(const Job &job)
{
    std::map<String, String> counting;
    for (const auto &[name, value] : job.Parameters())
        if (!IsPassedOver(name, value))
            counting.emplace(name, value);

    std::string all;
    Append(job.Type().id.ToString(), all);
    for (const auto &[name, value] : counting)
    {
        Append(name, all);
        Append(value, all);
    }
    const boost::uuids::name_generator_sha1 generate(boost::uuids::ns::oid());
    return to_string(generate(all));
}

} // namespace master
