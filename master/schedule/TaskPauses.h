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

/// Which tasks have failed and are not tried again yet. Nothing of it is on disk: a new start tries
/// all of them at once.
class TaskPauses
{
public:
    using Moment = Clock::Moment;

    explicit TaskPauses(const Pauses &pauses) : m_lengths(pauses) {}

    /// A task has failed for the `failures`th time, and is to be tried again.
    void Begin(const UID &job, unsigned task, unsigned failures, Moment now);
    /// The job's tasks are tried again at once; they may have other numbers now.
    void End(const UID &job);

    /// The tasks of the job whose pause is not over. Valid until the next call of this object.
    const std::set<unsigned> &Pausing(const UID &job, Moment now);
    /// When the next pause is over; nothing where none is to come.
    std::optional<Moment> NextEnd(Moment now) const;

private:
    struct JobTasks
    {
        std::map<unsigned, Moment> ends;
        std::set<unsigned> tasks;
    };

    Pauses m_lengths;
    std::map<UID, JobTasks> m_jobs;
};

} // namespace master
