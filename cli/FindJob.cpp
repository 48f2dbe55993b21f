#include "cli/FindJob.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>

#include "corvan/RequeueJob.h"
#include "corvan/Utf8.h"

namespace cli
{

namespace
{

constexpr std::size_t k_shortest_beginning = 4;

JobPointer AskForJob(Client &client, const UID &id)
{
    const auto question = NewMessage<corvan::GetJobInfoMsg>();
    question->jobs.push_back(id);
    try
    {
        return client.Ask<corvan::JobMsg>(question)->job;
    }
    catch (Failure *raw)
    {
        std::unique_ptr<Failure> failure(raw);
        if (failure->Status() == k_Refused)
            throw new Failure(k_WrongUsage, "no job has the identifier " + id.ToString());
        throw failure.release();
    }
}

} // namespace

JobPick::JobPick(const String &text)
    : m_text(text), m_beginning(boost::algorithm::to_lower_copy(std::string(text)))
{
}

void JobPick::Fitting::Add(const JobPointer &job)
{
    if (++count == 1)
        first = job;
}

void JobPick::Consider(const JobPointer &job)
{
    if (m_beginning.size() >= k_shortest_beginning &&
        boost::algorithm::starts_with(job->ID().ToString(), m_beginning))
        m_begins.Add(job);
    if (job->Name() == m_text)
        (corvan::OriginOf(*job).IsNil() ? m_named : m_namedRequeues).Add(job);
}

std::optional<JobPointer> JobPick::Picked(String *reason) const
{
    const Fitting &named = m_named.count > 0 ? m_named : m_namedRequeues;
    const Fitting &fitting = named.count > 0 ? named : m_begins;
    if (fitting.count == 1)
        return fitting.first;
    *reason = fitting.count == 0 ? "no job fits '" + corvan::Excerpt(m_text) + "'"
                                 : std::to_string(fitting.count) + " jobs fit '" + m_text +
                                       "'; give more of an identifier";
    return std::nullopt;
}

JobPointer FindJob(Client &client, const String &text)
{
    UID id;
    if (id.FromString(text))
        return AskForJob(client, id);

    JobPick pick(text);
    VisitJobs(client, 0,
              [&](const JobPointer &job)
              {
                  pick.Consider(job);
                  return true;
              });
    String reason;
    const std::optional<JobPointer> job = pick.Picked(&reason);
    if (!job)
        throw new Failure(k_WrongUsage, reason);
    return *job;
}

} // namespace cli
