#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ostrel/LoopThread.h"
#include "ostrel/String.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::LoopThread;
using ostrel::String;
using ostrel::UID;

class StoreDatabase;
struct JobState;

/// What is known of the frames of a job whose tasks are over.
struct JobFrames
{
    enum class Phase
    {
        Waiting = 0, ///< For files that stand still, or for a requeue that is under way.
        Looking = 1, ///< They are being judged.
        Done = 2,
        Failed = 3, ///< They could not be looked at; that is tried again.
    };
    Phase phase = Phase::Waiting;
    unsigned rounds = 0;   ///< How often bad frames were requeued.
    UID round{};           ///< The last requeue; nil for none.
    String trouble{};      ///< Why they could not be looked at.
    bool isJudged = false; ///< What follows is known; of the last look that judged.
    unsigned bad = 0;      ///< Frames.
    String badRange{};     ///< Which; empty where that is too long to be told.
    String counts{};       ///< "ok 94, missing 2".
    String findings{};     ///< `FindingsText` of what was bad before the last requeue.

    friend bool operator==(const JobFrames &, const JobFrames &) = default;
};

/// The frames of the jobs whose frames are looked at, in the job store's database: changes belong
/// to the store's turns.
///
/// Every function may throw `StoreException *`. Loop thread.
class FrameStore
{
public:
    /// The database outlives it.
    explicit FrameStore(StoreDatabase &database) : m_database(database) {}

    /// Nothing where nobody has begun to look at them.
    std::optional<JobFrames> Find(const JobState &state);
    void Save(const JobState &state, const JobFrames &frames);
    void Forget(const JobState &state);

    /// A job with which it is not over, and its last requeue.
    struct Due
    {
        UID job;
        UID round;
    };
    std::vector<Due> ListDue();

    /// True while a requeue of this job is queued or running.
    bool HasActiveRequeue(const UID &origin);

private:
    StoreDatabase &m_database;
    LoopThread m_thread;
};

} // namespace master
