#include "master/run/LocalRunner.h"

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <cassert>
#include <charconv>
#include <optional>
#include <poll.h>
#include <unistd.h>

#include "keeper/Protocol.h"
#include "master/run/Orphans.h"
#include "ostrel/Attempt.h"
#include "ostrel/CallEntry.h"
#include "ostrel/Log.h"

namespace master
{

using boost::system::error_code;
using ostrel::_CallEntry;
using std::chrono::steady_clock;

namespace
{

constexpr std::chrono::milliseconds k_look_each{50}; // Earlier at first.
constexpr std::chrono::seconds k_long_look{5};
constexpr std::chrono::milliseconds k_longest_pause{500};
// What was killed is gone in no time, but for what hangs in a share that hangs.
constexpr std::chrono::milliseconds k_orphans_each{10};
constexpr int k_many_looks = 1000;

// "7 reason".
RunEnd ReadEnd(const std::string &text)
{
    RunEnd end;
    const char *const last = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), last, end.exitCode);
    if (stopped != last)
        end.reason = String(std::string(stopped + 1, last));
    return end;
}

} // namespace

struct LocalRunner::Process
{
    Process(boost::asio::io_context &loop, const Command &command, int itsSlot,
            const CommandPlace &place, const UID &master, const KeeperSettings &settings,
            RunListener &tellsWhom)
        : slot(itsSlot), group(place.group), keeper(command, place, master, settings),
          reports(loop), listener(tellsWhom), collectTimer(loop)
    {
        const int socket = keeper.DuplicateSocket();
        error_code error;
        if (reports.assign(socket, error))
        {
            ::close(socket);
            throw new ostrel::ProcessException("cannot watch a process: " + error.message());
        }
    }

    int slot;
    Path group; // The control group; empty where there is none.
    KeeperProcess keeper;
    boost::asio::posix::stream_descriptor reports;
    RunListener &listener;
    boost::asio::steady_timer collectTimer;
    std::chrono::milliseconds pause{1}; // Doubled before each.
    std::array<char, 4096> part{};
    std::string text;          // Of a report that is not whole yet.
    std::optional<RunEnd> end; // As it was reported.
};

LocalRunner::LocalRunner(boost::asio::io_context &loop, int slots,
                         std::chrono::milliseconds patience, std::size_t files,
                         std::optional<CommandUser> user)
    : m_loop(loop), m_slots(slots), m_settings{patience, files, std::move(user)}, m_lookTimer(loop),
      m_orphanTimer(loop)
{
    _CallEntry call("LocalRunner::LocalRunner", __FILE__, __LINE__);

    AdoptOrphans();
}

LocalRunner::~LocalRunner()
{
    _CallEntry call("LocalRunner::~LocalRunner", __FILE__, __LINE__);

    m_processes.clear();
    for (int look = 0; look < k_many_looks && !KillOrphans(); ++look)
        ::poll(nullptr, 0, int(k_orphans_each.count()));
}

