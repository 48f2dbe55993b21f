#pragma once

#include <map>
#include <optional>
#include <set>
#include <vector>

#include "master/audit/AuditEntry.h"
#include "master/door/Outgoing.h"

namespace master
{

/// Commands of a job that are to be ended: all but those of the tasks in `kept`, which go on under
/// the numbers that stand there.
struct RunsToEnd
{
    UID job;
    std::map<unsigned, unsigned> kept;

    friend bool operator==(const RunsToEnd &, const RunsToEnd &) = default;
};

/// What a client wants of the machines. It is answered later: others may have to be asked.
struct NodeWish
{
    ClientNumber client = 0;
    std::uint64_t serial = 0;
    Identity who;
    /// What is to become of a machine; nothing where the client asks what there are.
    struct Order
    {
        String node;
        bool drains = false;
        String reason;
    };
    std::optional<Order> order;
};

/// What a client wants to see of what a command has printed. It is answered later: a share may take
/// its time.
struct LogWish
{
    ClientNumber client = 0;
    std::uint64_t serial = 0;
    UID job;
    unsigned task = 0;
    unsigned attempt = 0;
    std::int64_t log = 0; ///< See `LogNumber`.
    bool isLast = false;  ///< It was not tried again since.
};

/// What was told of a job that its frames depend on.
struct FrameNote
{
    bool isStatusTold = false;
    bool isKindTold = false;  ///< Whether anybody looks at them.
    bool isOtherTold = false; ///< That, or which files there are to be.
};

/// What is to be done once the changes of a turn are on disk, and not at all where they are not.
class Outbox
{
public:
    void Answer(ClientNumber client, std::uint64_t request, boost::shared_ptr<Message> message);

    /// Carried out. Nothing where the request wanted no answer (serial 0).
    void Accept(ClientNumber client, std::uint64_t request, const UID &job);
    /// `missingRight` is the right that the client lacks, where that is why.
    void Refuse(ClientNumber client, std::uint64_t request, const String &what,
                const String &reason, const UID &job, const String &missingRight = {});

    /// To all followers of a job: a parameter has changed.
    void Tell(const UID &job, const String &name, const String &value);
    /// To all followers of a job: the job itself.
    void TellJob(const UID &job, boost::shared_ptr<Message> message);
    /// To all followers of a job, soon: its task counts have changed.
    void TellProgress(const UID &job);

    void EndRuns(const UID &job, std::map<unsigned, unsigned> kept = {});
    /// Where the job pauses before it tries something again, it is to try at once.
    void TryNow(const UID &job);

    /// What the commands of the job that have not begun yet were made of has changed.
    void RenewRuns(const UID &job);

    void Wish(NodeWish wish);
    void Wish(LogWish wish);

    /// The Master's frame checks are to read anew what is known of this job's frames.
    void FollowFrames(const UID &job);

    /// For the audit log, which has it before anything is answered.
    void Audit(AuditEntry entry);

    void Append(Outbox &&other);

    const std::vector<Outgoing> &Messages() const
    {
        return m_messages;
    }
    const std::vector<UID> &Progress() const
    {
        return m_progress;
    }
    const std::vector<RunsToEnd> &EndedRuns() const
    {
        return m_runsToEnd;
    }
    const std::vector<UID> &JobsToTry() const
    {
        return m_jobsToTry;
    }
    const std::vector<UID> &JobsToRenew() const
    {
        return m_jobsToRenew;
    }
    const std::vector<NodeWish> &NodeWishes() const
    {
        return m_nodeWishes;
    }
    const std::vector<LogWish> &LogWishes() const
    {
        return m_logWishes;
    }
    /// Whose status or priority was told.
    const std::set<UID> &ChangedJobs() const
    {
        return m_changedJobs;
    }
    /// What was told, by job, since this was asked last.
    std::map<UID, FrameNote> TakeFrameNotes();
    const std::set<UID> &FramesToFollow() const
    {
        return m_framesToFollow;
    }
    const std::vector<AuditEntry> &AuditEntries() const
    {
        return m_audit;
    }

    /// How many of the messages refuse a request.
    std::size_t Refusals() const
    {
        return m_refusals;
    }

private:
    std::vector<Outgoing> m_messages;
    std::vector<UID> m_progress;
    std::vector<RunsToEnd> m_runsToEnd;
    std::vector<UID> m_jobsToTry;
    std::vector<UID> m_jobsToRenew;
    std::set<UID> m_changedJobs;
    std::vector<NodeWish> m_nodeWishes;
    std::vector<LogWish> m_logWishes;
    std::map<UID, FrameNote> m_frameNotes;
    std::set<UID> m_framesToFollow;
    std::size_t m_refusals = 0;
    std::vector<AuditEntry> m_audit;
};

} // namespace master
