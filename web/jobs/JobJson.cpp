#include "web/jobs/JobJson.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <charconv>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>

#include "corvan/ImageFormats.h"
#include "corvan/JobActions.h"
#include "corvan/Parameters.h"
#include "corvan/RequeueJob.h"

namespace web
{

using corvan::Job;
using nlohmann::ordered_json;

namespace
{

std::string StatusText(corvan::JobStatus status)
{
    return boost::algorithm::to_lower_copy(std::string(corvan::StatusName(status)));
}

std::string TextOf(const Job &job, const String &name)
{
    return job.ParameterText(name, false);
}

// Null where there is none, or none that makes sense.
ordered_json NumberOf(const Job &job, const String &name)
{
    const std::string text = TextOf(job, name);
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return nullptr;
    if (number == double(std::int64_t(number)))
        return std::int64_t(number);
    return number;
}

ordered_json CountOf(const Job &job, const String &name)
{
    ordered_json count = NumberOf(job, name);
    return count.is_null() ? ordered_json(0) : count;
}

ordered_json TextOrNull(const Job &job, const String &name)
{
    const std::string text = TextOf(job, name);
    return text.empty() ? ordered_json(nullptr) : ordered_json(text);
}

// "ok 94, missing 2".
ordered_json CountsOf(const Job &job)
{
    ordered_json counts = ordered_json::object();
    std::istringstream text(TextOf(job, corvan::p_FrameCounts));
    std::string state;
    std::size_t count = 0;
    while (text >> state >> count)
    {
        counts[state] = count;
        text.ignore(1, ',');
    }
    return counts;
}

// What the Master has found of its frames.
ordered_json FramesOf(const Job &job)
{
    const std::string checked = TextOf(job, corvan::p_FramesChecked);
    if (checked.empty())
        return nullptr;
    return {{"checked", checked},
            {"counts", CountsOf(job)},
            {"bad", CountOf(job, corvan::p_FramesBad)},
            {"badRange", TextOf(job, corvan::p_FramesBadRange)}};
}

ordered_json OriginJson(const Job &job)
{
    const ostrel::UID origin = corvan::OriginOf(job);
    return origin.IsNil() ? ordered_json(nullptr) : ordered_json(std::string(origin.ToString()));
}

corvan::JobStatus StatusOf(const Job &job)
{
    return corvan::ParseStatus(TextOf(job, corvan::p_Status)).value_or(corvan::JobStatus::Queued);
}

ordered_json ActionJson(corvan::JobAction action)
{
    ordered_json json{{"name", corvan::ActionName(action)}};
    if (const auto wanted = corvan::WantedStatus(action))
    {
        json["parameter"] = std::string(corvan::p_Status);
        json["value"] = StatusText(*wanted);
        return json;
    }
    json["parameter"] = std::string(corvan::p_Priority);
    json["least"] = corvan::k_LowestPriority;
    json["most"] = corvan::k_HighestPriority;
    json["step"] = corvan::k_PriorityStep;
    return json;
}

ordered_json ActionsOf(const Job &job)
{
    ordered_json actions = ordered_json::array();
    for (const corvan::JobAction action : corvan::ListJobActions(StatusOf(job)))
        actions.push_back(ActionJson(action));
    return actions;
}

} // namespace

ordered_json JobRow(const Job &job)
{
    return {{"id", std::string(job.ID().ToString())},
            {"name", std::string(job.Name())},
            {"type", std::string(job.TypeString())},
            {"owner", TextOf(job, corvan::p_Owner)},
            {"status", StatusText(StatusOf(job))},
            {"priority", NumberOf(job, corvan::p_Priority)},
            {"created", TextOrNull(job, corvan::p_Created)},
            {"expectedEnd", TextOrNull(job, corvan::p_ExpectedEnd)},
            {"range", TextOf(job, corvan::p_Range)},
            {"waiting", TextOf(job, corvan::p_Waiting)},
            {"origin", OriginJson(job)},
            {"tasks",
             {{"total", CountOf(job, corvan::p_TasksTotal)},
              {"done", CountOf(job, corvan::p_TasksDone)},
              {"failed", CountOf(job, corvan::p_TasksFailed)}}},
            {"stuck", TextOf(job, corvan::p_StuckTasks)},
            {"frames", FramesOf(job)}};
}

ordered_json JobWhole(const Job &job)
{
    ordered_json json = JobRow(job);
    ordered_json formats = ordered_json::array();
    for (const ostrel::Path &format :
         corvan::ListFormats(job.ParameterText(corvan::p_ImageFormat, true)))
        formats.push_back(std::string(format.Text()));
    json["formats"] = std::move(formats);
    ordered_json parameters = ordered_json::object();
    for (const auto &[name, value] : job.Parameters())
        parameters[name] = std::string(value);
    json["parameters"] = std::move(parameters);
    json["actions"] = ActionsOf(job);
    json["frameSeconds"] = NumberOf(job, corvan::p_FrameSeconds);
    json["frameSecondsSlowest"] = NumberOf(job, corvan::p_FrameSecondsSlowest);
    json["framesPerHour"] = NumberOf(job, corvan::p_FramesPerHour);
    return json;
}

ordered_json TaskRow(const corvan::TaskInfo &task)
{
    return {{"task", task.index},
            {"first", task.firstFrame},
            {"last", task.lastFrame},
            {"status", StatusText(task.status)},
            {"tries", task.tries},
            {"exit", task.exitCode},
            {"reason", std::string(task.reason)},
            {"node", std::string(task.node)},
            {"slurm", std::string(task.slurmId)},
            {"slurmState", std::string(task.slurmState)},
            {"stuck", std::string(task.stuck)}};
}

std::string JsonText(const ordered_json &json)
{
    return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::string JsonText(const String &text)
{
    return JsonText(ordered_json(std::string(text)));
}

std::string TimeText(ostrel::Time time)
{
    std::string text;
    time.AppendIso(text);
    return text;
}

} // namespace web
