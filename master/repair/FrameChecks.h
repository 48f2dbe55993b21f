#pragma once

#include <functional>
#include <map>
#include <set>
#include <vector>

#include "corvan/FrameChecking.h"
#include "master/frames/FrameLooker.h"
#include "master/jobs/Outbox.h"
#include "master/loop/Clock.h"
#include "master/loop/Pauses.h"
#include "master/repair/FrameRequeues.h"
#include "ostrel/LoopThread.h"

namespace master
{

using ostrel::LoopThread;

/// Looks after the frames of jobs that ask for it ("CheckFrames"): once the tasks of such a job are
/// over, done or failed, and its files stand still, they are judged, and what is bad is rendered
/// again, as often as the job says.
///
/// Files stand still that two looks find alike (sizes and dates), "QuietSeconds" apart by the clock
/// of this Master. How old a date is says nothing: another machine's clock has written it.
///
/// A round is a requeue of the frames that are bad, but for those that came back from an earlier
/// round as they were: rendering those again changes nothing. When it is over, the files are looked
/// at anew. It is over with the rounds where none is left to requeue, or the last one was not done.
/// While any requeue of the job is queued or running nobody looks. A job that is changed, or run
/// again, begins from the beginning.
///
/// Frames that could not be looked at are neither good nor bad. That is tried again, after a pause
/// that doubles each time.
///
/// What has to outlive the Master is in the store (`FrameStore`); what it holds itself begins anew
/// with the next one: the first of the two looks. The functions that take an outbox change the
/// store and belong inside a turn; the others act, and are called once that turn is on disk. Loop
/// thread.
class FrameChecks : private LookListener
{
public:
    /// What it works on; all outlive it.
    struct Farm
    {
        JobStore &store;
        JobCache &cache;
        FrameLooker *looker; ///< Null where frames cannot be looked at.
    };

    /// `wake` has a turn taken, soon.
    FrameChecks(AlarmClock &clock, const Farm &farm, const Pauses &pauses,
                FrameRequeues::MakeID makeID, std::function<void()> wake);
    virtual ~FrameChecks() = default;

    /// Notes what the changes in the outbox mean to the frames (`Outbox::FrameNotes`); tells it
    /// there, too.
    void NoteChanges(Outbox &outbox);
    /// What was noted of these jobs is on disk (`Outbox::FramesToFollow`).
    void Follow(const std::set<UID> &jobs);

    /// Looks are over that are not noted.
    bool HasResults() const
    {
        return !m_results.empty();
    }
    /// A job of which frames are bad, as has shown.
    struct Bad
    {
        UID job;
        UID rendered; ///< Whose commands wrote them: the job's last requeue, or the job itself.
        String range; ///< Which they are, by the numbers of their files; else how many.
        /// The frames of the job that has rendered them.
        corvan::SequenceDistributor::Items frames;
        bool stay = false; ///< They are not rendered again.
    };
    std::vector<Bad> Record(Outbox &outbox);
    /// They are noted.
    void ForgetResults();

    /// There is something to plan.
    bool HasDue();
    /// Chooses what is looked at next.
    void Plan(Outbox &outbox);
    /// Begins what was planned.
    void Start();
    /// Wakes when the next thing is due.
    void Arm();

    /// True while it will come to a verdict by itself before long.
    bool IsBusy() const;
    /// It rests from now on.
    void Stop();

    static constexpr std::size_t k_MostLooks = 2;
    /// So many may hang in shares that hang, beside those.
    static constexpr std::size_t k_MostHanging = 4;
    /// From the end of a look's time until it counts as hanging.
    static constexpr std::chrono::seconds k_Grace{20};

private:
    using Moment = Clock::Moment;

    // A job whose frames are to be looked at.
    struct Watch
    {
        Moment due;
        String print;                       // Of the last look; empty where there was none.
        std::chrono::milliseconds pause{0}; // After a look that could not be made.
        int look = 0;                       // Under way; 0 for none.
        bool isPatient = false;             // It waits for something that may take any time.
    };
    // A process that looks.
    struct Look
    {
        UID job;
        Moment began;
        Moment end; // From then on it hangs.
        bool isHanging = false;
    };
    struct Result
    {
        int look = 0;
        UID job;
        check::LookAnswer answer{};
        Watch next{}; // What becomes of the watch.
    };
    struct Planned
    {
        int look = 0;
        UID job;
        check::LookRequest request;
        String trouble; // Why there is no request.
    };

    void OnLooked(int look, const check::LookAnswer &answer) override;
    void OnAlarm();
    bool MayHang(int number, const Look &look) const;
    void Load();
    void Follow(const UID &job);
    void EndWatch(const UID &job);

    void NoteChange(const UID &job, const FrameNote &note, Outbox &outbox);
    void NoteRequeueOver(const Job &requeue, Outbox &outbox);
    void Save(const JobState &state, const JobFrames &before, const JobFrames &after,
              Outbox &outbox);

    std::optional<Bad> RecordOne(Result &result, Outbox &outbox);
    void RecordTrouble(JobFrames &frames, Result &result);
    void RecordPrint(const Job &job, JobFrames &frames, Result &result);
    void RecordVerdict(const JobState &state, const Job &job, JobFrames &frames,
                       const check::LookAnswer &answer, Outbox &outbox);
    bool Requeue(const JobState &state, const Job &job, JobFrames &frames,
                 const check::LookAnswer &answer, Outbox &outbox);

    bool IsOneDue();
    bool HasRoom() const;
    bool MayLook(const UID &job, const Watch &watch) const;
    std::map<UID, Watch>::iterator FindNext();
    void PlanOne(const UID &job, Watch &watch, Outbox &outbox);
    bool IsRequeueUnderWay(const UID &id, const Job &job, const JobFrames &frames);
    static check::LookRequest RequestFor(const JobState &state, const Job &job, const Watch &watch,
                                         String *trouble);
    corvan::SequenceDistributor::Items FramesOf(const UID &job,
                                                const corvan::SequenceDistributor::Items &numbers);

    AlarmClock &m_clock;
    Farm m_farm;
    Pauses m_pauses;
    FrameRequeues m_requeues;
    std::function<void()> m_wake;
    const std::unique_ptr<Alarm> m_alarm;
    LoopThread m_thread;
    std::map<UID, Watch> m_watches;
    std::map<UID, UID> m_rounds; // The job that waits for a requeue, by the requeue.
    std::map<int, Look> m_looks;
    std::vector<Planned> m_planned;
    std::vector<Result> m_results;
    int m_lastLook = 0;
    bool m_isLoaded = false; // Else the watches are not what the store says.
    bool m_isStopped = false;
};

} // namespace master
