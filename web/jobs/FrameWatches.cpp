#include "web/jobs/FrameWatches.h"

#include <algorithm>
#include <vector>

#include "web/door/HttpError.h"
#include "web/jobs/Statuses.h"

namespace web
{

namespace
{

// Passes wait for a disk more than they compute.
constexpr unsigned k_pass_threads = 4;
// What nobody asks for any more is kept so long.
constexpr std::chrono::seconds k_kept{30};
constexpr std::size_t k_most_watches = 256;

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
    String lookedFor; ///< Of the snapshot: see `FramesToLookFor`.
    SnapshotPointer snapshot;
    String trouble; ///< Of the last pass.
    Clock::time_point lookedAt{};
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
      m_onPass(std::move(onPass)), m_workers(loop, k_pass_threads)
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
    const std::shared_ptr<Entry> entry = Need(key);
    if (!entry)
        return told({{}, k_TooMany, "too many jobs are looked at; try again later"});

    const bool isFresh = entry->snapshot && entry->snapshot->IsSeen() && entry->trouble.empty() &&
                         entry->lookedFor == FramesToLookFor(*job) &&
                         (entry->watchers > 0 || Clock::now() - entry->lookedAt < m_pause);
    if (isFresh)
        return told({entry->snapshot});
    const bool isFirst = std::ranges::none_of(entry->waiting, [wish](const auto &each)
                                              { return each.first == wish; });
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

void FrameWatches::Watch(const Key &key)
{
    const std::shared_ptr<Entry> entry = Need(key);
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
std::shared_ptr<FrameWatches::Entry> FrameWatches::Need(const Key &key)
{
    const auto found = m_entries.find(key);
    if (found != m_entries.end())
        return found->second;
    if (m_entries.size() >= k_most_watches)
        return nullptr;
    return m_entries[key] = std::make_shared<Entry>(key, m_loop);
}

// A pass, unless one is under way.
void FrameWatches::Begin(const std::shared_ptr<Entry> &entry)
{
    if (entry->isLooking)
        return;
    const JobPointer job = m_book.Find(entry->key.first);
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

void FrameWatches::OnListed(const std::shared_ptr<Entry> &entry, SnapshotPointer snapshot)
{
    const bool isAnew = entry->snapshot != nullptr;
    entry->snapshot = std::move(snapshot);
    if (isAnew)
        m_onPass(entry->key, {entry->snapshot, "{}", {}, true});
    if (entry->isImpatient)
        AnswerListed(*entry);
    Look(entry);
}

void FrameWatches::Look(const std::shared_ptr<Entry> &entry)
{
    struct Result
    {
        SnapshotPointer snapshot;
        std::string changes;
    };
    m_workers.Do<Result>(
        [before = entry->snapshot, rules = m_rules]() -> Result
        {
            SnapshotPointer now = LookAtFramesOf(*before, rules);
            std::string changes = ChangesJson(*before, *now);
            return {std::move(now), std::move(changes)};
        },
        [this, entry, isAlive = m_isAlive](Result looked)
        {
            if (*isAlive)
                OnLooked(entry, std::move(looked.snapshot), std::move(looked.changes));
        },
        [this, entry, isAlive = m_isAlive](const String &trouble)
        {
            if (*isAlive)
                OnFailed(entry, k_Unavailable, trouble);
        });
}

void FrameWatches::OnLooked(const std::shared_ptr<Entry> &entry, SnapshotPointer snapshot,
                            std::string changes)
{
    ++m_passes;
    entry->snapshot = std::move(snapshot);
    entry->trouble.clear();
    entry->lookedAt = Clock::now();
    AnswerAll(*entry, {entry->snapshot});
    m_onPass(entry->key, {entry->snapshot, std::move(changes), {}, false});
    EndPass(entry);
}

void FrameWatches::OnFailed(const std::shared_ptr<Entry> &entry, unsigned status,
                            const String &trouble)
{
    const bool isNews = trouble != entry->trouble;
    entry->trouble = trouble;
    AnswerAll(*entry, {{}, status, trouble});
    if (isNews)
        m_onPass(entry->key, {entry->snapshot, "{}", trouble, false});
    EndPass(entry);
}

// Those who want to know what there is, as far as that is known.
void FrameWatches::AnswerListed(Entry &entry)
{
    if (!entry.snapshot)
        return;
    for (auto &[wish, told] : std::exchange(entry.waiting, {}))
        if (wish == Wish::Listed)
            told({entry.snapshot});
        else
            entry.waiting.emplace_back(wish, std::move(told));
}

void FrameWatches::AnswerAll(Entry &entry, const Seen &seen)
{
    entry.patience.cancel();
    entry.isImpatient = false;
    for (const auto &[wish, told] : std::exchange(entry.waiting, {}))
        told(seen);
}

void FrameWatches::EndPass(const std::shared_ptr<Entry> &entry)
{
    entry->isLooking = false;
    PlanNext(entry);
}

// The next pass where somebody watches, else the end of it.
void FrameWatches::PlanNext(const std::shared_ptr<Entry> &entry)
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

void FrameWatches::Forget(const std::shared_ptr<Entry> &entry)
{
    const auto found = m_entries.find(entry->key);
    if (found != m_entries.end() && found->second == entry)
        m_entries.erase(found);
}

} // namespace web
