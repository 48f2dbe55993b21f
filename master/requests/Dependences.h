#pragma once

#include <set>
#include <vector>

#include "master/jobs/JobCache.h"
#include "master/jobs/Outbox.h"
#include "master/store/JobStore.h"

namespace master
{

/// Jobs that begin when others are done ("After"), or done with frames that were found good
/// ("AfterGood").
///
/// What a job waits for counts before its first task; what has begun goes on, whatever becomes of
/// the others then. While it waits its "Waiting" tells for what. It goes on waiting for a job that
/// failed or was cancelled, since that may be run again, and for one that was removed before it was
/// what it was waited for, until somebody takes it out; one that was removed later counts.
///
/// Changes go to the store, inside the turn that the caller has opened. Loop thread.
class Dependences
{
public:
    Dependences(JobStore &store, JobCache &cache) : m_store(store), m_cache(cache) {}

    /// Why a job cannot wait for what it names, as a sentence that begins with the parameter; empty
    /// where it can. `before` is what it was before a change, and `state` what it is; null for a
    /// new job. What it named before it may go on naming.
    ///
    /// Refused are a job that is not there, the job itself and whatever waits for it, one of which
    /// nobody checks the frames where they are to be good, more than `corvan::k_MostAfterJobs`, and
    /// anything new where it has begun.
    String Check(const Job &job, const Job *before = nullptr, const JobState *state = nullptr);

    /// Whether the job names any that it waits for.
    static bool NamesAny(const Job &job);
    /// Whether the two wait for the same.
    static bool IsSame(const Job &job, const Job &other);

    /// From now on it waits for what it names. Once the job is in the store as it is to be.
    void Keep(const Job &job, const JobState &state, Outbox &outbox);

    /// A job is about to be removed.
    void NoteRemoval(const JobState &state);

    /// Something has changed that jobs wait for, or in such a job itself.
    bool IsAnyStirred()
    {
        return m_store.Waits().IsAnyStirred();
    }
    /// Lets go of what may begin, and tells of the others for what they wait. True where it has
    /// stopped at so many, and there may be more.
    bool Follow(Outbox &outbox);

private:
    static constexpr unsigned k_at_once = 200;

    // What is known of a job's frames.
    enum class Frames
    {
        NotChecked, // Nobody does.
        NotYet,
        Bad,
        Good,
    };

    static std::vector<WaitedFor> ListWaitedFor(const Job &job);
    String CheckNew(const Job &job, const WaitedFor &other, bool isWaitedFor);
    bool HasBegun(const JobState &state);
    void Look(JobState &state, Outbox &outbox);
    String FindReason(const JobState &state);
    String ReasonOf(const WaitedFor &other, bool *wantsHelp);
    Frames FramesOf(const UID &job, String *bad);
    String Describe(const UID &job);

    JobStore &m_store;
    JobCache &m_cache;
};

} // namespace master
