#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "master/run/CommandRunner.h"
#include "master/slurm/ArrayFolders.h"
#include "master/slurm/Cluster.h"
#include "master/slurm/SlurmEnds.h"

namespace master
{

/// What is to be done, in this order, once something was noted in the `ArrayBook`.
struct ArrayOrders
{
    struct Elements
    {
        ArrayName array;
        std::vector<unsigned> elements; ///< Empty for all.
    };
    struct Element
    {
        UID batch;
        unsigned element = 0;
        int run = 0;
        bool onlyIfFree = false;
    };
    struct Look
    {
        int run = 0;
        Path file;
    };
    struct Event
    {
        enum class Kind
        {
            Started,
            Ended,
        };
        Kind kind = Kind::Started;
        int run = 0;
        RunEnd end{};
    };

    std::vector<Element> toBar;     ///< Answered by `TakeBarring`.
    std::vector<Elements> toCancel; ///< Asked for again where it has no effect.
    std::vector<ArrayName> toHold;
    std::vector<ArrayName> toRelease;
    std::vector<std::pair<ArrayName, int>> toRate; ///< A new "nice".
    std::vector<Look> toLookAt; ///< Whether the file is there; answered by `TakeLook`.
    std::vector<UID> toDrop;    ///< Folders that are to go at once; answered by `TakeDrop`.
    std::vector<UID> toRemove;  ///< Folders of which nothing is needed any more.
    std::vector<Event> events;
    std::map<UID, String> queued; ///< See `RunListener::OnQueued`.
};

/// What was handed over to the cluster and how far it is: a record that is told what comes in, and
/// tells what is to be done. It does nothing itself, and knows no time but that which it is told.
///
/// How a run ended is told by its result. Where there is none, and the queue has said twice that
/// the run is over or not there, it is barred first: who still has it ends within the lease.
class ArrayBook
{
public:
    using Moment = std::chrono::steady_clock::time_point;

    struct Settings
    {
        std::string prefix; ///< Of the names of our arrays; nobody else's begin so.
        std::chrono::milliseconds lease{20'000};
        /// How long a look at a file may take before the run is taken for what it says.
        std::chrono::milliseconds lookPatience{60'000};
        int niceStep = 100; ///< For each of the 100 steps of a priority.
        ElementNeeds needs;
    };

    explicit ArrayBook(Settings settings) : m_settings(std::move(settings)) {}

    /// A run of a batch that is to be handed over, or was (`isThere`). The Master has to see its
    /// output when it is done.
    void Add(const EarlierRun &run, bool isThere);
    ArrayName NameOf(const UID &batch) const;
    int NiceOf(int priority) const;

    // What came of handing it over.
    void TakeAnswer(const UID &batch, const ArrayAnswer &answer);

    // What the cluster and the nodes tell.
    void TakeResults(const UID &batch, const std::vector<ElementResult> &results);
    void TakeQueue(const QueueAnswer &answer, Moment now);
    void TakeBarring(const ArrayOrders::Element &element, ArrayFolders::Barring barring,
                     const std::optional<ElementResult> &result, Moment now);
    void TakeLook(int run, bool isThere);
    void TakeDrop(const UID &batch);

    // What the Master wants.
    void End(int run);
    void Withdraw(int run);
    void Recorded(int run);
    void SetJob(const UID &job, bool isHeld, int priority);

    /// What is to be done; once.
    ArrayOrders TakeOrders();

    std::size_t CountRuns() const
    {
        return m_runs.size();
    }
    std::size_t CountRunsOf(const UID &job) const;
    /// Nil for a batch that is not there.
    UID JobOf(const UID &batch) const;
    bool IsEmpty() const
    {
        return m_arrays.empty();
    }
    /// Those of which there may be results.
    std::vector<UID> Batches() const;
    std::set<UID> AllBatches() const;
    std::optional<RunPlace> PlaceOf(int run) const;

private:
    enum class Stage
    {
        Leaving,   ///< It is on its way to the cluster.
        Uncertain, ///< The cluster may have got it.
        There,
    };

    struct Run
    {
        int run = 0;
        Path output;
        RunPlace place;
        bool isEnding = false;
        std::uint64_t aliveIn = 0; ///< The last answer that said that it waits or runs.
        /// It did not run yet then, as far as the Master's own clock can tell.
        std::optional<Moment> notBefore;
        int sightings = 0; ///< How many answers in a row say that it is over, or not there.
        std::optional<QueueLine> last; ///< That said that it is over; nothing where none did.
        bool isBarAsked = false;
        std::optional<Moment> barred;   ///< Somebody had it then.
        std::optional<RunEnd> unsaid;   ///< Its result, which does not say who ended it.
        int answersSince = 0;           ///< Since then.
        std::optional<RunEnd> unseen;   ///< Its result, while its file is looked for.
        std::optional<Moment> lookedAt; ///< Since when; set by the first answer.
    };

    struct Array
    {
        UID job;
        Stage stage = Stage::Leaving;
        std::uint64_t number = 0;
        std::map<unsigned, Run> runs;
        int unrecorded = 0; ///< Runs that are over, and not on disk.
        bool isHeldWanted = false;
        bool isHeld = false; ///< By us, as far as we know.
        int nice = 0;        ///< As the cluster has it.
        int niceWanted = 0;
        int missing = 0; ///< How many answers in a row know nothing of it.
        bool isAlive = false;
        bool isSettled = false; ///< An answer was read since its last run ended.
        String words;           ///< Why it is not certain, for people.
    };

    // What one answer says of an array.
    struct Seen
    {
        bool isAny = false;
        bool isAlive = false;
        bool isWaiting = false;
        bool isHeld = false;
        String why;
        std::vector<unsigned> started;
        std::vector<unsigned> toCancel;
    };

    struct Found
    {
        UID batch;
        unsigned element = 0;
    };

    Array *FindArray(const UID &batch);
    Run *FindRun(int run, Found &found);
    std::optional<UID> BatchOf(const std::string &name) const;
    static RunPlace PlaceIn(const Array &array, unsigned element, const Run &run);

    void TakeLine(const QueueLine &line, Moment now, std::map<UID, Seen> &seen);
    void TakeElement(Array &array, unsigned element, const QueueLine &line, Moment now,
                     Seen &seen) const;
    Moment BeginOf(Run &run, Moment told) const;
    void FollowArray(const UID &batch, Array &array, Seen &seen, Moment now);
    void FollowRun(const UID &batch, Array &array, unsigned element, Seen &seen, Moment now);
    void EndBarred(const UID &batch, Array &array, Moment now);
    void FollowHolding(const UID &batch, Array &array, const Seen &seen);
    void TellQueued(const std::map<UID, Seen> &seen);
    void RemoveOver();

    void TakeResult(const UID &batch, Array &array, const ElementResult &result);
    void ApplyWishes(const UID &batch, Array &array);
    void Begin(Run &run);
    void Finish(const UID &batch, Array &array, unsigned element, RunEnd end);
    void FinishAll(const UID &batch, Array &array, const RunEnd &end);
    void Bar(const UID &batch, unsigned element, Run &run);
    void Cancel(const UID &batch, unsigned element);

    Settings m_settings;
    std::map<UID, Array> m_arrays;
    std::map<int, Found> m_runs;
    std::map<int, UID> m_unrecorded;
    std::set<UID> m_seenJobs; ///< Jobs of which a file was seen.
    std::map<UID, String> m_toldWhy;
    std::uint64_t m_answers = 0;
    std::optional<Moment> m_lastAnswer; ///< Before the one that is taken.
    ArrayOrders m_orders;
};

} // namespace master
