#include "web/jobs/FrameWatches.h"

#include <algorithm>
#include <vector>

#include "analysis/FrameNames.h"
#include "web/door/HttpError.h"
#include "web/jobs/Statuses.h"

namespace web
{

namespace
{

constexpr unsigned k_list_threads = 2;
// Passes that the disk does not answer, before none is begun of which it never did. Those hold a
// thread each; one that was well on its way when the disk went holds all that look at its files.
constexpr std::size_t k_most_hanging = 128;
// What nobody asks for any more is kept so long.
constexpr std::chrono::seconds k_kept{30};
constexpr std::size_t k_most_watches = 256;

String LateTextOf(const FrameSnapshot &snapshot, std::chrono::seconds since)
{
    return "looking at the frames in " +
           analysis::FrameNames(snapshot.table.pattern).Folder().Text() + " has not answered for " +
           std::to_string(since.count()) +
           " s: the disk or the network hangs; of the frames nothing new is known";
}

} // namespace

struct FrameWatches::Entry
{
    Entry(Key ofKey, boost::asio::io_context &loop)
        : key(std::move(ofKey)), pause(loop), patience(loop)
    {
    }

    const Key key;
    std::size_t watchers = 0;
    bool isLooking = false;
    bool isLate = false;     ///< The pass that is under way is not answered.
    std::uint64_t round = 0; ///< Of the pass; what comes of an earlier one is not wanted.
    String lookedFor;        ///< Of the snapshot: see `FramesToLookFor`.
    SnapshotPointer snapshot;
    std::shared_ptr<const std::string> partSheet; ///< Of the pass that is under way.
    String trouble;                               ///< Of the last pass.
    Clock::time_point lookedAt{};
    Clock::time_point toldAt{};
    Clock::time_point answeredAt{}; ///< Where it is late.
    std::vector<std::pair<Wish, Told>> waiting;
    bool isImpatient = false; ///< A first pass was waited for long enough.
    boost::asio::steady_timer pause;
    boost::asio::steady_timer patience;
};

FrameWatches::FrameWatches(boost::asio::io_context &loop, JobBook &book, analysis::ScanRules rules,
                           std::chrono::milliseconds pause, OnPass onPass,
                           std::chrono::milliseconds patience)
    : m_loop(loop), m_book(book), m_rules(rules),
      m_pause(std::max(pause, std::chrono::milliseconds(1))), m_patience(patience),
      m_onPass(std::move(onPass)), m_workers(loop, k_list_threads), m_disk(loop)
{
}

FrameWatches::~FrameWatches()
{
    *m_isAlive = false;
}

void FrameWatches::Ask(const Key &key, Wish wish, Told told)
{
    const JobPointer job = m_book.Find(key.first);
    if (!job)
        return told({{}, k_NotFound, "there is no job " + key.first.ToString()});
    const EntryPointer entry = Need(key);
    if (!entry)
        return told({{}, k_TooMany, "too many jobs are looked at; try again later"});

    const bool isSame = entry->snapshot && entry->lookedFor == FramesToLookFor(*job);
    const bool isFresh = isSame && entry->snapshot->IsSeen() && entry->trouble.empty() &&
                         (entry->watchers > 0 || Clock::now() - entry->lookedAt < m_pause);
    const bool isListed = isSame && (entry->isLate || entry->partSheet) && wish == Wish::Listed;
    if (isFresh || isListed)
        return told(SeenOf(*entry));
    if (isSame && entry->isLate)
        return told({{},
                     k_Unavailable,
                     LateTextOf(*entry->snapshot, std::chrono::duration_cast<std::chrono::seconds>(
                                                      Clock::now() - entry->answeredAt))});
    const bool isFirst = std::ranges::none_of(entry->waiting, [](const auto &each)
                                              { return each.first == Wish::Listed; });
    entry->waiting.emplace_back(wish, std::move(told));
    if (wish == Wish::Listed && isFirst)
    {
        entry->patience.expires_after(m_patience);
        entry->patience.async_wait(
            [this, entry, isAlive = m_isAlive](const boost::system::error_code &error)
            {
                if (error || !*isAlive)
                    return;
                entry->isImpatient = true;
                AnswerListed(*entry);
            });
    }
    Begin(entry);
}

FrameWatches::Seen FrameWatches::SeenOf(const Entry &entry) const
{
    return {entry.snapshot,
            200,
            {},
            entry.partSheet ? entry.partSheet : entry.snapshot->sheet,
            entry.toldAt};
}

// Those who wait for no more than what there is, as far as that is known.
void FrameWatches::AnswerListed(Entry &entry)
{
    if (!entry.snapshot)
        return;
    auto waiting = std::exchange(entry.waiting, {});
    const Seen seen = SeenOf(entry);
    for (auto &[wish, told] : waiting)
        if (wish == Wish::Listed)
            told(seen);
        else
            entry.waiting.emplace_back(wish, std::move(told));
}

std::optional<FrameWatches::Pass> FrameWatches::TroubleOf(const Key &key) const
{
    const auto found = m_entries.find(key);
    if (found == m_entries.end() || found->second->trouble.empty())
        return std::nullopt;
    return Pass{found->second->snapshot, "{}", found->second->trouble};
}

void FrameWatches::Watch(const Key &key)
{
    const EntryPointer entry = Need(key);
    if (!entry)
        return;
    ++entry->watchers;
    if (m_book.Find(key.first))
        Begin(entry);
}

void FrameWatches::Unwatch(const Key &key)
{
    const auto found = m_entries.find(key);
    if (found == m_entries.end() || found->second->watchers == 0)
        return;
    if (--found->second->watchers == 0)
        PlanNext(found->second);
}

// Null where there are too many.
FrameWatches::EntryPointer FrameWatches::Need(const Key &key)
{
    const auto found = m_entries.find(key);
    if (found != m_entries.end())
        return found->second;
    if (m_entries.size() >= k_most_watches)
        return nullptr;
    return m_entries[key] = std::make_shared<Entry>(key, m_loop);
}

// A pass, unless one is under way.
void FrameWatches::Begin(const EntryPointer &entry)
{
    const JobPointer job = m_book.Find(entry->key.first);
    // One that is not answered is left to itself where other frames are looked for by now.
    const bool isInVain = entry->isLate && job && FramesToLookFor(*job) != entry->lookedFor;
    if (entry->isLooking && !isInVain)
        return;
    ++entry->round;
    entry->isLate = false;
    if (!job)
        return OnFailed(entry, k_NotFound, "there is no job " + entry->key.first.ToString());
    entry->isLooking = true;
    entry->pause.cancel();
    const String lookedFor = FramesToLookFor(*job);
    if (entry->snapshot && lookedFor == entry->lookedFor)
        return Look(entry);

    using Result = Seen;
    m_workers.Do<Result>(
        [job, format = entry->key.second,
         passes = entry->snapshot ? entry->snapshot->pass : 0]() -> Result
        {
            try
            {
                return {ListFramesOf(*job, format, passes)};
            }
            catch (HttpError *raw)
            {
                const std::unique_ptr<HttpError> error(raw);
                return {{}, error->Status(), error->Text()};
            }
        },
        [this, entry, lookedFor, isAlive = m_isAlive](Result listed)
        {
            if (!*isAlive)
                return;
            if (!listed.snapshot)
                return OnFailed(entry, listed.status, listed.trouble);
            entry->lookedFor = lookedFor;
            OnListed(entry, std::move(listed.snapshot));
        },
        [this, entry, isAlive = m_isAlive](const String &trouble)
        {
            if (*isAlive)
                OnFailed(entry, k_OwnFault, trouble);
        });
}

void FrameWatches::OnListed(const EntryPointer &entry, SnapshotPointer snapshot)
{
    const bool isAnew = entry->snapshot != nullptr;
    entry->snapshot = std::move(snapshot);
    entry->lookedAt = {};
    if (isAnew)
        m_onPass(entry->key, {entry->snapshot, "{}", {}, true});
    if (entry->isImpatient)
        AnswerListed(*entry);
    Look(entry);
}

void FrameWatches::Look(const EntryPointer &entry)
{
    if (m_disk.Waiting() >= k_most_hanging && entry->lookedAt == Clock::time_point())
        return OnFailed(entry, k_Unavailable,
                        "looks at the frames of " + std::to_string(k_most_hanging) +
                            " jobs are not answered; until some are, no further job is looked at");
    struct Result
    {
        SnapshotPointer snapshot;
        std::string changes;
    };
    // What a thread holds must not be the last to know the entry: its timers are the loop's.
    const std::weak_ptr<Entry> weak = entry;
    m_disk.Do<Result>(
        [this, before = entry->snapshot, rules = m_rules, weak,
         round = entry->round](ostrel::DiskThreads::Course &course) -> Result
        {
            LookCourse look;
            look.getsOn = [&course] { course.Note(); };
            look.tell = [&](FramePart part)
            {
                course.Tell(
                    [this, weak, round, part = std::move(part)]
                    {
                        const EntryPointer known = weak.lock();
                        if (known && known->round == round)
                            OnPart(*known, part);
                    });
            };
            SnapshotPointer now = LookAtFramesOf(*before, rules, look);
            std::string changes = ChangesJson(*before, *now);
            return {std::move(now), std::move(changes)};
        },
        [this, entry, round = entry->round](Result looked)
        {
            if (entry->round == round)
                OnLooked(entry, std::move(looked.snapshot), std::move(looked.changes));
        },
        [this, entry, round = entry->round](const String &trouble)
        {
            if (entry->round == round)
                OnFailed(entry, k_Unavailable, trouble);
        },
        [this, entry, round = entry->round](std::chrono::seconds since)
        {
            if (entry->round == round)
                OnLate(*entry, since);
        });
}

void FrameWatches::OnPart(Entry &entry, FramePart part)
{
    entry.isLate = false; // It has answered.
    entry.trouble.clear();
    entry.partSheet = std::move(part.sheet);
    entry.toldAt = Clock::now();
    Pass pass{entry.snapshot, std::move(part.changes), {}};
    pass.isPart = true;
    pass.counts = std::move(part.counts);
    m_onPass(entry.key, pass);
}

void FrameWatches::OnLate(Entry &entry, std::chrono::seconds since)
{
    entry.isLate = true;
    entry.answeredAt = Clock::now() - since;
    entry.trouble = LateTextOf(*entry.snapshot, since);
    AnswerListed(entry);
    AnswerAll(entry, {{}, k_Unavailable, entry.trouble});
    m_onPass(entry.key, {entry.snapshot, "{}", entry.trouble});
}

void FrameWatches::OnLooked(const EntryPointer &entry, SnapshotPointer snapshot,
                            std::string changes)
{
    ++m_passes;
    entry->snapshot = std::move(snapshot);
    entry->partSheet.reset();
    entry->trouble.clear();
    entry->lookedAt = entry->toldAt = Clock::now();
    AnswerAll(*entry, SeenOf(*entry));
    m_onPass(entry->key, {entry->snapshot, std::move(changes), {}});
    EndPass(entry);
}

void FrameWatches::OnFailed(const EntryPointer &entry, unsigned status, const String &trouble)
{
    const bool isNews = trouble != entry->trouble;
    entry->trouble = trouble;
    // What its parts have told is not taken back by the next pass.
    if (std::exchange(entry->partSheet, nullptr))
        m_onPass(entry->key, {entry->snapshot, "{}", {}, true});
    AnswerAll(*entry, {{}, status, trouble});
    if (isNews)
        m_onPass(entry->key, {entry->snapshot, "{}", trouble});
    EndPass(entry);
}

void FrameWatches::AnswerAll(Entry &entry, const Seen &seen)
{
    entry.patience.cancel();
    entry.isImpatient = false;
    for (const auto &[wish, told] : std::exchange(entry.waiting, {}))
        told(seen);
}

void FrameWatches::EndPass(const EntryPointer &entry)
{
    entry->isLooking = false;
    entry->isLate = false;
    PlanNext(entry);
}

// The next pass where somebody watches, else the end of it.
void FrameWatches::PlanNext(const EntryPointer &entry)
{
    if (entry->isLooking)
        return;
    const bool isWatched = entry->watchers > 0;
    if (isWatched)
        entry->pause.expires_after(m_pause);
    else
        entry->pause.expires_after(k_kept);
    entry->pause.async_wait(
        [this, entry, isWatched, isAlive = m_isAlive](const boost::system::error_code &error)
        {
            if (error || !*isAlive)
                return;
            if (isWatched && entry->watchers > 0)
                Begin(entry);
            else if (entry->watchers == 0 && !entry->isLooking)
                Forget(entry);
        });
}

void FrameWatches::Forget(const EntryPointer &entry)
{
    const auto found = m_entries.find(entry->key);
    if (found != m_entries.end() && found->second == entry)
        m_entries.erase(found);
}

} // namespace web
