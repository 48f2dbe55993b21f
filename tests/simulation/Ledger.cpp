#include "tests/simulation/Ledger.h"

#include <array>
#include <cstdlib>

#include "corvan/JobStatus.h"
#include "corvan/Parameters.h"

namespace simulation
{

using corvan::JobStatus;

namespace
{

// Sets of what a job may be. That of a job that paused by itself counts as another one: it says why
// it waits.
constexpr unsigned Bit(JobStatus status)
{
    return 1u << unsigned(status);
}
constexpr unsigned k_paused_itself = 1u << 8;
constexpr unsigned k_over_by_itself = Bit(JobStatus::Done) | Bit(JobStatus::Failed);
constexpr unsigned k_active =
    Bit(JobStatus::Queued) | Bit(JobStatus::Running) | k_over_by_itself | k_paused_itself;
constexpr unsigned k_paused = Bit(JobStatus::Paused) | k_over_by_itself | k_paused_itself;
constexpr unsigned k_cancelled = Bit(JobStatus::Cancelled);

// What is looked at beside the status.
const std::array<String, 4> &WatchedNames()
{
    static const std::array<String, 4> s_names{corvan::p_Note, corvan::p_Priority, corvan::p_Range,
                                               corvan::p_PacketSize};
    return s_names;
}

bool IsCut(const String &name)
{
    return name == corvan::p_Range || name == corvan::p_PacketSize;
}

unsigned StatusesAfter(const String &wished)
{
    switch (JobStatus(std::atoi(wished.c_str())))
    {
    case JobStatus::Paused:
        return k_paused;
    case JobStatus::Cancelled:
        return k_cancelled;
    default:
        return k_active;
    }
}

// A job that is cut anew may go on, but for one that was cancelled.
unsigned StatusesAfterCut(unsigned before)
{
    return (before & k_cancelled) | ((before & ~k_cancelled) != 0 ? k_active | k_paused : 0);
}

unsigned StatusOf(const Job &job)
{
    const auto status = JobStatus(std::atoi(job.ParameterText(corvan::p_Status, false).c_str()));
    const bool waits = !job.ParameterText(corvan::p_Waiting, false).empty();
    return status == JobStatus::Paused && waits ? k_paused_itself : Bit(status);
}

unsigned Together(const std::vector<unsigned> &sets)
{
    unsigned all = 0;
    for (const unsigned set : sets)
        all |= set;
    return all;
}

} // namespace

WishNumber Ledger::Note(Wish wish)
{
    const auto [found, isNew] = m_accounts.try_emplace(wish.job);
    Account &account = found->second;
    account.isRemovalAsked = account.isRemovalAsked || wish.kind == Wish::Kind::Remove;
    if (isNew)
    {
        for (const String &name : WatchedNames())
            account.values[name].Begin(wish.submitted->ParameterText(name, true));
        account.statuses.Begin(
            StatusesAfter(wish.submitted->ParameterText(corvan::p_Status, true)));
    }
    m_wishes.push_back(std::move(wish));
    return m_wishes.size() - 1;
}

void Ledger::Take(WishNumber number)
{
    const Wish &wish = m_wishes[number];
    Account &account = m_accounts.at(wish.job);
    if (wish.kind == Wish::Kind::Change)
        TakeChange(number, wish, account);
    else
        account.isThere.Take(number, wish.kind == Wish::Kind::Submit);
}

void Ledger::TakeChange(WishNumber number, const Wish &wish, Account &account)
{
    const unsigned before = Together(account.statuses.Candidates());
    std::optional<unsigned> after;
    for (const auto &[name, value] : wish.settings)
    {
        if (name == corvan::p_Status)
            after = StatusesAfter(value);
        else
            account.values.at(name).Take(number, value);
    }
    for (const auto &[name, value] : wish.settings)
        if (IsCut(name) && !after)
            after = StatusesAfterCut(before);
    if (after)
        account.statuses.Take(number, *after);
}

void Ledger::Answer(WishNumber number, const String &reason)
{
    Account &account = m_accounts.at(m_wishes[number].job);
    if (IsOfDisk(reason))
        return;
    const auto answer = [&](auto &entry)
    {
        if (reason.empty())
            entry.Accept(number);
        else
            entry.Refuse(number);
    };
    answer(account.isThere);
    answer(account.statuses);
    for (auto &[name, values] : account.values)
        answer(values);
}

bool Ledger::IsOfDisk(const String &reason)
{
    return reason.starts_with("job store ");
}

std::vector<UID> Ledger::Jobs() const
{
    std::vector<UID> jobs;
    for (const auto &[job, account] : m_accounts)
        if (!account.isRemovalAsked && !account.isThere.MayBe(false))
            jobs.push_back(job);
    return jobs;
}

void Ledger::Compare(const std::vector<boost::shared_ptr<Job>> &found, bool isNewRun)
{
    std::set<UID> seen;
    for (const boost::shared_ptr<Job> &job : found)
    {
        const auto account = m_accounts.find(job->ID());
        if (account == m_accounts.end() || !account->second.isThere.MayBe(true))
            m_verdict.Wrong("there is a job that must not be: " + Describe(*job));
        if (!seen.insert(job->ID()).second)
            m_verdict.Wrong("there is twice: " + Describe(*job));
        if (account != m_accounts.end())
            CompareJob(*job, account->second, isNewRun);
    }
    for (auto &[id, account] : m_accounts)
    {
        if (seen.contains(id))
            continue;
        if (!account.isThere.MayBe(false))
            m_verdict.Wrong("job " + id.ToString() + " is lost");
        if (isNewRun)
            account.isThere.Settle(false);
    }
}

void Ledger::CompareJob(const Job &job, Account &account, bool isNewRun)
{
    for (auto &[name, values] : account.values)
    {
        const std::string value = job.ParameterText(name, true);
        if (!values.MayBe(value))
        {
            std::string may;
            for (const std::string &candidate : values.Candidates())
                may += " '" + candidate + "'";
            m_verdict.Wrong(name + " may be" + may + " of " + Describe(job));
        }
        if (isNewRun)
            values.Settle(value);
    }

    const unsigned status = StatusOf(job);
    unsigned likely = 0;
    for (const unsigned set : account.statuses.Candidates())
        likely |= (set & status) != 0 ? set : 0;
    if (likely == 0)
        m_verdict.Wrong("the status cannot be that of " + Describe(job));
    if (!isNewRun)
        return;
    account.statuses.Settle(likely);
    account.isThere.Settle(true);
}

std::string Describe(const Job &job)
{
    std::string text = "job " + job.ID().ToString();
    for (const String *name : {&corvan::p_Status, &corvan::p_Waiting, &corvan::p_Range,
                               &corvan::p_PacketSize, &corvan::p_Note, &corvan::p_Priority,
                               &corvan::p_TasksTotal, &corvan::p_TasksDone, &corvan::p_TasksFailed})
        text += " " + *name + "='" + job.ParameterText(*name, false) + "'";
    return text;
}

} // namespace simulation
