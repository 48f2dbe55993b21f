#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "analysis/ScanRules.h"
#include "ostrel/DiskThreads.h"
#include "web/door/Routes.h"
#include "web/jobs/FarmEvents.h"
#include "web/jobs/FrameFinder.h"
#include "web/jobs/FrameWatches.h"
#include "web/jobs/JobBook.h"
#include "web/jobs/MasterLink.h"
#include "web/jobs/PictureLooks.h"
#include "web/jobs/TaskBook.h"
#include "web/jobs/UserLinks.h"
#include "web/jobs/Workers.h"

namespace web
{

struct FarmSettings
{
    /// Makes a way to the Master: with the token of a user, or with this server's own where it is
    /// empty. Throws `ostrel::Exception *`.
    UserLinks::MakeLink makeLink;
    /// Its user is the one that it was started by.
    bool isPersonal = true;
    analysis::ScanRules rules{};
    std::chrono::milliseconds refresh{5000}; ///< From the end of a pass to the next.
    /// Has an image read whole, and calls `told` once with what that has shown: the JSON of
    /// "decoded", or no text and why there is none.
    std::function<void(const ostrel::Path &image,
                       std::function<void(std::string json, String trouble)> told)>
        decode{};
};

/// What the web server tells of the farm and its frames, and what it does for who asks: the routes
/// of docs/api.md but those of the session's beginning and end, and of the pictures. Loop thread.
class Farm : private MasterLink::User
{
public:
    /// Begins to connect. The loop outlives it, and is run no more once it is gone. Throws
    /// `ostrel::Exception *` where there can be no way to the Master.
    Farm(boost::asio::io_context &loop, FarmSettings settings);
    ~Farm() override;

    void AddRoutes(Routes &routes);
    UserLinks &Users()
    {
        return m_users;
    }
    /// Serves as long as this lives.
    FindFrame Finder();

    const FrameWatches &Watches() const
    {
        return m_watches;
    }
    /// Whether all jobs are known, and the Master is there.
    bool IsReady() const
    {
        return m_link.IsUp() && m_book.IsListed();
    }

private:
    using RequestPointer = std::shared_ptr<const Request>;

    // Of the Master.
    void OnUp() override;
    void OnDown(const String &reason) override;
    void OnTurnedAway(const String &reason) override;
    void OnNews(const boost::shared_ptr<Message> &message) override;
    void ListJobs(const UID &before);

    // Jobs.
    void SendHealth(const RequestPointer &request, const Reply &reply);
    void SendSession(const RequestPointer &request, const Reply &reply);
    void SendJobs(const RequestPointer &request, const Reply &reply);
    void SendJob(const RequestPointer &request, const Reply &reply);
    void SendTasks(const RequestPointer &request, const Reply &reply);
    void SendTasksOf(const JobPointer &job, std::size_t offset, std::size_t limit,
                     std::optional<int> frame, const Reply &reply);
    void SendLog(const RequestPointer &request, const Reply &reply);
    void OpenStream(const RequestPointer &request, const std::shared_ptr<EventStream> &stream);

    // Frames.
    void SendFrames(const RequestPointer &request, const Reply &reply);
    void SendFrame(const RequestPointer &request, const Reply &reply);
    /// What is wanted of a frame beside what is known of it.
    struct FrameWish
    {
        bool isDecoded = false;
        bool isCompared = false; ///< With the pictures around.
        String visitor{};
    };
    void SendFrameOf(const FrameWish &wish, const SnapshotPointer &snapshot, std::size_t row,
                     const corvan::TaskInfo *task, const Reply &reply);
    void SendSheet(const RequestPointer &request, const Reply &reply);
    void SendSizes(const RequestPointer &request, const Reply &reply);

    // Changes.
    void SetParameters(const RequestPointer &request, const Reply &reply);
    void Requeue(const RequestPointer &request, const Reply &reply);
    void Submit(MasterLink &link, const boost::shared_ptr<Job> &job, std::string done,
                const Reply &reply);

    MasterLink &LinkOf(const Request &request);
    corvan::Link::Welcome WhoAsks(const Caller *caller);
    std::string MasterJson(const std::shared_ptr<const Caller> &caller);
    JobPointer NeedJob(const Request &request) const;
    FrameWatches::Key NeedFrames(const Request &request) const;
    Response Dated(Response response) const;
    /// Finds which task renders the frame with this output number; no task where there is none.
    void FindTask(const JobPointer &job, int frame,
                  std::function<void(const corvan::TaskInfo *)> found);

    boost::asio::io_context &m_loop;
    const FarmSettings m_settings;
    const std::string m_run; ///< Tells this run's tags from those of others.
    std::string m_since;     ///< When the Master came or went.
    String m_turnedAway;     ///< Why the Master does not take this server; empty where it does.
    JobBook m_book;
    FarmEvents m_events;
    FrameWatches m_watches;
    UserLinks m_users;
    MasterLink m_link;
    TaskBook m_tasks;
    const std::shared_ptr<bool> m_isAlive = std::make_shared<bool>(true);
    PictureLooks m_pictures;
    Workers m_workers; // Joined before what it uses; they ask no disk.
    ostrel::DiskThreads m_disk;
};

} // namespace web
