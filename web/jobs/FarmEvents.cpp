#include "web/jobs/FarmEvents.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "web/jobs/JobJson.h"

namespace web
{

namespace
{

using SharedText = std::shared_ptr<const std::string>;

// Longer news cost more than to ask for all of it.
constexpr std::size_t k_most_bytes = 1u << 20;

SharedText MakeEvent(const std::string &name, const std::string &json)
{
    return std::make_shared<const std::string>(EventText(name, json));
}

SharedText Anew()
{
    static const SharedText text = MakeEvent("anew", "{}");
    return text;
}

SharedText EventOrAnew(const std::string &name, const std::string &json)
{
    return json.size() > k_most_bytes ? Anew() : MakeEvent(name, json);
}

std::string PassJson(const FrameWatches::Key &key, const FrameWatches::Pass &pass)
{
    const std::uint64_t number = (pass.snapshot ? pass.snapshot->pass : 0) + (pass.isPart ? 1 : 0);
    std::string counts = pass.counts;
    if (!pass.isPart)
        counts = pass.snapshot ? pass.snapshot->counts : std::string("{}");
    return R"({"job":")" + key.first.ToString() + R"(","format":)" + std::to_string(key.second) +
           R"(,"pass":)" + std::to_string(number) + R"(,"isEnd":)" +
           (pass.isPart ? "false" : "true") + R"(,"changed":)" + pass.changes + R"(,"counts":)" +
           counts + R"(,"trouble":)" + JsonText(pass.trouble) + "}";
}

} // namespace

FarmEvents::FarmEvents(boost::asio::io_context &loop, JobBook &book)
    : m_loop(loop), m_book(book), m_timer(loop)
{
}

FarmEvents::~FarmEvents()
{
    *m_isAlive = false;
}

void FarmEvents::Add(const std::shared_ptr<EventStream> &stream, const Wish &wish,
                     std::function<std::string()> master)
{
    m_pages.push_back({stream, wish, std::move(master)});
    stream->OnClosed(
        [this, gone = stream.get(), isAlive = m_isAlive]
        {
            if (*isAlive)
                Remove(gone);
        });
    stream->Send(MakeEvent("master", m_pages.back().master()));
    if (!wish.job)
        return;
    TellJob(m_pages.back());
    const FrameWatches::Key key{*wish.job, wish.format};
    // It is told to the others already.
    if (const auto trouble = m_watches->TroubleOf(key))
        stream->Send(MakeEvent("frames", PassJson(key, *trouble)));
    m_watches->Watch(key);
}

void FarmEvents::NoteJobs()
{
    if (m_isPlanned)
        return;
    m_isPlanned = true;
    m_timer.expires_after(k_Gathered);
    m_timer.async_wait(
        [this, isAlive = m_isAlive](const boost::system::error_code &error)
        {
            if (!error && *isAlive)
                Flush();
        });
}

void FarmEvents::Flush()
{
    m_isPlanned = false;
    const JobBook::Changes changes = m_book.TakeChanges();
    if (changes.changed.empty() && changes.removed.empty())
        return;

    SharedText jobs;
    for (const Page &page : m_pages)
    {
        if (page.wish.allJobs && !jobs)
        {
            std::string json = R"({"changed":[)";
            for (const UID &job : changes.changed)
                if (json.size() <= k_most_bytes)
                    json += (json.back() == '[' ? "" : ",") + m_book.RowJson(job);
            json += R"(],"removed":[)";
            for (const UID &job : changes.removed)
                json += (json.back() == '[' ? "\"" : ",\"") + job.ToString() + '"';
            jobs = EventOrAnew("jobs", json + "]}");
        }
        if (page.wish.allJobs)
            page.stream->Send(jobs);
        if (page.wish.job && changes.changed.contains(*page.wish.job))
            TellJob(page);
    }
}

void FarmEvents::TellJob(const Page &page)
{
    if (const JobPointer job = m_book.Find(*page.wish.job))
        page.stream->Send(MakeEvent("job", JsonText(JobWhole(*job))));
}

void FarmEvents::TellPass(const FrameWatches::Key &key, const FrameWatches::Pass &pass)
{
    // The end of the pass tells it all once more.
    if (pass.isPart && pass.changes.size() > k_most_bytes)
        return;
    SharedText text;
    for (const Page &page : m_pages)
    {
        if (page.wish.job != key.first || page.wish.format != key.second)
            continue;
        if (!text)
            text = pass.isAnew ? Anew() : EventOrAnew("frames", PassJson(key, pass));
        page.stream->Send(text);
    }
}

void FarmEvents::TellMaster()
{
    for (const Page &page : m_pages)
        page.stream->Send(MakeEvent("master", page.master()));
}

void FarmEvents::Remove(const EventStream *stream)
{
    const auto page = std::ranges::find_if(m_pages, [&](const Page &each)
                                           { return each.stream.get() == stream; });
    if (page == m_pages.end())
        return;
    const Wish wish = page->wish;
    m_pages.erase(page);
    if (wish.job && m_watches)
        m_watches->Unwatch({*wish.job, wish.format});
}

} // namespace web
