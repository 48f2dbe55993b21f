#pragma once

#include <cstddef>
#include <map>
#include <string_view>

#include "ostrel/String.h"

namespace master
{

using ostrel::String;

/// How long the frames of a job take: counts of times that are alike, so that a few hundred bytes
/// tell of any number of frames. What is told of them is within 3 percent; the slowest is exact.
///
/// Old times count less and less: of some hundred tasks half is forgotten at a time.
class FrameTimes
{
public:
    /// So many tasks tell what is usual.
    static constexpr unsigned k_EnoughTasks = 5;

    /// What `ToText` gave; empty for other text.
    static FrameTimes Parse(std::string_view text);
    String ToText() const;

    /// A task is done: seconds for each of its frames.
    void Add(double seconds);

    /// How many tasks have told their times.
    unsigned Tasks() const
    {
        return m_tasks;
    }
    bool IsEnough() const
    {
        return m_tasks >= k_EnoughTasks;
    }

    // In seconds; 0 where nothing is known.

    /// So large a part of the frames, 0 to 1, takes no longer.
    double Quantile(double part) const;
    double Median() const
    {
        return Quantile(0.5);
    }
    /// A tenth takes longer.
    double SlowTenth() const
    {
        return Quantile(0.9);
    }
    /// The mean, in which none counts as more than one that is among the slowest twentieth.
    double Mean() const;
    double Slowest() const
    {
        return m_slowest;
    }

private:
    static constexpr unsigned k_most_weight = 512;

    unsigned Weight() const;

    unsigned m_tasks = 0;
    double m_slowest = 0;
    std::map<int, unsigned> m_counts; // By the logarithm of the time.
};

/// Seconds as people want to read them, with three digits that count: "0.042", "12.4", "1250".
String SecondsText(double seconds);

} // namespace master
