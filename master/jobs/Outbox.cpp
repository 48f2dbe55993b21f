#include "master/jobs/Outbox.h"

#include <boost/make_shared.hpp>
#include <iterator>
#include <utility>

#include "corvan/FrameChecking.h"
#include "corvan/Messages.h"
#include "corvan/Parameters.h"
#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

template <typename Element> void MoveAll(std::vector<Element> &from, std::vector<Element> &to)
{
    to.insert(to.end(), std::make_move_iterator(from.begin()), std::make_move_iterator(from.end()));
    from.clear();
}

} // namespace

void Outbox::Answer(ClientNumber client, std::uint64_t request, boost::shared_ptr<Message> message)
{
    _CallEntry call("Outbox::Answer", __FILE__, __LINE__);

    m_messages.push_back({client, UID(), request, std::move(message)});
}

void Outbox::Accept(ClientNumber client, std::uint64_t request, const UID &job)
{
    _CallEntry call("Outbox::Accept", __FILE__, __LINE__);

    if (request == 0)
        return;
    auto accepted = boost::make_shared<corvan::AcceptedMsg>();
    accepted->job = job;
    Answer(client, request, accepted);
}

void Outbox::Refuse(ClientNumber client, std::uint64_t request, const String &what,
                    const String &reason, const UID &job, const String &missingRight)
{
    _CallEntry call("Outbox::Refuse", __FILE__, __LINE__);

    auto refused = boost::make_shared<corvan::RefusedMsg>();
    refused->what = what;
    refused->reason = reason;
    refused->job = job;
    refused->missingRight = missingRight;
    Answer(client, request, refused);
    ++m_refusals;
}

void Outbox::Tell(const UID &job, const String &name, const String &value)
{
    _CallEntry call("Outbox::Tell", __FILE__, __LINE__);

    auto news = boost::make_shared<corvan::JobParameterMsg>();
    news->job = job;
    news->name = name;
    news->value = value;
    m_messages.push_back({0, job, 0, news});
    if (name == corvan::p_Status || name == corvan::p_Priority)
        m_changedJobs.insert(job);
    if (name != corvan::p_Status && !corvan::SaysWhatToLookFor(name))
        return;
    FrameNote &note = m_frameNotes[job];
    note.isStatusTold = note.isStatusTold || name == corvan::p_Status;
    note.isKindTold = note.isKindTold || name == corvan::p_CheckFrames;
    note.isOtherTold = note.isOtherTold || name != corvan::p_Status;
}

void Outbox::TellJob(const UID &job, boost::shared_ptr<Message> message)
{
    _CallEntry call("Outbox::TellJob", __FILE__, __LINE__);

    m_messages.push_back({0, job, 0, std::move(message)});
}

void Outbox::TellProgress(const UID &job)
{
    _CallEntry call("Outbox::TellProgress", __FILE__, __LINE__);

    m_progress.push_back(job);
}

void Outbox::EndRuns(const UID &job, std::map<unsigned, unsigned> kept)
{
    _CallEntry call("Outbox::EndRuns", __FILE__, __LINE__);

    m_runsToEnd.push_back({job, std::move(kept)});
}

void Outbox::TryNow(const UID &job)
{
    _CallEntry call("Outbox::TryNow", __FILE__, __LINE__);

    m_jobsToTry.push_back(job);
}

void Outbox::RenewRuns(const UID &job)
{
    _CallEntry call("Outbox::RenewRuns", __FILE__, __LINE__);

    m_jobsToRenew.push_back(job);
}

void Outbox::Wish(NodeWish wish)
{
    _CallEntry call("Outbox::Wish", __FILE__, __LINE__);

    m_nodeWishes.push_back(std::move(wish));
}

void Outbox::Wish(LogWish wish)
{
    _CallEntry call("Outbox::Wish", __FILE__, __LINE__);

    m_logWishes.push_back(wish);
}

void Outbox::FollowFrames(const UID &job)
{
    _CallEntry call("Outbox::FollowFrames", __FILE__, __LINE__);

    m_framesToFollow.insert(job);
}

std::map<UID, FrameNote> Outbox::TakeFrameNotes()
{
    _CallEntry call("Outbox::TakeFrameNotes", __FILE__, __LINE__);

    return std::exchange(m_frameNotes, {});
}

void Outbox::Audit(AuditEntry entry)
{
    _CallEntry call("Outbox::Audit", __FILE__, __LINE__);

    m_audit.push_back(std::move(entry));
}

void Outbox::Append(Outbox &&other)
{
    _CallEntry call("Outbox::Append", __FILE__, __LINE__);

    MoveAll(other.m_messages, m_messages);
    MoveAll(other.m_progress, m_progress);
    MoveAll(other.m_runsToEnd, m_runsToEnd);
    MoveAll(other.m_jobsToTry, m_jobsToTry);
    MoveAll(other.m_jobsToRenew, m_jobsToRenew);
    MoveAll(other.m_nodeWishes, m_nodeWishes);
    MoveAll(other.m_logWishes, m_logWishes);
    m_changedJobs.merge(other.m_changedJobs);
    m_framesToFollow.merge(other.m_framesToFollow);
    for (const auto &[job, more] : other.TakeFrameNotes())
    {
        FrameNote &note = m_frameNotes[job];
        note.isStatusTold = note.isStatusTold || more.isStatusTold;
        note.isKindTold = note.isKindTold || more.isKindTold;
        note.isOtherTold = note.isOtherTold || more.isOtherTold;
    }
    m_refusals += std::exchange(other.m_refusals, 0);
    MoveAll(other.m_audit, m_audit);
}

} // namespace master
