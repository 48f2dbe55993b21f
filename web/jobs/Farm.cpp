#include "web/jobs/Farm.h"

#include <boost/make_shared.hpp>
#include <nlohmann/json.hpp>

#include "corvan/Utf8.h"
#include "ostrel/Log.h"
#include "web/door/HttpError.h"
#include "web/jobs/JobJson.h"
#include "web/jobs/Statuses.h"

namespace web
{

namespace
{

constexpr unsigned k_worker_threads = 2;

PictureLooks::Judge JudgeOf(const analysis::ScanRules &rules)
{
    return [frameOffset = rules.frameOffset](check::TableDecoder &decoder,
                                             const FrameSnapshot &snapshot, std::size_t row,
                                             const std::function<void()> &getsOn)
    { return PictureVerdictJson(decoder, snapshot, row, frameOffset, {}, getsOn); };
}

} // namespace

Farm::Farm(boost::asio::io_context &loop, FarmSettings settings)
    : m_loop(loop), m_settings(std::move(settings)), m_run(UID(true).ToString().substr(0, 8)),
      m_since(TimeText(ostrel::Time::Now())), m_events(loop, m_book),
      m_watches(loop, m_book, m_settings.rules, m_settings.refresh,
                [this](const FrameWatches::Key &key, const FrameWatches::Pass &pass)
                { m_events.TellPass(key, pass); }),
      m_users(loop, m_settings.makeLink), m_link(loop, m_settings.makeLink({}), *this),
      m_tasks(m_link), m_pictures(loop, JudgeOf(m_settings.rules)),
      m_workers(loop, k_worker_threads), m_disk(loop)
{
    m_events.SetWatches(&m_watches);
}

Farm::~Farm()
{
    *m_isAlive = false;
    m_events.SetWatches(nullptr);
}

void Farm::OnUp()
{
    m_since = TimeText(ostrel::Time::Now());
    m_turnedAway.clear();
    // Followed first: what changes while the jobs are listed comes after the list that lacks it.
    const auto follow = boost::make_shared<corvan::FollowJobMsg>();
    follow->all = true;
    m_link.Ask(follow, [](const MasterAnswer &) {});
    m_book.BeginListing();
    ListJobs(UID());
    m_events.TellMaster();
}

void Farm::OnDown(const String & /*reason*/)
{
    m_since = TimeText(ostrel::Time::Now());
    m_events.TellMaster();
}

void Farm::OnTurnedAway(const String &reason)
{
    if (reason != m_turnedAway)
        ostrel::LogError("the Master does not take this server: " + reason);
    m_turnedAway = reason;
}

void Farm::OnNews(const boost::shared_ptr<Message> &message)
{
    if (const auto *job = dynamic_cast<const corvan::JobMsg *>(message.get()))
        m_book.Take(job->job);
    else if (const auto *parameter = dynamic_cast<const corvan::JobParameterMsg *>(message.get()))
        m_book.Take(*parameter);
    else if (const auto *removed = dynamic_cast<const corvan::JobRemovedMsg *>(message.get()))
        m_book.Remove(removed->job);
    m_events.NoteJobs();
}

void Farm::ListJobs(const UID &before)
{
    const auto question = boost::make_shared<corvan::ListJobsMsg>();
    question->before = before;
    m_link.Ask(question,
               [this](const MasterAnswer &answer)
               {
                   const auto list =
                       boost::dynamic_pointer_cast<corvan::JobListMsg>(answer.message);
                   // Lost meanwhile: the next connection begins anew.
                   if (!list)
                       return;
                   m_book.TakeListed(list->jobs);
                   if (!list->restBefore.IsNil())
                       ListJobs(list->restBefore);
                   else
                       m_book.EndListing();
                   m_events.NoteJobs();
               });
}

MasterLink &Farm::LinkOf(const Request &request)
{
    if (!request.caller || request.caller->token.empty())
        return m_link;
    if (MasterLink *link = m_users.Find(*request.caller))
        return *link;
    throw new HttpError(k_Unavailable, "the session is not known to the Master; sign in again");
}

corvan::Link::Welcome Farm::WhoAsks(const Caller *caller)
{
    if (!caller || caller->token.empty())
        return m_link.Who();
    MasterLink *link = m_users.Find(*caller);
    return link ? link->Who() : corvan::Link::Welcome();
}

JobPointer Farm::NeedJob(const Request &request) const
{
    const std::string &text = request.places.at("job");
    UID id;
    if (JobPointer job = id.FromString(text) ? m_book.Find(id) : nullptr)
        return job;
    if (!m_book.IsListed())
        throw new HttpError(k_Unavailable,
                            "no Master has told its jobs yet; try again in a moment");
    throw new HttpError(k_NotFound, "there is no job " + corvan::Excerpt(text));
}

// What is known of a Master that has gone is marked as old.
Response Farm::Dated(Response response) const
{
    if (!m_link.IsUp())
        response.headers.emplace_back("X-Corvan-Old-Since", m_since);
    return response;
}

void Farm::AddRoutes(Routes &routes)
{
    const auto by = [this](void (Farm::*handler)(const RequestPointer &, const Reply &)) -> Handler
    {
        return [this, handler](const RequestPointer &request, Reply reply)
        { (this->*handler)(request, reply); };
    };
    routes.AddOpen(Method::Get, "/healthz", by(&Farm::SendHealth));
    routes.Add(Method::Get, "/api/session", by(&Farm::SendSession));
    routes.Add(Method::Get, "/api/jobs", by(&Farm::SendJobs));
    routes.Add(Method::Get, "/api/jobs/{job}", by(&Farm::SendJob));
    routes.Add(Method::Get, "/api/jobs/{job}/tasks", by(&Farm::SendTasks));
    routes.Add(Method::Get, "/api/jobs/{job}/tasks/{task}/log", by(&Farm::SendLog));
    routes.Add(Method::Get, "/api/jobs/{job}/frames", by(&Farm::SendFrames));
    routes.Add(Method::Get, "/api/jobs/{job}/frames/{frame}", by(&Farm::SendFrame));
    routes.Add(Method::Get, "/api/jobs/{job}/sheet", by(&Farm::SendSheet));
    routes.Add(Method::Get, "/api/jobs/{job}/sizes", by(&Farm::SendSizes));
    routes.Add(Method::Post, "/api/jobs/{job}/parameters", by(&Farm::SetParameters));
    routes.Add(Method::Post, "/api/jobs/{job}/requeue", by(&Farm::Requeue));
    routes.AdviseWhereTooLong("/api/jobs/{job}/requeue",
                              "name fewer frames at a time, or all bad ones by {\"bad\": true}");
    routes.AddStream("/api/events", [this](const RequestPointer &request,
                                           const std::shared_ptr<EventStream> &stream)
                     { OpenStream(request, stream); });
}

} // namespace web
