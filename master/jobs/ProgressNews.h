#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <vector>

#include "ostrel/UID.h"

namespace master
{

using ostrel::UID;

/// When followers are told how far a job is: at once, but no more than ten times a second for one
/// job, and never without the last word. It keeps no counts; who sends reads the present ones.
class ProgressNews
{
public:
    using Moment = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::milliseconds k_Interval{100};

    /// The counts of a job have changed.
    void Note(const UID &job, Moment now);

    /// The jobs to tell of now, each once.
    std::vector<UID> TakeDue(Moment now);

    /// When `TakeDue` has something again; nothing while no news waits.
    std::optional<Moment> NextDue() const;

private:
    struct Entry
    {
        Moment due;
        bool isWaiting = false;
    };

    std::map<UID, Entry> m_jobs;
};

} // namespace master
