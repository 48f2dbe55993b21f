#include "master/run/LogLooks.h"

#include <chrono>
#include <sys/stat.h>
#include <thread>
#include <utility>

#include "ostrel/CallEntry.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

std::vector<LogLooks::Seen> LookAt(const std::vector<LogLooks::Asked> &files)
{
    std::vector<LogLooks::Seen> all;
    all.reserve(files.size());
    for (const LogLooks::Asked &file : files)
    {
        LogLooks::Seen seen;
        seen.run = file.run;
        struct stat status
        {
        };
        if (::stat(file.file.Text().c_str(), &status) == 0)
        {
            seen.bytes = status.st_size;
            seen.changedNs =
                std::int64_t(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec;
            seen.inode = status.st_ino;
        }
        all.push_back(seen);
    }
    return all;
}

} // namespace

void LogThread::Begin(std::vector<Asked> files)
{
    _CallEntry call("LogThread::Begin", __FILE__, __LINE__);

    std::promise<std::vector<Seen>> promise;
    m_seen = promise.get_future();
    std::thread([promise = std::move(promise), files = std::move(files)]() mutable
                { promise.set_value(LookAt(files)); })
        .detach();
}

bool LogThread::IsLooking() const
{
    _CallEntry call("LogThread::IsLooking", __FILE__, __LINE__);

    return m_seen.valid() && m_seen.wait_for(std::chrono::seconds(0)) != std::future_status::ready;
}

std::optional<std::vector<LogLooks::Seen>> LogThread::TakeResult()
{
    _CallEntry call("LogThread::TakeResult", __FILE__, __LINE__);

    if (!m_seen.valid() || IsLooking())
        return std::nullopt;
    return std::exchange(m_seen, std::future<std::vector<Seen>>()).get();
}

} // namespace master