void LocalRunner::Begin(const UID &master, std::function<void()> isAlone)
{
    _CallEntry call("LocalRunner::Begin", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    m_master = master;
    if (const std::optional<Path> own = TaskGroups::FindOwn())
        m_groups.emplace(*own, master);
    m_waitsForOthers = true;
    LookForOthers(isAlone);
}

// A keeper ends what it holds, marked or not, and must not be killed before it has done so. What is
// left when there is none has lost its keeper.
void LocalRunner::LookForOthers(const std::function<void()> &isAlone)
{
    _CallEntry call("LocalRunner::LookForOthers", __FILE__, __LINE__);

    bool isSo = false;
    // Whatever goes wrong, it is tried again.
    if (const auto reason = ostrel::Attempt([&] { isSo = IsAlone(); }))
        ostrel::LogError("cannot look for the commands of an earlier run: " + *reason);
    if (isSo)
    {
        m_waitsForOthers = false;
        isAlone();
        return;
    }
    m_lookTimer.expires_after(m_lookPause);
    m_lookPause = std::min(2 * m_lookPause + std::chrono::milliseconds(1), k_look_each);
    m_lookTimer.async_wait(
        [this, isAlone](const error_code &error)
        {
            if (!error)
                LookForOthers(isAlone);
        });
}

// True once a look has found nothing; false while one is under way.
bool LocalRunner::IsAlone()
{
    _CallEntry call("LocalRunner::IsAlone", __FILE__, __LINE__);

    if (!m_look)
    {
        m_look.emplace(m_master);
        m_lookBegan = steady_clock::now();
        return false;
    }
    const std::optional<OthersLook::Found> found = m_look->TakeResult();
    if (!found)
    {
        if (steady_clock::now() - m_lookBegan > k_long_look &&
            !std::exchange(m_hasToldOfLook, true))
            ostrel::LogWarning("nothing is started yet: the system takes long to tell of the "
                               "processes that an earlier run may have left");
        return false;
    }
    m_look.reset();
    if (found->killed > 0)
        ostrel::LogWarning("killed " + std::to_string(found->killed) +
                           " processes that an earlier run left behind");
    if (found->keepers == 0)
        return found->killed == 0 && (!m_groups || m_groups->KillEarlier());
    if (!std::exchange(m_hasToldOfOthers, true))
        ostrel::LogStatus("waiting for the commands of an earlier run to end");
    return false;
}

int LocalRunner::FreeSlots() const
{
    _CallEntry call("LocalRunner::FreeSlots", __FILE__, __LINE__);

    return m_waitsForOthers ? 0 : m_slots - int(m_processes.size() + m_lost.size());
}

// The lowest that no command has.
int LocalRunner::FreeSlot() const
{
    _CallEntry call("LocalRunner::FreeSlot", __FILE__, __LINE__);

    for (int slot = 0;; ++slot)
        if (std::ranges::none_of(m_processes,
                                 [&](const auto &one) { return one.second->slot == slot; }))
            return slot;
}

CommandPlace LocalRunner::PlaceFor(const Command &command, int slot)
{
    _CallEntry call("LocalRunner::PlaceFor", __FILE__, __LINE__);

    CommandPlace place;
    if (m_groups)
        place.group = m_groups->Make(command.limits).value_or(Path());
    if (!place.group.IsEmpty() && m_groups->LimitsProcessors())
        return place;
    // Those of each slot are its own as long as there are enough.
    place.processors = command.limits.processors;
    place.firstProcessor = unsigned(slot) * place.processors;
    return place;
}

bool LocalRunner::Start(const Command &command, RunListener &listener, String *error)
{
    _CallEntry call("LocalRunner::Start", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    CommandPlace place;
    const auto reason = ostrel::Attempt(
        [&]
        {
            const int slot = FreeSlot();
            place = PlaceFor(command, slot);
            m_processes[command.run] = std::make_unique<Process>(m_loop, command, slot, place,
                                                                 m_master, m_settings, listener);
            ReadReports(command.run);
        });
    if (!reason)
        return true;
    // Its slot is free again; what was started is killed.
    m_processes.erase(command.run);
    RemoveGroup(place.group);
    *error = *reason;
    return false;
}

void LocalRunner::ReadReports(int run)
{
    _CallEntry call("LocalRunner::ReadReports", __FILE__, __LINE__);

    Process &process = *m_processes.at(run);
    process.reports.async_read_some(boost::asio::buffer(process.part),
                                    [this, run](const error_code &error, std::size_t count)
                                    {
                                        // Then this object may have gone.
                                        if (error == boost::asio::error::operation_aborted)
                                            return;
                                        const auto found = m_processes.find(run);
                                        if (found == m_processes.end())
                                            return;
                                        if (error)
                                            return Collect(run);
                                        found->second->text.append(found->second->part.data(),
                                                                   count);
                                        TakeReports(run, *found->second);
                                        ReadReports(run);
                                    });
}

void LocalRunner::TakeReports(int run, Process &process)
{
    _CallEntry call("LocalRunner::TakeReports", __FILE__, __LINE__);

    for (std::size_t end = 0; (end = process.text.find('\0')) != std::string::npos;)
    {
        const char what = process.text.front();
        const std::string text = process.text.substr(1, end - 1);
        process.text.erase(0, end + 1);
        if (what == keeper::k_Started)
            process.listener.OnStarted(run);
        else if (what == keeper::k_Ended)
            process.end = ReadEnd(text);
        else
            process.end =
                RunEnd{.isStarted = false, .reason = text, .leadsOut = what == keeper::k_Outside};
    }
}

// The socket is closed; the process is gone in a moment, as a rule.
void LocalRunner::Collect(int run)
{
    _CallEntry call("LocalRunner::Collect", __FILE__, __LINE__);

    const auto found = m_processes.find(run);
    if (found == m_processes.end())
        return;
    const std::optional<std::string> reason = found->second->keeper.TryCollect();
    if (!reason)
        return CollectLater(run);
    const std::unique_ptr<Process> process = std::move(found->second);
    m_processes.erase(found);
    if (reason->empty() && process->end)
    {
        RemoveGroup(process->group);
        return process->listener.OnEnded(run, *process->end);
    }
    // Nobody knows how the command ended, and it is not its fault.
    const RunEnd end{.isStarted = false,
                     .reason = reason->empty() ? "corvan-task told nothing" : *reason};
    if (!process->group.IsEmpty())
        TaskGroups::Kill(process->group);
    m_lost.push_back({run, end, &process->listener, process->group});
    EndOrphans();
}

void LocalRunner::CollectLater(int run)
{
    _CallEntry call("LocalRunner::CollectLater", __FILE__, __LINE__);

    Process &process = *m_processes.at(run);
    process.pause = std::min(2 * process.pause, k_longest_pause);
    process.collectTimer.expires_after(process.pause);
    process.collectTimer.async_wait(
        [this, run](const error_code &error)
        {
            if (!error)
                Collect(run);
        });
}

void LocalRunner::EndOrphans()
{
    _CallEntry call("LocalRunner::EndOrphans", __FILE__, __LINE__);

    if (KillOrphans())
    {
        m_orphanLooks = 0;
        for (const LostRun &lost : std::exchange(m_lost, {}))
        {
            RemoveGroup(lost.group);
            lost.listener->OnEnded(lost.run, lost.end);
        }
        return;
    }
    if (++m_orphanLooks == k_many_looks)
        ostrel::LogWarning("waiting for processes that do not end though they are killed");
    m_orphanTimer.expires_after(k_orphans_each);
    m_orphanTimer.async_wait(
        [this](const error_code &error)
        {
            if (!error)
                EndOrphans();
        });
}

void LocalRunner::RemoveGroup(const Path &group)
{
    _CallEntry call("LocalRunner::RemoveGroup", __FILE__, __LINE__);

    if (m_groups && !group.IsEmpty())
        m_groups->Remove(group);
}

void LocalRunner::End(int run)
{
    _CallEntry call("LocalRunner::End", __FILE__, __LINE__);

    assert(m_thread.IsCurrent());
    const auto found = m_processes.find(run);
    if (found != m_processes.end())
        found->second->keeper.End();
}

} // namespace master
