#include "corvan/Messages.h"

#include <algorithm>

#include "corvan/Digit.h"
#include "corvan/Limits.h"
#include "corvan/MessageReader.h"
#include "corvan/ParameterCheck.h"
#include "corvan/Utf8.h"
#include "corvan/messages.pb.h"
#include "ostrel/Log.h"

namespace corvan
{

const UID FollowJobMsg::s_Type("a619afc3-022f-4e6e-a35b-37ae254fcad0", true);
FollowJobMsg::Signal FollowJobMsg::s_Signal;
const UID GetJobInfoMsg::s_Type("a7e60a94-2e8f-4861-8492-dd5401544397", true);
GetJobInfoMsg::Signal GetJobInfoMsg::s_Signal;
const UID JobMsg::s_Type("cfb9fec4-a280-4b13-898d-9744e9a60f43", true);
JobMsg::Signal JobMsg::s_Signal;
const UID JobParameterMsg::s_Type("dfa8aca4-0478-456c-96a7-0dc48655029d", true);
JobParameterMsg::Signal JobParameterMsg::s_Signal;
const UID JobParametersMsg::s_Type("5c0a2f1e-6f4b-4f0e-9f6a-0c6e9f4b7d52", true);
JobParametersMsg::Signal JobParametersMsg::s_Signal;
const UID RemoveJobMsg::s_Type("3ba6e9c1-58d2-4f0a-9a37-6f0b8d1c2e45", true);
RemoveJobMsg::Signal RemoveJobMsg::s_Signal;
const UID JobRemovedMsg::s_Type("c41f7d20-0e9b-4a6c-8d53-97b2a4e6f118", true);
JobRemovedMsg::Signal JobRemovedMsg::s_Signal;
const UID ListJobsMsg::s_Type("d87411ad-d84e-4247-bf27-3d8f6a7cd222", true);
ListJobsMsg::Signal ListJobsMsg::s_Signal;
const UID JobListMsg::s_Type("0d630de8-2a68-47ed-909a-cfab103a0b02", true);
JobListMsg::Signal JobListMsg::s_Signal;
const UID GetTasksMsg::s_Type("3429efe1-ac58-4917-9e43-dba7f6d708e7", true);
GetTasksMsg::Signal GetTasksMsg::s_Signal;
const UID TaskListMsg::s_Type("03e156c3-0138-4d3a-a7f3-555543fcd5b7", true);
TaskListMsg::Signal TaskListMsg::s_Signal;
const UID GetTaskLogMsg::s_Type("b3e5c54d-8be8-483a-86b1-24079b17ece1", true);
GetTaskLogMsg::Signal GetTaskLogMsg::s_Signal;
const UID TaskLogMsg::s_Type("7a71cabc-86e3-4e5a-bf88-9e3a4e791397", true);
TaskLogMsg::Signal TaskLogMsg::s_Signal;
const UID ListNodesMsg::s_Type("5f0e6c1d-93b2-4f7a-8a55-2d1c7be0a4f3", true);
ListNodesMsg::Signal ListNodesMsg::s_Signal;
const UID NodeListMsg::s_Type("e8a4d7b0-61c3-4c1e-b2f9-7a50c9d3e61b", true);
NodeListMsg::Signal NodeListMsg::s_Signal;
const UID SetNodeMsg::s_Type("90b7f2a6-1e4d-4d88-9c3b-f5e2a8c07d14", true);
SetNodeMsg::Signal SetNodeMsg::s_Signal;
const UID AcceptedMsg::s_Type("e25ac1bb-cabb-43ee-b840-b3ea327e3597", true);
AcceptedMsg::Signal AcceptedMsg::s_Signal;
const UID RefusedMsg::s_Type("34e22a73-5914-4c4f-ae5b-37f3dd21096d", true);
RefusedMsg::Signal RefusedMsg::s_Signal;

namespace
{

void WriteTask(const TaskInfo &task, wire::Task &wireTask)
{
    wireTask.set_index(task.index);
    wireTask.set_first_frame(task.firstFrame);
    wireTask.set_last_frame(task.lastFrame);
    wireTask.set_status(int(task.status));
    wireTask.set_tries(task.tries);
    wireTask.set_exit_code(task.exitCode);
    if (!task.reason.empty())
        wireTask.set_reason(MakeUtf8(task.reason));
    if (!task.node.empty())
        wireTask.set_node(MakeUtf8(task.node));
    if (!task.slurmId.empty())
        wireTask.set_slurm_id(MakeUtf8(task.slurmId));
    if (!task.slurmState.empty())
        wireTask.set_slurm_state(MakeUtf8(task.slurmState));
    if (!task.stuck.empty())
        wireTask.set_stuck(MakeUtf8(task.stuck));
}

/// As `ReadOptionalId` reads it.
String OptionalText(const UID &id)
{
    return id.IsNil() ? String() : id.ToString();
}

bool IsNodeName(const String &name)
{
    const auto isMeant = [](char c)
    {
        return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' ||
               c == '_' || c == '-';
    };
    return !name.empty() && name.size() <= k_MaxNameBytes && name.front() != '-' &&
           std::ranges::all_of(name, isMeant);
}

bool ReadTask(const wire::Task &wireTask, TaskInfo &task, String *reason)
{
    const String name = "task " + std::to_string(wireTask.index());
    const auto status = ParseStatus(std::to_string(wireTask.status()));
    if (!status || *status == JobStatus::Paused)
    {
        *reason = name + ": " + std::to_string(wireTask.status()) + " is no status of a task";
        return false;
    }
    if (wireTask.last_frame() < wireTask.first_frame())
    {
        *reason = name + ": its last frame is before its first";
        return false;
    }
    task = {wireTask.index(),    wireTask.first_frame(), wireTask.last_frame(), *status,
            wireTask.tries(),    wireTask.exit_code(),   wireTask.reason(),     wireTask.node(),
            wireTask.slurm_id(), wireTask.slurm_state(), wireTask.stuck()};
    return true;
}

} // namespace

void FollowJobMsg::Write(wire::Envelope &envelope) const
{
    wire::FollowJob &body = *envelope.mutable_follow_job();
    for (const UID &id : jobs)
        body.add_jobs(id.ToString());
    body.set_all(all);
}

bool FollowJobMsg::Read(const wire::Envelope &envelope, String *reason)
{
    all = envelope.follow_job().all();
    return (all && envelope.follow_job().jobs().empty()) ||
           ReadIds(envelope.follow_job().jobs(), jobs, reason);
}

void GetJobInfoMsg::Write(wire::Envelope &envelope) const
{
    wire::GetJobInfo &body = *envelope.mutable_get_job_info();
    for (const UID &id : jobs)
        body.add_jobs(id.ToString());
}

bool GetJobInfoMsg::Read(const wire::Envelope &envelope, String *reason)
{
    return ReadIds(envelope.get_job_info().jobs(), jobs, reason);
}

void JobMsg::Write(wire::Envelope &envelope) const
{
    WriteJob(*job, *envelope.mutable_job());
}

bool JobMsg::Read(const wire::Envelope &envelope, String *reason)
{
    job = ReadJob(envelope.job(), reason);
    return job != nullptr;
}

void JobParameterMsg::Write(wire::Envelope &envelope) const
{
    wire::JobParameter &body = *envelope.mutable_job_parameter();
    body.set_job(job.ToString());
    body.set_name(MakeUtf8(name));
    body.set_value(MakeUtf8(value));
}

bool JobParameterMsg::Read(const wire::Envelope &envelope, String *reason)
{
    const wire::JobParameter &body = envelope.job_parameter();
    if (!ReadId(body.job(), "job", job, reason))
        return false;
    name = body.name();
    value = body.value();
    *reason = CheckParameterText(name, value);
    return reason->empty();
}

void JobParametersMsg::Write(wire::Envelope &envelope) const
{
    wire::JobParameters &body = *envelope.mutable_job_parameters();
    body.set_job(job.ToString());
    for (const auto &[name, value] : parameters)
    {
        wire::Parameter &parameter = *body.add_parameters();
        parameter.set_name(MakeUtf8(name));
        parameter.set_value(MakeUtf8(value));
    }
}

bool JobParametersMsg::Read(const wire::Envelope &envelope, String *reason)
{
    const wire::JobParameters &body = envelope.job_parameters();
    if (!ReadId(body.job(), "job", job, reason))
        return false;
    if (body.parameters().empty())
    {
        *reason = "it names no parameter";
        return false;
    }
    return ReadParameters(body.parameters(), parameters, reason);
}

void RemoveJobMsg::Write(wire::Envelope &envelope) const
{
    wire::RemoveJob &body = *envelope.mutable_remove_job();
    body.set_job(job.ToString());
    body.set_cancel(cancel);
}

bool RemoveJobMsg::Read(const wire::Envelope &envelope, String *reason)
{
    cancel = envelope.remove_job().cancel();
    return ReadId(envelope.remove_job().job(), "job", job, reason);
}

void JobRemovedMsg::Write(wire::Envelope &envelope) const
{
    envelope.mutable_job_removed()->set_job(job.ToString());
}

bool JobRemovedMsg::Read(const wire::Envelope &envelope, String *reason)
{
    return ReadId(envelope.job_removed().job(), "job", job, reason);
}

void ListJobsMsg::Write(wire::Envelope &envelope) const
{
    wire::ListJobs &body = *envelope.mutable_list_jobs();
    body.set_limit(limit);
    body.set_before(OptionalText(before));
}

bool ListJobsMsg::Read(const wire::Envelope &envelope, String *reason)
{
    limit = envelope.list_jobs().limit();
    return ReadOptionalId(envelope.list_jobs().before(), "job", before, reason);
}

void JobListMsg::Write(wire::Envelope &envelope) const
{
    wire::JobList &body = *envelope.mutable_job_list();
    for (const auto &job : jobs)
        WriteJob(*job, *body.add_jobs());
    body.set_rest_before(OptionalText(restBefore));
}

bool JobListMsg::Read(const wire::Envelope &envelope, String *reason)
{
    jobs.clear();
    for (const wire::Job &wireJob : envelope.job_list().jobs())
    {
        // One job of a type that this program lacks does not hide the others.
        if (auto job = ReadJob(wireJob, reason))
            jobs.push_back(std::move(job));
        else
            ostrel::LogError("a job of a list is passed over: " + *reason);
    }
    return ReadOptionalId(envelope.job_list().rest_before(), "job", restBefore, reason);
}

void GetTasksMsg::Write(wire::Envelope &envelope) const
{
    envelope.mutable_get_tasks()->set_job(job.ToString());
}

bool GetTasksMsg::Read(const wire::Envelope &envelope, String *reason)
{
    return ReadId(envelope.get_tasks().job(), "job", job, reason);
}

void TaskListMsg::Write(wire::Envelope &envelope) const
{
    wire::TaskList &body = *envelope.mutable_task_list();
    body.set_job(job.ToString());
    for (const TaskInfo &task : tasks)
        WriteTask(task, *body.add_tasks());
}

bool TaskListMsg::Read(const wire::Envelope &envelope, String *reason)
{
    const wire::TaskList &body = envelope.task_list();
    if (!ReadId(body.job(), "job", job, reason))
        return false;
    if (std::size_t(body.tasks_size()) > k_MaxTasks)
    {
        *reason = "it lists more than " + std::to_string(k_MaxTasks) + " tasks";
        return false;
    }
    tasks.clear();
    tasks.reserve(std::size_t(body.tasks_size()));
    return std::ranges::all_of(body.tasks(), [&](const wire::Task &task)
                               { return ReadTask(task, tasks.emplace_back(), reason); });
}

void GetTaskLogMsg::Write(wire::Envelope &envelope) const
{
    wire::GetTaskLog &body = *envelope.mutable_get_task_log();
    body.set_job(job.ToString());
    body.set_task(task);
    body.set_attempt(attempt);
}

bool GetTaskLogMsg::Read(const wire::Envelope &envelope, String *reason)
{
    const wire::GetTaskLog &body = envelope.get_task_log();
    task = body.task();
    attempt = body.attempt();
    return ReadId(body.job(), "job", job, reason);
}

void TaskLogMsg::Write(wire::Envelope &envelope) const
{
    wire::TaskLog &body = *envelope.mutable_task_log();
    body.set_job(job.ToString());
    body.set_task(task);
    body.set_attempt(attempt);
    body.set_text(MakeUtf8(text));
}

bool TaskLogMsg::Read(const wire::Envelope &envelope, String *reason)
{
    const wire::TaskLog &body = envelope.task_log();
    task = body.task();
    attempt = body.attempt();
    text = body.text();
    return ReadId(body.job(), "job", job, reason);
}

void ListNodesMsg::Write(wire::Envelope &envelope) const
{
    envelope.mutable_list_nodes();
}

bool ListNodesMsg::Read(const wire::Envelope &, String *)
{
    return true;
}

void NodeListMsg::Write(wire::Envelope &envelope) const
{
    wire::NodeList &body = *envelope.mutable_node_list();
    for (const NodeInfo &node : nodes)
    {
        wire::Node &wireNode = *body.add_nodes();
        wireNode.set_name(MakeUtf8(node.name));
        wireNode.set_state(MakeUtf8(node.state));
        wireNode.set_done(node.done);
        wireNode.set_failed(node.failed);
        wireNode.set_bad(node.bad);
        wireNode.set_failed_job(OptionalText(node.failedJob));
        wireNode.set_failed_task(node.failedTask);
        wireNode.set_failed_reason(MakeUtf8(node.failedReason));
        wireNode.set_failed_at(node.failedAt);
        wireNode.set_suspicion(MakeUtf8(node.suspicion));
    }
}

bool NodeListMsg::Read(const wire::Envelope &envelope, String *reason)
{
    nodes.clear();
    for (const wire::Node &wireNode : envelope.node_list().nodes())
    {
        NodeInfo &node = nodes.emplace_back();
        node.name = wireNode.name();
        node.state = wireNode.state();
        node.done = wireNode.done();
        node.failed = wireNode.failed();
        node.bad = wireNode.bad();
        if (!ReadOptionalId(wireNode.failed_job(), "job", node.failedJob, reason))
            return false;
        node.failedTask = wireNode.failed_task();
        node.failedReason = wireNode.failed_reason();
        node.failedAt = wireNode.failed_at();
        node.suspicion = wireNode.suspicion();
    }
    return true;
}

void SetNodeMsg::Write(wire::Envelope &envelope) const
{
    wire::SetNode &body = *envelope.mutable_set_node();
    body.set_node(MakeUtf8(node));
    body.set_drain(drains);
    body.set_reason(MakeUtf8(reason));
}

bool SetNodeMsg::Read(const wire::Envelope &envelope, String *whyNot)
{
    const wire::SetNode &body = envelope.set_node();
    node = body.node();
    drains = body.drain();
    reason = body.reason();
    if (!IsNodeName(node))
        *whyNot = "\"" + Excerpt(node) + "\" is no name of a machine";
    else if (reason.size() > k_MaxReasonBytes || !IsUtf8(reason) || HasControlCharacters(reason))
        *whyNot = "the reason is no line of at most " + std::to_string(k_MaxReasonBytes) + " bytes";
    else
        return true;
    return false;
}

void AcceptedMsg::Write(wire::Envelope &envelope) const
{
    envelope.mutable_accepted()->set_job(OptionalText(job));
}

bool AcceptedMsg::Read(const wire::Envelope &envelope, String *reason)
{
    return ReadOptionalId(envelope.accepted().job(), "job", job, reason);
}

void RefusedMsg::Write(wire::Envelope &envelope) const
{
    wire::Refused &body = *envelope.mutable_refused();
    body.set_what(MakeUtf8(what));
    body.set_reason(MakeUtf8(reason));
    body.set_job(OptionalText(job));
    body.set_missing_right(MakeUtf8(missingRight));
}

bool RefusedMsg::Read(const wire::Envelope &envelope, String *whyNot)
{
    const wire::Refused &body = envelope.refused();
    what = body.what();
    reason = body.reason();
    missingRight = body.missing_right();
    return ReadOptionalId(body.job(), "job", job, whyNot);
}

} // namespace corvan
