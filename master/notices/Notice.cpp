#include "master/notices/Notice.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>

#include "corvan/JobStatus.h"
#include "corvan/Parameters.h"
#include "corvan/Utf8.h"
#include "ostrel/Time.h"

namespace master
{

namespace
{

using Json = nlohmann::ordered_json;

constexpr std::size_t k_most_fact_bytes = 4000;

// The names of the placeholders, and those of the facts.
constexpr std::pair<const char *, const char *> k_facts[] = {
    {"Event", "event"},
    {"Text", "text"},
    {"Time", "time"},
    {"ID", "id"},
    {"Name", "name"},
    {"Owner", "owner"},
    {"Type", "type"},
    {"Status", "status"},
    {"Reason", "reason"},
    {"TasksTotal", "tasksTotal"},
    {"TasksDone", "tasksDone"},
    {"TasksFailed", "tasksFailed"},
    {"FramesBad", "framesBad"},
    {"FramesBadRange", "framesBadRange"},
    {"StuckTasks", "stuckTasks"},
};

std::string Beginning(const String &text)
{
    return corvan::MakeUtf8(text.substr(0, k_most_fact_bytes));
}

long CountIn(const Job &job, const String &name)
{
    return std::strtol(job.ParameterText(name, false).c_str(), nullptr, 10);
}

String StatusNameOf(const Job &job)
{
    const auto status = corvan::ParseStatus(job.ParameterText(corvan::p_Status, false));
    return corvan::StatusName(status.value_or(corvan::JobStatus::Queued));
}

String WhatHappened(NoticeEvent event, const Job &job, const String &reason)
{
    const String total = std::to_string(CountIn(job, corvan::p_TasksTotal));
    switch (event)
    {
    case NoticeEvent::Done:
        return " is done: " + total + " tasks";
    case NoticeEvent::Failed:
        return " has failed: " + std::to_string(CountIn(job, corvan::p_TasksFailed)) + " of " +
               total + " tasks";
    case NoticeEvent::Paused:
        return " is paused: " + reason;
    case NoticeEvent::Bad:
        return " has bad frames: " + reason;
    case NoticeEvent::Stuck:
        return " seems to be stuck: " + reason;
    }
    return {};
}

String FactText(const Json &facts, const char *name)
{
    const auto found = facts.find(name);
    if (found == facts.end())
        return {};
    String text = found->is_string() ? found->get<std::string>() : found->dump();
    std::ranges::replace_if(
        text,
        [](char c) {
            return corvan::HasControlCharacters({&c, 1});
        },
        ' ');
    return text.starts_with('-') ? " " + text : text;
}

} // namespace

const char *NoticeEventName(NoticeEvent event)
{
    switch (event)
    {
    case NoticeEvent::Done:
        return "done";
    case NoticeEvent::Failed:
        return "failed";
    case NoticeEvent::Paused:
        return "paused";
    case NoticeEvent::Bad:
        return "bad";
    case NoticeEvent::Stuck:
        return "stuck";
    }
    return "";
}

const std::vector<NoticeEvent> &NoticeEvents()
{
    static const std::vector<NoticeEvent> s_events = {NoticeEvent::Done, NoticeEvent::Failed,
                                                      NoticeEvent::Paused, NoticeEvent::Bad,
                                                      NoticeEvent::Stuck};
    return s_events;
}

String MakeNotice(NoticeEvent event, const Job &job, const UID &master, const String &reason)
{
    const String owner = job.ParameterText(corvan::p_Owner, false);
    const String text = "job \"" + job.Name() + "\"" + (owner.empty() ? "" : " of " + owner) +
                        WhatHappened(event, job, reason);
    Json facts;
    facts["event"] = NoticeEventName(event);
    facts["text"] = Beginning(text);
    facts["time"] = std::string(ostrel::Time::Now().Format("%Y-%m-%dT%H:%M:%SZ", false, true));
    facts["master"] = std::string(master.ToString());
    facts["id"] = std::string(job.ID().ToString());
    facts["name"] = Beginning(job.Name());
    facts["owner"] = Beginning(owner);
    facts["type"] = Beginning(job.TypeString());
    facts["status"] = std::string(StatusNameOf(job));
    facts["reason"] = Beginning(reason);
    facts["tasksTotal"] = CountIn(job, corvan::p_TasksTotal);
    facts["tasksDone"] = CountIn(job, corvan::p_TasksDone);
    facts["tasksFailed"] = CountIn(job, corvan::p_TasksFailed);
    facts["framesBad"] = CountIn(job, "FramesBad");
    facts["framesBadRange"] = Beginning(job.ParameterText("FramesBadRange", false));
    facts["stuckTasks"] = Beginning(job.ParameterText(corvan::p_StuckTasks, false));
    return facts.dump(-1, ' ', false, Json::error_handler_t::replace);
}

corvan::FindPlaceholder NoticePlaceholders(const String &facts)
{
    const Json json = Json::parse(facts, nullptr, false);
    std::map<String, String> values;
    for (const auto &[placeholder, name] : k_facts)
        values[placeholder] = json.is_object() ? FactText(json, name) : String();
    return
        [values = std::move(values)](const String &name) -> std::optional<corvan::PlaceholderValue>
    {
        const auto found = values.find(name);
        if (found == values.end())
            return std::nullopt;
        return corvan::PlaceholderValue(found->second);
    };
}

} // namespace master
