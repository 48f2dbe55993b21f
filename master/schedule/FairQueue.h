#pragma once

#include <optional>
#include <set>
#include <vector>

#include "master/schedule/OwnerShares.h"
#include "master/store/JobStore.h"

namespace master
{

/// Whose turn it is when slots are given away, during one plan.
///
/// The highest priority goes first. Among its owners it is the turn of whoever has the fewest runs
/// of that priority; of several, of the one whose last run of it was begun first, before all others
/// of one who had none; then of the one whose job is older. Of an owner's jobs it is the oldest's.
/// So whoever hands in one job beside another's hundred gets his half.
///
/// Each job is read once, and only where its owner's turn may have come: of owners who have as much
/// and as long ago, one each, those that get a slot, and those that are passed over. Loop thread.
class FairQueue
{
public:
    /// `passOver`: jobs that nothing is planned for. The others outlive it.
    FairQueue(JobStore &store, const OwnerShares &shares, std::set<UID> passOver);

    /// One job, which has a task to start as far as the store tells.
    struct Turn
    {
        JobState job; ///< To be kept as it is in the store.
        String owner;
    };
    /// Whose turn it is; null where there is nothing left. Valid until the next call.
    Turn *Next();
    /// The job whose turn it is gets a slot.
    void Serve();
    /// The job whose turn it is gets none any more.
    void PassOver();

private:
    // The jobs of an owner, of the present priority.
    struct Line
    {
        Turn turn; // Its job has number 0 as long as none is read.
        OwnerShares::Share share;
        bool isOver = false; // No job is left.
    };

    static bool IsBefore(const Line &line, const Line &other);
    Line *FindFirst();
    void ReadAllLike(const OwnerShares::Share &share);
    bool BeginPriority();
    void Advance(Line &line);

    JobStore &m_store;
    const OwnerShares &m_shares;
    std::set<UID> m_passOver;
    int m_priority;
    std::uint64_t m_begun = 0; // Runs of this plan.
    std::vector<Line> m_lines;
    Line *m_current = nullptr;
};

} // namespace master
