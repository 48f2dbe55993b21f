#include "tests/simulation/Client.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdlib>

#include "corvan/AfterJobs.h"
#include "corvan/JobStatus.h"
#include "corvan/Parameters.h"
#include "tests/master/TestJobs.h"

namespace simulation
{

using Milliseconds = Agenda::Milliseconds;
using Kind = Ledger::Wish::Kind;

namespace
{

constexpr std::size_t k_most_jobs = 6;

const char *StatusText(unsigned number)
{
    static constexpr const char *s_texts[] = {"0", "1", "4", "5"};
    return s_texts[number % 4];
}

// What it was to wait for has gone meanwhile.
bool IsOfGoneJob(const String &reason)
{
    return reason.starts_with("After: there is no job ");
}

} // namespace

Client::Client(const World &world, int number, std::shared_ptr<const master::Identity> who)
    : m_world(world), m_name("client " + std::to_string(number)), m_who(std::move(who))
{
}

void Client::Connect(SimulatedDoor &door)
{
    m_door = &door;
    m_number = door.Come(*this, m_who);
    m_isConnected = std::make_shared<bool>(true);
    m_serial = 0;
    m_wishes.clear();
    m_follows.clear();
    std::vector<UID> followed;
    for (const auto &[job, mirror] : m_mirrors)
        followed.push_back(job);
    m_mirrors.clear();
    for (const UID &job : followed)
        Follow(job);
    SendAgain();
}

void Client::Disconnect()
{
    if (m_door)
        m_door->Leave(m_number);
    LoseMaster();
}

void Client::LoseMaster()
{
    m_door = nullptr;
    if (m_isConnected)
        *m_isConnected = false;
}

void Client::SendAgain()
{
    // What has been over for days may be gone, and would run again.
    std::erase_if(m_openSubmits,
                  [this](const auto &open) { return !m_world.ledger.MustStay(open.first); });
    for (const auto &[id, job] : m_openSubmits)
        SendSubmit(job);
}

void Client::Act()
{
    const std::vector<UID> jobs = m_world.ledger.Jobs();
    const unsigned what = m_world.chance.Below(100);
    if (jobs.empty() || (what < 20 && jobs.size() < k_most_jobs))
        return Submit();
    const UID job = jobs[m_world.chance.Below(unsigned(jobs.size()))];
    if (what < 70)
        Change(job, SomeSettings());
    else if (what < 75)
        Remove();
    else if (what < 90)
        Follow(job);
    else
        Look(job);
}

void Client::Submit()
{
    Chance &chance = m_world.chance;
    TestParameters parameters{
        {corvan::p_Range, SomeRange()},
        {corvan::p_PacketSize, std::to_string(chance.Between(1, 4))},
        {corvan::p_Priority, std::to_string(chance.IsOneIn(4) ? chance.Below(101) : 50)}};
    if (chance.IsOneIn(4))
        parameters.emplace_back(corvan::p_Status, StatusText(2));
    if (chance.IsOneIn(3))
        parameters.emplace_back(corvan::p_FrameOrder, SomeOrder());
    if (chance.IsOneIn(2))
        parameters.emplace_back(corvan::p_After, SomeJobs());
    const UID id = chance.NewID();
    if (chance.IsOneIn(2))
    {
        parameters.emplace_back(corvan::p_ImageFormat, "/r/" + id.ToString() + ".%d");
        parameters.emplace_back(corvan::p_CheckFrames, "sizes");
        parameters.emplace_back(corvan::p_AutoRequeue, std::to_string(chance.Below(4)));
        parameters.emplace_back(corvan::p_QuietSeconds, std::to_string(chance.Below(6)));
    }
    const boost::shared_ptr<Job> job = MakeTestJob(parameters);
    job->SetID(id);
    m_openSubmits[job->ID()] = job;
    if (chance.IsOneIn(2))
        Follow(job->ID());
    SendSubmit(job);
}

void Client::SendSubmit(const boost::shared_ptr<Job> &job)
{
    auto message = boost::make_shared<corvan::JobMsg>();
    message->job = job;
    AskFor({.kind = Kind::Submit, .job = job->ID(), .submitted = job, .settings = {}}, message);
}

void Client::Follow(const UID &job)
{
    m_mirrors[job];
    auto follow = boost::make_shared<corvan::FollowJobMsg>();
    follow->jobs = {job};
    m_follows[Ask(follow)] = job;
    auto get = boost::make_shared<corvan::GetJobInfoMsg>();
    get->jobs = {job};
    Ask(get);
}

void Client::SetGoing(const UID &job)
{
    Change(job, {{corvan::p_Status, StatusText(0)}});
}

void Client::LetGo(const UID &job)
{
    Change(job, {{corvan::p_After, {}}});
}

void Client::SetGoingOfMaster(const UID &job)
{
    auto message = boost::make_shared<corvan::JobParameterMsg>();
    message->job = job;
    message->name = corvan::p_Status;
    message->value = StatusText(0);
    m_world.ledger.NoteOfMaster({.kind = Kind::Change,
                                 .job = job,
                                 .submitted = nullptr,
                                 .settings = {{message->name, message->value}},
                                 .user = m_who->user,
                                 .role = m_who->role,
                                 .what = message->TypeName()});
    Ask(message);
}

void Client::Change(const UID &job, const std::vector<Ledger::Setting> &settings)
{
    Ledger::Wish wish{.kind = Kind::Change, .job = job, .submitted = nullptr, .settings = settings};
    if (settings.size() == 1)
    {
        auto message = boost::make_shared<corvan::JobParameterMsg>();
        message->job = job;
        message->name = settings.front().first;
        message->value = settings.front().second;
        return AskFor(std::move(wish), message);
    }
    auto message = boost::make_shared<corvan::JobParametersMsg>();
    message->job = job;
    message->parameters = settings;
    AskFor(std::move(wish), message);
}

std::vector<Ledger::Setting> Client::SomeSettings()
{
    Chance &chance = m_world.chance;
    std::vector<Ledger::Setting> settings;
    if (chance.IsOneIn(3))
        settings.emplace_back(corvan::p_Note, m_name + " notes " + std::to_string(++m_notes));
    if (chance.IsOneIn(5))
        settings.emplace_back(corvan::p_Priority, std::to_string(chance.Below(101)));
    if (chance.IsOneIn(5))
        settings.emplace_back(corvan::p_Range, SomeRange());
    if (chance.IsOneIn(5))
        settings.emplace_back(corvan::p_PacketSize, std::to_string(chance.Between(1, 4)));
    if (chance.IsOneIn(8))
        settings.emplace_back(corvan::p_FrameOrder, SomeOrder());
    if (chance.IsOneIn(8))
        settings.emplace_back(corvan::p_After, SomeJobs());
    if (chance.IsOneIn(8))
        settings.emplace_back(corvan::p_AutoRequeue, std::to_string(chance.Below(4)));
    if (settings.empty() || chance.IsOneIn(5))
        settings.emplace_back(corvan::p_Status, StatusText(chance.Below(4)));
    return settings;
}

String Client::SomeRange()
{
    const unsigned first = m_world.chance.Between(1, 6);
    return std::to_string(first) + "-" + std::to_string(first + m_world.chance.Below(9));
}

String Client::SomeOrder()
{
    static constexpr const char *s_orders[] = {"given", "middle", "ends:2", "ends:3"};
    return s_orders[m_world.chance.Below(4)];
}

// That there are, as far as is known; none, one or two.
String Client::SomeJobs()
{
    const std::vector<UID> jobs = m_world.ledger.Jobs();
    std::vector<UID> some;
    for (unsigned count = jobs.empty() ? 0 : m_world.chance.Below(3); count > 0; --count)
        some.push_back(jobs[m_world.chance.Below(unsigned(jobs.size()))]);
    return corvan::WriteAfterJobs(some);
}

// Of those that it handed in, and knows to be there: nobody sends it again.
void Client::Remove()
{
    if (m_jobs.empty())
        return;
    const std::size_t which = m_world.chance.Below(unsigned(m_jobs.size()));
    auto message = boost::make_shared<corvan::RemoveJobMsg>();
    message->job = m_jobs[which];
    message->cancel = m_world.chance.IsOneIn(2);
    m_jobs.erase(m_jobs.begin() + std::ptrdiff_t(which));
    AskFor({.kind = Kind::Remove, .job = message->job, .submitted = nullptr, .settings = {}},
           message);
}

void Client::Look(const UID &job)
{
    auto tasks = boost::make_shared<corvan::GetTasksMsg>();
    tasks->job = job;
    Ask(tasks);
    auto log = boost::make_shared<corvan::GetTaskLogMsg>();
    log->job = job;
    Ask(log);
    Ask(boost::make_shared<corvan::ListJobsMsg>());
}

std::uint64_t Client::Ask(boost::shared_ptr<Message> message)
{
    m_door->Ask(m_number, ++m_serial, std::move(message));
    return m_serial;
}

void Client::AskFor(Ledger::Wish wish, boost::shared_ptr<Message> message)
{
    m_world.verdict.Tell(
        [&]
        {
            std::string text = m_name + " asks " + message->TypeName() + " " + wish.job.ToString();
            for (const auto &[name, value] : wish.settings)
                text += " " + name + "=" + value;
            if (wish.submitted)
                text += " Range=" + wish.submitted->ParameterText(corvan::p_Range, true) +
                        " PacketSize=" + wish.submitted->ParameterText(corvan::p_PacketSize, true);
            return text;
        });
    wish.user = m_who->user;
    wish.role = m_who->role;
    wish.what = message->TypeName();
    const WishNumber number = m_world.ledger.Note(std::move(wish));
    m_wishes[m_serial + 1] = number;
    Ask(std::move(message));
}

void Client::OnTaken(std::uint64_t serial)
{
    if (const auto found = m_wishes.find(serial); found != m_wishes.end())
        m_world.ledger.Take(found->second);
}

void Client::OnSent(const Outgoing &outgoing)
{
    const Message &message = *outgoing.message;
    if (const auto *refused = dynamic_cast<const corvan::RefusedMsg *>(&message))
        OnAnswer(outgoing.answers, refused->reason);
    else if (dynamic_cast<const corvan::AcceptedMsg *>(&message))
        OnAnswer(outgoing.answers, {});
    else
        OnNews(message);
}

void Client::OnAnswer(std::uint64_t serial, const String &reason)
{
    if (const auto follow = m_follows.find(serial); follow != m_follows.end())
        m_mirrors[follow->second].isFollowed = reason.empty();
    const auto wish = m_wishes.find(serial);
    if (wish == m_wishes.end())
        return;
    m_world.verdict.Tell(
        [&]
        {
            return m_name + " is answered on " + m_world.ledger.At(wish->second).job.ToString() +
                   ": " + (reason.empty() ? "accepted" : reason);
        });
    m_world.ledger.Answer(wish->second, reason);
    const Ledger::Wish &asked = m_world.ledger.At(wish->second);
    if (asked.kind == Kind::Submit && asked.isAllowed && !reason.empty() &&
        !Ledger::IsOfDisk(reason) && !IsOfGoneJob(reason))
        m_world.verdict.Wrong("a submit is refused: " + reason);
    // Some read slowly.
    m_world.agenda.After(m_isCalm ? Milliseconds(0) : m_world.chance.Span(0, 30'000),
                         [this, serial, reason, isConnected = m_isConnected]
                         {
                             if (*isConnected)
                                 Deliver(serial, reason);
                         });
}

void Client::Deliver(std::uint64_t serial, const String &reason)
{
    const Ledger::Wish &wish = m_world.ledger.At(m_wishes.at(serial));
    if (wish.kind != Kind::Submit || Ledger::IsOfDisk(reason))
        return;
    if (m_openSubmits.erase(wish.job) > 0 && reason.empty())
        m_jobs.push_back(wish.job);
}

void Client::OnNews(const Message &message)
{
    if (const auto *job = dynamic_cast<const corvan::JobMsg *>(&message))
    {
        Mirror &mirror = m_mirrors[job->job->ID()];
        mirror.isWhole = mirror.isFollowed;
        mirror.values.clear();
        for (const auto &[name, value] : job->job->Parameters())
            mirror.values[name] = value;
    }
    else if (const auto *change = dynamic_cast<const corvan::JobParameterMsg *>(&message))
    {
        m_mirrors[change->job].values[change->name] = change->value;
    }
    else if (const auto *removal = dynamic_cast<const corvan::JobRemovedMsg *>(&message))
    {
        OnRemoved(removal->job);
    }
}

void Client::OnRemoved(const UID &job)
{
    Mirror &mirror = m_mirrors[job];
    if (m_world.ledger.MustStay(job))
        m_world.verdict.Wrong("job " + job.ToString() + " was removed, and nobody wanted that");
    if (mirror.isWhole && !m_world.ledger.IsRemovalAsked(job) &&
        !corvan::IsOver(corvan::JobStatus(std::atoi(mirror.values[corvan::p_Status].c_str()))))
        m_world.verdict.Wrong("job " + job.ToString() + " was not over, and has gone by itself");
    mirror.isWhole = false;
}

void Client::Compare(const std::vector<boost::shared_ptr<Job>> &found, bool withCounts) const
{
    if (!IsConnected())
        return;
    std::vector<String> names{
        corvan::p_Status,         corvan::p_Waiting,       corvan::p_Note,
        corvan::p_Range,          corvan::p_PacketSize,    corvan::p_Priority,
        corvan::p_TasksTotal,     corvan::p_FramesChecked, corvan::p_FramesBad,
        corvan::p_FramesBadRange, corvan::p_FrameCounts};
    if (withCounts)
        names.insert(names.end(), {corvan::p_TasksDone, corvan::p_TasksFailed});
    for (const boost::shared_ptr<Job> &job : found)
    {
        const auto mirror = m_mirrors.find(job->ID());
        if (mirror == m_mirrors.end() || !mirror->second.isWhole)
            continue;
        for (const String &name : names)
        {
            const auto value = mirror->second.values.find(name);
            const String told = value == mirror->second.values.end() ? String() : value->second;
            if (told != job->ParameterText(name, false))
                m_world.verdict.Wrong(m_name + " was told last " + name + "='" + told + "' of " +
                                      Describe(*job));
        }
    }
}

} // namespace simulation
