#pragma once

#include <vector>

#include "corvan/Job.h"
#include "corvan/JobStatus.h"
#include "corvan/Message.h"
#include "ostrel/Signal.h"

namespace corvan
{

/// What all concrete messages share: the virtual faces of their `s_Type`, `s_Name`, `s_Signal` and
/// `s_Direction`.
template <typename Concrete> class MessageOf : public Message
{
public:
    using Signal = ostrel::Signal<boost::shared_ptr<Concrete>>;

    const UID &TypeID() const override
    {
        return Concrete::s_Type;
    }
    const char *TypeName() const override
    {
        return Concrete::s_Name;
    }
    Direction Goes() const override
    {
        return Concrete::s_Direction;
    }
    void Raise(const boost::shared_ptr<Message> &self) const override
    {
        Concrete::s_Signal(boost::static_pointer_cast<Concrete>(self));
    }
};

/// Client to Master: tell me of all changes of these jobs.
class FollowJobMsg : public MessageOf<FollowJobMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "FollowJob";
    static constexpr Direction s_Direction = Direction::ToMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    std::vector<UID> jobs;
    bool all = false; ///< Every job, also those that are made later; `jobs` may be empty then.
};

/// Client to Master: send me these jobs.
class GetJobInfoMsg : public MessageOf<GetJobInfoMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "GetJobInfo";
    static constexpr Direction s_Direction = Direction::ToMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    std::vector<UID> jobs;
};

/// A job. From the Master an answer, from a client a new job.
class JobMsg : public MessageOf<JobMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "Job";
    static constexpr Direction s_Direction = Direction::Both;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    boost::shared_ptr<Job> job;
};

/// A parameter of a job: from a client a wish, from the Master a fact.
class JobParameterMsg : public MessageOf<JobParameterMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "JobParameter";
    static constexpr Direction s_Direction = Direction::Both;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    UID job;
    String name;
    String value;
};

/// Client to Master: several parameters of a job, to be changed together or not at all.
class JobParametersMsg : public MessageOf<JobParametersMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "JobParameters";
    static constexpr Direction s_Direction = Direction::ToMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    UID job;
    std::vector<std::pair<String, String>> parameters; ///< Names and values, each name once.
};

/// Client to Master: remove this job, with its tasks and logs.
class RemoveJobMsg : public MessageOf<RemoveJobMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "RemoveJob";
    static constexpr Direction s_Direction = Direction::ToMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    UID job;
    bool cancel = false; ///< Also where it is not over: its commands are ended.
};

/// Master to its followers: this job is there no more.
class JobRemovedMsg : public MessageOf<JobRemovedMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "JobRemoved";
    static constexpr Direction s_Direction = Direction::FromMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    UID job;
};

/// Client to Master: which jobs are there?
class ListJobsMsg : public MessageOf<ListJobsMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "ListJobs";
    static constexpr Direction s_Direction = Direction::ToMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    unsigned limit = 0; ///< 0 for all.
    UID before;         ///< Those that are older than this job; nil to begin with the newest.
};

/// Master to client: the jobs, newest first, or a part of them.
class JobListMsg : public MessageOf<JobListMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "JobList";
    static constexpr Direction s_Direction = Direction::FromMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    std::vector<boost::shared_ptr<Job>> jobs;
    UID restBefore; ///< `before` of the request for the rest; nil where there is no more.
};

/// Client to Master: how far are the tasks of this job?
class GetTasksMsg : public MessageOf<GetTasksMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "GetTasks";
    static constexpr Direction s_Direction = Direction::ToMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    UID job;
};

/// One packet of frames, rendered by one command.
struct TaskInfo
{
    unsigned index = 0; ///< Counts from 0 within the job.
    int firstFrame = 0;
    int lastFrame = 0;
    JobStatus status = JobStatus::Queued;
    unsigned tries = 0;
    int exitCode = 0; ///< Of the last try that ended; -1 when a signal ended it.
    String reason{};  ///< Why that try failed, where the exit code does not tell.
    // Of a Master that hands its tasks to Slurm; empty where there is nothing to tell.
    String node{};       ///< The machine.
    String slurmId{};    ///< "1234_5".
    String slurmState{}; ///< As Slurm calls it, "PENDING (Priority)".
    String stuck{};      ///< Why it is taken to be stuck, while it runs; empty where it is not.
};

/// Master to client: the tasks of a job, in the order of their frames.
class TaskListMsg : public MessageOf<TaskListMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "TaskList";
    static constexpr Direction s_Direction = Direction::FromMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    UID job;
    std::vector<TaskInfo> tasks;
};

/// Client to Master: what did the command of this task print?
class GetTaskLogMsg : public MessageOf<GetTaskLogMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "GetTaskLog";
    static constexpr Direction s_Direction = Direction::ToMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    UID job;
    unsigned task = 0;
    unsigned attempt = 0; ///< Which try, from 1; 0 for the last.
};

/// Master to client: the end of what a try of a task printed, a mebibyte at most.
class TaskLogMsg : public MessageOf<TaskLogMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "TaskLog";
    static constexpr Direction s_Direction = Direction::FromMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    UID job;
    unsigned task = 0;
    unsigned attempt = 0; ///< Which try, from 1; 0 of a task that was not started yet.
    String text;
};

/// Client to Master: which machines run the tasks, and how have they done lately?
class ListNodesMsg : public MessageOf<ListNodesMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "ListNodes";
    static constexpr Direction s_Direction = Direction::ToMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;
};

/// A machine, and what became of tasks on it lately.
struct NodeInfo
{
    String name;
    String state{}; ///< As the cluster calls it; empty where there is none.
    unsigned done = 0;
    unsigned failed = 0;
    unsigned bad = 0; ///< Done, and then found to be bad.
    UID failedJob;    ///< Of the last one that failed or is bad; nil where there is none.
    unsigned failedTask = 0;
    String failedReason{};
    String failedAt{};  ///< ISO 8601 UTC.
    String suspicion{}; ///< Why it seems to be at fault; empty where it does not.
};

/// Master to client: the machines, by their names.
class NodeListMsg : public MessageOf<NodeListMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "NodeList";
    static constexpr Direction s_Direction = Direction::FromMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    std::vector<NodeInfo> nodes;
};

/// Client to Master: nothing more is to be begun on this machine, or it is to be used again.
class SetNodeMsg : public MessageOf<SetNodeMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "SetNode";
    static constexpr Direction s_Direction = Direction::ToMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *whyNot) override;

    String node; ///< One name: letters, digits, ".", "_" and "-".
    bool drains = false;
    String reason; ///< One line.
};

/// Master to client: done, and on disk.
class AcceptedMsg : public MessageOf<AcceptedMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "Accepted";
    static constexpr Direction s_Direction = Direction::FromMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;

    UID job; ///< Nil where it was about no job.
};

/// Master to client: not done, nothing changed.
class RefusedMsg : public MessageOf<RefusedMsg>
{
public:
    static const UID s_Type;
    static Signal s_Signal;
    static constexpr const char *s_Name = "Refused";
    static constexpr Direction s_Direction = Direction::FromMaster;

    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *whyNot) override;

    String what;
    String reason; ///< For people.
    UID job;       ///< Nil where it was about no job.
    /// The right that the user lacks, "edit-own"; empty where it was refused for another reason.
    String missingRight;
};

} // namespace corvan
