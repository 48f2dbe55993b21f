#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <vector>

#include "corvan/Message.h"

namespace master
{

using corvan::Message;
using ostrel::String;
using ostrel::UID;

/// Counts the clients of a run of the Master from 1, so that one that comes back is another.
using ClientNumber = std::uint64_t;

/// One message on its way out: to one client, or to all followers of a job.
struct Outgoing
{
    ClientNumber client = 0;   ///< 0 for the followers of `followersOf`.
    UID followersOf;           ///< Nil where `client` is set.
    std::uint64_t answers = 0; ///< Serial of the request; 0 for news.
    boost::shared_ptr<Message> message;
};

/// What is to be done once the changes of a turn are on disk, and not at all where they are not.
class Outbox
{
public:
    void Answer(ClientNumber client, std::uint64_t request, boost::shared_ptr<Message> message);

    /// Carried out. Nothing where the request wanted no answer (serial 0).
    void Accept(ClientNumber client, std::uint64_t request, const UID &job);
    void Refuse(ClientNumber client, std::uint64_t request, const String &what,
                const String &reason, const UID &job);

    /// To all followers of a job: a parameter has changed.
    void Tell(const UID &job, const String &name, const String &value);
    /// To all followers of a job: the job itself.
    void TellJob(const UID &job, boost::shared_ptr<Message> message);
    /// To all followers of a job, soon: its task counts have changed.
    void TellProgress(const UID &job);

    /// The commands of this job are to be ended.
    void EndRuns(const UID &job);

    void Append(Outbox &&other);

    const std::vector<Outgoing> &Messages() const
    {
        return m_messages;
    }
    const std::vector<UID> &Progress() const
    {
        return m_progress;
    }
    const std::vector<UID> &RunsToEnd() const
    {
        return m_runsToEnd;
    }

private:
    std::vector<Outgoing> m_messages;
    std::vector<UID> m_progress;
    std::vector<UID> m_runsToEnd;
};

} // namespace master
