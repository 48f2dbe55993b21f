// What the farm tells of jobs, tasks and who asks.
#include <algorithm>
#include <boost/make_shared.hpp>
#include <nlohmann/json.hpp>

#include "analysis/Expansion.h"
#include "corvan/Limits.h"
#include "web/door/HttpError.h"
#include "web/jobs/Asked.h"
#include "web/jobs/Farm.h"
#include "web/jobs/JobJson.h"
#include "web/jobs/Statuses.h"

namespace web
{

using corvan::SequenceDistributor;
using nlohmann::ordered_json;

namespace
{

constexpr std::int64_t k_most_listed = 10'000;
constexpr std::int64_t k_usual_tasks = 1000;

// What a role may do, beside to watch; each may do what those before it may.
ordered_json RightsOf(const String &role)
{
    static const std::vector<std::string> rights = {"submit", "edit-own", "edit-all", "admin"};
    ordered_json list = ordered_json::array();
    const auto last = std::ranges::find(rights, std::string(role));
    if (last != rights.end())
        for (auto right = rights.begin(); right <= last; ++right)
            list.push_back(*right);
    return list;
}

std::string TasksJson(std::span<const corvan::TaskInfo> tasks, std::size_t total)
{
    std::string json = "{\"tasks\":[";
    for (const corvan::TaskInfo &task : tasks)
        json += (&task == tasks.data() ? "\n" : ",\n") + JsonText(TaskRow(task));
    return json + "],\"total\":" + std::to_string(total) + "}\n";
}

// The frame of the job that renders the file of this number.
std::optional<int> RenderingFrame(const Job &job, int frame)
{
    auto input = analysis::ReadExpansionInput(job);
    if (!input || !SequenceDistributor::ParseRange(input->userRange, input->frames, nullptr))
        return std::nullopt;
    const SequenceDistributor::Items frames =
        analysis::FindRenderingFrames(*input, {frame}, nullptr);
    return frames.empty() ? std::nullopt : std::optional(frames.front());
}

} // namespace

void Farm::SendHealth(const RequestPointer & /*request*/, const Reply &reply)
{
    String trouble = m_turnedAway;
    if (trouble.empty() && !m_link.IsUp())
        trouble = "the Master is not there";
    if (trouble.empty() && !m_book.IsListed())
        trouble = "the jobs are not known yet";
    if (!trouble.empty())
        return reply(ErrorResponse(k_Unavailable, trouble));
    reply({200, "text/plain; charset=utf-8", std::make_shared<const std::string>("ok\n")});
}

void Farm::SendSession(const RequestPointer &request, const Reply &reply)
{
    const corvan::Link::Welcome who = WhoAsks(request->caller.get());
    reply(JsonResponse(JsonText(ordered_json{{"user", std::string(who.user)},
                                             {"rights", RightsOf(who.role)},
                                             {"isPersonal", m_settings.isPersonal}})));
}

std::string Farm::MasterJson(const std::shared_ptr<const Caller> &caller)
{
    const corvan::Link::Welcome who = WhoAsks(caller.get());
    return JsonText(ordered_json{{"connected", m_link.IsUp()},
                                 {"since", m_since},
                                 {"user", std::string(who.user)},
                                 {"rights", RightsOf(who.role)}});
}

void Farm::SendJobs(const RequestPointer &request, const Reply &reply)
{
    const std::int64_t offset = NumberAsked(*request, "offset", 0, k_MostInt, 0);
    const std::int64_t limit = NumberAsked(*request, "limit", 1, k_most_listed, k_most_listed);
    if (!m_book.IsListed())
        throw new HttpError(k_Unavailable,
                            "no Master has told its jobs yet; try again in a moment");
    Response response = JsonResponse(m_book.ListJson(std::size_t(offset), std::size_t(limit)));
    response.headers.emplace_back("ETag",
                                  "\"jobs-" + m_run + "-" + std::to_string(m_book.Version()) + "-" +
                                      std::to_string(offset) + "-" + std::to_string(limit) + "\"");
    reply(Dated(std::move(response)));
}

void Farm::SendJob(const RequestPointer &request, const Reply &reply)
{
    reply(Dated(JsonResponse(JsonText(JobWhole(*NeedJob(*request))) + "\n")));
}

void Farm::SendTasks(const RequestPointer &request, const Reply &reply)
{
    const JobPointer job = NeedJob(*request);
    const auto offset = std::size_t(NumberAsked(*request, "offset", 0, k_MostInt, 0));
    const auto limit = std::size_t(NumberAsked(*request, "limit", 1, k_most_listed, k_usual_tasks));
    const auto frame = NumberAsked(*request, "frame", k_LeastInt, k_MostInt);
    if (!frame)
        return SendTasksOf(job, offset, limit, std::nullopt, reply);
    m_workers.Do<std::optional<int>>(
        [job, number = int(*frame)] { return RenderingFrame(*job, number); },
        [this, job, offset, limit, reply, isAlive = m_isAlive](std::optional<int> rendering)
        {
            if (!*isAlive)
                return;
            if (!rendering)
                return reply(JsonResponse(TasksJson({}, 0)));
            SendTasksOf(job, offset, limit, rendering, reply);
        },
        [reply](const String &trouble) { reply(ErrorResponse(k_OwnFault, trouble)); });
}

void Farm::SendTasksOf(const JobPointer &job, std::size_t offset, std::size_t limit,
                       std::optional<int> frame, const Reply &reply)
{
    m_tasks.Ask(job->ID(),
                [this, offset, limit, frame, reply](const corvan::TaskListMsg *list,
                                                    const MasterAnswer &answer)
                {
                    if (!list)
                        return reply(NotDone(answer));
                    std::span<const corvan::TaskInfo> tasks = list->tasks;
                    std::vector<corvan::TaskInfo> fitting;
                    if (frame)
                    {
                        std::ranges::copy_if(tasks, std::back_inserter(fitting),
                                             [&](const corvan::TaskInfo &task) {
                                                 return task.firstFrame <= *frame &&
                                                        *frame <= task.lastFrame;
                                             });
                        tasks = fitting;
                    }
                    const std::size_t total = tasks.size();
                    tasks = tasks.subspan(std::min(offset, total));
                    reply(Dated(JsonResponse(
                        TasksJson(tasks.first(std::min(limit, tasks.size())), total))));
                });
}

void Farm::FindTask(const JobPointer &job, int frame,
                    std::function<void(const corvan::TaskInfo *)> found)
{
    m_workers.Do<std::optional<int>>(
        [job, frame] { return RenderingFrame(*job, frame); },
        [this, job, found, isAlive = m_isAlive](std::optional<int> rendering)
        {
            if (!*isAlive || !rendering)
                return found(nullptr);
            m_tasks.Ask(
                job->ID(),
                [found, frame = *rendering](const corvan::TaskListMsg *list, const MasterAnswer &)
                {
                    const corvan::TaskInfo *fitting = nullptr;
                    if (list)
                        for (const corvan::TaskInfo &task : list->tasks)
                            if (task.firstFrame <= frame && frame <= task.lastFrame)
                                fitting = &task;
                    found(fitting);
                });
        },
        [found](const String &) { found(nullptr); });
}

void Farm::SendLog(const RequestPointer &request, const Reply &reply)
{
    const JobPointer job = NeedJob(*request);
    const auto question = boost::make_shared<corvan::GetTaskLogMsg>();
    question->job = job->ID();
    question->task = unsigned(NumberOfPlace(*request, "task", 0, std::int64_t(corvan::k_MaxTasks)));
    question->attempt = unsigned(NumberAsked(*request, "attempt", 0, k_MostInt, 0));
    m_link.Ask(question,
               [reply](const MasterAnswer &answer)
               {
                   if (answer.kind == MasterAnswer::Kind::Refused)
                       return reply(ErrorResponse(k_NotFound, answer.reason));
                   const auto log = boost::dynamic_pointer_cast<corvan::TaskLogMsg>(answer.message);
                   if (!log)
                       return reply(NotDone(answer));
                   reply(JsonResponse(JsonText(ordered_json{{"log", std::string(log->text)},
                                                            {"attempt", log->attempt},
                                                            {"bytes", log->text.size()}}) +
                                      "\n"));
               });
}

void Farm::OpenStream(const RequestPointer &request, const std::shared_ptr<EventStream> &stream)
{
    FarmEvents::Wish wish;
    wish.allJobs = IsAsked(*request, "jobs");
    if (const auto job = request->query.find("job"); job != request->query.end())
    {
        UID id;
        if (!id.FromString(job->second))
            throw new HttpError(k_BadRequest, "job: it has to be the identifier of a job");
        wish.job = id;
        wish.format = std::size_t(NumberAsked(*request, "format", 0, k_MostInt, 0));
    }
    m_events.Add(stream, wish, [this, caller = request->caller] { return MasterJson(caller); });
}

} // namespace web
