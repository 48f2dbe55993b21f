#pragma once

#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "web/door/EventStream.h"
#include "web/jobs/FrameWatches.h"
#include "web/jobs/JobBook.h"

namespace web
{

/// Tells pages what happens: see docs/api.md. What happens within a tenth of a second is told
/// together. Loop thread.
class FarmEvents
{
public:
    static constexpr std::chrono::milliseconds k_Gathered{100};

    /// All references outlive it.
    FarmEvents(boost::asio::io_context &loop, JobBook &book);
    ~FarmEvents();

    void SetWatches(FrameWatches *watches)
    {
        m_watches = watches;
    }

    /// What a page wants to be told. With a job its frames of one format, too.
    struct Wish
    {
        bool allJobs = false;
        std::optional<UID> job{};
        std::size_t format = 0;
    };
    /// `master` makes the JSON of the event "master", which it begins with: rights are a user's.
    void Add(const std::shared_ptr<EventStream> &stream, const Wish &wish,
             std::function<std::string()> master);

    /// The book may have changed.
    void NoteJobs();
    void TellPass(const FrameWatches::Key &key, const FrameWatches::Pass &pass);
    /// The Master came, or went: to everybody.
    void TellMaster();

    std::size_t Count() const
    {
        return m_pages.size();
    }

private:
    struct Page
    {
        std::shared_ptr<EventStream> stream;
        Wish wish;
        std::function<std::string()> master;
    };

    void Flush();
    void Remove(const EventStream *stream);
    void TellJob(const Page &page);

    boost::asio::io_context &m_loop;
    JobBook &m_book;
    FrameWatches *m_watches = nullptr; ///< Null at its end.
    std::vector<Page> m_pages;
    boost::asio::steady_timer m_timer;
    bool m_isPlanned = false;
    const std::shared_ptr<bool> m_isAlive = std::make_shared<bool>(true);
};

} // namespace web
