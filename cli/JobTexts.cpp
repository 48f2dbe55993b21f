#include "cli/JobTexts.h"

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "check/JsonControls.h"
#include "cli/ShownText.h"
#include "cli/TimeTexts.h"
#include "corvan/Job.h"
#include "corvan/Parameters.h"
#include "corvan/RequeueJob.h"

namespace cli
{

namespace
{

unsigned CountOf(const Job &job, const String &name)
{
    return unsigned(std::strtoul(job.ParameterText(name, false).c_str(), nullptr, 10));
}

// Values may hold several lines; those after the first stand under it.
String Indented(const String &value, std::size_t by)
{
    String text;
    for (const char c : value)
    {
        text += c;
        if (c == '\n')
            text.append(by, ' ');
    }
    return text;
}

// The name where it says more than the number does, and of a moment how far it is away.
String ShownValue(const String &name, const String &value)
{
    if (name == corvan::p_ExpectedEnd)
        if (const std::optional<ostrel::Time> end = ReadUtc(value))
            return value + " (" + MomentText(*end) + ", in " + SpanText(*end, ostrel::Time::Now()) +
                   ")";
    if (name == corvan::p_Status)
        if (const std::optional<JobStatus> status = corvan::ParseStatus(value))
            return corvan::StatusName(*status);
    return value;
}

String TriesText(unsigned tries)
{
    return tries == 1 ? "tried once" : fmt::format("tried {} times", tries);
}

// How the last try ended that did.
String EndText(const TaskInfo &task)
{
    const char *const which = task.status == JobStatus::Running ? "the one before: " : "";
    if (!task.reason.empty())
        return fmt::format(", {}{}", which, ShownText(task.reason));
    // Nothing is kept of a try that was cut off.
    if (task.exitCode == 0 && task.status != JobStatus::Done)
        return {};
    if (task.exitCode < 0)
        return fmt::format(", {}ended by a signal", which);
    return fmt::format(", {}exit code {}", which, task.exitCode);
}

String StuckText(const TaskInfo &task)
{
    return task.stuck.empty() ? String() : ", stuck: " + ShownText(task.stuck);
}

// What can be seen coming of a job that runs.
String ForesightText(const Job &job)
{
    String text;
    if (const auto end = ReadUtc(job.ParameterText(corvan::p_ExpectedEnd, false)))
        text += " (ends about " + MomentText(*end) + ")";
    if (const String stuck = job.ParameterText(corvan::p_StuckTasks, false); !stuck.empty())
        text += " (stuck: task " + ShownText(stuck) + ")";
    return text;
}

// Where it is, of a task that Slurm has or has had.
String PlaceText(const TaskInfo &task)
{
    String text;
    if (!task.node.empty())
        text += ", on " + ShownText(task.node);
    if (!task.slurmId.empty())
        text += ", Slurm " + ShownText(task.slurmId);
    if (!task.slurmState.empty())
        text += " " + ShownText(task.slurmState);
    return text;
}

// Of a job whose frames were looked at, where they are not good.
String FramesText(const Job &job)
{
    constexpr std::string_view k_trouble = "could not look";
    const String checked = job.ParameterText(corvan::p_FramesChecked, false);
    const unsigned bad = CountOf(job, corvan::p_FramesBad);
    if (checked.starts_with(k_trouble))
        return " (frames: " + ShownText(checked) + ")";
    if (bad == 0)
        return {};
    return fmt::format(" ({} {} bad{})", bad, bad == 1 ? "frame" : "frames",
                       checked == "done" ? "" : " so far");
}

} // namespace

JobStatus StatusOf(const Job &job)
{
    return corvan::ParseStatus(job.ParameterText(corvan::p_Status, false))
        .value_or(JobStatus::Queued);
}

TaskCounts CountsOf(const Job &job)
{
    return {CountOf(job, corvan::p_TasksTotal), CountOf(job, corvan::p_TasksDone),
            CountOf(job, corvan::p_TasksFailed)};
}

String ShortId(const ostrel::UID &id)
{
    return id.ToString().substr(0, 8);
}

String ShortId(const Job &job)
{
    return ShortId(job.ID());
}

String CountsText(const TaskCounts &counts)
{
    String text = fmt::format("{}/{}", counts.done, counts.total);
    if (counts.failed > 0)
        text += fmt::format(", {} failed", counts.failed);
    return text;
}

String TaskText(const TaskInfo &task)
{
    return fmt::format("frames {} to {}, {}, {}{}{}{}", task.firstFrame, task.lastFrame,
                       corvan::StatusName(task.status), TriesText(task.tries), EndText(task),
                       PlaceText(task), StuckText(task));
}

String ListHeading()
{
    return fmt::format("{:8}  {:9}  {:18}  {:10}  {:10}  {}", "ID", "STATUS", "TASKS", "TYPE",
                       "OWNER", "NAME");
}

String ListLine(const Job &job)
{
    const ostrel::UID origin = corvan::OriginOf(job);
    const String waiting = job.ParameterText(corvan::p_Waiting, false);
    return fmt::format("{:8}  {:9}  {:18}  {:10}  {:10}  {}{}{}{}{}", ShortId(job),
                       corvan::StatusName(StatusOf(job)), CountsText(CountsOf(job)),
                       ShownText(job.TypeString()),
                       ShownText(job.ParameterText(corvan::p_Owner, false)), ShownText(job.Name()),
                       origin.IsNil() ? "" : " (requeue of " + ShortId(origin) + ")",
                       waiting.empty() ? "" : " (waits: " + ShownText(waiting) + ")",
                       ForesightText(job), FramesText(job));
}

String JobReport(const Job &job, std::span<const TaskInfo> tasks)
{
    std::size_t width = 4;
    for (const auto &[name, value] : job.Parameters())
        width = std::max(width, ShownText(name).size());

    String text = fmt::format("{:{}}  {}\n", "ID", width, job.ID().ToString());
    text += fmt::format("{:{}}  {}\n", "Type", width, ShownText(job.TypeString()));
    for (const auto &[name, value] : job.Parameters())
        text += fmt::format("{:{}}  {}\n", ShownText(name), width,
                            Indented(ShownText(ShownValue(name, value), Lines::Many), width + 2));

    for (const TaskInfo &task : tasks)
        if (task.status == JobStatus::Failed || !task.slurmId.empty() || !task.stuck.empty())
            text += fmt::format("task {}: {}\n", task.index, TaskText(task));
    return text;
}

nlohmann::ordered_json JobJson(const Job &job)
{
    nlohmann::ordered_json parameters = nlohmann::ordered_json::object();
    for (const auto &[name, value] : job.Parameters())
        parameters[name] = std::string(value);
    return {
        {"id", std::string(job.ID().ToString())}, {"type", std::string(job.TypeString())},
        {"name", std::string(job.Name())},        {"status", corvan::StatusName(StatusOf(job))},
        {"parameters", std::move(parameters)},
    };
}

nlohmann::ordered_json TaskJson(const TaskInfo &task)
{
    nlohmann::ordered_json json = {
        {"index", task.index},
        {"firstFrame", task.firstFrame},
        {"lastFrame", task.lastFrame},
        {"status", corvan::StatusName(task.status)},
        {"tries", task.tries},
        {"exitCode", task.exitCode},
        {"reason", std::string(task.reason)},
    };
    // Of a Master that hands its tasks to Slurm alone.
    if (!task.slurmId.empty())
    {
        json["node"] = std::string(task.node);
        json["slurmId"] = std::string(task.slurmId);
        json["slurmState"] = std::string(task.slurmState);
    }
    if (!task.stuck.empty())
        json["stuck"] = std::string(task.stuck);
    return json;
}

String JsonText(const nlohmann::ordered_json &json)
{
    return check::WithoutControls(
        json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

} // namespace cli
