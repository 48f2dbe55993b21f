#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "ostrel/DiskThreads.h"
#include "web/jobs/FrameLook.h"
#include "web/jobs/JobBook.h"
#include "web/jobs/Workers.h"

namespace web
{

/// Looks at the frames of the jobs that somebody looks at: one pass for all who do, and none where
/// nobody does. A pass that takes long is told in parts. One that the disk does not answer is told
/// as such, and costs the other jobs nothing: it holds a thread until it is answered. Loop thread;
/// the passes are made by threads of their own.
class FrameWatches
{
public:
    using Key = std::pair<UID, std::size_t>; ///< A job, and which of its formats.
    /// What a request for frames is answered with: `snapshot`, or why there is none.
    struct Seen
    {
        SnapshotPointer snapshot{};
        unsigned status = 200;
        String trouble{};
        /// The snapshot's, with what the pass that is under way has found so far.
        std::shared_ptr<const std::string> sheet{};
        /// When anything was told last. Whatever was known of a file before is older.
        std::chrono::steady_clock::time_point toldAt{};
    };
    using Told = std::function<void(const Seen &)>;

    /// What is told of a pass that has ended, or of a part of one. One that could not look, or
    /// whose disk does not answer, has a trouble, and the snapshot is that of the last one that
    /// could; null where there was none.
    struct Pass
    {
        SnapshotPointer snapshot;
        std::string changes; ///< As `ChangesJson` gives it.
        String trouble;
        bool isAnew = false;  ///< Other frames are looked for than before.
        bool isPart = false;  ///< Of the pass after that of the snapshot.
        std::string counts{}; ///< Of a part: see `FramePart`.
    };
    using OnPass = std::function<void(const Key &, const Pass &)>;

    enum class Wish
    {
        Listed, ///< What there is, though no pass may have ended; it is waited for, not long.
        Looked, ///< A pass that is not older than the pause between two.
    };

    static constexpr std::chrono::milliseconds k_Patience{400};

    /// Both references outlive it. `patience`: so long who wants what there is waits for a pass,
    /// before all frames are told as not looked at.
    FrameWatches(boost::asio::io_context &loop, JobBook &book, analysis::ScanRules rules,
                 std::chrono::milliseconds pause, OnPass onPass,
                 std::chrono::milliseconds patience = k_Patience);
    ~FrameWatches();

    /// Calls `told` once, now or later. Starts a pass where none is under way and one is needed.
    void Ask(const Key &key, Wish wish, Told told);

    /// Passes go on as long as somebody watches. Each `Watch` wants its `Unwatch`.
    void Watch(const Key &key);
    void Unwatch(const Key &key);

    /// What there is to tell whoever begins to watch: nothing where nothing is wrong.
    std::optional<Pass> TroubleOf(const Key &key) const;

    /// Passes that the disk does not answer.
    std::size_t Hanging() const
    {
        return m_disk.Waiting();
    }
    /// How many passes have ended: for tests.
    std::uint64_t Passes() const
    {
        return m_passes;
    }
    const analysis::ScanRules &Rules() const
    {
        return m_rules;
    }

private:
    using Clock = std::chrono::steady_clock;
    struct Entry;

    using EntryPointer = std::shared_ptr<Entry>;

    EntryPointer Need(const Key &key);
    Seen SeenOf(const Entry &entry) const;
    void Begin(const EntryPointer &entry);
    void Look(const EntryPointer &entry);
    void OnListed(const EntryPointer &entry, SnapshotPointer snapshot);
    void OnPart(Entry &entry, FramePart part);
    void OnLate(Entry &entry, std::chrono::seconds since);
    void OnLooked(const EntryPointer &entry, SnapshotPointer snapshot, std::string changes);
    void OnFailed(const EntryPointer &entry, unsigned status, const String &trouble);
    void EndPass(const EntryPointer &entry);
    void AnswerListed(Entry &entry);
    void AnswerAll(Entry &entry, const Seen &seen);
    void PlanNext(const EntryPointer &entry);
    void Forget(const EntryPointer &entry);

    boost::asio::io_context &m_loop;
    JobBook &m_book;
    const analysis::ScanRules m_rules;
    const std::chrono::milliseconds m_pause;
    const std::chrono::milliseconds m_patience;
    const OnPass m_onPass;
    std::uint64_t m_passes = 0;
    /// Shared with the passes that are under way.
    std::map<Key, EntryPointer> m_entries;
    const std::shared_ptr<bool> m_isAlive = std::make_shared<bool>(true); ///< Until the end.
    Workers m_workers;          // List frames, which asks no disk.
    ostrel::DiskThreads m_disk; // Look at them.
};

} // namespace web
