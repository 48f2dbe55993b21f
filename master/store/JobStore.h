#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "corvan/Job.h"
#include "corvan/JobStatus.h"
#include "master/store/AuditStore.h"
#include "master/store/FrameStore.h"
#include "master/store/NoticeStore.h"
#include "master/store/OpenNote.h"
#include "master/store/PlaceStore.h"
#include "master/store/QueueStore.h"
#include "master/store/StoreCheck.h"
#include "master/store/StoreException.h"
#include "master/store/TaskStore.h"
#include "master/store/WaitStore.h"
#include "ostrel/LoopThread.h"
#include "ostrel/Path.h"
#include "ostrel/Time.h"

namespace master
{

using corvan::Job;
using ostrel::LoopThread;
using ostrel::Path;
using ostrel::String;
using ostrel::UID;

/// What the Master itself keeps of a job, beside its parameters.
struct JobState
{
    UID id;
    std::int64_t number = 0; ///< Counts up; a smaller one is older. Given by the store.
    ostrel::Time created;
    JobStatus status = JobStatus::Queued;
    int priority = 50;
    unsigned tasksTotal = 0;
    unsigned tasksDone = 0;
    unsigned tasksFailed = 0;
    unsigned nextTask = 0;    ///< The first task that has no record in `TaskStore`.
    std::int64_t logBase = 0; ///< Of the numbers of the log files; those below it are taken.
    /// Why it does not go on, where no status tells; empty where it does.
    String waiting;
    /// How many tasks have failed while none has been done yet; negative once one was.
    int firstFailures = 0;
    /// `NameSubmission` of the job as it came; empty where an earlier version kept it.
    String submitted;
    /// How long its frames take, as `master/schedule/FrameTimes.h` writes it; empty while that is
    /// not known.
    String frameTimes{};
};

/// Number of a task's log file.
std::int64_t LogNumber(const JobState &state, const TaskState &task);

/// The jobs and their tasks on disk: the only place where they are.
///
/// Changes are made inside a `Turn`, and are on disk, through a power cut too, once its `Commit`
/// has returned. Every function may throw `StoreException *`. Loop thread.
class JobStore
{
public:
    /// Opens the store, makes it where there is none, and brings it up to date. Throws where it
    /// cannot, where a newer version wrote it, and where it is damaged: every page is read first.
    /// `vfs` is SQLite's name of the disk that the file is on; null for the system's.
    explicit JobStore(const Path &file, const char *vfs = nullptr);

    /// The same, but waits no longer than `patience` for the pages to be read: then it is open, and
    /// `CheckUnderWay` goes on. It waits to the end where more speaks for damage (`OpenNote`), and
    /// where the store is to be brought up to date.
    JobStore(const Path &file, std::chrono::milliseconds patience);
    ~JobStore();

    /// What still reads the pages; null where all of them were read before.
    StoreCheck *CheckUnderWay() const
    {
        return m_check.get();
    }
    /// What is under way has found damage: notes it for the next one who opens the store, who
    /// serves nothing from it, and gives what to tell, with how to go on.
    String NoteDamage(const String &damage);

    /// The Master's identity: the same as long as the store lives.
    const UID &MasterID() const
    {
        return m_masterID;
    }

    /// One transaction: undone at its end unless it was committed. They do not nest.
    class Turn
    {
    public:
        explicit Turn(JobStore &store);
        ~Turn();
        Turn(const Turn &) = delete;
        Turn &operator=(const Turn &) = delete;
        void Commit();

    private:
        JobStore &m_store;
        const int m_changesBefore;
        bool m_open = true;
    };

    /// How turns ended that changed something, and those that could not.
    struct Commits
    {
        std::uint64_t done = 0;
        std::uint64_t failed = 0;
        bool isLastDone = true;
        std::chrono::steady_clock::time_point last; ///< When one was on disk.
    };
    const Commits &CommitsSoFar() const
    {
        return m_commits;
    }
    /// A turn that writes what is there already, to see whether changes get to disk.
    void Probe();

    /// A part of a turn that can be undone by itself. They do not nest.
    class Step
    {
    public:
        explicit Step(JobStore &store);
        ~Step();
        Step(const Step &) = delete;
        Step &operator=(const Step &) = delete;
        void Keep();

    private:
        JobStore &m_store;
        bool m_open = true;
    };

    /// False when the database has given up the turn by itself, as it does when the disk is full.
    bool InTurn() const;

    /// Keeps a new job: its parameters but those that `JobState` holds. Sets `state.number`.
    void Add(const Job &job, JobState &state);
    std::optional<JobState> FindState(const UID &job);
    /// Notes, too, when the job got over, and forgets it where it goes on.
    void SaveState(const JobState &state, const ostrel::Time &now = ostrel::Time::Now());

    /// The job as its clients set it: without the parameters that `JobState` holds. Null, with the
    /// reason in `*reason`, for a job that is not there and for one of an unknown type.
    boost::shared_ptr<Job> Load(const UID &job, String *reason);
    void SaveParameters(const Job &job, const JobState &state);

    /// The value of "Owner", also of a job of an unknown type; empty where it has none. Nothing for
    /// a job that is not there.
    std::optional<String> FindOwner(const UID &job);

    /// The newest job of a smaller number; `k_BeyondNewest` for the newest of all.
    std::optional<JobState> FindOlder(std::int64_t number);
    static constexpr std::int64_t k_BeyondNewest = std::numeric_limits<std::int64_t>::max();

    /// Of the jobs that got over before a moment, the one that did so first.
    std::optional<JobState> FindFinishedBefore(const ostrel::Time &moment);
    /// Removes a job with its parameters and tasks, and notes that what it has on disk besides is
    /// still to go.
    void Remove(const JobState &state);
    bool IsRemoved(const UID &job);
    /// The removed job whose identifier is the next one; nil for the first.
    std::optional<UID> FindRemoved(const UID &after);
    /// Nothing is left of it.
    void ForgetRemoved(const UID &job);

    /// True while a job is queued or running that waits for no other.
    bool HasWork();

    TaskStore &Tasks()
    {
        return *m_tasks;
    }
    PlaceStore &Places()
    {
        return *m_places;
    }
    QueueStore &Queue()
    {
        return *m_queue;
    }
    WaitStore &Waits()
    {
        return *m_waits;
    }
    NoticeStore &Notices()
    {
        return *m_notices;
    }
    FrameStore &Frames()
    {
        return *m_frames;
    }
    AuditStore &Audit()
    {
        return *m_audit;
    }

private:
    using Patience = std::optional<std::chrono::milliseconds>;

    void Open(const Path &file, const char *vfs, const Patience &patience);
    void LookThrough(const Patience &patience);
    bool MayBeServedMeanwhile();

    LoopThread m_thread;
    std::optional<OpenNote> m_note; // Where it is opened with patience.
    std::unique_ptr<StoreDatabase> m_database;
    std::unique_ptr<StoreCheck> m_check;
    std::unique_ptr<TaskStore> m_tasks;
    std::unique_ptr<PlaceStore> m_places;
    std::unique_ptr<QueueStore> m_queue;
    std::unique_ptr<WaitStore> m_waits;
    std::unique_ptr<NoticeStore> m_notices;
    std::unique_ptr<FrameStore> m_frames;
    std::unique_ptr<AuditStore> m_audit;
    UID m_masterID;
    Commits m_commits;
};

} // namespace master
