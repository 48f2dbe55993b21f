#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "corvan/JobStatus.h"
#include "ostrel/LoopThread.h"
#include "ostrel/String.h"
#include "ostrel/UID.h"

namespace master
{

using corvan::JobStatus;
using ostrel::LoopThread;
using ostrel::String;
using ostrel::UID;

class StoreDatabase;
struct JobState;

/// A job that another one waits for.
struct WaitedFor
{
    UID job;
    bool wantsGood = false; ///< Its frames are to be good, too.
    /// Nothing where it is not there any more; what it was then is told by the next two.
    std::optional<JobStatus> status{};
    bool wasMet = false; ///< It was what it was waited for when it was removed.
    String name{};       ///< What it was called then.

    friend bool operator==(const WaitedFor &, const WaitedFor &) = default;
};

/// Which jobs wait for which: in the job store's database.
///
/// A job that waits is held: the queue (`QueueStore`) does not have it. The database itself sees to
/// it that nothing is begun too early: where the status of a job changes, or what is known of its
/// frames, all that wait for it are held and stirred in that same change, and so is a job whose own
/// status changes. Whoever looks at those that are stirred lets go what may.
///
/// Every function may throw `StoreException *`; changes belong to the store's turns. Loop thread.
class WaitStore
{
public:
    /// The database outlives it.
    explicit WaitStore(StoreDatabase &database) : m_database(database) {}

    /// What a job waits for, in the order in which it was told.
    std::vector<WaitedFor> List(const JobState &state);
    /// From now on it waits for these, of which `job` and `wantsGood` count. What is known of those
    /// that are gone stays so. The job is held and stirred, or let go where there are none.
    void Replace(const JobState &state, std::span<const WaitedFor> others);
    bool IsWaitedFor(const UID &job);
    /// Whether a job waits for the other, by way of others or not. Walks all that it waits for.
    bool WaitsFor(const UID &job, const UID &other);

    /// How a job is held.
    enum class Hold
    {
        None,
        Untold, ///< Its reason, if it tells one, is another.
        Told,   ///< Its reason tells for what it waits.
    };
    Hold HoldOf(const JobState &state);

    bool IsAnyStirred();
    /// So many at most.
    std::vector<UID> ListStirred(unsigned most);
    /// It was looked at.
    void Settle(const JobState &state, Hold hold);

    /// A job is about to be removed. `isDone`, `isGood`: what those who wait for it know of it for
    /// good.
    void NoteRemoval(const UID &job, const String &name, bool isDone, bool isGood);
    /// It waits for nothing any more.
    void Forget(const JobState &state);

private:
    StoreDatabase &m_database;
    LoopThread m_thread;
};

} // namespace master
