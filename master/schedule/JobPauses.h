#pragma once

#include <map>
#include <optional>
#include <set>

#include "master/loop/Clock.h"
#include "master/loop/Pauses.h"
#include "ostrel/UID.h"

namespace master
{

using ostrel::UID;

/// Which jobs have a command that could not be started, and when that is tried again: after a short
/// pause, then after twice as long each time, up to a longest one. Nothing of it is on disk: a new
/// start tries all of them at once.
class JobPauses
{
public:
    using Moment = Clock::Moment;

    explicit JobPauses(const Pauses &pauses) : m_lengths(pauses) {}

    /// A command of the job could not be started. One that failed along with others, during the
    /// pause that they began, makes the pause no longer.
    void Begin(const UID &job, Moment now);
    /// A command of the job was started, or somebody wants it tried at once.
    void End(const UID &job);
    /// Things look better: it is tried at once, with all of its tasks. Where they are not, the next
    /// pause is longer all the same.
    void Ease(const UID &job);

    bool IsTroubled(const UID &job) const
    {
        const auto found = m_pauses.find(job);
        return found != m_pauses.end() && !found->second.isEased;
    }
    /// False where no job has, nor had one of which nobody knows that it is well.
    bool HasAny() const
    {
        return !m_pauses.empty();
    }
    /// Adds the jobs whose pause is not over.
    void AddPausing(Moment now, std::set<UID> &jobs) const;
    /// When the next pause is over; nothing where none is to come.
    std::optional<Moment> NextEnd(Moment now) const;

private:
    struct Pause
    {
        Moment end;
        std::chrono::milliseconds length{0};
        bool isEased = false;
    };

    Pauses m_lengths;
    std::map<UID, Pause> m_pauses;
};

} // namespace master
