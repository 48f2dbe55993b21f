#pragma once

#include <vector>

#include "corvan/Job.h"
#include "corvan/JobStatus.h"
#include "corvan/Message.h"
#include "ostrel/Signal.h"

namespace corvan
{

/// What all concrete messages share: `s_Type`, `s_Signal` and their virtual faces.
template <typename Concrete> class MessageOf : public Message
{
public:
    static const UID s_Type;
    static ostrel::Signal<boost::shared_ptr<Concrete>> s_Signal;
    static const char *const s_Name;

    const UID &TypeID() const override
    {
        return s_Type;
    }
    const char *TypeName() const override
    {
        return s_Name;
    }
    void Raise(const boost::shared_ptr<Message> &self) const override
    {
        s_Signal(boost::static_pointer_cast<Concrete>(self));
    }
    void Write(wire::Envelope &envelope) const override;
    bool Read(const wire::Envelope &envelope, String *reason) override;
};

/// Client to Master: tell me of all changes of these jobs.
class FollowJobMsg : public MessageOf<FollowJobMsg>
{
public:
    std::vector<UID> jobs;
};

/// Client to Master: send me these jobs.
class GetJobInfoMsg : public MessageOf<GetJobInfoMsg>
{
public:
    std::vector<UID> jobs;
};

/// A job. From the Master an answer, from a client a new job.
class JobMsg : public MessageOf<JobMsg>
{
public:
    boost::shared_ptr<Job> job;
};

/// A parameter of a job: from a client a wish, from the Master a fact.
class JobParameterMsg : public MessageOf<JobParameterMsg>
{
public:
    UID job;
    String name;
    String value;
};

/// Client to Master: which jobs are there?
class ListJobsMsg : public MessageOf<ListJobsMsg>
{
public:
    unsigned limit = 0; ///< 0 for all.
};

/// Newest first.
class JobListMsg : public MessageOf<JobListMsg>
{
public:
    std::vector<boost::shared_ptr<Job>> jobs;
};

class GetTasksMsg : public MessageOf<GetTasksMsg>
{
public:
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
};

class TaskListMsg : public MessageOf<TaskListMsg>
{
public:
    UID job;
    std::vector<TaskInfo> tasks;
};

class GetTaskLogMsg : public MessageOf<GetTaskLogMsg>
{
public:
    UID job;
    unsigned task = 0;
};

class TaskLogMsg : public MessageOf<TaskLogMsg>
{
public:
    UID job;
    unsigned task = 0;
    String text;
};

/// Master to client: done, and on disk.
class AcceptedMsg : public MessageOf<AcceptedMsg>
{
public:
    UID job; ///< Nil where it was about no job.
};

/// Master to client: not done, nothing changed.
class RefusedMsg : public MessageOf<RefusedMsg>
{
public:
    String what;
    String reason;
    UID job; ///< Nil where it was about no job.
};

} // namespace corvan
