#include "tests/simulation/Ledger.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "corvan/JobStatus.h"
#include "corvan/Parameters.h"
#include "corvan/RequeueJob.h"

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
const std::array<String, 7> &WatchedNames()
{
    static const std::array<String, 7> s_names{
        corvan::p_Note,       corvan::p_Priority, corvan::p_Range,      corvan::p_PacketSize,
        corvan::p_FrameOrder, corvan::p_After,    corvan::p_AutoRequeue};
    return s_names;
}

bool IsCut(const String &name)
{
    return name == corvan::p_Range || name == corvan::p_PacketSize || name == corvan::p_FrameOrder;
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

bool IsOfRight(const String &reason)
{
    return reason.starts_with("the right \"");
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
    if (isNew)
    {
        account.owner = wish.user;
        account.earliest = account.latest = m_agenda.WallTime().First();
        for (const String &name : WatchedNames())
            account.values[name].Begin(wish.submitted->ParameterText(name, true));
        account.statuses.Begin(
            StatusesAfter(wish.submitted->ParameterText(corvan::p_Status, true)));
    }
    wish.isAllowed = MayDo(wish, account);
    account.isRemovalAsked =
        account.isRemovalAsked || (wish.kind == Wish::Kind::Remove && wish.isAllowed);
    m_wishes.push_back(std::move(wish));
    return m_wishes.size() - 1;
}

bool Ledger::MayDo(const Wish &wish, const Account &account)
{
    switch (wish.role)
    {
    case master::Role::Watch:
        return false;
    case master::Role::Submit:
        return wish.kind == Wish::Kind::Submit;
    case master::Role::EditOwn:
        return wish.kind == Wish::Kind::Submit || wish.user == account.owner;
    case master::Role::EditAll:
    case master::Role::Admin:
        break;
    }
    return true;
}

void Ledger::LoseMaster()
{
    for (Wish &wish : m_wishes)
        if (wish.outcome == Wish::Outcome::OfDisk)
            wish.outcome = Wish::Outcome::Unknown;
}

void Ledger::NoteWallTime()
{
    for (auto &[job, account] : m_accounts)
        NoteWallTime(account);
}

void Ledger::NoteWallTime(Account &account) const
{
    const std::int64_t now = m_agenda.WallTime().First();
    account.earliest = std::min(account.earliest, now);
    account.latest = std::max(account.latest, now);
}

bool Ledger::MustStay(const UID &job) const
{
    constexpr std::int64_t k_day_ns = 86'400'000'000'000;

    const auto found = m_accounts.find(job);
    if (found == m_accounts.end() || found->second.isRemovalAsked)
        return false;
    const std::int64_t latest = std::max(found->second.latest, m_agenda.WallTime().First());
    return m_keepDays == 0 || latest - found->second.earliest < k_day_ns * m_keepDays;
}

void Ledger::Take(WishNumber number)
{
    const Wish &wish = m_wishes[number];
    Account &account = m_accounts.at(wish.job);
    // Nothing comes of it.
    if (!wish.isAllowed)
        return;
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
    Wish &wish = m_wishes[number];
    Account &account = m_accounts.at(wish.job);
    if (IsOfDisk(reason))
    {
        wish.outcome = Wish::Outcome::OfDisk;
        return;
    }
    CheckRight(wish, reason, account);
    wish.outcome = reason.empty()      ? Wish::Outcome::Accepted
                   : IsOfRight(reason) ? Wish::Outcome::MissingRight
                                       : Wish::Outcome::Refused;
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

void Ledger::CheckRight(const Wish &wish, const String &reason, const Account &account)
{
    if (wish.isAllowed == !IsOfRight(reason))
        return;
    // Whose it was is not known of a job that is gone.
    if (reason == "there is no such job" && wish.role == master::Role::EditOwn &&
        (account.isThere.MayBe(false) || !MustStay(wish.job)))
        return;
    m_verdict.Wrong(wish.user + (wish.isAllowed ? " may" : " may not") + " ask " + wish.what +
                    " of job " + wish.job.ToString() +
                    ", and was answered: " + (reason.empty() ? "accepted" : reason));
}

bool Ledger::IsOfDisk(const String &reason)
{
    return reason.starts_with("job store ") || reason.starts_with("cannot write audit log ");
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
        // Of those that the Master has made nobody has asked for anything.
        if (!corvan::OriginOf(*job).IsNil())
            continue;
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
        {
            if (MustStay(id))
                m_verdict.Wrong("job " + id.ToString() + " is lost");
            account.isThere.Begin(false);
            ++m_expired;
        }
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
    for (const String *name :
         {&corvan::p_Status, &corvan::p_Waiting, &corvan::p_Range, &corvan::p_PacketSize,
          &corvan::p_Note, &corvan::p_Priority, &corvan::p_TasksTotal, &corvan::p_TasksDone,
          &corvan::p_TasksFailed, &corvan::p_RequeueOf, &corvan::p_FramesChecked,
          &corvan::p_FramesBad})
        text += " " + *name + "='" + job.ParameterText(*name, false) + "'";
    return text;
}

} // namespace simulation
