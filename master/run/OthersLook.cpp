#include "master/run/OthersLook.h"

#include <chrono>
#include <string>
#include <thread>

#include "master/run/KeeperProcess.h"
#include "master/run/Leftovers.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;

namespace
{

constexpr std::chrono::seconds k_patience{2};

OthersLook::Found LookFor(const std::string &master)
{
    OthersLook::Found found;
    const auto reason = ostrel::Attempt(
        [&]
        {
            found.keepers = CountProcessesWith(k_KeeperOf + ("=" + master), k_KeeperName);
            if (found.keepers == 0)
                found.killed = KillProcessesWith(k_TaskOf + ("=" + master));
        });
    if (!reason)
        return found;
    // Nobody knows who is there, so somebody may be.
    ostrel::LogError(*reason);
    return {.keepers = 1};
}

} // namespace

OthersLook::OthersLook(const UID &master)
{
    _CallEntry call("OthersLook::OthersLook", __FILE__, __LINE__);

    std::promise<Found> promise;
    m_found = promise.get_future();
    std::thread([promise = std::move(promise), id = std::string(master.ToString())]() mutable
                { promise.set_value(LookFor(id)); })
        .detach();
}

OthersLook::~OthersLook()
{
    _CallEntry call("OthersLook::~OthersLook", __FILE__, __LINE__);

    if (m_found.valid())
        m_found.wait_for(k_patience);
}

std::optional<OthersLook::Found> OthersLook::TakeResult()
{
    _CallEntry call("OthersLook::TakeResult", __FILE__, __LINE__);

    if (m_found.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        return std::nullopt;
    return m_found.get();
}

} // namespace master
