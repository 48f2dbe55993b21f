#include "master/requests/StatusRequest.h"

namespace master
{

namespace
{

StatusRequest Refused(const char *why, String *reason)
{
    *reason = why;
    return StatusRequest::Refuse;
}

StatusRequest DecideGoOn(JobStatus present, JobStatus wanted, String *reason)
{
    if (present == JobStatus::Paused)
        return StatusRequest::Resume;
    if (!corvan::IsOver(present))
        return StatusRequest::NothingToDo;
    if (wanted == JobStatus::Queued)
        return StatusRequest::RunAgain;
    return Refused("the job is over; Status=Queued runs it again", reason);
}

} // namespace

StatusRequest DecideStatusRequest(JobStatus present, JobStatus wanted, String *reason)
{
    if (present == wanted)
        return StatusRequest::NothingToDo;

    switch (wanted)
    {
    case JobStatus::Queued:
    case JobStatus::Running:
        return DecideGoOn(present, wanted, reason);
    case JobStatus::Paused:
        return corvan::IsOver(present) ? Refused("the job is over", reason) : StatusRequest::Pause;
    case JobStatus::Cancelled:
        return corvan::IsOver(present) ? Refused("the job is over", reason) : StatusRequest::Cancel;
    case JobStatus::Done:
    case JobStatus::Failed:
        break;
    }
    return Refused("a job is done or failed by its tasks alone", reason);
}

} // namespace master
